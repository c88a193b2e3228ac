#include <Platform/RemoteComputation/Service/RequestHandlingBase/AbstractRequestSchema.h>
#include <gtest/gtest.h>
#include <tests/support/TemporaryFolder.h>
#include <tests/tools/Program.h>

#include <nlohmann/json.hpp>
#include <ostream>
#include <string>
#include <vector>

namespace {

using TestSupport::allPackages;
using TestSupport::dvrequest;
using TestSupport::fragment;
using TestSupport::linesOf;
using TestSupport::package;
using TestSupport::ProgramRun;
using TestSupport::TemporaryFolder;

/// The library's wrapping around any text.
class Wrapping final : public Drelvan::AbstractRequestSchema {
 public:
  std::string around(const std::string& text) const { return m_header + text + m_footer; }
};

std::string baseFragment() { return Drelvan::BaseRequestHandlingSchema().getSchemaNoHeader(); }

ProgramRun checkFragments(const std::vector<std::string>& files) {
  std::vector<std::string> arguments{"schema", "--check"};
  for (const std::string& file : files) {
    arguments.insert(arguments.end(), {"-f", file});
  }
  return dvrequest(arguments);
}

TEST(SchemaCommand, WritesTheDocumentThatTheLibraryAssembles) {
  const ProgramRun bare = dvrequest({"schema"});
  EXPECT_EQ(bare.exitCode, 0);
  EXPECT_EQ(bare.output, Wrapping().around(baseFragment()));
  const ProgramRun whole = dvrequest({"schema", "--fragment", fragment()});
  EXPECT_EQ(whole.output, Wrapping().around(baseFragment() + TemporaryFolder::read(fragment())));
}

TEST(SchemaCommand, JoinsFragmentsInTheOrderGiven) {
  const TemporaryFolder folder;
  const std::string first = folder.write("first", "<!-- 1 -->");
  const std::string second = folder.write("second", "<!-- 2 -->");
  EXPECT_NE(dvrequest({"schema", "-f", second, "-f", first}).output.find("<!-- 2 --><!-- 1 --></xs:schema>"),
            std::string::npos);
}

TEST(SchemaCommand, FindsNothingWrongWithSoundFragments) {
  const ProgramRun run = checkFragments({fragment()});
  EXPECT_EQ(run.exitCode, 0);
  EXPECT_EQ(run.output, "The base schema and 1 fragment: no errors\n");
  EXPECT_EQ(run.errors, "");
}

TEST(SchemaCommand, SaysWhichFragmentCannotBeRead) {
  const ProgramRun run = checkFragments({"/nowhere/fragment.xsd"});
  EXPECT_EQ(run.exitCode, 2);
  EXPECT_EQ(run.errors, "dvrequest: cannot read '/nowhere/fragment.xsd': No such file or directory\n");
}

struct Broken {
  const char* text;
  const char* start;  ///< after the file's name
};

void PrintTo(const Broken& broken, std::ostream* stream) { *stream << broken.start; }

class BrokenFragment : public testing::TestWithParam<Broken> {};

TEST_P(BrokenFragment, IsShownWithItsOwnFileAndLine) {
  const TemporaryFolder folder;
  const std::string file = folder.write("broken.xsd", GetParam().text);
  const ProgramRun run = checkFragments({fragment(), file});
  EXPECT_EQ(run.exitCode, 4);
  EXPECT_EQ(run.output.rfind(file + GetParam().start, 0), 0U) << run.output;
}

INSTANTIATE_TEST_SUITE_P(
    Errors, BrokenFragment,
    testing::Values(Broken{"<xs:element name=\"a\" type=\"dvrq:None\"/>", ":1:1: error: type '"},
                    Broken{"\n\n<xs:element name=\"a\" type=\"xs:strin\"/>\n", ":3:1: error: type '"},
                    Broken{"<xs:complexType name=\"T\">\n <xs:sequence>\n </xs:choice>\n",
                           ":3:4: error: expected end of tag"},
                    Broken{"<xs:complexType name=\"DVJobId\"/>", ":1:1: error: "},
                    Broken{"<xs:element nam=\"a\"/>\r\n<xs:element nam=\"a\"/>", ":1:1: error: "},
                    Broken{"\n<!-- \xc3\xa9 -->", ":2:6: error: a fragment holds ASCII characters only"},
                    Broken{"\n<?xml version=\"1.0\"?>\n", ":2:1: error: a fragment has no XML declaration; remove it"},
                    Broken{"<?xml version=\"1.0\" encoding=\"us-ascii\"?>\n",
                           ":1:1: error: a fragment has no XML declaration; remove it"},
                    Broken{"\n<xs:schema/>", ":2:1: error: a fragment is the content of xs:schema"},
                    Broken{"</xs:schema><xs:schema xmlns:xs=\"http://www.w3.org/2001/XMLSchema\">", ":1:"},
                    Broken{"\n<nope:element/>", ":2:"}));

TEST(SchemaCommand, ShowsEachErrorOfEachFragment) {
  const TemporaryFolder folder;
  const std::string first =
      folder.write("first", "<xs:element name='a' type='dvrq:A'/>\n<xs:element name='b' type='dvrq:B'/>");
  const std::string second = folder.write("second", "<xs:element name='c' type='dvrq:C'/>\n");
  const ProgramRun run = checkFragments({first, second});
  const auto lines = linesOf(run.output);
  ASSERT_EQ(lines.size(), 9U) << run.output;
  EXPECT_EQ(lines[0].rfind(first + ":1:1: error:", 0), 0U) << lines[0];
  EXPECT_EQ(lines[3].rfind(first + ":2:1: error:", 0), 0U) << lines[3];
  EXPECT_EQ(lines[6].rfind(second + ":1:1: error:", 0), 0U) << lines[6];
}

TEST(SchemaCommand, RefusesRepeatedGroupsThatAreTooLargeToCompile) {
  const TemporaryFolder folder;
  for (const char* maximum : {"10000", "1000000"}) {
    const std::string file = folder.write(
        "large.xsd", "\n<xs:complexType name='T'>\n <xs:sequence maxOccurs='" + std::string(maximum) +
                         "'><xs:element name='a' type='xs:int'/><xs:element name='b' type='xs:int'/></xs:sequence>\n"
                         "</xs:complexType>");
    const ProgramRun run = checkFragments({fragment(), file});
    EXPECT_EQ(run.exitCode, 4);
    EXPECT_EQ(run.output.rfind(file + ":3:2: error: ", 0), 0U) << run.output;
    EXPECT_NE(run.output.find("unbounded"), std::string::npos) << run.output;
  }
}

struct Prefixless {
  const char* tag;
  const char* hint;
};

void PrintTo(const Prefixless& prefixless, std::ostream* stream) { *stream << prefixless.tag; }

class NameWithoutPrefix : public testing::TestWithParam<Prefixless> {};

TEST_P(NameWithoutPrefix, IsMetWithWhatToWrite) {
  const TemporaryFolder folder;
  const std::string type = std::string("<xs:complexType name='T'>") + GetParam().tag + "</xs:complexType>";
  const ProgramRun run = checkFragments({folder.write("broken.xsd", type)});
  EXPECT_EQ(run.exitCode, 4);
  EXPECT_NE(run.output.find(std::string("    hint: ") + GetParam().hint + "\n"), std::string::npos) << run.output;
}

INSTANTIATE_TEST_SUITE_P(
    Errors, NameWithoutPrefix,
    testing::Values(
        Prefixless{"<xs:complexContent><xs:extension base=\"Request\"/></xs:complexContent>",
                   "write dvrq:Request; a name without prefix is in no namespace"},
        Prefixless{"<xs:sequence><xs:element name='date' type='date'/></xs:sequence>",
                   "write a prefix before date: dvrq for a type of the base schema or of a fragment, xs for one of XML "
                   "Schema"},
        Prefixless{"<xs:sequence><xs:element ref='DV_Request'/></xs:sequence>",
                   "write dvrq:DV_Request; a name without prefix is in no namespace"},
        Prefixless{"<xs:attribute name='a'><xs:simpleType><xs:union memberTypes='xs:int Uid'/></xs:simpleType>"
                   "</xs:attribute>",
                   "write a prefix before Uid: dvrq for a type of the base schema or of a fragment, xs for one of XML "
                   "Schema"}));

TEST(SchemaCommand, HintsAtNoPrefixWhereItIsNotThat) {
  const TemporaryFolder folder;
  const std::string missing = folder.write("missing", "<xs:element name='a' type='dvrq:None'/>");
  EXPECT_EQ(checkFragments({missing}).output.find("hint"), std::string::npos);
  const std::string declared =
      folder.write("declared", "<xs:element xmlns='http://www.w3.org/2001/XMLSchema' name='a' type='strin'/>");
  EXPECT_EQ(checkFragments({declared}).exitCode, 4);
  EXPECT_EQ(checkFragments({declared}).output.find("hint"), std::string::npos);
}

TEST(SchemaCommand, BrokenFragmentsAreAnObjectForTheCheckCommandToo) {
  const TemporaryFolder folder;
  const std::string file = folder.write("broken", "<xs:element name='a' type='dvrq:A'/>");
  const ProgramRun run = dvrequest({"check", "--format", "json", "-f", file, package("request.xml")});
  EXPECT_EQ(run.exitCode, 4);
  const auto report = nlohmann::json::parse(run.output);
  EXPECT_EQ(report.at("verdict"), "bad-fragment");
  EXPECT_EQ(report.at("file"), file);
  EXPECT_EQ(report.at("diagnostics").at(0).at("line"), 1);
}

bool dvrequestAccepts(const std::string& file) { return dvrequest({"check", "-f", fragment(), file}).exitCode == 0; }

bool xmllintAccepts(const std::string& schema, const std::string& file) {
  return TestSupport::program({"xmllint", "--noout", "--schema", schema, file}).exitCode == 0;
}

class OtherValidator : public testing::Test {
 protected:
  void SetUp() override {
    if (TestSupport::program({"xmllint", "--version"}).exitCode != 0) {
      GTEST_SKIP() << "xmllint is not installed";
    }
    m_schema = m_folder.write("packages.xsd", dvrequest({"schema", "-f", fragment()}).output);
  }

