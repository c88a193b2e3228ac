// What the check command says of refused documents: places, hints and verdicts.

#include <gtest/gtest.h>
#include <tests/support/TemporaryFolder.h>
#include <tests/tools/Program.h>

#include <algorithm>
#include <nlohmann/json.hpp>
#include <ostream>
#include <string>
#include <vector>

namespace {

using nlohmann::json;
using TestSupport::dvrequest;
using TestSupport::linesOf;
using TestSupport::ProgramRun;

const std::string c_open =
    "<DV_Request xmlns='http://drelvan.example/schemas/DVRequests.xsd' "
    "xmlns:xsi='http://www.w3.org/2001/XMLSchema-instance'>\n";
const std::string c_request = "<request id='e41c0b7d93f2a586-0011223344556677-8899aabbccddeeff'/>";
const std::string c_close = "</DV_Request>";

json check(const std::string& document, std::vector<std::string> options = {}) {
  options.insert(options.begin(), {"check", "--format", "json", "-f", TestSupport::fragment()});
  options.push_back("-");
  return json::parse(dvrequest(options, document).output);
}

bool hasLine(const std::string& text, const std::string& line) {
  const auto lines = linesOf(text);
  return std::find(lines.begin(), lines.end(), line) != lines.end();
}

json fatalError(const json& report) {
  for (const json& diagnostic : report.at("diagnostics")) {
    if (diagnostic.at("severity") == "fatal error") {
      return diagnostic;
    }
  }
  return {};
}

struct Slip {
  const char* name;
  std::string document;
  int line;
  int column;
  const char* hint;  ///< its start
};

/// In UTF-16, with a byte order mark.
std::string utf16(const std::string& ascii) {
  std::string result = "\xff\xfe";
  for (const char character : ascii) {
    result += {character, '\0'};
  }
  return result;
}

void PrintTo(const Slip& slip, std::ostream* stream) { *stream << slip.name; }

class Slips : public testing::TestWithParam<Slip> {};

TEST_P(Slips, AreNamedWithPlaceAndHint) {
  for (const std::vector<std::string>& options : {std::vector<std::string>{}, {"--no-validate"}}) {
    const json report = check(GetParam().document, options);
    EXPECT_EQ(report.at("verdict"), "not-well-formed");
    const json diagnostic = fatalError(report);
    EXPECT_EQ(diagnostic.at("line"), GetParam().line) << diagnostic;
    EXPECT_EQ(diagnostic.at("column"), GetParam().column) << diagnostic;
    EXPECT_EQ(diagnostic.at("hint").get<std::string>().rfind(GetParam().hint, 0), 0U) << diagnostic;
  }
}

INSTANTIATE_TEST_SUITE_P(
    Syntax, Slips,
    testing::Values(
        Slip{"Latin-1", c_open + c_request + "\n<!-- caf\xe9 -->" + c_close, 3, 9,
             "the bytes 0xE9 are not UTF-8; in ISO-8859-1 the first is '\xc3\xa9'"},
        Slip{"Windows-1252", c_open + "<!-- \x93quoted\x94 -->" + c_request + c_close, 2, 6,
             "the bytes 0x93 are not UTF-8; save the document as UTF-8, or name its encoding: <?xml version=\"1.0\" "
             "encoding=\"windows-1252\"?>"},
        Slip{"not ASCII",
             "<?xml version='1.0' encoding='us-ascii'?>\n" + c_open + "<!-- \xc3\xa9 -->" + c_request + c_close, 3, 6,
             "the bytes 0xC3 0xA9 are UTF-8, but the document names the encoding us-ascii"},
        Slip{"unknown encoding", "<?xml version='1.0' encoding='klingon'?>\n" + c_open + c_request + c_close, 1, 41,
             "the encoding klingon is not known here"},
        Slip{"UTF-16 that names UTF-8", utf16("<?xml version='1.0' encoding='UTF-8'?>\n" + c_open + c_close), 1, 21,
             "the document is in UTF-16, but its XML declaration names UTF-8; name UTF-16 there"},
        Slip{"ampersand in UTF-16", utf16("<?xml version='1.0' encoding='UTF-16'?>\n" + c_open + "A & B" + c_close), 3,
             3, "write a literal '&' as &amp;"},
        Slip{"line feed of one byte after UTF-16",
             utf16("<?xml version='1.0' encoding='UTF-16'?>\n" + c_open + "A & B" + c_close) + "\n", 3, 3,
             "write a literal '&' as &amp;"},
        Slip{"ampersand after characters beyond the first plane",
             "<?xml version='1.0' encoding='GB18030'?>" + c_open + "<!-- \x90\x30\x81\x30 -->A & B" + c_close, 2, 13,
             "write a literal '&' as &amp;"},
        Slip{"byte order mark", "\xef\xbb\xbf" + c_open + "<request id='a'x='b'/>" + c_close, 2, 16,
             "leave a blank between two attributes"},
        Slip{"line ends of XML 1.1",
             "<?xml version='1.1'?>\xc2\x85" + c_open + "\xe2\x80\xa8\r\xc2\x85\r\n<a>&</a>" + c_close, 6, 4,
             "write a literal '&' as &amp;"},
        Slip{"error before bytes that do not fit", c_open + "<a>&</a>" + std::string(9000, ' ') + "\xe9" + c_close, 2,
             4, "write a literal '&' as &amp;"},
        Slip{"ampersand", c_open + "<!-- -->A & B" + c_request + c_close, 2, 11, "write a literal '&' as &amp;"},
        Slip{"ampersand in a value", c_open + "<request id='R&D'/>" + c_close, 2, 15, "write a literal '&' as &amp;"},
        Slip{"entity", c_open + "<request id='&eacute;'/>" + c_close, 2, 14, "the predefined entities are &amp; &lt;"},
        Slip{"quotes", c_open + "<request id=e41c/>" + c_close, 2, 13, "write the value of an attribute in quotes"},
        Slip{"unclosed quote", c_open + "<request id='e41c/>\n<a b='c'/>" + c_close, 3, 7,
             "leave a blank between two attributes; or the value before"},
        Slip{"no quote to the end", c_open + "<request id='e41c/>" + c_close, 2, 33, "the document ends within a tag"},
        Slip{"less-than", c_open + "<request id='a<b'/>" + c_close, 2, 15, "write a '<' in a value as &lt;"},
        Slip{"no blank", c_open + "<request id='a'x='b'/>" + c_close, 2, 16, "leave a blank between two attributes"},
        Slip{"twice", c_open + "<request id='a' id='b'/>" + c_close, 2, 25, "an element has each attribute once"},
        Slip{"text after the root", c_open + c_request + c_close + "\ntext", 3, 1, "a document has one root element"},
        Slip{"text before the root", "<?xml version='1.0'?>text" + c_open + c_request + c_close, 1, 22,
             "a document has one root element"},
        Slip{"second root", c_open + c_request + c_close + "\n<more/>", 3, 1, "a document has one root element"},
        Slip{"wrong end", c_open + "<request>\n</reqest>" + c_close, 3, 1, "<request> was opened at 2:1"},
        Slip{"no end", c_open + c_request, 2, 67, "<DV_Request> was opened at 1:1"},
        Slip{"control character", c_open + "<!-- \x01 -->" + c_request + c_close, 2, 6,
             "the control character U+0001 is not allowed"},
        Slip{"NUL", c_open + std::string(1, '\0') + c_request + c_close, 2, 1,
             "the control character U+0000 is not allowed"},
        Slip{"prefix", c_open + "<x:request/>" + c_close, 2, 1, "declare the prefix"},
        Slip{"blank before the declaration", " <?xml version='1.0'?>" + c_open + c_request + c_close, 1, 2,
             "the XML declaration must be at the very start of the document"},
        Slip{"JSON", "{\"id\": 1}", 1, 1, "the input looks like JSON"},
        Slip{"gzip", "\x1f\x8b\x08 and more", 1, 1, "the input looks like a gzip file"},
        Slip{"nothing", " \n", 2, 1, "there is no document"}));

TEST(Diagnostics, ShowTheLineWithACaretBelowThePlace) {
  const ProgramRun run = dvrequest({"check", "-"}, c_open + "\t<!-- \xc3\xa4 --><request id='\xc3\xa9'/>\n" + c_close);
  EXPECT_TRUE(hasLine(run.output, "    2 |  <!-- \xc3\xa4 --><request id='\xc3\xa9'/>")) << run.output;
  EXPECT_TRUE(hasLine(run.output, "      | " + std::string(20, ' ') + "^")) << run.output;
}

TEST(Diagnostics, ShowAPieceOfALongLine) {
  const std::string padding = "<!-- " + std::string(300, 'x') + " -->";
  const ProgramRun run = dvrequest({"check", "-"}, c_open + padding + "<request id='a'/>" + padding + c_close);
  for (const std::string& line : linesOf(run.output)) {
    if (line.find('|') != std::string::npos) {
      EXPECT_LE(line.size(), 140U) << line;
    }
  }
  EXPECT_NE(run.output.find("<request id='a'/>"), std::string::npos) << run.output;
}

TEST(Diagnostics, ConvertALongDocument) {
  const std::string padding = "<!-- " + std::string(40000, 'x') + " \x93\xfa\x96\x7b -->\n";
  const json report = check("<?xml version='1.0' encoding='Shift_JIS'?>\n" + c_open + padding + "<more/>" + c_close);
  EXPECT_EQ(report.at("verdict"), "invalid");
  EXPECT_EQ(report.at("diagnostics").at(0).at("line"), 4);
  EXPECT_EQ(report.at("diagnostics").at(0).at("path"), "/DV_Request/more");
}

TEST(Diagnostics, SayWhatAValueIsWhenTheMessageDoesNot) {
  const ProgramRun run =
      dvrequest({"check", "-f", TestSupport::fragment(), TestSupport::package("bad-parameter-value.xml")});
  EXPECT_TRUE(
      hasLine(run.output, "    hint: the value is '0,23'; a number has a point, not a comma, before its fraction"))
      << run.output;
}

TEST(Diagnostics, ShowTheStartOfALongValue) {
  const json report = check(c_open + "<request id='" + std::string(100000, 'x') + "'/>" + c_close);
  EXPECT_EQ(report.at("diagnostics").at(0).at("hint"), "the value is '" + std::string(100, 'x') + "...'");
}

TEST(Diagnostics, SayWhichTypeAMessageOnContentMeans) {
  const ProgramRun run =
      dvrequest({"check", "-f", TestSupport::fragment(), TestSupport::package("bad-missing-element.xml")});
  EXPECT_NE(run.output.find("hint: the message shows the content of the declared type Request; what counts is that of "
                            "SubmitSimulation, which xsi:type names"),
            std::string::npos)
      << run.output;
}

TEST(Diagnostics, TellARefusedSchemaHintFromAnInvalidDocument) {
  const std::string hint = " xsi:schemaLocation='urn:x x.xsd'";
  std::string document = c_open + c_request + c_close;
  document.insert(document.find('>'), hint);
  for (const std::vector<std::string>& options : {std::vector<std::string>{}, {"--no-validate"}}) {
    const json report = check(document, options);
    EXPECT_EQ(report.at("verdict"), "refused");
    const json diagnostic = report.at("diagnostics").at(0);
    EXPECT_EQ(diagnostic.at("line"), 1);
    EXPECT_EQ(diagnostic.at("column"), document.find("xsi:schemaLocation") + 1);
    EXPECT_EQ(diagnostic.at("path"), "/DV_Request/@schemaLocation");
    EXPECT_NE(diagnostic.at("hint").get<std::string>().find("follows no xsi:schemaLocation"), std::string::npos);
  }
  EXPECT_EQ(dvrequest({"check", "--no-validate", "-"}, document).exitCode, 1);
  document.replace(document.find("id='"), 3, "no=");
  EXPECT_EQ(check(document).at("verdict"), "invalid");
}

TEST(Diagnostics, PlaceASchemaHintInATagThatIsNotWellFormed) {
  std::string tag = "<u:request xsi:noNamespaceSchemaLocation='x.xsd'/>";
  const json hint = check(c_open + tag + c_close).at("diagnostics").at(1);
  EXPECT_EQ(hint.at("severity"), "warning");
  EXPECT_EQ(hint.at("line"), 2);
  EXPECT_EQ(hint.at("column"), tag.find("xsi:") + 1);
  EXPECT_EQ(hint.at("path"), "/DV_Request/@noNamespaceSchemaLocation");
}

TEST(Diagnostics, FindWhatIsNotWellFormedAfterADocumentTypeDeclaration) {
  const std::string doctype = "<!DOCTYPE DV_Request [<!ENTITY e '<request/>'>]>\n";
  EXPECT_EQ(dvrequest({"check", "--no-validate", "-"}, doctype + c_open + c_close).exitCode, 0);
  EXPECT_EQ(dvrequest({"check", "--no-validate", "-"}, doctype + c_open + "&e;").exitCode, 3);
  EXPECT_EQ(dvrequest({"check", "--no-validate", "-"}, "<!DOCTYPE a [<!ELEMENT>]><a/>").exitCode, 3);
  EXPECT_EQ(dvrequest({"check", "--no-validate", "-"}, "<!DOCTYPE a [<!ENTITY e '<b>'>]><a>&e;</a>").exitCode, 3);
}

/// The line of the fatal error of a document with 25 wrong ids, one a line, and `more` after them.
json fatalErrorAfterOthers(const std::string& more) {
  std::string document = c_open;
  document.replace(document.find("DV_Request"), 10, "DV_RequestScript");
  for (int number = 0; number < 25; ++number) {
    document += "<request id='x'/>\n";
  }
  return fatalError(check(document + more + "</DV_RequestScript>"));
}

TEST(Diagnostics, PlaceWhatTheLibraryRejectsAfterManyErrors) {
  std::string errors;
  std::string levels = "\n";
  std::string attributes = "<request id='" + std::string(48, '0') + "'";
  for (int number = 0; number < 1200; ++number) {
    errors += "<request id='x'/>\n";
    levels += "<a>\n";
    attributes += number < 160 ? " xmlns:a" + std::to_string(number) + "='urn:x'" : "";
  }
  const json ofErrors = fatalErrorAfterOthers(errors);
  EXPECT_EQ(ofErrors.at("message"), "The document exceeds the limit of 1000 reported errors.");
  EXPECT_EQ(ofErrors.at("line"), 1002);
  const json ofDepth = fatalErrorAfterOthers(levels);
  EXPECT_EQ(ofDepth.at("message"), "The document exceeds the limit of 1000 levels of elements.");
  EXPECT_EQ(ofDepth.at("line"), 1027);
  const json ofNamespaces = fatalErrorAfterOthers(attributes + "/>");
  EXPECT_EQ(ofNamespaces.at("message"), "The document exceeds the limit of 150 namespaces named by an element.");
  EXPECT_EQ(ofNamespaces.at("line"), 26);
  EXPECT_EQ(ofNamespaces.at("hint"), "this is the position of the previous error; the rejected part follows it");
  EXPECT_TRUE(ofNamespaces.at("loggedLine").is_null());
}

TEST(Diagnostics, TellWhatTheLibraryRefusesFromInvalidDocuments) {
  EXPECT_EQ(check("<!DOCTYPE a SYSTEM 'a.dtd'><a/>", {"--no-validate"}).at("verdict"), "refused");
  EXPECT_EQ(check("<!DOCTYPE a><a/>").at("verdict"), "refused");
  EXPECT_EQ(check("<?xml version='1.2'?>" + c_open + c_request + c_close).at("verdict"), "refused");
  std::string deep = c_open;
  for (int level = 0; level < 1001; ++level) {
    deep += "<a>";
  }
  const json report = check(deep, {"--no-validate"});
  EXPECT_EQ(report.at("verdict"), "refused");
  EXPECT_EQ(report.at("diagnostics").at(0).at("line"), 2);
}

}  // namespace
