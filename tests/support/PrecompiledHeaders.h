// Compiled once for all tests. A test still includes what it uses.
#pragma once

#include <Platform/RemoteComputation/Service/RequestHandlingBase/RequestXmlHelper.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
