// The tree that the library's parser builds is the one that Xerces-C's own builds, in every property and every link,
// before and after the same changes.

#include <gtest/gtest.h>
#include <tests/support/StockParser.h>
#include <tests/support/TreeComparison.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <random>
#include <string>
#include <string_view>
#include <vector>
#include <xercesc/framework/MemBufInputSource.hpp>

#include "RequestXmlHelperFixture.h"

namespace RequestXmlHelperTests {

namespace {

using TestSupport::Document;

std::string contentOf(const std::filesystem::path& file) {
  std::ifstream stream(file, std::ios::binary);
  EXPECT_TRUE(stream.is_open()) << file;
  return {std::istreambuf_iterator<char>(stream), {}};
}

/// The fragments of the example packages, and one with attributes that have defaults or are ids, and with wildcards.
class TreeSchema final : public Drelvan::AbstractRequestSchema {
 public:
  TreeSchema() { m_schema = contentOf(EXAMPLE_FRAGMENT) + contentOf(BREADTH_FRAGMENT); }
};

class WholeSchema final : public Drelvan::AbstractRequestSchema {
 public:
  WholeSchema() {
    m_schema = Drelvan::BaseRequestHandlingSchema().getSchemaNoHeader() + TreeSchema().getSchemaNoHeader();
  }
};

class PackageParserTree : public HelperTest {
 protected:
  void SetUp() override {
    HelperTest::SetUp();
    helper().addSchema(TreeSchema());
    m_stock = std::make_unique<TestSupport::StockParser>(WholeSchema().getSchema());
  }

  void TearDown() override {
    m_stock.reset();
    HelperTest::TearDown();
  }

  /// Whether the library accepts the document; its tree is compared then.
  bool isSameWhenAccepted(const std::string& text, bool validate) {
    const Document tree = parseWithLibrary(text, validate);
    if (tree == nullptr) {
      return false;
    }
    const Document stock = m_stock->parse(text, c_systemId, validate);
    if (stock == nullptr) {
      ADD_FAILURE() << "Xerces-C's own parser refuses: " << text;
      return true;
    }
    EXPECT_EQ(TestSupport::differenceOf(*stock, *tree), "") << text;
    EXPECT_EQ(TestSupport::differenceAfterChanges(*stock, *tree), "") << text;
    return true;
  }

  void expectSame(const std::string& text, bool validate) {
    EXPECT_TRUE(isSameWhenAccepted(text, validate)) << "refused: " << text;
  }

 private:
  static constexpr const char* c_systemId = "file:///folder/document.xml";

  static Document parseWithLibrary(const std::string& text, bool validate) {
    const xercesc_3_1::MemBufInputSource source(reinterpret_cast<const XMLByte*>(text.data()), text.size(), c_systemId);
    try {
      return Document(helper().parse(source, validate));
    } catch (const Drelvan::DvExceptionNested&) {
      return nullptr;
    }
  }

  std::unique_ptr<TestSupport::StockParser> m_stock;
};

/// Writes documents with nodes of every kind, the same for the same number.
class Generator {
 public:
  explicit Generator(unsigned number) : m_random(number) {}

  /// With a document type declaration: entities, attributes with defaults and ids.
  std::string withDoctype() {
    return "<!DOCTYPE r [<!ENTITY e 'text of e'><!ENTITY m 'mixed <i>content <a:b/></i> &e;'>"
           "<!ATTLIST r d CDATA 'default' a:f CDATA #FIXED 'fixed' i ID #IMPLIED>"
           "<!ATTLIST a d NMTOKENS ' one  two ' xml:lang NMTOKEN 'en'>"
           "<!NOTATION n PUBLIC 'p'><!ENTITY u SYSTEM 'u.bin' NDATA n>]>\n<?before pi?><!-- before -->\n" +
           root("&e;&m;") + "<!-- after --><?after?>";
  }

  std::string withoutDoctype() { return "<?xml version='1.0' standalone='yes'?>" + root(""); }

  /// A valid package, with elements that a wildcard takes, ids and defaults.
  std::string package() {
    std::string content;
    for (int count = below(4); count >= 0; --count) {
      content += "<note mark='m" + std::to_string(m_marks++) + "'>text" +
                 pick({"<note level='1'/>", "<note/>", "<flag>true</flag>", "<!-- c -->", "<?p i?>", "<![CDATA[x]]>"}) +
                 "&#x41;</note>";
    }
    return "<DV_RequestScript xmlns='" + TestSupport::c_targetNamespace +
           "' xmlns:xsi='http://www.w3.org/2001/XMLSchema-instance'><request xsi:type='OpenRequest' id='" +
           TestSupport::c_uid + "' xmlns:o='urn:o' o:other='value'>" + content + root("") +
           "</request></DV_RequestScript>";
  }

 private:
  static constexpr int c_maxDepth = 12;

  int below(int bound) { return std::uniform_int_distribution<int>(0, bound - 1)(m_random); }

  std::string pick(const std::vector<std::string>& texts) {
    return texts[static_cast<std::size_t>(below(static_cast<int>(texts.size())))];
  }

  std::string root(const std::string& references) {
    return "<r xmlns='urn:d' xmlns:a='urn:a' xmlns:b='urn:b' xmlns:a2='urn:a' xml:base='sub/'" + attributes() + ">" +
           references + children(0) + "</r>";
  }

