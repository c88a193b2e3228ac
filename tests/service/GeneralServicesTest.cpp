#include <gtest/gtest.h>
#include <service/GeneralServices.h>
#include <tests/support/ParsedDocument.h>

#include <clocale>
#include <string>
#include <type_traits>
#include <xercesc/dom/DOM.hpp>
#include <xercesc/framework/MemBufInputSource.hpp>
#include <xercesc/parsers/XercesDOMParser.hpp>

namespace {

using Drelvan::XmlUtils;
using TestSupport::ParsedDocument;
using xercesc_3_1::DOMDocument;
using xercesc_3_1::DOMElement;

static_assert(!std::is_default_constructible_v<XmlUtils>);
static_assert(std::is_same_v<decltype(XmlUtils::getElement("", nullptr)), DOMElement*>);

std::string contentOf(const std::string& xml) {
  const ParsedDocument document(xml);
  return XmlUtils::getContent(document.root());
}

// ---- Elements ----

TEST(XmlUtilsGetElement, FindsTheFirstDirectChildOfThatName) {
  const ParsedDocument document("<r>text<a><b>deep</b></a><!--b--><?b b?><b>first</b><b>second</b><c/></r>");
  EXPECT_EQ(XmlUtils::getContent(XmlUtils::getElement("b", document.root())), "first");
  EXPECT_EQ(XmlUtils::getElementContent("b", document.root()), "first");
  EXPECT_EQ(XmlUtils::getElement("c", document.root())->getParentNode(), document.root());
  EXPECT_EQ(XmlUtils::getElement("d", document.root()), nullptr);
  EXPECT_EQ(XmlUtils::getElement("r", document.root()), nullptr);
  EXPECT_EQ(XmlUtils::getElement("B", document.root()), nullptr);
  EXPECT_EQ(XmlUtils::getElement("", document.root()), nullptr);
  EXPECT_EQ(XmlUtils::getElement("b ", document.root()), nullptr);
}

TEST(XmlUtilsGetElement, ComparesTheLocalNameOnly) {
  const ParsedDocument document(
      "<p:r xmlns:p='urn:p' xmlns='urn:d'><p:a>prefixed</p:a><a>plain</a><b xmlns=''>none</b></p:r>");
  EXPECT_EQ(XmlUtils::getElementContent("a", document.root()), "prefixed");
  EXPECT_EQ(XmlUtils::getElementContent("b", document.root()), "none");
  EXPECT_EQ(XmlUtils::getElement("p:a", document.root()), nullptr);
}

TEST(XmlUtilsGetElement, FindsElementsMadeWithoutNamespaces) {
  const ParsedDocument owner("<r/>");
  DOMElement* const child = owner.document()->createElement(u"p:a");
  owner.root()->appendChild(child);
  ASSERT_EQ(child->getLocalName(), nullptr);
  EXPECT_EQ(XmlUtils::getElement("a", owner.root()), child);
  EXPECT_EQ(XmlUtils::getElement("p:a", owner.root()), nullptr);
  DOMElement* const plain = owner.document()->createElement(u"plain");
  owner.root()->appendChild(plain);
  EXPECT_EQ(XmlUtils::getElement("plain", owner.root()), plain);
}

TEST(XmlUtilsGetElement, TakesNamesInUtf8) {
  const ParsedDocument document("<r><\xC3\xA9>x</\xC3\xA9></r>");
  EXPECT_EQ(XmlUtils::getElementContent("\xC3\xA9", document.root()), "x");
}

TEST(XmlUtilsGetElement, AnswersNullForANullParent) {
  EXPECT_EQ(XmlUtils::getElement("a", nullptr), nullptr);
  EXPECT_EQ(XmlUtils::getElementContent("a", nullptr), "");
}

TEST(XmlUtilsGetElementContent, IsEmptyForAMissingChild) {
  const ParsedDocument document("<r><a/></r>");
  EXPECT_EQ(XmlUtils::getElementContent("a", document.root()), "");
  EXPECT_EQ(XmlUtils::getElementContent("b", document.root()), "");
}

// ---- Content ----

TEST(XmlUtilsGetContent, IsAllTextWithinTheElement) {
  EXPECT_EQ(contentOf("<r/>"), "");
  EXPECT_EQ(contentOf("<r></r>"), "");
  EXPECT_EQ(contentOf("<r>text</r>"), "text");
  EXPECT_EQ(contentOf("<r>a<b>b<c>c</c></b><d/>d<e><f>e</f></e></r>"), "abcde");
  EXPECT_EQ(contentOf("<r>a<!-- no -->b<?no no?>c</r>"), "abc");
  EXPECT_EQ(contentOf("<r>a<![CDATA[<b>&amp;]]>c</r>"), "a<b>&amp;c");
  EXPECT_EQ(contentOf("<r a='no'>x</r>"), "x");
  EXPECT_EQ(contentOf("<r>&lt;&amp;&gt;&quot;&apos;&#65;&#x42;</r>"), "<&>\"'AB");
}

TEST(XmlUtilsGetContent, IsNotTrimmed) {
  EXPECT_EQ(contentOf("<r>\n\t a \n</r>"), "\n\t a \n");
  EXPECT_EQ(contentOf("<r>  </r>"), "  ");
  EXPECT_EQ(contentOf("<r>a\r\nb&#13;c</r>"), "a\nb\rc");
}

TEST(XmlUtilsGetContent, StaysWithinTheElement) {
  const ParsedDocument document("<r>before<a>in<b/></a>after</r>");
  EXPECT_EQ(XmlUtils::getContent(XmlUtils::getElement("a", document.root())), "in");
  const DOMElement* const b = XmlUtils::getElement("b", XmlUtils::getElement("a", document.root()));
  EXPECT_EQ(XmlUtils::getContent(b), "");
}

TEST(XmlUtilsGetContent, IsEmptyForNull) { EXPECT_EQ(XmlUtils::getContent(nullptr), ""); }

TEST(XmlUtilsGetContent, IsUtf8InEveryLocale) {
  const std::string text = "\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80";
  const std::string before = std::setlocale(LC_ALL, nullptr);
  for (const char* locale : {"C", "C.UTF-8", "POSIX"}) {
    ASSERT_NE(std::setlocale(LC_ALL, locale), nullptr) << locale;
    EXPECT_EQ(contentOf("<r>" + text + "</r>"), text) << locale;
    EXPECT_EQ(contentOf("<r>&#233;&#8364;&#128512;</r>"), text) << locale;
  }
  std::setlocale(LC_ALL, before.c_str());
}

TEST(XmlUtilsGetContent, ReadsOtherEncodings) {
  EXPECT_EQ(contentOf("<?xml version='1.0' encoding='ISO-8859-1'?><r>\xE9</r>"), "\xC3\xA9");
}

TEST(XmlUtilsGetContent, LooksIntoEntityReferences) {
  const std::string xml = "<!DOCTYPE r [<!ENTITY e 'b<i>c</i>'>]><r>a&e;d</r>";
  // Keeps the references as nodes of their own, which the library's own parser does not.
  const ParsedDocument startsTheParserLibrary("<r/>");
  xercesc_3_1::XercesDOMParser parser;
  parser.setCreateEntityReferenceNodes(true);
  const xercesc_3_1::MemBufInputSource source(reinterpret_cast<const XMLByte*>(xml.data()), xml.size(), "test");
  parser.parse(source);
  const DOMElement* const root = parser.getDocument()->getDocumentElement();
  ASSERT_EQ(root->getFirstChild()->getNextSibling()->getNodeType(), xercesc_3_1::DOMNode::ENTITY_REFERENCE_NODE);
  EXPECT_EQ(XmlUtils::getContent(root), "abcd");
}

/// An element with a text in each of `levels` levels, built from within.
DOMElement* nest(DOMDocument& document, int levels) {
  DOMElement* inner = document.createElement(u"e");
  for (int level = 1; level < levels; ++level) {
    DOMElement* const outer = document.createElement(u"e");
    outer->appendChild(document.createTextNode(u"("));
    outer->appendChild(inner);
    outer->appendChild(document.createTextNode(u")"));
    inner = outer;
  }
  return inner;
}

TEST(XmlUtilsGetContent, GathersFromAnyDepth) {
  constexpr int levels = 100000;
  const ParsedDocument owner("<r/>");
  const DOMElement* const element = nest(*owner.document(), levels);
  EXPECT_TRUE(XmlUtils::getContent(element) == std::string(levels - 1, '(') + std::string(levels - 1, ')'));
}

TEST(XmlUtilsGetContent, GathersManyAndLongTexts) {
  std::string xml = "<r>";
  std::string expected;
  for (int index = 0; index < 20000; ++index) {
    xml += "<e>" + std::to_string(index) + "</e>";
    expected += std::to_string(index);
  }
  const std::string tail(1000000, 'x');
  EXPECT_TRUE(contentOf(xml + tail + "</r>") == expected + tail);
}

// ---- Escaping ----

TEST(XmlUtilsToXml, EscapesWhatXmlTreatsSpecially) {
  const std::string replacement = "\xEF\xBF\xBD";
  const struct {
    std::string text;
    std::string xml;
  } rows[] = {{"", ""},
              {"plain text 0-9", "plain text 0-9"},
              {"&<>\"'", "&amp;&lt;&gt;&quot;&apos;"},
              {"&amp;", "&amp;amp;"},
              {"]]>", "]]&gt;"},
              {"\t\n", "\t\n"},
              {"\r", "&#13;"},
              {"a\r\nb", "a&#13;\nb"},
              {"\x7F", "\x7F"},
              {"\xC3\xA9", "\xC3\xA9"},
              {"\xE2\x82\xAC", "\xE2\x82\xAC"},
              {"\xF0\x9F\x98\x80", "\xF0\x9F\x98\x80"},
              {"\xF4\x8F\xBF\xBF", "\xF4\x8F\xBF\xBF"},
              {"\xEF\xBF\xBD", "\xEF\xBF\xBD"},
              {std::string("\0", 1), replacement},
              {"\x01", replacement},
              {"\x08\x0B\x0C\x0E\x1F", replacement + replacement + replacement + replacement + replacement},
              {"\xEF\xBF\xBE", replacement},
              {"\xEF\xBF\xBF", replacement},
              {"\xFF", replacement},
              {"a\xFFz", "a" + replacement + "z"},
              {"\x80", replacement},
              {"\xC3", replacement},
              {"\xC3z", replacement + "z"},
              {"\xC3<", replacement + "&lt;"},
              {"\xC0\x80", replacement + replacement},
              {"\xE2\x82", replacement + replacement},
              {"\xED\xA0\x80", replacement + replacement + replacement},
              {"\xF4\x90\x80\x80", replacement + replacement + replacement + replacement}};
  for (const auto& row : rows) {
    EXPECT_EQ(XmlUtils::toXml(row.text), row.xml) << row.text;
  }
}

TEST(XmlUtilsFromXml, UndoesTheReferences) {
  const struct {
    std::string xml;
    std::string text;
  } rows[] = {
      {"", ""},
      {"plain", "plain"},
      {"&amp;&lt;&gt;&quot;&apos;", "&<>\"'"},
      {"&amp;amp;", "&amp;"},
      {"a&lt;b&gt;c", "a<b>c"},
      {"&#65;&#x41;&#x4a;&#x4A;&#0065;", "AAJJA"},
      {"&#13;&#9;", "\r\t"},
      {"&#233;&#xE9;&#8364;&#128512;&#x10FFFF;", "\xC3\xA9\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80\xF4\x8F\xBF\xBF"},
      {"&#1;", "\x01"},
      {"&#000000000000000000065;", "A"}};
  for (const auto& row : rows) {
    EXPECT_EQ(XmlUtils::fromXml(row.xml), row.text) << row.xml;
  }
}

TEST(XmlUtilsFromXml, LeavesAnythingElseUnchanged) {
  for (const std::string text : {"&",
                                 "&&",
                                 "a & b",
                                 "&;",
                                 "&amp",
                                 "&amp ;",
                                 "& amp;",
                                 "&AMP;",
                                 "&nbsp;",
                                 "&#;",
                                 "&#x;",
                                 "&#xg;",
                                 "&#X41;",
                                 "&#a;",
                                 "&#-1;",
                                 "&#+65;",
                                 "&# 65;",
                                 "&#0;",
                                 "&#x0;",
                                 "&#xD800;",
                                 "&#55296;",
                                 "&#xDFFF;",
                                 "&#x110000;",
                                 "&#99999999999999999999;",
                                 "&#x100000041;",
                                 "&#4294967361;",
                                 "<a>\"'</a>",
                                 "\xFF\xC3",
                                 "&\xC3\xA9;",
                                 "&amp&lt",
                                 "&#6\n5;",
                                 "&lt",
                                 "&#65"}) {
    EXPECT_EQ(XmlUtils::fromXml(text), text);
  }
}

TEST(XmlUtilsFromXml, GoesOnAfterWhatIsNoReference) {
  EXPECT_EQ(XmlUtils::fromXml("&&amp;&x&lt;;"), "&&&x<;");
  EXPECT_EQ(XmlUtils::fromXml("&#xD800;&#65;"), "&#xD800;A");
  EXPECT_EQ(XmlUtils::fromXml(std::string("a\0&amp;", 7)), std::string("a\0&", 3));
}

TEST(XmlUtilsFromXml, TakesLongTexts) {
  const std::string amps(500000, '&');
  EXPECT_TRUE(XmlUtils::fromXml(amps) == amps);
  EXPECT_TRUE(XmlUtils::fromXml(XmlUtils::toXml(amps)) == amps);
}

}  // namespace
