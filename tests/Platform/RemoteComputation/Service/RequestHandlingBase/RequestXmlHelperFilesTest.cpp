// Parsing real files, whatever their names are made of. The program is also run in the C locale.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <tests/Platform/RemoteComputation/Service/RequestHandlingBase/RequestXmlHelperFixture.h>
#include <tests/support/TemporaryFolder.h>

#include <filesystem>
#include <string>
#include <vector>

namespace {

using Drelvan::DvExceptionNested;
using Drelvan::FileName;
using RequestXmlHelperTests::c_parseFileFunction;
using RequestXmlHelperTests::Entry;
using RequestXmlHelperTests::expectParseFailure;
using RequestXmlHelperTests::HelperTest;
using RequestXmlHelperTests::messageOf;
using RequestXmlHelperTests::takeEntries;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;
using ::testing::StartsWith;
using TestSupport::brokenDocument;
using TestSupport::Document;
using TestSupport::replyPackage;
using TestSupport::requestPackage;
using TestSupport::rootName;
using TestSupport::TemporaryFolder;
namespace Signature = RequestXmlHelperTests::Signature;

const std::string c_errors = "Errors occurred while parsing input: ";

std::string wrongDocument() { return requestPackage().without("requestClientId").text(); }

/// Names that are easily taken for something else: escapes, URLs, other encodings.
const std::vector<std::string> c_names = {
    "plain.xml",
    "with blank.xml",
    "percent%20.xml",
    "100%.xml",
    "fragment#1.xml",
    "query?a=b.xml",
    "'quotes\".xml",
    "back\\slash.xml",
    "file:name.xml",
    "http:name.xml",
    "line\nfeed.xml",
    "..dots..",
    "-",
    " ",
    "\xC3\xA4\xC3\xB6.xml",
    "\xE2\x82\xAC\xE5\x90\x8D.xml",
    "\xF0\x9F\x98\x80.xml",
    "latin\xE4.xml",
    "\xFF\xFE.xml",
    "cut\xC3",
    "\xED\xA0\x80.xml",
    std::string(240, 'n') + ".xml",
};

class RequestXmlHelperFiles : public HelperTest {
 protected:
  Entry missing(const std::string& name) const {
    return {"WARN", Signature::c_parseFile, "File dosn't exist: " + name};
  }

  void expectMissing(const std::string& name, bool validate) {
    const DvExceptionNested exception = expectParseFailure([&] { return helper().parseFile(FileName(name), validate); },
                                                           "File doesn't exist.", c_parseFileFunction);
    EXPECT_EQ(exception.getNested(), nullptr);
    EXPECT_THAT(takeEntries(), ElementsAre(missing(name)));
  }