  void expectSameVerdict(const std::string& text, const std::string& what) {
    const std::string file = m_folder.write("package.xml", text);
    EXPECT_EQ(dvrequestAccepts(file), xmllintAccepts(m_schema, file)) << what;
  }

  const TemporaryFolder m_folder;
  std::string m_schema;
};

TEST_F(OtherValidator, AgreesOnTheExamplePackages) {
  for (const std::string& name : allPackages()) {
    EXPECT_EQ(dvrequestAccepts(package(name)), xmllintAccepts(m_schema, package(name))) << name;
  }
}

/// Replaces the first `from` of the request by `to`.
struct Change {
  const char* from;
  const char* to;
};

TEST_F(OtherValidator, AgreesOnChangedPackages) {
  const std::string original = TemporaryFolder::read(package("request.xml"));
  for (const Change& change : std::vector<Change>{
           {"serial=\"4711\"", "serial=\"4294967295\""},
           {"serial=\"4711\"", "serial=\"4294967296\""},
           {"serial=\"4711\"", ""},
           {"05-07T", "05-0 T"},
           {"05-07T", "05-47T"},
           {".123456", ".1234567"},
           {".123456", ""},
           {"replyExpected=\"true\"", "replyExpected=\"1\""},
           {"replyExpected=\"true\"", "replyExpected=\"yes\""},
           {"replyExpected=\"true\"", "replyexpected=\"true\""},
           {"replyPort=\"5556\"", "replyPort=\"-5556\""},
           {"a3f09c51de7b2468-", "A3F09C51DE7B2468-"},
           {"a3f09c51de7b2468-", "g3f09c51de7b2468-"},
           {"<value>0.23</value>", "<value>INF</value>"},
           {"<value>0.23</value>", "<value>2,3</value>"},
           {"<realizationId>17</realizationId>", ""},
           {"<realizationId>17</realizationId>", "<realizationId>-1</realizationId>"},
           {"<parameter>", "<encryptedParameter>"},
           {"<priority>normal</priority>", ""},
           {"<priority>normal</priority>", "<priority>normal </priority>"},
           {"<jobId>", "<jobid>"},
           {"xsi:type=\"SubmitSimulation\"", "xsi:type=\"CancelSimulation\""},
           {"xsi:type=\"SubmitSimulation\"", "xsi:type=\"SimulationResult\""},
           {"xsi:type=\"SubmitSimulation\"", ""},
           {"<client>", "<client>text"},
       }) {
    std::string text = original;
    text.replace(text.find(change.from), std::string(change.from).size(), change.to);
    expectSameVerdict(text, std::string(change.from) + " -> " + change.to);
  }
}

}  // namespace
