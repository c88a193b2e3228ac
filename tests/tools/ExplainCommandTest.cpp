#include <gtest/gtest.h>
#include <tests/support/TemporaryFolder.h>
#include <tests/tools/Program.h>

#include <algorithm>
#include <string>
#include <vector>

namespace {

using TestSupport::dvrequest;
using TestSupport::linesOf;
using TestSupport::ProgramRun;

ProgramRun explain(const std::string& type, const std::string& fragment = TestSupport::fragment()) {
  return dvrequest({"explain", "-f", fragment, type});
}

bool hasLine(const std::string& text, const std::string& line) {
  const auto lines = linesOf(text);
  return std::find(lines.begin(), lines.end(), line) != lines.end();
}

TEST(ExplainCommand, ShowsElementsAndAttributesWithOccurrencesAndTypes) {
  const ProgramRun run = explain("SubmitSimulation");
  EXPECT_EQ(run.exitCode, 0);
  for (const char* line : {
           "SubmitSimulation, extends Request",
           "  @id                         1     DVUid: pattern [0-9A-Fa-f]{16}-[0-9A-Fa-f]{16}-[0-9A-Fa-f]{16}",
           "  jobId                       1     DVJobId",
           "    name                      1     xs:string",
           "    requestServerPort         0..1  xs:int",
           "  priority                    0..1  'low', 'normal', 'high'",
           "    @href                     1     at least 6 characters",
           "  realization                 1..*  DVPellamParameterVector",
           "    (one of)                  1..*",
           "      parameter               1",
       }) {
    EXPECT_TRUE(hasLine(run.output, line)) << line << "\n" << run.output;
  }
}

TEST(ExplainCommand, EndsWhereATypeHoldsItself) {
  const ProgramRun run = explain("DVException");
  EXPECT_EQ(run.exitCode, 0);
  EXPECT_TRUE(hasLine(run.output, "  innerException              0..1  DVException, as above")) << run.output;
}

TEST(ExplainCommand, NamesTheTypesThereAre) {
  const ProgramRun run = explain("Submit");
  EXPECT_EQ(run.exitCode, 2);
  EXPECT_EQ(run.errors.rfind("dvrequest: the schema has no type or root element 'Submit'; it has ", 0), 0U);
  EXPECT_NE(run.errors.find(" SubmitSimulation "), std::string::npos) << run.errors;
  EXPECT_NE(run.errors.find(" DV_ReplyScript"), std::string::npos) << run.errors;
}

TEST(ExplainCommand, RefusesBrokenFragments) {
  const TestSupport::TemporaryFolder folder;
  EXPECT_EQ(explain("Request", folder.write("broken.xsd", "<xs:element name='a' type='dvrq:None'/>")).exitCode, 4);
}

/// The example is taken as it stands, and checked by the other command.
void expectExample(const std::string& type, const std::string& fragment) {
  const ProgramRun run = explain(type, fragment);
  const std::size_t start = run.output.find("\n\n<");
  ASSERT_NE(start, std::string::npos) << run.output;
  const ProgramRun check = dvrequest({"check", "-f", fragment, "-"}, run.output.substr(start + 2));
  EXPECT_EQ(check.exitCode, 0) << check.output << run.output;
}

TEST(ExplainCommand, ShowsAnExampleThatValidates) {
  for (const char* type :
       {"SubmitSimulation", "CancelSimulation", "SimulationResult", "SimulationFailed", "Request", "Reply", "DVJobId",
        "DVUid", "DVData", "LogMessage", "DVException", "HostDescription", "DVPellamParameterVector",
        "DV_RequestPackage", "DV_ReplyPackage", "DV_Request", "DV_Reply", "DV_RequestScript", "DV_ReplyScript"}) {
    SCOPED_TRACE(type);
    expectExample(type, TestSupport::fragment());
  }
}

TEST(ExplainCommand, MakesValuesOfTypesWithFacets) {
  const TestSupport::TemporaryFolder folder;
  std::string fragment = "<xs:complexType name='T'><xs:complexContent><xs:extension base='dvrq:Request'><xs:sequence>";
  for (const char* restriction :
       {"<xs:restriction base='xs:string'><xs:pattern value='[A-Z]{2}-\\d+(a|b)?[^x]'/></xs:restriction>",
        "<xs:restriction base='xs:string'><xs:minLength value='9'/></xs:restriction>",
        "<xs:restriction base='xs:string'><xs:maxLength value='2'/></xs:restriction>",
        "<xs:restriction base='xs:int'><xs:minInclusive value='7'/></xs:restriction>",
        "<xs:restriction base='xs:int'><xs:minExclusive value='7'/></xs:restriction>",
        "<xs:restriction base='xs:int'><xs:maxInclusive value='-7'/></xs:restriction>",
        "<xs:restriction base='xs:double'><xs:maxInclusive value='0.5'/></xs:restriction>",
        "<xs:list itemType='xs:date'/>", "<xs:union memberTypes='xs:boolean xs:time'/>"}) {
    fragment += std::string("<xs:element name='e'><xs:simpleType>") + restriction + "</xs:simpleType></xs:element>";
  }
  std::size_t number = 0;
  for (std::size_t at = fragment.find("name='e'"); at != std::string::npos; at = fragment.find("name='e'", at)) {
    fragment.replace(at + 6, 1, "e" + std::to_string(number++));
  }
  fragment += "</xs:sequence></xs:extension></xs:complexContent></xs:complexType>";
  expectExample("T", folder.write("facets.xsd", fragment));
}

}  // namespace
