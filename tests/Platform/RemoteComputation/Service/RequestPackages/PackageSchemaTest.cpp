#include <Platform/RemoteComputation/Service/RequestPackages/PackageDocument.h>
#include <Platform/RemoteComputation/Service/RequestPackages/PackageSchema.h>
#include <gtest/gtest.h>
#include <tests/Platform/RemoteComputation/Service/RequestPackages/PackagesFixture.h>

#include <cstddef>
#include <string>
#include <vector>

namespace {

using Drelvan::PackageSchema;
using RequestPackagesTests::ValuesSchema;

class Fragment : public Drelvan::AbstractRequestSchema {
 public:
  explicit Fragment(const std::string& components) { m_schema = components; }
};

std::string errorsOf(const std::string& components) { return PackageSchema({Fragment(components)}).describeErrors(); }

/// A named type with that content, on one line.
std::string typeWith(const std::string& content) {
  return "<xs:complexType name='T'><xs:sequence>" + content + "</xs:sequence></xs:complexType>";
}

std::string element(const std::string& name, const std::string& attributes = "") {
  return "<xs:element name='" + name + "' type='xs:int' " + attributes + "/>";
}

TEST(PackageSchemaTest, SoundFragmentsHaveNoErrors) {
  EXPECT_EQ(PackageSchema({}).describeErrors(), "");
  EXPECT_EQ(PackageSchema({ValuesSchema()}).describeErrors(), "");
  EXPECT_EQ(errorsOf(""), "");
  EXPECT_EQ(errorsOf("\n<!-- nothing -->\n"), "");
  EXPECT_TRUE(PackageSchema(std::vector<Drelvan::AbstractRequestSchema>{ValuesSchema(), Fragment(typeWith(""))})
                  .check()
                  .empty());
}

TEST(PackageSchemaTest, TextIsTheDocumentThatTheParserLoads) {
  const std::string text = PackageSchema({Fragment("\n<!-- one -->"), Fragment("<!-- two -->\n")}).getText();
  const std::string base = Drelvan::BaseRequestHandlingSchema().getSchema();
  const std::string baseFragment = Drelvan::BaseRequestHandlingSchema().getSchemaNoHeader();
  EXPECT_EQ(text, base.substr(0, base.find("\n\n") + 1) + baseFragment + "\n<!-- one --><!-- two -->\n</xs:schema>");
}

TEST(PackageSchemaTest, FindsAMisspeltBaseType) {
  EXPECT_EQ(errorsOf("\n<xs:complexType name='T'>\n  <xs:complexContent>\n    <xs:extension base='dvrq:Reqest'/>\n"
                     "  </xs:complexContent>\n</xs:complexType>"),
            "fragment 1, line 4, column 5: base type 'dvrq:Reqest' not found\n");
}

TEST(PackageSchemaTest, NamesTheFragmentAndThePlaceWithinIt) {
  const Fragment valid(element("first"));
  const Fragment broken("\n  " + element("a") + "<xs:element name='b' type='dvrq:None'/>");
  const auto errors = PackageSchema({valid, broken, valid}).check();
  ASSERT_EQ(errors.size(), 2U);
  EXPECT_EQ(errors[0].fragment, 1U);
  EXPECT_EQ(errors[0].line, 2U);
  EXPECT_EQ(errors[0].column, 3 + element("a").size());
  EXPECT_EQ(errors[0].message, "type 'http://drelvan.example/schemas/DVRequests.xsd:None' not found");
  EXPECT_EQ(errors[1].fragment, 2U) << "the second definition of one element";
}

TEST(PackageSchemaTest, FindsAllErrors) {
  EXPECT_EQ(errorsOf("<xs:element name='a' type='dvrq:A'/>\n<xs:element name='b' type='dvrq:B'/>"),
            "fragment 1, line 1, column 1: type 'http://drelvan.example/schemas/DVRequests.xsd:A' not found\n"
            "fragment 1, line 2, column 1: type 'http://drelvan.example/schemas/DVRequests.xsd:B' not found\n");
  EXPECT_EQ(PackageSchema({Fragment("<a"), Fragment("<b")}).check().size(), 2U);
}

TEST(PackageSchemaTest, RefusesWhatIsNoXml) {
  EXPECT_EQ(errorsOf("<xs:element name='a' type='xs:int'>\n"),
            "fragment 1, line 2, column 1: expected end of tag 'xs:element'\n");
  EXPECT_EQ(errorsOf("<no:element/>"),
            "fragment 1, line 1, column 14: prefix 'no' can not be resolved to namespace URI\n");
  EXPECT_NE(errorsOf("<!DOCTYPE x>"), "");
  EXPECT_NE(errorsOf("</xs:schema><xs:schema>"), "");
}

TEST(PackageSchemaTest, RefusesWhatIsNoFragment) {
  EXPECT_EQ(errorsOf("\n<?xml version='1.0'?>" + element("a")),
            "fragment 1, line 2, column 1: a fragment has no XML declaration; remove it\n");
  EXPECT_EQ(errorsOf("<!-- \xC3\xA9 -->"),
            "fragment 1, line 1, column 6: a fragment holds ASCII characters only; write others as references such as "
            "&#xE9;\n");
  EXPECT_EQ(errorsOf("<xs:schema/>"),
            "fragment 1, line 1, column 1: a fragment is the content of xs:schema; remove the xs:schema element, and "
            "use the prefix dvrq for types of the target namespace\n");
  EXPECT_EQ(errorsOf(element("a") + "\n <xs:include schemaLocation='/etc/passwd'/>"),
            "fragment 1, line 2, column 2: xs:include, xs:import and xs:redefine are not supported; register the "
            "other schema as a fragment\n");
}

TEST(PackageSchemaTest, NamesTheTypeThatIsAmbiguous) {
  EXPECT_EQ(errorsOf("\n" + typeWith(element("a", "minOccurs='0'") + element("a"))),
            "fragment 1, line 2, column 1: complex type 'T' violates the unique particle attribution rule in its "
            "components 'a' and 'a'\n");
}

TEST(PackageSchemaTest, NamesTheElementWhoseOwnTypeIsAmbiguous) {
  const std::string content = element("a", "minOccurs='0'") + element("a");
  EXPECT_EQ(
      errorsOf("\n<xs:element name='r'><xs:complexType><xs:sequence>" + content +
               "</xs:sequence></xs:complexType></xs:element>"),
      "fragment 1, line 2, column 22: the complex type of the element 'r' violates the unique particle attribution "
      "rule in its components 'a' and 'a'\n");
}

TEST(PackageSchemaTest, ATypeThatCannotBeToldFromOthersHasNoPlace) {
  const std::string element1 = "<xs:element name='r'><xs:complexType><xs:sequence>" + element("a", "minOccurs='0'") +
                               element("a") + "</xs:sequence></xs:complexType></xs:element>";
  const std::string element2 = "<xs:element name='s'><xs:complexType><xs:sequence>" + element("a") +
                               "</xs:sequence></xs:complexType></xs:element>";
  EXPECT_EQ(errorsOf(element1 + element2),
            "the schema as a whole: a complex type without a name violates the unique particle attribution rule in its "
            "components 'a' and 'a'\n");
}

TEST(PackageSchemaTest, RepeatedGroupsHaveABound) {
  for (const char* count : {"10000", "1000000", "99999999999999999999"}) {
    const std::string errors = errorsOf("\n" + typeWith(element("x") + "<xs:sequence maxOccurs='" + count + "'>" +
                                                        element("a") + element("b") + "</xs:sequence>"));
    EXPECT_EQ(errors.substr(0, errors.find(':')),
              "fragment 1, line 2, column " + std::to_string(typeWith("").find("</xs:s") + 1 + element("x").size()));
    EXPECT_NE(errors.find("write maxOccurs=\"unbounded\" and let the program count"), std::string::npos) << errors;
  }
}

TEST(PackageSchemaTest, ModelsThatAreCheapHaveNoBound) {
  EXPECT_EQ(errorsOf(typeWith(element("a", "maxOccurs='1000000'") + element("b"))), "");
  EXPECT_EQ(errorsOf(typeWith("<xs:choice maxOccurs='unbounded'>" + element("a") + element("b") + "</xs:choice>")), "");
  EXPECT_EQ(errorsOf(typeWith("<xs:sequence maxOccurs='1000000'>" + element("a") + "</xs:sequence>")), "");
  EXPECT_EQ(errorsOf(typeWith("<xs:sequence maxOccurs='500'>" + element("a") + element("b") + "</xs:sequence>")), "");
}

TEST(PackageSchemaTest, ExpensiveModelsAreFoundHoweverTheyAreWritten) {
  const std::string pair = element("a") + element("b");
  const std::string group = "<xs:group name='G'><xs:sequence>" + pair + "</xs:sequence></xs:group>";
  const std::vector<std::string> fragments{
      typeWith("<xs:choice maxOccurs='5000'>" + pair + "</xs:choice>"),
      typeWith("<xs:sequence minOccurs='5000' maxOccurs='unbounded'>" + pair + "</xs:sequence>"),
      typeWith("<xs:sequence maxOccurs='100'><xs:sequence maxOccurs='100'>" + pair + "</xs:sequence></xs:sequence>"),
      typeWith("<xs:choice maxOccurs='unbounded'>" + pair + "</xs:choice>" + element("c", "maxOccurs='5000'")),
      group + typeWith("<xs:group ref='dvrq:G' maxOccurs='5000'/>"),
      group + "<xs:group name='H'><xs:sequence><xs:group ref='dvrq:G' maxOccurs='100'/></xs:sequence></xs:group>" +
          typeWith("<xs:group ref='dvrq:H' maxOccurs='100'/>"),
      "<xs:complexType name='B'><xs:sequence maxOccurs='2'>" + pair + "</xs:sequence></xs:complexType>" +
          "<xs:complexType name='D'><xs:complexContent><xs:extension base='dvrq:B'><xs:sequence>" +
          element("c", "maxOccurs='5000'") + "</xs:sequence></xs:extension></xs:complexContent></xs:complexType>",
  };
  for (const std::string& fragment : fragments) {
    EXPECT_NE(errorsOf(fragment).find("maxOccurs=\"unbounded\""), std::string::npos) << fragment << errorsOf(fragment);
  }
}

TEST(PackageSchemaTest, ManyModelsTogetherHaveABound) {
  std::string fragment;
  for (int count = 0; count < 100; ++count) {
    fragment += "<xs:element name='e" + std::to_string(count) + "'><xs:complexType><xs:sequence maxOccurs='900'>" +
                element("a") + element("b") + "</xs:sequence></xs:complexType></xs:element>\n";
  }
  EXPECT_NE(errorsOf(fragment), "");
}

TEST(PackageSchemaTest, GroupsThatMultiplyHaveABound) {
  std::string fragment =
      "<xs:group name='G0'><xs:sequence>" + element("a") + element("b") + "</xs:sequence></xs:group>";
  for (int level = 1; level <= 60; ++level) {
    const std::string inner = "<xs:group ref='dvrq:G" + std::to_string(level - 1) + "'/>";
    fragment +=
        "<xs:group name='G" + std::to_string(level) + "'><xs:sequence>" + inner + inner + "</xs:sequence></xs:group>";
  }
  EXPECT_NE(errorsOf(fragment + typeWith("<xs:group ref='dvrq:G60'/>")), "");
}

TEST(PackageSchemaTest, CirclesAreErrorsNotEndless) {
  EXPECT_NE(errorsOf("<xs:group name='G'><xs:sequence><xs:group ref='dvrq:G'/></xs:sequence></xs:group>"), "");
  EXPECT_NE(errorsOf("<xs:complexType name='A'><xs:complexContent><xs:extension base='dvrq:A'/></xs:complexContent>"
                     "</xs:complexType>"),
            "");
}

TEST(PackageSchemaTest, DeepFragmentsAreRefused) {
  std::string fragment;
  for (int level = 0; level < 100000; ++level) {
    fragment += "<xs:sequence>";
  }
  EXPECT_NE(errorsOf(fragment).find("nested deeper than 200"), std::string::npos);
}

TEST(PackageSchemaTest, ChecksBesideASession) {
  const Drelvan::ParserSession session{ValuesSchema()};
  EXPECT_EQ(PackageSchema({ValuesSchema()}).describeErrors(), "");
  EXPECT_NO_THROW(Drelvan::PackageDocument::fromText(RequestPackagesTests::valuesRequest("<int>1</int>")));
}

}  // namespace
