#include <gtest/gtest.h>
#include <sys/stat.h>
#include <tests/support/TemporaryFolder.h>
#include <tests/tools/Program.h>

#include <algorithm>
#include <nlohmann/json.hpp>
#include <ostream>
#include <string>
#include <vector>

namespace {

using nlohmann::json;
using TestSupport::allPackages;
using TestSupport::dvrequest;
using TestSupport::fragment;
using TestSupport::linesOf;
using TestSupport::package;
using TestSupport::ProgramRun;
using TestSupport::TemporaryFolder;

const std::string c_envelope =
    "<DV_Request xmlns='http://drelvan.example/schemas/DVRequests.xsd' "
    "xmlns:xsi='http://www.w3.org/2001/XMLSchema-instance'>";
const std::string c_request = "<request id='e41c0b7d93f2a586-0011223344556677-8899aabbccddeeff'/>";
const std::string c_valid = c_envelope + c_request + "</DV_Request>";
const std::string c_invalid = c_envelope + "</DV_Request>";
const std::string c_broken = c_envelope;

ProgramRun check(const std::vector<std::string>& files, std::vector<std::string> options = {}) {
  options.insert(options.begin(), {"check", "-f", fragment()});
  options.insert(options.end(), files.begin(), files.end());
  return dvrequest(options);
}

json checkAsJson(const std::string& file, const std::vector<std::string>& options = {}) {
  std::vector<std::string> all{"--format", "json"};
  all.insert(all.end(), options.begin(), options.end());
  return json::parse(check({file}, all).output);
}

bool hasLine(const std::string& text, const std::string& line) {
  const auto lines = linesOf(text);
  return std::find(lines.begin(), lines.end(), line) != lines.end();
}

TEST(CheckCommand, GivesEachExamplePackageTheVerdictOfItsName) {
  for (const std::string& name : allPackages()) {
    const std::string verdict = checkAsJson(package(name)).at("verdict");
    const bool isBad = name.rfind("bad-", 0) == 0;
    EXPECT_EQ(verdict, !isBad ? "valid" : name == "bad-not-well-formed.xml" ? "not-well-formed" : "invalid") << name;
  }
}

TEST(CheckCommand, LeavesOutWhatOnlyLooksLikeAValueAndGoesOn) {
  const TemporaryFolder folder;
  const std::string odd = folder.write(
      "odd.xml", c_envelope +
                     "<request id='e41c0b7d93f2a586-0011223344556677-8899aabbccddeeff'><realization>"
                     "<realizationId>1</realizationId><parameter><id>a<b/></id><value>1</value></parameter>"
                     "</realization></request></DV_Request>");
  const std::string valid = folder.write("valid.xml", c_valid);
  const ProgramRun run = check({odd, valid}, {"--no-validate"});
  EXPECT_EQ(run.exitCode, 0);
  EXPECT_EQ(run.errors, "");
  EXPECT_TRUE(hasLine(run.output, odd + ": well-formed, not validated")) << run.output;
  EXPECT_TRUE(hasLine(run.output, valid + ": well-formed, not validated")) << run.output;
}

TEST(CheckCommand, ShowsWhatAValidRequestHolds) {
  const ProgramRun run = check({package("request.xml")});
  EXPECT_EQ(run.exitCode, 0);
  EXPECT_EQ(run.errors, "");
  EXPECT_EQ(linesOf(run.output).front(), package("request.xml") + ": valid");
  for (const char* line : {
           "  kind             request package",
           "  serial           4711",
           "  origin           PellamConnector@127.0.0.1 (default)",
           "  client id        8d3f1a6b0c5e2794-1f2e3d4c5b6a7988-77665544332211ff",
           "  reply to         wks-214.lab.example:5556",
           "  request          e41c0b7d93f2a586-0011223344556677-8899aabbccddeeff, SubmitSimulation",
           "  job              jobId: Aquifer_a3f09c51de a3f09c51de7b2468-13579bdf02468ace-fedcba9876543210",
           "  host             client: name:wks-214.lab.example, ip:10.20.3.214, requestServerPort:5555, "
           "publisherPort:5556",
           "  parameters       realization 17: porosity = 0.23, permeability = 1.5e-12, licence = (encrypted)",
           "  data             model: file://fileserver/models/aquifer-7.grid (aquifer-7)",
       }) {
    EXPECT_TRUE(hasLine(run.output, line)) << line << "\n" << run.output;
  }
}

TEST(CheckCommand, ShowsWhatAValidReplyHolds) {
  const ProgramRun result = check({package("reply.xml")});
  EXPECT_TRUE(hasLine(result.output,
                      "  reply            to e41c0b7d93f2a586-0011223344556677-8899aabbccddeeff, SimulationResult"));
  EXPECT_TRUE(hasLine(result.output, "  log              Warning [Solver] Realization 18: 3 time steps were halved"));
  const ProgramRun failed = check({package("reply-failed.xml")});
  EXPECT_TRUE(hasLine(failed.output, "  exception        SolverException: No convergence within 1000 iterations"));
  EXPECT_TRUE(hasLine(failed.output, "  exception        MatrixException: The system matrix is singular"));
}

TEST(CheckCommand, SaysWhenAJobIdDoesNotBelongToItsName) {
  const TemporaryFolder folder;
  std::string text = TemporaryFolder::read(package("request.xml"));
  text.replace(text.find("Aquifer_a3f09c51de"), 18, "Aquifer_0000000000");
  const ProgramRun run = check({folder.write("request.xml", text)});
  EXPECT_EQ(run.exitCode, 0);
  EXPECT_NE(run.output.find("(the name does not belong to the id)"), std::string::npos) << run.output;
}

struct ExpectedError {
  const char* file;
  const char* start;  ///< after the file's name, of the first line
  const char* path;
  const char* allowed;
};

void PrintTo(const ExpectedError& expected, std::ostream* stream) { *stream << expected.file; }

class ErrorsOfPackages : public testing::TestWithParam<ExpectedError> {};

TEST_P(ErrorsOfPackages, AreShownWithPlacePathAndWhatIsAllowed) {
  const ExpectedError& expected = GetParam();
  const ProgramRun run = check({package(expected.file)});
  EXPECT_EQ(run.output.rfind(package(expected.file) + expected.start, 0), 0U) << run.output;
  EXPECT_TRUE(hasLine(run.output, std::string("    in ") + expected.path)) << run.output;
  EXPECT_TRUE(hasLine(run.output, std::string("    allowed here: ") + expected.allowed)) << run.output;
  EXPECT_EQ(checkAsJson(package(expected.file)).at("diagnostics").size(), 1U);
}

INSTANTIATE_TEST_SUITE_P(
    Examples, ErrorsOfPackages,
    testing::Values(
        ExpectedError{"bad-version.xml", ":3:5: error: attribute 'version' has value '4.2.0'",
                      "/DV_RequestPackage/@version", "'5.0.0'"},
        ExpectedError{"bad-missing-request-client-id.xml", ":2:1: error: missing required attribute 'requestClientId'",
                      "/DV_RequestPackage/@requestClientId", "pattern [0-9A-Fa-f]{16}-[0-9A-Fa-f]{16}-[0-9A-Fa-f]{16}"},
        ExpectedError{"bad-uid.xml", ":4:5: error: value '8d3f1a6b0c5e279-", "/DV_RequestPackage/@clientId",
                      "pattern [0-9A-Fa-f]{16}-[0-9A-Fa-f]{16}-[0-9A-Fa-f]{16}"},
        ExpectedError{"bad-enumeration.xml", ":18:5: error: value 'urgent' not in enumeration",
                      "/DV_RequestPackage/request/priority", "'low', 'normal', 'high'"},
        ExpectedError{"bad-unknown-element.xml", ":19:5: error: no declaration found for element 'colour'",
                      "/DV_RequestPackage/request/colour", "<model>"},
        ExpectedError{"bad-missing-element.xml", ":8:5: error: element 'client' is not allowed",
                      "/DV_RequestPackage/request/client", "<jobId>"},
        ExpectedError{"bad-no-parameter.xml", ":29:5: error: missing elements in content model",
                      "/DV_RequestPackage/request/realization[2]", "<parameter>, <encryptedParameter>"},
        ExpectedError{"bad-parameter-value.xml", ":23:35: error: invalid character encountered",
                      "/DV_RequestPackage/request/realization[1]/parameter[1]/value", "type xs:double"},
        ExpectedError{"bad-short-href.xml", ":20:9: error: value 'a.grd' has length '5'",
                      "/DV_RequestPackage/request/model/@href", "at least 6 characters"},
        ExpectedError{"bad-negative-data-size.xml", ":19:101: error: value '-1' must be greater than or equal to",
                      "/DV_RequestPackage/request/model/@dataSize", "at least 0, type xs:long"},
        ExpectedError{"bad-unknown-type.xml",
                      ":7:12: error: type 'StartSimulation' specified in 'xsi:type' cannot be resolved",
                      "/DV_RequestPackage/request",
                      "xsi:type=\"CancelSimulation\", xsi:type=\"Request\", xsi:type=\"SubmitSimulation\""},
        ExpectedError{"bad-missing-type.xml", ":7:3: error: no character data is allowed by content model",
                      "/DV_RequestPackage/request",
                      "</request>, xsi:type=\"CancelSimulation\", xsi:type=\"SubmitSimulation\""},
        ExpectedError{"bad-namespace.xml", ":2:1: error: no declaration found for element 'DV_RequestPackage'",
                      "/DV_RequestPackage", "namespace http://drelvan.example/schemas/DVRequests.xsd"},
        ExpectedError{"bad-not-well-formed.xml", ":32:3: fatal error: expected end of tag 'request'",
                      "/DV_RequestPackage/request", "</request>"}));

TEST(CheckCommand, ShowsSeveralErrorsInTheOrderOfTheDocument) {
  const TemporaryFolder folder;
  std::string text = TemporaryFolder::read(package("bad-short-href.xml"));
  text.replace(text.find("0.27"), 4, "much");
  text.replace(text.find("serial=\"4711\""), 13, "serial=\"-4711\"");
  const json diagnostics = checkAsJson(folder.write("request.xml", text)).at("diagnostics");
  ASSERT_EQ(diagnostics.size(), 3U) << diagnostics;
  EXPECT_EQ(diagnostics[0].at("path"), "/DV_RequestPackage/@serial");
  EXPECT_EQ(diagnostics[1].at("path"), "/DV_RequestPackage/request/model/@href");
  EXPECT_EQ(diagnostics[2].at("path"), "/DV_RequestPackage/request/realization[2]/parameter[1]/value");
}

TEST(CheckCommand, SaysWhereAServiceLogsAnErrorAndHowManyMessagesComeOfIt) {
  const ProgramRun run = check({package("bad-namespace.xml")});
  EXPECT_TRUE(hasLine(run.output, "    a service logs it at 6:98")) << run.output;
  EXPECT_TRUE(hasLine(run.output, "    further messages from the same cause: 13")) << run.output;
}

TEST(CheckCommand, CountsColumnsInCharactersAfterMultiByteText) {
  const TemporaryFolder folder;
  const ProgramRun run =
      check({folder.write("r.xml", c_envelope + "\n<!-- \xc3\xa4\xf0\x9f\x98\x80 --><request/></DV_Request>")});
  EXPECT_EQ(linesOf(run.output).front(), folder.file("r.xml") + ":2:12: error: missing required attribute 'id'");
}

TEST(CheckCommand, FindsPlacesAfterAByteOrderMarkAndWindowsLineEnds) {
  const TemporaryFolder folder;
  const ProgramRun run = check({folder.write(
      "r.xml", "\xef\xbb\xbf<?xml version='1.0'?>\r\n" + c_envelope + "\r\n  <request\r\n  x='1'/></DV_Request>")});
  const auto lines = linesOf(run.output);
  EXPECT_EQ(lines.front(), folder.file("r.xml") + ":3:3: error: missing required attribute 'id'") << run.output;
  EXPECT_TRUE(
      hasLine(run.output, folder.file("r.xml") + ":4:3: error: attribute 'x' is not declared for element 'request'"))
      << run.output;
}

TEST(CheckCommand, FindsPlacesInLinesOfManyKilobytes) {
  const TemporaryFolder folder;
  std::string text = c_envelope + "\n";
  for (int count = 0; count < 1000; ++count) {
    text += "<!-- \xf0\x9f\x98\x80 -->";
  }
  const ProgramRun run = check({folder.write("r.xml", text + "<request/>\n</DV_Request>")});
  EXPECT_EQ(linesOf(run.output).front(), folder.file("r.xml") + ":2:10001: error: missing required attribute 'id'");
}

TEST(CheckCommand, FindsPlacesInDocumentsOfOtherEncodings) {
  const TemporaryFolder folder;
  const std::string text =
      "<?xml version='1.0' encoding='ISO-8859-1'?>\n<DV_Request xmlns='http://drelvan.example/schemas/"
      "DVRequests.xsd'>\n<!-- \xe9 --><request/>\n</DV_Request>";
  const ProgramRun run = check({folder.write("r.xml", text)});
  EXPECT_EQ(linesOf(run.output).front(), folder.file("r.xml") + ":3:11: error: missing required attribute 'id'");
  EXPECT_TRUE(hasLine(run.output, "    3 | <!-- \xc3\xa9 --><request/>")) << run.output;
}

TEST(CheckCommand, ReadsStandardInput) {
  const ProgramRun good = dvrequest({"check", "-"}, c_valid);
  EXPECT_EQ(good.exitCode, 0);
  EXPECT_EQ(linesOf(good.output).front(), "-: valid");
  const ProgramRun bad = dvrequest({"check", "-"}, c_invalid);
  EXPECT_EQ(bad.exitCode, 1);
  EXPECT_EQ(bad.output.rfind("-:1:", 0), 0U) << bad.output;
  EXPECT_EQ(dvrequest({"check", "-"}, "").exitCode, 3);
}

TEST(CheckCommand, TakesAFolderAsItsDocumentsInTheOrderOfTheirNames) {
  const TemporaryFolder folder;
  ASSERT_EQ(::mkdir(folder.file("b").c_str(), 0700), 0);
  folder.write("c.xml", c_valid);
  folder.write("b/x.xml", c_valid);
  folder.write("a.xml", c_valid);
  folder.write("notes.txt", "no document");
  const ProgramRun run = dvrequest({"check", "--format", "json", folder.path().string()});
  std::vector<std::string> files;
  for (const std::string& line : linesOf(run.output)) {
    files.push_back(json::parse(line).at("file"));
  }
  EXPECT_EQ(files, (std::vector<std::string>{folder.file("a.xml"), folder.file("b/x.xml"), folder.file("c.xml")}));
}

TEST(CheckCommand, EndsWithACodeForEachOutcome) {
  const TemporaryFolder folder;
  const std::string valid = folder.write("valid.xml", c_valid);
  const std::string invalid = folder.write("invalid.xml", c_invalid);
  const std::string broken = folder.write("broken.xml", c_broken);
  const std::string fragment = folder.write("fragment.xsd", "<xs:element name='a' type='dvrq:None'/>");
  const std::string missing = folder.file("missing.xml");
  EXPECT_EQ(dvrequest({"check", valid}).exitCode, 0);
  EXPECT_EQ(dvrequest({"check", invalid, valid}).exitCode, 1);
  EXPECT_EQ(dvrequest({"check", missing}).exitCode, 2);
  EXPECT_EQ(dvrequest({"check", broken, valid}).exitCode, 3);
  EXPECT_EQ(dvrequest({"check", "-f", fragment, valid}).exitCode, 4);
}

TEST(CheckCommand, LetsTheWorseOfSeveralOutcomesWin) {
  const TemporaryFolder folder;
  const std::string invalid = folder.write("invalid.xml", c_invalid);
  const std::string broken = folder.write("broken.xml", c_broken);
  const std::string missing = folder.file("missing.xml");
  EXPECT_EQ(dvrequest({"check", broken, invalid}).exitCode, 1);
  EXPECT_EQ(dvrequest({"check", broken, invalid, missing}).exitCode, 2);
  const std::string fragment = folder.write("fragment.xsd", "<xs:element name='a' type='dvrq:None'/>");
  EXPECT_EQ(dvrequest({"check", "-f", fragment, missing}).exitCode, 4);
}

TEST(CheckCommand, GoesOnAfterAFileThatCannotBeRead) {
  const TemporaryFolder folder;
  const ProgramRun run = dvrequest({"check", folder.file("missing.xml"), folder.write("valid.xml", c_valid)});
  EXPECT_EQ(run.exitCode, 2);
  EXPECT_EQ(run.errors, "dvrequest: cannot read '" + folder.file("missing.xml") + "': No such file or directory\n");
  EXPECT_TRUE(hasLine(run.output, folder.file("valid.xml") + ": valid"));
  EXPECT_TRUE(hasLine(run.output, "2 files: 1 valid, 1 unreadable"));
}

TEST(CheckCommand, SaysWhatToDoInAFolderWithoutDocuments) {
  const TemporaryFolder folder;
  const ProgramRun run = dvrequest({"check", folder.path().string()});
  EXPECT_EQ(run.exitCode, 2);
  EXPECT_NE(run.errors.find("no .xml file in"), std::string::npos) << run.errors;
}

TEST(CheckCommand, ExplainsWrongUse) {
  for (const std::vector<std::string>& arguments : std::vector<std::vector<std::string>>{
           {}, {"check"}, {"check", "--format", "xml", "-"}, {"chek"}, {"check", "--nope"}}) {
    const ProgramRun run = dvrequest(arguments);
    EXPECT_EQ(run.exitCode, 2);
    EXPECT_EQ(run.output, "");
    EXPECT_NE(run.errors.find("--help"), std::string::npos) << run.errors;
  }
}

TEST(CheckCommand, WithoutValidationAsksOnlyForWellFormedness) {
  EXPECT_EQ(checkAsJson(package("bad-version.xml"), {"--no-validate"}).at("verdict"), "well-formed");
  EXPECT_EQ(check({package("bad-version.xml")}, {"--no-validate"}).exitCode, 0);
  EXPECT_EQ(check({package("bad-not-well-formed.xml")}, {"--no-validate"}).exitCode, 3);
}

TEST(CheckCommand, RefusesADocumentTypeDeclarationAsInvalid) {
  const ProgramRun run = dvrequest({"check", "-"}, "<!DOCTYPE DV_Request [<!ENTITY a 'b'>]>" + c_valid);
  EXPECT_EQ(run.exitCode, 1) << run.output;
  EXPECT_NE(run.output.find("document type declaration"), std::string::npos) << run.output;
}

TEST(CheckCommand, SurvivesDocumentsOfAnyDepth) {
  std::string text = c_envelope;
  for (int level = 0; level < 100000; ++level) {
    text += "<request>";
  }
  const ProgramRun run = dvrequest({"check", "-"}, text);
  EXPECT_EQ(run.exitCode, 1) << run.output.substr(0, 1000);
}

TEST(CheckCommand, ShowsNothingOfADocumentThatSteersATerminal) {
  for (const char* character : {"\x7f", "\xc2\x9b", "\xd8\x9c", "\xe2\x80\xae", "\xe2\x81\xa6", "\xe2\x80\xa8"}) {
    const std::string document = c_envelope + "<request id='" + character + "[31m'/></DV_Request>";
    const ProgramRun run = dvrequest({"check", "-"}, document);
    EXPECT_EQ(run.exitCode, 1);
    EXPECT_EQ(run.output.find(character), std::string::npos) << run.output;
    const ProgramRun asJson = dvrequest({"check", "--format", "json", "-"}, document);
    EXPECT_EQ(asJson.output.find(character), std::string::npos) << asJson.output;
    const std::string message = json::parse(asJson.output).at("diagnostics").at(0).at("message");
    EXPECT_NE(message.find(character), std::string::npos) << message;
  }
}

TEST(CheckCommand, GivesOneJsonObjectOfFixedMembersPerFile) {
  const TemporaryFolder folder;
  const ProgramRun run =
      check({package("request.xml"), package("bad-uid.xml"), folder.file("missing.xml")}, {"--format", "json"});
  EXPECT_EQ(run.exitCode, 2);
  EXPECT_EQ(run.errors, "");
  const auto lines = linesOf(run.output);
  ASSERT_EQ(lines.size(), 3U);
  for (const std::string& line : lines) {
    const json report = json::parse(line);
    EXPECT_EQ(report.size(), 5U);
    for (const char* member : {"file", "verdict", "message", "package", "diagnostics"}) {
      EXPECT_TRUE(report.contains(member)) << member;
    }
  }
  EXPECT_EQ(json::parse(lines[2]).at("verdict"), "unreadable");
}

TEST(CheckCommand, GivesThePackageAsJson) {
  const json report = checkAsJson(package("request.xml"));
  const json& found = report.at("package");
  EXPECT_EQ(found.at("kind"), "request package");
  EXPECT_EQ(found.at("attributes").at("origin"), "PellamConnector@127.0.0.1");
  const json& entry = found.at("entries").at(0);
  EXPECT_EQ(entry.at("type"), "SubmitSimulation");
  EXPECT_EQ(entry.at("jobs").at(0).at("isValid"), true);
  EXPECT_EQ(entry.at("hosts").at(0).at("requestServerPort"), 5555);
  EXPECT_EQ(entry.at("parameterVectors").at(0).at("parameters").at(2).at("isEncrypted"), true);
  EXPECT_TRUE(report.at("message").is_null());
  EXPECT_TRUE(report.at("diagnostics").empty());
}

TEST(CheckCommand, GivesDiagnosticsAsJson) {
  const json report = checkAsJson(package("bad-enumeration.xml"));
  EXPECT_TRUE(report.at("package").is_null());
  EXPECT_EQ(report.at("message"), "Errors occurred while parsing input: value 'urgent' not in enumeration");
  EXPECT_EQ(report.at("diagnostics").at(0), json({{"line", 18},
                                                  {"column", 5},
                                                  {"severity", "error"},
                                                  {"message", "value 'urgent' not in enumeration"},
                                                  {"path", "/DV_RequestPackage/request/priority"},
                                                  {"allowed",
                                                   {{{"kind", "value"}, {"text", "low"}},
                                                    {{"kind", "value"}, {"text", "normal"}},
                                                    {{"kind", "value"}, {"text", "high"}}}},
                                                  {"hint", nullptr},
                                                  {"loggedLine", 18},
                                                  {"loggedColumn", 32},
                                                  {"consequences", 0}}));
}

TEST(CheckCommand, ShowsTheLibraryLogOnlyWhenAsked) {
  EXPECT_EQ(check({package("bad-uid.xml")}).errors, "");
  const ProgramRun run =
      TestSupport::program({"env", "DV_LOG_LEVEL=error", TestSupport::dvrequestPath(), "check", "-"}, c_invalid);
  EXPECT_NE(run.errors.find("XML error at file -, line 1, char "), std::string::npos) << run.errors;
}

/// Runs a shell command on a terminal of its own, and gives what the terminal shows.
std::string onTerminal(const std::string& command) {
  return TestSupport::program({"env", "TERM=xterm", "script", "-qec", command, "/dev/null"}).output;
}

TEST(CheckCommand, UsesColoursOnATerminalOnly) {
  const std::string command = TestSupport::dvrequestPath() + " check " + package("minimal-request.xml");
  EXPECT_NE(onTerminal(command).find("\033["), std::string::npos);
  EXPECT_EQ(onTerminal("NO_COLOR=1 " + command).find("\033["), std::string::npos);
  EXPECT_EQ(onTerminal("TERM=dumb " + command).find("\033["), std::string::npos);
  EXPECT_EQ(onTerminal(command + " | cat").find("\033["), std::string::npos);
  EXPECT_NE(onTerminal("NO_COLOR=1 " + command + " --color always | cat").find("\033["), std::string::npos);
  EXPECT_EQ(onTerminal(command + " --color never").find("\033["), std::string::npos);
}

TEST(CheckCommand, ShowsProgressOnATerminalWhenFilesTakeLong) {
  const TemporaryFolder folder;
  const std::string slow = folder.file("slow.xml");
  ASSERT_EQ(::mkfifo(slow.c_str(), 0600), 0);
  const std::string good = folder.write("good.xml", c_valid);
  const std::string feed = "(sleep 1; cat " + good + " > " + slow + ") & ";
  const std::string command = TestSupport::dvrequestPath() + " check " + slow + " " + good;
  EXPECT_NE(onTerminal(feed + command).find("] 1 of 2 files"), std::string::npos);
  EXPECT_EQ(onTerminal(feed + command + " 2>&1 | cat").find("of 2 files"), std::string::npos);
}

}  // namespace