  std::string attributes() {
    static const std::vector<std::string> c_attributes = {
        " a:x='1'",       " b:x='2'",   " x='3'",    " y='a&amp;b&#10;c'",
        " xml:lang='de'", " z=''",      " i='id1'",  " xmlns:c='urn:c'",
        " zz='&lt;'",     " A='upper'", " b:a='ba'", " xml:space='preserve'",
        " a:f='fixed'"};
    std::string text;
    for (const std::string& attribute : c_attributes) {
      text += below(4) == 0 ? attribute : "";
    }
    return text;
  }

  std::string child(int depth) {
    static const std::vector<std::string> c_leaves = {"text",
                                                      " \n ",
                                                      "a&amp;b&#x20AC;",
                                                      "<!-- comment -->",
                                                      "<?target data?>",
                                                      "<![CDATA[<cdata>]]>",
                                                      "<leaf/>",
                                                      "<a:leaf/>",
                                                      "<leaf xmlns=''/>",
                                                      "]]&gt;",
                                                      "<?target?>",
                                                      "<x:y xmlns:x='urn:b' x:q='1'/>"};
    if (depth >= c_maxDepth || below(2) == 0) {
      return pick(c_leaves);
    }
    const std::string name = pick({"a", "b", "a:a", "b:a", "a2:a", "long-name.with_parts", "\xC3\xA4"});
    return "<" + name + attributes() + ">" + children(depth + 1) + "</" + name + ">";
  }

  std::string children(int depth) {
    std::string text;
    for (int count = below(5); count > 0; --count) {
      text += child(depth);
    }
    return text;
  }

  std::mt19937 m_random;
  int m_marks = 0;
};

/// Stands between the documents of one seed.
constexpr std::string_view c_separator = "\n\x1e\x1e\x1e\n";

std::vector<std::filesystem::path> filesOf(const std::filesystem::path& folder) {
  std::vector<std::filesystem::path> files;
  for (const auto& entry : std::filesystem::recursive_directory_iterator(folder)) {
    if (entry.is_regular_file()) {
      files.push_back(entry.path());
    }
  }
  std::sort(files.begin(), files.end());
  return files;
}

std::string nested(std::size_t depth) {
  std::string text;
  for (std::size_t level = 0; level < depth; ++level) {
    text += "<d a='1'>x";
  }
  for (std::size_t level = 0; level < depth; ++level) {
    text += "</d>";
  }
  return text;
}

std::string repeated(const std::string& text, std::size_t times) {
  std::string result;
  for (std::size_t count = 0; count < times; ++count) {
    result += text;
  }
  return result;
}

TEST_F(PackageParserTree, IsTheSameForTheExamplePackages) {
  std::size_t accepted = 0;
  for (const auto& file : filesOf(EXAMPLE_PACKAGES)) {
    accepted += isSameWhenAccepted(contentOf(file), true) ? 1U : 0U;
    accepted += isSameWhenAccepted(contentOf(file), false) ? 1U : 0U;
  }
  EXPECT_GE(accepted, 20U);
}

TEST_F(PackageParserTree, IsTheSameForTheSeedsOfTheFuzzer) {
  std::size_t accepted = 0;
  for (const auto& file : filesOf(FUZZ_SEEDS)) {
    for (std::string text = contentOf(file); !text.empty();) {
      const std::size_t end = std::min(text.find(c_separator), text.size());
      accepted += isSameWhenAccepted(text.substr(0, end), true) ? 1U : 0U;
      accepted += isSameWhenAccepted(text.substr(0, end), false) ? 1U : 0U;
      text.erase(0, end + c_separator.size());
    }
  }
  EXPECT_GE(accepted, 40U);
}

TEST_F(PackageParserTree, IsTheSameForGeneratedDocuments) {
  for (unsigned number = 0; number < 60; ++number) {
    expectSame(Generator(number).withDoctype(), false);
    expectSame(Generator(number).withoutDoctype(), false);
  }
}

TEST_F(PackageParserTree, IsTheSameForGeneratedPackages) {
  for (unsigned number = 0; number < 40; ++number) {
    const std::string package = Generator(number).package();
    expectSame(package, true);
    expectSame(package, false);
  }
}

TEST_F(PackageParserTree, IsTheSameForDeepAndBroadDocuments) {
  expectSame(nested(400), false);
  expectSame("<r>" + repeated("<e a='1'/>text<!-- c -->", 3000) + "</r>", false);
  std::string attributes;
  for (int number = 0; number < 190; ++number) {
    attributes += " n" + std::to_string(number * 7919 % 1000) + "='" + std::to_string(number) + "'";
  }
  expectSame("<r><e" + attributes + "/></r>", false);
  expectSame("<r>" + std::string(100000, 'x') + "&amp;" + std::string(100000, 'y') + "</r>", false);
}

TEST_F(PackageParserTree, IsTheSameForMoreNamesThanAnyTableHolds) {
  std::string text = "<r xmlns:p='urn:p'>";
  for (int number = 0; number < 900; ++number) {
    const std::string name = "n" + std::to_string(number);
    text += "<" + name + " a" + name + "='1' p:" + name + "='2'/>";
  }
  expectSame(text + "</r>", false);
  expectSame(text + "</r>", false);
}

TEST_F(PackageParserTree, IsTheSameForOtherEncodingsAndDeclarations) {
  expectSame("<?xml version='1.0' encoding='ISO-8859-1'?><r a='\xE4'>\xF6</r>", false);
  expectSame("<?xml version='1.1'?><r xmlns:p='urn:p' p:a='1'><e xmlns:p=''/></r>", false);
  expectSame("<!DOCTYPE r><r><e/></r>", false);
}

}  // namespace

}  // namespace RequestXmlHelperTests