  const TemporaryFolder m_folder;
};

TEST_F(RequestXmlHelperFiles, MissingFileIsToldBeforeTheParserIsTouched) {
  helper();
  TestSupport::RecordingLog::clear();
  for (const bool validate : {false, true}) {
    expectMissing(m_folder.file("missing.xml"), validate);
    expectMissing("", validate);
    expectMissing(m_folder.file("missing/missing.xml"), validate);
    expectMissing(m_folder.file("\xC3\xA4\xFF.xml"), validate);
  }
  EXPECT_FALSE(helper().isParserInitialized());
}

TEST_F(RequestXmlHelperFiles, LinkToNothingIsMissing) {
  helper();
  TestSupport::RecordingLog::clear();
  std::filesystem::create_symlink(m_folder.file("nothing"), m_folder.file("link.xml"));
  expectMissing(m_folder.file("link.xml"), true);
}

TEST_F(RequestXmlHelperFiles, GoodFileYieldsADocumentAndLogsNothing) {
  setUpParser();
  const std::string name = m_folder.write("good.xml", replyPackage().text());
  for (const bool validate : {false, true}) {
    const Document document(helper().parseFile(name, validate));
    EXPECT_EQ(rootName(document), "DV_ReplyPackage");
  }
  EXPECT_THAT(takeEntries(), IsEmpty());
}

TEST_F(RequestXmlHelperFiles, FirstParseOfAFileSetsTheParserUp) {
  const std::string name = m_folder.write("good.xml", replyPackage().text());
  helper();
  TestSupport::RecordingLog::clear();
  const Document document(helper().parseFile(name, true));
  EXPECT_TRUE(helper().isParserInitialized());
  EXPECT_THAT(takeEntries(), ElementsAre(Entry{"TRACE", Signature::c_initParser, "Initializing parser..."},
                                         Entry{"TRACE", Signature::c_initParser, "Parser initialized."}));
}

TEST_F(RequestXmlHelperFiles, FailingFileLeavesTheProblemsAndTheFailure) {
  setUpParser();
  const std::string name = m_folder.write("wrong.xml", wrongDocument());
  EXPECT_THROW(helper().parseFile(name, true), DvExceptionNested);
  std::vector<Entry> entries = takeEntries();
  ASSERT_THAT(entries, SizeIs(2));
  EXPECT_EQ(entries[0].level, "ERROR");
  EXPECT_EQ(entries[0].signature, Signature::c_error);
  EXPECT_THAT(entries[0].message, StartsWith("XML error at file " + name + ", line 1, char "));
  const std::string message = c_errors + messageOf(entries[0].message);
  EXPECT_EQ(entries[1], (Entry{"DEBUG", Signature::c_parseSource, message}));
  expectParseFailure([&] { return helper().parseFile(name, true); }, message);
}

TEST_F(RequestXmlHelperFiles, ValidationIsTheCallersChoice) {
  setUpParser();
  const std::string wrong = m_folder.write("wrong.xml", wrongDocument());
  const std::string broken = m_folder.write("broken.xml", brokenDocument());
  for (int round = 0; round < 2; ++round) {
    const Document document(helper().parseFile(wrong, false));
    EXPECT_EQ(rootName(document), "DV_RequestPackage");
    EXPECT_THROW(helper().parseFile(wrong, true), DvExceptionNested);
    EXPECT_THROW(helper().parseFile(broken, false), DvExceptionNested);
    EXPECT_THROW(helper().parseFile(broken, true), DvExceptionNested);
  }
  parseValid();
}

TEST_F(RequestXmlHelperFiles, EmptyFileIsAFatalErrorOfTheFile) {
  setUpParser();
  const std::string name = m_folder.write("empty.xml", "");
  EXPECT_THROW(helper().parseFile(name, false), DvExceptionNested);
  const std::vector<Entry> entries = takeEntries();
  ASSERT_THAT(entries, SizeIs(2));
  EXPECT_EQ(entries[0].signature, Signature::c_fatalError);
  EXPECT_THAT(entries[0].message, StartsWith("XML fatal error at file " + name + ", line "));
}

TEST_F(RequestXmlHelperFiles, FolderExistsButCannotBeParsed) {
  setUpParser();
  EXPECT_THROW(helper().parseFile(m_folder.path().string(), true), DvExceptionNested);
  std::vector<Entry> entries = takeEntries();
  ASSERT_FALSE(entries.empty());
  EXPECT_EQ(entries.back().level, "DEBUG");
  EXPECT_EQ(entries.back().signature, Signature::c_parseSource);
  parseValid();
}

TEST_F(RequestXmlHelperFiles, FilesAreFoundByTheBytesOfTheirNames) {
  setUpParser();
  for (const std::string& name : c_names) {
    SCOPED_TRACE(name);
    const std::string path = m_folder.write(name, replyPackage().with("serial", "7").text());
    ASSERT_TRUE(std::filesystem::exists(path));
    const Document document(helper().parseFile(path, true));
    EXPECT_EQ(TestSupport::attribute(document->getDocumentElement(), "serial"), "7");
    EXPECT_THAT(takeEntries(), IsEmpty());
  }
  m_folder.expectEntries(c_names.size());
}

TEST_F(RequestXmlHelperFiles, SimilarNamesAreNotConfused) {
  setUpParser();
  const std::string utf8 = m_folder.write("\xC3\xA4", replyPackage().with("serial", "1").text());
  const std::string latin = m_folder.write("\xE4", replyPackage().with("serial", "2").text());
  const std::string question = m_folder.write("?", replyPackage().with("serial", "3").text());
  int serial = 0;
  for (const std::string& name : {utf8, latin, question}) {
    const Document document(helper().parseFile(name, true));
    EXPECT_EQ(TestSupport::attribute(document->getDocumentElement(), "serial"), std::to_string(++serial));
  }
}

TEST_F(RequestXmlHelperFiles, MessagesShowTheNameAsUtf8) {
  setUpParser();
  const std::string name = m_folder.write("\xC3\xA4\xE2\x82\xAC\xF0\x9F\x98\x80.xml", wrongDocument());
  EXPECT_THROW(helper().parseFile(name, true), DvExceptionNested);
  EXPECT_THAT(takeEntries().front().message, StartsWith("XML error at file " + name + ", line 1, char "));
}

TEST_F(RequestXmlHelperFiles, MessagesLeaveOutWhatIsNotUtf8) {
  setUpParser();
  const std::string name = m_folder.write("a\xFFz.xml", wrongDocument());
  EXPECT_THROW(helper().parseFile(name, true), DvExceptionNested);
  EXPECT_THAT(takeEntries().front().message, StartsWith("XML error at file " + m_folder.file("az.xml") + ", line 1"));
}

/// Makes a folder the current one for the life of this object.
class CurrentFolder {
 public:
  explicit CurrentFolder(const std::filesystem::path& path) : m_before(std::filesystem::current_path()) {
    std::filesystem::current_path(path);
  }
  CurrentFolder(const CurrentFolder&) = delete;
  CurrentFolder& operator=(const CurrentFolder&) = delete;
  ~CurrentFolder() { std::filesystem::current_path(m_before); }

