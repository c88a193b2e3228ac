// Names that all have the same hash in Xerces-C's tables make no document expensive: they are spread by a keyed hash,
// or refused when they are many.

#include <Platform/RemoteComputation/Service/RequestHandlingBase/parser/KeyedHash.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <tests/Platform/RemoteComputation/Service/RequestHandlingBase/RequestXmlHelperHostileFixture.h>

#include <cstdlib>
#include <functional>
#include <iostream>
#include <set>
#include <string>
#include <xercesc/util/XMLString.hpp>

namespace {

using RequestXmlHelperTests::HostileTest;
using RequestXmlHelperTests::Marked;
using RequestXmlHelperTests::namedByOneHash;
using RequestXmlHelperTests::nameOfOneHash;
using RequestXmlHelperTests::numbered;

std::u16string wide(const std::string& name) { return {name.begin(), name.end()}; }

std::string limit(const std::string& text) { return "The document exceeds the limit of " + text + "."; }

TEST(KeyedHash, SpreadsWhatXercesPutsTogether) {
  constexpr unsigned names = 4096;
  std::set<XMLSize_t> ofXerces;
  std::set<std::size_t> keyed;
  for (unsigned number = 0; number < names; ++number) {
    const std::u16string name = wide(nameOfOneHash(number));
    ofXerces.insert(xercesc_3_1::XMLString::hash(name.c_str(), 1000003));
    keyed.insert(Drelvan::Parsing::KeyedHash()(name) % names);
  }
  EXPECT_EQ(ofXerces.size(), 1U);
  // Of as many places as names, chance fills 63 of 100.
  EXPECT_GT(keyed.size(), names / 2);
}

TEST(KeyedHash, IsThatOfTheContent) {
  for (const std::u16string& name :
       {std::u16string(), std::u16string(u"a"), std::u16string(u"abcd"), wide(nameOfOneHash(9))}) {
    EXPECT_EQ(Drelvan::Parsing::KeyedHash()(name), Drelvan::Parsing::KeyedHash()(std::u16string(name)));
    EXPECT_NE(Drelvan::Parsing::KeyedHash()(name), Drelvan::Parsing::KeyedHash()(name + u'\0'));
  }
}

TEST(KeyedHash, HasAKeyOfTheProcess) {
  const std::string hash = "hash " + std::to_string(Drelvan::Parsing::KeyedHash()(u"name"));
  GTEST_FLAG_SET(death_test_style, "threadsafe");  // a process of its own, not a copy of this one
  EXPECT_EXIT(
      {
        std::cerr << hash;
        std::_Exit(0);
      },
      ::testing::ExitedWithCode(0),
      ::testing::AllOf(::testing::HasSubstr("hash "), ::testing::Not(::testing::HasSubstr(hash))));
}

class PackageParserNames : public HostileTest {};

TEST_F(PackageParserNames, OfAttributesAndNamespacesMayBeManyOfOneHash) {
  const auto attribute = [](const std::string& name) { return "<e " + name + "=''/>"; };
  const auto space = [](const std::string& name) { return "<e xmlns:p='" + name + "' p:" + name + "=''/>"; };
  expectAccepted("<r>" + namedByOneHash(12000, attribute) + namedByOneHash(9000, space) + "</r>", false);
  expectAccepted("<!DOCTYPE r><r>" + namedByOneHash(12000, attribute) + namedByOneHash(9000, space) + "</r>", false);
}

TEST_F(PackageParserNames, OfElementsAreLimitedByTheirHash) {
  const auto element = [](const std::string& name) { return "<" + name + "/>"; };
  const std::string what = "150 undeclared elements whose names have the same hash";
  for (const std::string& doctype : {std::string(), std::string("<!DOCTYPE r>")}) {
    expectAccepted(doctype + "<r>" + namedByOneHash(140, element) + "</r>", false);
    expectRefused(Marked(doctype + "<r>" + namedByOneHash(152, element) + "</r>"), false, limit(what));
  }
}

TEST_F(PackageParserNames, OfPrefixesAreLimitedInNumber) {
  const auto prefix = [](const std::string& name) { return "<e xmlns:" + name + "='u'/>"; };
  expectAccepted("<r>" + namedByOneHash(500, prefix) + "</r>", false);
  expectRefused(Marked("<r>" + namedByOneHash(9000, prefix) + "</r>"), false,
                limit("500 namespace prefixes of different names"));
}

TEST_F(PackageParserNames, OfOneElementsAttributesAreLimitedWhileTheyAreRead) {
  for (const unsigned count : {201U, 2000U, 12000U}) {
    const std::string text =
        "<r><e" + namedByOneHash(count, [](const std::string& name) { return " " + name + "=''"; }) + "/></r>";
    expectRefused(Marked(text), false, limit("200 attributes of an element"));
    // What was read of the long tag counts for no other document.
    expectAccepted("<r>" + std::string(100000, 'x') + "</r>", false);
  }
}

/// A document of the schema that holds values of the type ID or IDREF.
std::string idsOf(const std::string& content) {
  return "<Ids xmlns='" + TestSupport::c_targetNamespace + "'>" + content + "</Ids>";
}

const std::string c_idsOfOneHash = limit("150 values of the type ID or IDREF that have the same hash");

TEST_F(PackageParserNames, AsIdsAreLimitedByTheirHashWhereverTheyStand) {
  const auto asAttribute = [](const std::string& name) { return "<WithId id='" + name + "'/>"; };
  const auto asContent = [](const std::string& name) { return "<Id>" + name + "</Id>"; };
  const auto asReference = [](const std::string& name) { return "<IdRef>" + name + "</IdRef>"; };
  for (const auto& element : {std::function(asAttribute), std::function(asContent)}) {
    expectAccepted(idsOf(namedByOneHash(150, element)), true);
    expectRefused(Marked(idsOf(namedByOneHash(151, element) + "^")), true, c_idsOfOneHash);
    expectRefused(Marked(idsOf(namedByOneHash(9000, element))), true, c_idsOfOneHash);
  }
  expectAccepted(idsOf(namedByOneHash(150, asContent) + namedByOneHash(150, asReference)), true);
  expectRefused(Marked(idsOf(namedByOneHash(9000, asReference))), true, c_idsOfOneHash);
}

TEST_F(PackageParserNames, AsIdsOfADocumentTypeAreLimitedByTheirHash) {
  const auto element = [](const std::string& name) { return "<e i='" + name + "'/>"; };
  const std::string doctype = "<!DOCTYPE r [<!ATTLIST e i ID #IMPLIED>]>";
  expectAccepted(doctype + "<r>" + namedByOneHash(150, element) + "</r>", false);
  expectRefused(Marked(doctype + "<r>" + namedByOneHash(151, element) + "^</r>"), false, c_idsOfOneHash);
}

TEST_F(PackageParserNames, AsIdsMayBeManyOfManyHashes) {
  constexpr std::size_t ids = 90000;
  const auto number = [](const auto& text) { return "<e i='n" + text + "'/>"; };
  expectAccepted("<!DOCTYPE r [<!ATTLIST e i ID #IMPLIED>]><r>" + numbered(ids, number) + "</r>", false);
  expectAccepted(idsOf(numbered(ids, [](const auto& text) { return "<WithId id='n" + text + "'/>"; })), true);
}

TEST_F(PackageParserNames, AsIdsAreStillUniqueAndReferredTo) {
  const std::string element = "<WithId id='a'/>";
  expectRefused(Marked(idsOf(element + element)), true, "ID value 'a' is not unique", "error");
  expectRefused(Marked(idsOf(element + "<IdRef>b</IdRef>")), true,
                "ID attribute 'b' is referenced but was never declared", "error");
  expectAccepted(idsOf(element + "<IdRef>a</IdRef>"), true);
}

}  // namespace
