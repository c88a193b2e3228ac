// Names that all have the same hash in Xerces-C's tables make no document expensive: they are spread by a keyed hash,
// or refused when they are many.

#include <Platform/RemoteComputation/Service/RequestHandlingBase/parser/KeyedHash.h>
#include <gtest/gtest.h>
#include <tests/Platform/RemoteComputation/Service/RequestHandlingBase/RequestXmlHelperHostileFixture.h>

#include <functional>
#include <set>
#include <string>
#include <xercesc/util/XMLString.hpp>

namespace {

using RequestXmlHelperTests::HostileTest;
using RequestXmlHelperTests::Marked;

constexpr unsigned c_blocks = 14;

/// Names of the blocks "Ak" and "BE", which Xerces-C's hash does not tell apart.
std::string sameHash(unsigned number) {
  std::string name;
  for (unsigned block = 0; block < c_blocks; ++block) {
    name += (number >> block & 1U) != 0 ? "Ak" : "BE";
  }
  return name;
}

std::u16string wide(const std::string& name) { return {name.begin(), name.end()}; }

std::string repeated(unsigned count, const std::function<std::string(const std::string& name)>& part) {
  std::string text;
  for (unsigned number = 0; number < count; ++number) {
    text += part(sameHash(number));
  }
  return text;
}

std::string limit(const std::string& text) { return "The document exceeds the limit of " + text + "."; }

TEST(KeyedHash, SpreadsWhatXercesPutsTogether) {
  constexpr unsigned names = 4096;
  std::set<XMLSize_t> ofXerces;
  std::set<std::size_t> keyed;
  for (unsigned number = 0; number < names; ++number) {
    const std::u16string name = wide(sameHash(number));
    ofXerces.insert(xercesc_3_1::XMLString::hash(name.c_str(), 1000003));
    keyed.insert(Drelvan::Parsing::KeyedHash()(name) % names);
  }
  EXPECT_EQ(ofXerces.size(), 1U);
  // Of as many places as names, chance fills 63 of 100.
  EXPECT_GT(keyed.size(), names / 2);
}

TEST(KeyedHash, IsThatOfTheContent) {
  for (const std::u16string& name :
       {std::u16string(), std::u16string(u"a"), std::u16string(u"abcd"), wide(sameHash(9))}) {
    EXPECT_EQ(Drelvan::Parsing::KeyedHash()(name), Drelvan::Parsing::KeyedHash()(std::u16string(name)));
    EXPECT_NE(Drelvan::Parsing::KeyedHash()(name), Drelvan::Parsing::KeyedHash()(name + u'\0'));
  }
}

class PackageParserNames : public HostileTest {};

TEST_F(PackageParserNames, OfAttributesAndNamespacesMayBeManyOfOneHash) {
  const auto attribute = [](const std::string& name) { return "<e " + name + "=''/>"; };
  const auto space = [](const std::string& name) { return "<e xmlns:p='" + name + "' p:" + name + "=''/>"; };
  expectAccepted("<r>" + repeated(12000, attribute) + repeated(9000, space) + "</r>", false);
  expectAccepted("<!DOCTYPE r><r>" + repeated(12000, attribute) + repeated(9000, space) + "</r>", false);
}

TEST_F(PackageParserNames, OfElementsAreLimitedByTheirHash) {
  const auto element = [](const std::string& name) { return "<" + name + "/>"; };
  const std::string what = "150 undeclared elements whose names have the same hash";
  for (const std::string& doctype : {std::string(), std::string("<!DOCTYPE r>")}) {
    expectAccepted(doctype + "<r>" + repeated(140, element) + "</r>", false);
    expectRefused(Marked(doctype + "<r>" + repeated(152, element) + "</r>"), false, limit(what));
  }
}

TEST_F(PackageParserNames, OfPrefixesAreLimitedInNumber) {
  const auto prefix = [](const std::string& name) { return "<e xmlns:" + name + "='u'/>"; };
  expectAccepted("<r>" + repeated(500, prefix) + "</r>", false);
  expectRefused(Marked("<r>" + repeated(9000, prefix) + "</r>"), false,
                limit("500 namespace prefixes of different names"));
}

TEST_F(PackageParserNames, OfOneElementsAttributesAreLimitedWhileTheyAreRead) {
  for (const unsigned count : {201U, 2000U, 12000U}) {
    const std::string text =
        "<r><e" + repeated(count, [](const std::string& name) { return " " + name + "=''"; }) + "/></r>";
    expectRefused(Marked(text), false, limit("200 attributes of an element"));
    // What was read of the long tag counts for no other document.
    expectAccepted("<r>" + std::string(100000, 'x') + "</r>", false);
  }
}

}  // namespace
