#pragma once

#include <tests/Platform/RemoteComputation/Service/RequestHandlingBase/RequestXmlHelperFixture.h>
#include <tests/support/InputSources.h>
#include <tests/support/Sanitized.h>

#include <algorithm>
#include <cstddef>
#include <functional>
#include <string>
#include <vector>
#include <xercesc/framework/MemBufInputSource.hpp>

namespace RequestXmlHelperTests {

using TestSupport::c_sanitized;

inline const std::string c_instanceNamespace = "http://www.w3.org/2001/XMLSchema-instance";
inline const std::string c_failure = "Errors occurred while parsing input: ";
inline const std::string c_doctypeRefusal = "A document type declaration is not accepted in a validated document.";

/// `count` texts in a row.
inline std::string repeated(const std::string& text, std::size_t count) {
  std::string result;
  result.reserve(text.size() * count);
  for (std::size_t index = 0; index < count; ++index) {
    result += text;
  }
  return result;
}

/// What `make` gives for 0 to `count` - 1, in a row.
inline std::string numbered(std::size_t count, const std::function<std::string(const std::string&)>& make) {
  std::string result;
  for (std::size_t index = 0; index < count; ++index) {
    result += make(std::to_string(index));
  }
  return result;
}

/// Names of the blocks "Ak" and "BE", which Xerces-C's hash does not tell apart: different for different numbers.
inline std::string nameOfOneHash(unsigned number) {
  constexpr unsigned blocks = 14;
  std::string name;
  for (unsigned block = 0; block < blocks; ++block) {
    name += (number >> block & 1U) != 0 ? "Ak" : "BE";
  }
  return name;
}

/// What `make` gives for `count` such names, in a row.
inline std::string namedByOneHash(std::size_t count, const std::function<std::string(const std::string& name)>& make) {
  std::string result;
  for (unsigned number = 0; number < count; ++number) {
    result += make(nameOfOneHash(number));
  }
  return result;
}

/// A text that may hold one '^', which marks a place and is no part of the text.
struct Marked {
  explicit Marked(const std::string& marked) : text(marked) {
    const std::size_t place = marked.find('^');
    if (place != std::string::npos) {
      text.erase(place, 1);
      const std::size_t lineStart = marked.rfind('\n', place);
      line = 1 + std::count(marked.begin(), marked.begin() + static_cast<std::ptrdiff_t>(place), '\n');
      column = static_cast<long>(lineStart == std::string::npos ? place + 1 : place - lineStart);
    }
  }

  std::string text;
  long line = 0;
  long column = 0;
};

/// Has a fragment registered whose elements take whatever comes, so that limits can be reached in valid documents too.
class HostileTest : public HelperTest {
 protected:
  void SetUp() override {
    HelperTest::SetUp();
    helper().addSchema(Fragment(R"xsd(
<xs:element name="Nest">
  <xs:complexType>
    <xs:sequence><xs:element ref="dvrq:Nest" minOccurs="0" maxOccurs="unbounded"/></xs:sequence>
  </xs:complexType>
</xs:element>
<xs:element name="Open">
  <xs:complexType mixed="true">
    <xs:sequence><xs:any processContents="skip" minOccurs="0" maxOccurs="unbounded"/></xs:sequence>
    <xs:anyAttribute processContents="skip"/>
  </xs:complexType>
</xs:element>
<xs:element name="Lax">
  <xs:complexType>
    <xs:sequence><xs:any processContents="lax" minOccurs="0" maxOccurs="unbounded"/></xs:sequence>
  </xs:complexType>
</xs:element>
<xs:complexType name="Number">
  <xs:sequence><xs:element name="number" type="xs:int"/></xs:sequence>
</xs:complexType>
<xs:element name="Id" type="xs:ID"/>
<xs:element name="IdRef" type="xs:IDREF"/>
<xs:element name="WithId"><xs:complexType><xs:attribute name="id" type="xs:ID"/></xs:complexType></xs:element>
<xs:element name="Ids">
  <xs:complexType>
    <xs:choice minOccurs="0" maxOccurs="unbounded">
      <xs:element ref="dvrq:Id"/><xs:element ref="dvrq:IdRef"/><xs:element ref="dvrq:WithId"/>
    </xs:choice>
  </xs:complexType>
</xs:element>)xsd"));
    setUpParser();
  }

  static xercesc_3_1::DOMDocument* parse(const std::string& text, bool validate) {
    const xercesc_3_1::MemBufInputSource source(reinterpret_cast<const XMLByte*>(text.data()), text.size(), "hostile");
    return helper().parse(source, validate);
  }

  /// The document passes, and leaves no entry.
  static void expectAccepted(const std::string& text, bool validate) {
    try {
      const TestSupport::Document document(parse(text, validate));
    } catch (const Drelvan::DvExceptionNested& exception) {
      ADD_FAILURE() << exception.what();
    }
    EXPECT_TRUE(takeEntries().empty());
  }

  /// The document is rejected with `message` as the last error, at the marked place if there is one, in the way of
  /// every refusal, and the next good package passes.
  static void expectRefused(const Marked& document, bool validate, const std::string& message,
                            const std::string& kind = "fatal error") {
    expectParseFailure([&] { return parse(document.text, validate); }, c_failure + message);
    const std::vector<Entry> entries = takeEntries();
    ASSERT_GE(entries.size(), 2U);
    const Entry& failure = entries.back();
    EXPECT_EQ(failure, (Entry{"DEBUG", Signature::c_parseSource, c_failure + message}));
    const Entry& problem = entries[entries.size() - 2];
    EXPECT_EQ(problem.level, "ERROR");
    EXPECT_EQ(messageOf(problem.message), message);
    if (document.line != 0) {
      const std::string place = "line " + std::to_string(document.line) + ", char " + std::to_string(document.column);
      EXPECT_EQ(problem.message, "XML " + kind + " at file hostile, " + place + "\n  Message: " + message);
    }
    parseValid();
    TestSupport::RecordingLog::clear();
  }
};

}  // namespace RequestXmlHelperTests
