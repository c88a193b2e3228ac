// Compiled once for all tests. A test still includes what it uses.
#pragma once

#include <Platform/RemoteComputation/Service/RequestHandlingBase/RequestXmlHelper.h>
#include <Platform/RemoteComputation/Service/RequestPackages/ElementReader.h>
#include <Platform/RemoteComputation/Service/RequestPackages/PackageDocument.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <thread>