 private:
  std::filesystem::path m_before;
};

TEST_F(RequestXmlHelperFiles, RelativeNamesStartAtTheCurrentFolder) {
  setUpParser();
  const CurrentFolder current(m_folder.path());
  std::filesystem::create_directory("sub");
  m_folder.write("good.xml", replyPackage().text());
  for (const char* name : {"good.xml", "./good.xml", "sub/../good.xml"}) {
    const Document document(helper().parseFile(name, true));
    EXPECT_EQ(rootName(document), "DV_ReplyPackage");
  }
  expectMissing("sub/good.xml", true);
}

TEST_F(RequestXmlHelperFiles, LinksAreFollowed) {
  setUpParser();
  m_folder.write("good.xml", replyPackage().text());
  std::filesystem::create_symlink("good.xml", m_folder.file("link.xml"));
  const Document document(helper().parseFile(m_folder.file("link.xml"), true));
  EXPECT_EQ(rootName(document), "DV_ReplyPackage");
}

TEST_F(RequestXmlHelperFiles, FileMayBeRemovedOnceItIsParsed) {
  setUpParser();
  const std::string name = m_folder.write("good.xml", replyPackage().text());
  const Document document(helper().parseFile(name, true));
  std::filesystem::remove(name);
  EXPECT_EQ(rootName(document), "DV_ReplyPackage");
  TestSupport::RecordingLog::clear();
  expectMissing(name, true);
}

std::size_t openDescriptors() {
  std::size_t count = 0;
  for ([[maybe_unused]] const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
    ++count;
  }
  return count;
}

TEST_F(RequestXmlHelperFiles, FilesAreClosedAfterEveryOutcome) {
  setUpParser();
  const std::string good = m_folder.write("good.xml", replyPackage().text());
  const std::string wrong = m_folder.write("wrong.xml", wrongDocument());
  const std::string broken = m_folder.write("broken.xml", brokenDocument());
  const std::size_t before = openDescriptors();
  for (int round = 0; round < 10; ++round) {
    const Document document(helper().parseFile(good, true));
    EXPECT_THROW(helper().parseFile(wrong, true), DvExceptionNested);
    EXPECT_THROW(helper().parseFile(broken, true), DvExceptionNested);
    EXPECT_THROW(helper().parseFile(m_folder.path().string(), true), DvExceptionNested);
  }
  EXPECT_EQ(openDescriptors(), before);
}

TEST_F(RequestXmlHelperFiles, OpensTheFileThatItNamesWhereAPathGoesUpBehindALink) {
  std::filesystem::create_directories(m_folder.path() / "elsewhere/inner");
  std::filesystem::create_directory(m_folder.path() / "here");
  std::filesystem::create_directory_symlink("../elsewhere/inner", m_folder.path() / "here/link");
  m_folder.write("elsewhere/x.xml", brokenDocument());
  m_folder.write("here/x.xml", requestPackage().text());
  const std::filesystem::path before = std::filesystem::current_path();
  std::filesystem::current_path(m_folder.path());
  const Document document(helper().parseFile(FileName("here/link/../x.xml"), true));
  std::filesystem::current_path(before);
  EXPECT_EQ(rootName(document), "DV_RequestPackage");
  EXPECT_TRUE(RequestXmlHelperTests::endsWith(TestSupport::toUtf8(document->getDocumentURI()), "/here/x.xml"));
}

}  // namespace
