// What parseFile asks of the file service, and a file that vanishes between that question and the parse.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <tests/Platform/RemoteComputation/Service/RequestHandlingBase/RequestXmlHelperFixture.h>
#include <tests/support/ScriptedFiles.h>

#include <stdexcept>
#include <string>
#include <vector>

namespace {

using Drelvan::DvExceptionNested;
using RequestXmlHelperTests::c_parseFileFunction;
using RequestXmlHelperTests::Entry;
using RequestXmlHelperTests::expectParseFailure;
using RequestXmlHelperTests::HelperTest;
using RequestXmlHelperTests::messageOf;
using RequestXmlHelperTests::takeEntries;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::SizeIs;
using TestSupport::ScriptedFiles;
namespace Signature = RequestXmlHelperTests::Signature;

const std::string c_name = "/nowhere/vanished.xml";

class RequestXmlHelperVanishedFile : public HelperTest {
 protected:
  void SetUp() override {
    HelperTest::SetUp();
    ScriptedFiles::reset();
    helper();
    TestSupport::RecordingLog::clear();
  }
  void TearDown() override {
    ScriptedFiles::reset();
    HelperTest::TearDown();
  }
};

class RequestXmlHelperVanishedFileContractTest : public RequestXmlHelperVanishedFile {};

TEST_F(RequestXmlHelperVanishedFileContractTest, ExistenceIsAskedOnceWithoutTheFlag) {
  ScriptedFiles::setExists(false);
  expectParseFailure([] { return helper().parseFile(c_name, true); }, "File doesn't exist.", c_parseFileFunction);
  EXPECT_THAT(ScriptedFiles::calls(), ElementsAre("exists " + c_name + " false"));
  EXPECT_THAT(takeEntries(), ElementsAre(Entry{"WARN", Signature::c_parseFile, "File dosn't exist: " + c_name}));
}

TEST_F(RequestXmlHelperVanishedFile, FileThatCannotBeOpenedIsAProblemOfTheParse) {
  setUpParser();
  for (const bool validate : {false, true}) {
    EXPECT_THROW(helper().parseFile(c_name, validate), DvExceptionNested);
    const std::vector<Entry> entries = takeEntries();
    ASSERT_THAT(entries, SizeIs(2));
    EXPECT_EQ(entries[0].signature, Signature::c_fatalError);
    EXPECT_THAT(messageOf(entries[0].message), HasSubstr(c_name));
    EXPECT_EQ(entries[1], (Entry{"DEBUG", Signature::c_parseSource,
                                 "Errors occurred while parsing input: " + messageOf(entries[0].message)}));
  }
  parseValid();
}

TEST_F(RequestXmlHelperVanishedFile, FailureOfTheFileServicePassesThrough) {
  ScriptedFiles::onCall([](int) { throw std::runtime_error("no such service"); });
  EXPECT_THROW(helper().parseFile(c_name, true), std::runtime_error);
  EXPECT_THAT(takeEntries(), IsEmpty());
  EXPECT_FALSE(helper().isParserInitialized());
  ScriptedFiles::reset();
  parseValid();
}

}  // namespace
