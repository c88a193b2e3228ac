// Compiled once for the tool and the example service, in trees with tests. A source still includes what it uses.
#pragma once

#include <Platform/RemoteComputation/Service/RequestPackages/ElementReader.h>
#include <Platform/RemoteComputation/Service/RequestPackages/PackageDocument.h>
#include <service/Logging.h>

#include <algorithm>
#include <array>
#include <boost/algorithm/string/predicate.hpp>
#include <boost/algorithm/string/trim.hpp>
#include <boost/lexical_cast/try_lexical_convert.hpp>
#include <chrono>
#include <deque>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iostream>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <sstream>
#include <string>
#include <thread>
#include <utility>
#include <variant>
#include <vector>
