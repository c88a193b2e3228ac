#pragma once

#include <Platform/RemoteComputation/Service/RequestHandlingBase/RequestXmlHelper.h>
#include <gtest/gtest.h>
#include <service/ExceptionHandling.h>
#include <tests/support/Documents.h>
#include <tests/support/Packages.h>
#include <tests/support/RecordingLogging.h>

#include <exception>
#include <functional>
#include <ostream>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

namespace RequestXmlHelperTests {

/// The signature texts that the log entries carry; they are the same on every platform.
namespace Signature {
inline const std::string c_constructor = "__cdecl Drelvan::RequestXmlHelper::RequestXmlHelper(void)";
inline const std::string c_getInstance =
    "class Drelvan::RequestXmlHelper &__cdecl Drelvan::RequestXmlHelper::getInstance(void)";
inline const std::string c_reset = "void __cdecl Drelvan::RequestXmlHelper::reset(bool)";
inline const std::string c_addSchema =
    "void __cdecl Drelvan::RequestXmlHelper::addSchema(const class Drelvan::AbstractRequestSchema &)";
inline const std::string c_initParser = "void __cdecl Drelvan::RequestXmlHelper::initParser(void)";
inline const std::string c_parseSource =
    "class xercesc_3_1::DOMDocument *__cdecl Drelvan::RequestXmlHelper::parse(const class xercesc_3_1::InputSource "
    "&,bool)";
inline const std::string c_parseBuffer =
    "class xercesc_3_1::DOMDocument *__cdecl Drelvan::RequestXmlHelper::parse(char *)";
inline const std::string c_parseString =
    "class xercesc_3_1::DOMDocument *__cdecl Drelvan::RequestXmlHelper::parse(const class "
    "std::basic_string<char,struct "
    "std::char_traits<char>,class std::allocator<char> > &)";
inline const std::string c_parseFile =
    "class xercesc_3_1::DOMDocument *__cdecl Drelvan::RequestXmlHelper::parseFile(const class Drelvan::FileName "
    "&,bool)";
inline const std::string c_warning =
    "void __cdecl Drelvan::RequestXmlHelper::XmlErrorHandler::warning(const class xercesc_3_1::SAXParseException &)";
inline const std::string c_error =
    "void __cdecl Drelvan::RequestXmlHelper::XmlErrorHandler::error(const class xercesc_3_1::SAXParseException &)";
inline const std::string c_fatalError =
    "void __cdecl Drelvan::RequestXmlHelper::XmlErrorHandler::fatalError(const class xercesc_3_1::SAXParseException &)";
}  // namespace Signature

inline const std::string c_parseFunction = "Drelvan::RequestXmlHelper::parse";
inline const std::string c_parseFileFunction = "Drelvan::RequestXmlHelper::parseFile";
inline const std::string c_unit = "Platform/RemoteComputation/Service/RequestHandlingBase/RequestXmlHelper.cpp";

/// What identifies a log entry: its level, the signature of the logging function and the message.
struct Entry {
  std::string level;
  std::string signature;
  std::string message;

  friend bool operator==(const Entry& left, const Entry& right) {
    return left.level == right.level && left.signature == right.signature && left.message == right.message;
  }
  friend std::ostream& operator<<(std::ostream& stream, const Entry& entry) {
    return stream << entry.level << " from " << entry.signature << ": \"" << entry.message << '"';
  }
};

inline bool endsWith(const std::string& text, const std::string& end) {
  return text.size() >= end.size() && text.compare(text.size() - end.size(), end.size(), end) == 0;
}

inline std::string addressOf(const void* object) {
  std::ostringstream stream;
  stream << object;
  return stream.str();
}

/// The entries logged since the last call, without their place, which is checked here.
inline std::vector<Entry> takeEntries() {
  std::vector<Entry> result;
  for (const TestSupport::LogEntry& entry : TestSupport::RecordingLog::take()) {
    EXPECT_TRUE(endsWith(entry.file, "/" + c_unit)) << entry.file;
    EXPECT_EQ(entry.file, entry.logger) << "the logger is named by its unit";
    EXPECT_GT(entry.line, 0);
    result.push_back({entry.level, entry.function, entry.message});
  }
  return result;
}

/// Runs `parse`, which must throw `DvExceptionNested` from the unit of the helper, and returns the exception.
inline Drelvan::DvExceptionNested expectParseFailure(const std::function<xercesc_3_1::DOMDocument*()>& parse,
                                                     const std::string& message,
                                                     const std::string& function = c_parseFunction) {
  try {
    const TestSupport::Document unexpected(parse());
    ADD_FAILURE() << "a document where a failure was expected: " << message;
  } catch (const Drelvan::DvExceptionNested& exception) {
    EXPECT_EQ(exception.getMessage(), message);
    EXPECT_EQ(exception.getGroup(), "RequestHandling");
    EXPECT_EQ(exception.getFunction(), function);
    EXPECT_TRUE(endsWith(exception.getFile(), "/" + c_unit)) << exception.getFile();
    EXPECT_GT(exception.getLine(), 0);
    return exception;
  }
  return Drelvan::DvExceptionNested("", "", "", "", 0);
}

/// The message part of an entry of the error handler.
inline std::string messageOf(const std::string& handlerEntry) {
  const std::string mark = "\n  Message: ";
  const std::size_t at = handlerEntry.find(mark);
  return at == std::string::npos ? "" : handlerEntry.substr(at + mark.size());
}

/// The messages of the entries of the error handler among `entries`.
inline std::vector<std::string> reportedMessages(const std::vector<Entry>& entries) {
  std::vector<std::string> result;
  for (const Entry& entry : entries) {
    if (entry.signature == Signature::c_warning || entry.signature == Signature::c_error ||
        entry.signature == Signature::c_fatalError) {
      result.push_back(messageOf(entry.message));
    }
  }
  return result;
}

/// A fragment of a service program.
class Fragment final : public Drelvan::AbstractRequestSchema {
 public:
  explicit Fragment(const std::string& components) { m_schema = components; }
};

/// Starts each test without an instance and with an empty log, and ends the platform afterwards.
class HelperTest : public ::testing::Test {
 protected:
  void SetUp() override {
    Drelvan::RequestXmlHelper::reset(true);
    TestSupport::RecordingLog::clear();
  }

  void TearDown() override {
    TestSupport::RecordingLog::onEntry(nullptr);
    Drelvan::RequestXmlHelper::reset(true);
    TestSupport::RecordingLog::clear();
  }

  static Drelvan::RequestXmlHelper& helper() { return Drelvan::RequestXmlHelper::getInstance(); }

  /// Has the parser set up, and forgets the log of it.
  static void setUpParser() {
    parseValid();
    TestSupport::RecordingLog::clear();
  }

  static void parseValid() {
    const TestSupport::Document document(helper().parse(TestSupport::requestPackage().text()));
    EXPECT_EQ(TestSupport::rootName(document), "DV_RequestPackage");
  }

  /// What the recording logger throws when an entry of that message comes, until the end of the test.
  template <typename Exception>
  static void throwAtEntry(const std::string& start, const Exception& exception) {
    TestSupport::RecordingLog::onEntry([start, exception](const TestSupport::LogEntry& entry) {
      if (entry.message.compare(0, start.size(), start) == 0) {
        throw exception;
      }
    });
  }
};

}  // namespace RequestXmlHelperTests
