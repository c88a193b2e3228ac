// What one document may hold: the table of SECURITY.md, each limit from both sides.

#include <tests/Platform/RemoteComputation/Service/RequestHandlingBase/RequestXmlHelperHostileFixture.h>
#include <tests/support/Pattern.h>

#include <fstream>
#include <map>
#include <ostream>
#include <set>
#include <string>

namespace {

using RequestXmlHelperTests::c_instanceNamespace;
using RequestXmlHelperTests::HostileTest;
using RequestXmlHelperTests::Marked;
using RequestXmlHelperTests::numbered;
using RequestXmlHelperTests::repeated;

const std::string c_namespace = " xmlns='" + TestSupport::c_targetNamespace + "'";

/// The rows "| what | number | ..." of the section of limits.
std::map<std::string, std::size_t> documentedLimits() {
  std::map<std::string, std::size_t> result;
  std::ifstream file(SECURITY_DOCUMENT);
  const TestSupport::Pattern row(R"(\| ([^|]+) \| ([0-9]+) \|.*)");
  bool inSection = false;
  for (std::string line; std::getline(file, line);) {
    inSection = line.compare(0, 3, "## ") == 0 ? line == "## Limits" : inSection;
    const std::vector<std::string> match = row.groupsOf(line);
    if (inSection && !match.empty()) {
      result[match[1]] = std::stoul(match[2]);
    }
  }
  return result;
}

std::string start(const std::string& name, const std::string& attributes = "") {
  return "<" + name + c_namespace + attributes + ">";
}

std::string levels(std::size_t count) {
  return start("Nest") + repeated("<Nest>", count - 1) + "^" + repeated("</Nest>", count);
}

std::string attributes(std::size_t count) {
  return start("Open", numbered(count - 1, [](const auto& number) { return " a" + number + "=''"; })) + "^</Open>";
}

std::string namespaceDeclarations(std::size_t count) {
  const auto declaring = [](const auto& number) { return "<Nest xmlns:p='urn:" + number + "'/>"; };
  return start("Open") + numbered(count - 1, declaring) + "^</Open>";
}

std::string namespacesInScope(std::size_t count) {
  const auto declaration = [](const auto& number) { return " xmlns:p" + number + "='urn:" + number + "'"; };
  const std::size_t half = count / 2;
  return start("Open", numbered(half, declaration)) + "<e" + numbered(count - half - 2, declaration) +
         "><e xmlns:q='urn:q'>^</e></e></Open>";
}

std::string prefixes(std::size_t count) {
  const auto declaring = [](const auto& number) { return "<e xmlns:p" + number + "='urn:p'/>"; };
  return start("Open") + numbered(count, declaring) + "^</Open>";
}

std::string namespacesOfOneElement(std::size_t count) {
  const auto declaration = [](const auto& number) { return " xmlns:p" + number + "='urn:" + number + "'"; };
  return start("Open", numbered(count - 1, declaration)) + "^</Open>";
}

std::string longNamespace(std::size_t count) {
  return start("Open", " xmlns:p='" + std::string(count, 'n') + "'") + "^</Open>";
}

std::string undeclaredElements(std::size_t count) {
  return start("Open") + numbered(count, [](const auto& number) { return "<e" + number + "/>"; }) + "^</Open>";
}

/// One name in many namespaces has one hash.
std::string elementsOfOneHash(std::size_t count) {
  const auto element = [](const auto& number) { return "<e xmlns='urn:" + number + "'/>"; };
  return start("Open") + numbered(count, element) + "^</Open>";
}

std::string idsOfOneHash(std::size_t count) {
  const auto element = [](const auto& name) { return "<WithId id='" + name + "'/>"; };
  return start("Ids") + RequestXmlHelperTests::namedByOneHash(count, element) + "^</Ids>";
}

std::string invalidRequests(std::size_t count) {
  return start("DV_RequestScript") + repeated("<request id='x'/>", count) + "^</DV_RequestScript>";
}

std::string expansions(std::size_t count) {
  return "<!DOCTYPE r [<!ENTITY e 'x'>]><r>" + repeated("&e;", count) + "^</r>";
}

std::string longDoctype(std::size_t count) {
  const std::string begin = "<!DOCTYPE r [<!--";
  const std::string end = "-->]>";
  return begin + std::string(count - begin.size() - end.size(), 'x') + end + "<r/>";
}

std::string doctypeAttributes(std::size_t count) {
  const auto declaration = [](const auto& number) { return " a" + number + " CDATA #IMPLIED"; };
  return "<!DOCTYPE r [<!ATTLIST r" + numbered(count, declaration) + "^>]><r/>";
}

std::string doctypeLookups(std::size_t count) {
  const auto declaration = [](const auto& number) { return " a" + number + " CDATA #IMPLIED"; };
  return "<!DOCTYPE r [<!ATTLIST r" + numbered(10, declaration) + ">]><r>" + repeated("<e/>", count / 10 - 1) +
         (count % 10 == 0 ? "" : "<e/>") + "^</r>";
}

std::string doctypeDefaults(std::size_t count) {
  constexpr std::size_t length = 10000;
  return "<!DOCTYPE r [<!ATTLIST e a CDATA '" + std::string(length, 'x') + "'>]><r>" +
         repeated("<e/>", count / length - 1) + (count % length == 0 ? "" : "<e/>") + "^</r>";
}

/// How a limit is reached.
struct Limit {
  std::string what;
  std::string (*document)(std::size_t count);
  bool validated;
  bool unvalidated;

  friend std::ostream& operator<<(std::ostream& stream, const Limit& limit) { return stream << limit.what; }
};

const std::vector<Limit> c_limits = {
    {"levels of elements", levels, true, true},
    {"attributes of an element", attributes, true, true},
    {"namespace declarations", namespaceDeclarations, true, true},
    {"namespace declarations in scope", namespacesInScope, true, true},
    {"namespace prefixes of different names", prefixes, true, true},
    {"characters of a namespace name", longNamespace, true, true},
    {"undeclared elements of different names", undeclaredElements, true, true},
    {"undeclared elements whose names have the same hash", elementsOfOneHash, true, true},
    {"values of the type ID or IDREF that have the same hash", idsOfOneHash, true, false},
    {"attributes in its document type declaration", doctypeAttributes, false, true},
    {"lookups of attributes in its document type declaration", doctypeLookups, false, true},
    {"characters of its default attribute values", doctypeDefaults, false, true},
};

std::string refusal(std::size_t limit, const std::string& what) {
  return "The document exceeds the limit of " + std::to_string(limit) + " " + what + ".";
}

std::size_t limitOf(const std::string& what) {
  const auto limits = documentedLimits();
  const auto found = limits.find(what);
  EXPECT_NE(found, limits.end()) << "not documented: " << what;
  return found == limits.end() ? 1 : found->second;
}

class RequestXmlHelperHostileLimits : public HostileTest {};

class RequestXmlHelperHostileLimit : public HostileTest, public ::testing::WithParamInterface<Limit> {
 protected:
  static void expectLimit(bool validate) {
    const std::size_t limit = limitOf(GetParam().what);
    expectAccepted(Marked(GetParam().document(limit)).text, validate);
    expectRefused(Marked(GetParam().document(limit + 1)), validate, refusal(limit, GetParam().what));
    expectAccepted(Marked(GetParam().document(limit)).text, validate);
  }
};

TEST_P(RequestXmlHelperHostileLimit, HoldsFromBothSides) {
  if (GetParam().validated) {
    expectLimit(true);
  }
  if (GetParam().unvalidated) {
    expectLimit(false);
  }
}

INSTANTIATE_TEST_SUITE_P(Each, RequestXmlHelperHostileLimit, ::testing::ValuesIn(c_limits),
                         [](const auto& information) {
                           std::string name = information.param.what;
                           std::replace(name.begin(), name.end(), ' ', '_');
                           return name;
                         });

TEST_F(RequestXmlHelperHostileLimits, AreAllDocumented) {
  std::set<std::string> known = {"namespaces named by an element", "reported errors", "entity expansions",
                                 "bytes of document type declaration"};
  for (const Limit& limit : c_limits) {
    known.insert(limit.what);
  }
  std::set<std::string> documented;
  for (const auto& [what, limit] : documentedLimits()) {
    documented.insert(what);
  }
  EXPECT_EQ(documented, known);
}

TEST_F(RequestXmlHelperHostileLimits, NamespacesOfOneElementAreCountedBeforeItsAttributes) {
  const std::size_t limit = limitOf("namespaces named by an element");
  for (const bool validate : {true, false}) {
    expectAccepted(Marked(namespacesOfOneElement(limit)).text, validate);
    expectRefused(Marked(namespacesOfOneElement(limit + 1)), validate,
                  refusal(limit, "namespaces named by an element"));
  }
}

TEST_F(RequestXmlHelperHostileLimits, ErrorsAreReportedUpToTheLimit) {
  const std::size_t limit = limitOf("reported errors");
  for (const std::size_t count : {limit, limit + 1}) {
    EXPECT_ANY_THROW(parse(Marked(invalidRequests(count)).text, true));
    const auto messages = reportedMessages(RequestXmlHelperTests::takeEntries());
    ASSERT_EQ(messages.size(), count);
    EXPECT_NE(messages[limit - 1].find("does not match regular expression"), std::string::npos) << messages[limit - 1];
    EXPECT_EQ(messages.back() == refusal(limit, "reported errors"), count > limit);
  }
  expectRefused(Marked(invalidRequests(limit + 1)), true, refusal(limit, "reported errors"));
}

TEST_F(RequestXmlHelperHostileLimits, WarningsCountAsErrors) {
  const std::size_t limit = limitOf("reported errors");
  const auto hint = [](const auto& number) { return "<a xmlns:p='urn:p' xsi:schemaLocation='urn:" + number + " f'/>"; };
  const std::string text = "<r xmlns:xsi='" + c_instanceNamespace + "'>" + numbered(limit + 1, hint) + "</r>";
  expectRefused(Marked(text), false, refusal(limit, "reported errors"));
}

TEST_F(RequestXmlHelperHostileLimits, EntitiesAreExpandedUpToTheLimit) {
  const std::size_t limit = limitOf("entity expansions");
  expectAccepted(Marked(expansions(limit)).text, false);
  expectRefused(Marked(expansions(limit + 1)), false,
                "parser has encountered more than '" + std::to_string(limit) +
                    "' entity expansions in the document; this is the limit imposed by the application");
}

TEST_F(RequestXmlHelperHostileLimits, LengthOfTheDoctypeIsCountedInPieces) {
  constexpr std::size_t piece = 4096;
  const std::size_t limit = limitOf("bytes of document type declaration");
  expectAccepted(longDoctype(limit), false);
  expectRefused(Marked(longDoctype(limit + 2 * piece)), false, refusal(limit, "bytes of document type declaration"));
}

TEST_F(RequestXmlHelperHostileLimits, CountsStartAnewWithEachDocumentAndLeaveWithTheirElements) {
  const auto declaring = [](const auto& number) { return "<Nest xmlns:p" + number + "='urn:" + number + "'/>"; };
  const std::size_t count = limitOf("namespace declarations in scope") + 1;
  const std::string text = start("Nest") + numbered(count, declaring) + "</Nest>";
  for (std::size_t total = 0; total <= limitOf("namespace declarations"); total += 2 * count) {
    expectAccepted(text, true);
    expectAccepted(text, false);
  }
}

}  // namespace
