// What the base schema accepts and refuses, component by component, seen through the parser.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <tests/Platform/RemoteComputation/Service/RequestHandlingBase/RequestXmlHelperFixture.h>
#include <tests/support/InputSources.h>

#include <algorithm>
#include <string>
#include <utility>
#include <vector>
#include <xercesc/dom/DOMAttr.hpp>
#include <xercesc/dom/DOMNodeList.hpp>

namespace {

using Drelvan::RequestXmlHelper;
using RequestXmlHelperTests::Fragment;
using TestSupport::attribute;
using TestSupport::c_otherUid;
using TestSupport::c_targetNamespace;
using TestSupport::c_timestamp;
using TestSupport::c_uid;
using TestSupport::Document;
using TestSupport::hasAttribute;
using TestSupport::replyPackage;
using TestSupport::requestPackage;
using TestSupport::rootElement;
using TestSupport::XmlElement;

using Values = std::vector<std::string>;

/// Elements of every named type of the base schema, and requests and replies derived from its roots.
const char* const c_components = R"xsd(
<xs:element name="Uid" type="dvrq:DVUid"/>
<xs:element name="Timestamp" type="dvrq:DVTimestamp"/>
<xs:element name="JobId" type="dvrq:DVJobId"/>
<xs:element name="Exception" type="dvrq:DVException"/>
<xs:element name="Data" type="dvrq:DVData"/>
<xs:element name="Request" type="dvrq:Request"/>
<xs:element name="Reply" type="dvrq:Reply"/>
<xs:element name="LogMessage" type="dvrq:LogMessage"/>
<xs:element name="Parameters" type="dvrq:DVPellamParameterVector"/>
<xs:element name="RequestPackage" type="dvrq:RequestPackage"/>
<xs:element name="ReplyPackage" type="dvrq:ReplyPackage"/>
<xs:complexType name="RunRequest">
  <xs:complexContent>
    <xs:extension base="dvrq:Request">
      <xs:sequence>
        <xs:element name="jobId" type="dvrq:DVJobId"/>
        <xs:element name="data" type="dvrq:DVData" minOccurs="0" maxOccurs="unbounded"/>
      </xs:sequence>
      <xs:attribute name="priority" type="xs:int" use="required"/>
    </xs:extension>
  </xs:complexContent>
</xs:complexType>
<xs:complexType name="UrgentRunRequest">
  <xs:complexContent>
    <xs:extension base="dvrq:RunRequest">
      <xs:attribute name="deadline" type="dvrq:DVTimestamp" use="required"/>
    </xs:extension>
  </xs:complexContent>
</xs:complexType>
<xs:complexType name="RunReply">
  <xs:complexContent>
    <xs:extension base="dvrq:Reply">
      <xs:sequence>
        <xs:element name="exception" type="dvrq:DVException"/>
      </xs:sequence>
    </xs:extension>
  </xs:complexContent>
</xs:complexType>
)xsd";

const std::string c_instanceNamespace = "http://www.w3.org/2001/XMLSchema-instance";

const Values c_goodUids = {
    c_uid,
    c_otherUid,
    "0123456789abcdef-0123456789abcdef-0123456789abcdef",
    "0123456789ABCDEF-0123456789ABCDEF-0123456789ABCDEF",
    "0000000000000000-0000000000000000-0000000000000000",
};
const Values c_badUids = {
    "",
    "0123456789abcde-0123456789abcdef-0123456789abcdef",
    "0123456789abcdef-0123456789abcde-0123456789abcdef",
    "0123456789abcdef-0123456789abcdef-0123456789abcde",
    "0123456789abcdef0-0123456789abcdef-0123456789abcdef",
    "0123456789abcdef-0123456789abcdef0-0123456789abcdef",
    "0123456789abcdef-0123456789abcdef-0123456789abcdef0",
    "0123456789abcdef_0123456789abcdef_0123456789abcdef",
    "0123456789abcdef-0123456789abcdef:0123456789abcdef",
    "0123456789abcdef 0123456789abcdef 0123456789abcdef",
    "0123456789abcdef0123456789abcdef0123456789abcdef",
    "0123456789abcdef-0123456789abcdef",
    "0123456789abcdef-0123456789abcdef-",
    "0123456789abcdef-0123456789abcdef-0123456789abcdef-0123456789abcdef",
    "0123456789abcdef_0123456789abcdef-0123456789abcdef",
    "0123456789abcdef-0123456789abcdef_0123456789abcdef",
    "0123456789abcdeg-0123456789abcdef-0123456789abcdef",
    "0123456789ABCDEG-0123456789ABCDEF-0123456789ABCDEF",
    "0123456789ABCDEF-0123456789ABCDEF-0123456789ABCDEG",
    "0123456789abcdef-0123456789abcdeG-0123456789abcdef",
    "0123456789abcdef-0123456789abcdef-012345678/abcdef",
    "0123456789abcdef-0123456789abcdef-012345678:abcdef",
    "0123456789abcdef-0123456789abcdef-0123456789@bcdef",
    "0123456789abcdef-0123456789abcdef-0123456789`bcdef",
    "\xD9\xA0"
    "123456789abcdef-0123456789abcdef-0123456789abcdef",
    " 0123456789abcdef-0123456789abcdef-0123456789abcdef",
    "0123456789abcdef-0123456789abcdef-0123456789abcdef ",
};

const Values c_goodTimestamps = {
    c_timestamp,
    "UTC/ISO_2024-05-07T13:45:09.1",
    "UTC/ISO_2024-05-07T13:45:09.123456",
    "UTC/ISO_2024-05-0 T13:45:09",
    "UTC/ISO_2024-05-3 T13:45:09.5",
    "UTC/ISO_0000-00-00T00:00:00",
    "UTC/ISO_9999-19-39T29:59:59.999999",
};
const Values c_badTimestamps = {
    "",
    "2024-05-07T13:45:09",
    "UTC_2024-05-07T13:45:09",
    "utc/iso_2024-05-07T13:45:09",
    "UTC/ISO 2024-05-07T13:45:09",
    "UTC.ISO_2024-05-07T13:45:09",
    "UTC/ISO_2024-05-07T13:45:09.1234567",
    "UTC/ISO_2024-05-07T13:45:09.",
    "UTC/ISO_2024-05-07T13:45:09,5",
    "UTC/ISO_2024-05-07T13:45:09:5",
    "UTC/ISO_2024-05-07T13:45:0905",
    "UTC/ISO_2024-05-07T13:45:09Z",
    "UTC/ISO_2024-05-07T13:45:09 ",
    " UTC/ISO_2024-05-07T13:45:09",
    "UTC/ISO_2024-05-07T13:45",
    "UTC/ISO_2024-05-07",
    "UTC/ISO_2024-05-07 13:45:09",
    "UTC/ISO_2024-05-07t13:45:09",
    "UTC/ISO_2024/05/07T13:45:09",
    "UTC/ISO_2024-05-07T13.45.09",
    "UTC/ISO_24-05-07T13:45:09",
    "UTC/ISO_02024-05-07T13:45:09",
    "UTC/ISO_2024-5-07T13:45:09",
    "UTC/ISO_2024-20-07T13:45:09",
    "UTC/ISO_2024- 5-07T13:45:09",
    "UTC/ISO_2024-0 -07T13:45:09",
    "UTC/ISO_2024-05-40T13:45:09",
    "UTC/ISO_2024-05- 7T13:45:09",
    "UTC/ISO_2024-05-  T13:45:09",
    "UTC/ISO_2024-05-7T13:45:09",
    "UTC/ISO_2024-05-0\xC2\xA0T13:45:09",
    "UTC/ISO_2024-05-07T30:45:09",
    "UTC/ISO_2024-05-07T1 :45:09",
    "UTC/ISO_2024-05-07T13:60:09",
    "UTC/ISO_2024-05-07T13:45:60",
    "UTC/ISO_202a-05-07T13:45:09",
};

const Values c_goodBooleans = {"true", "false", "1", "0", " true "};
const Values c_badBooleans = {"", "TRUE", "False", "yes", "2", "-1", "truefalse"};
const Values c_goodUnsigned = {"0", "1", "4294967295", " 7 ", "007"};
const Values c_badUnsigned = {"", "-1", "4294967296", "1.0", "1e3", "0x10", "seven", "1 2"};
const Values c_goodInts = {"0", "-2147483648", "2147483647", "+5", " 7 "};
const Values c_badInts = {"", "-2147483649", "2147483648", "1.0", "1e3", "0x10", "seven", "--1"};
const Values c_goodLongs = {"0", "-9223372036854775808", "9223372036854775807", " 7 "};
const Values c_badLongs = {"", "-9223372036854775809", "9223372036854775808", "1.0", "1e3", "seven"};
const Values c_goodDoubles = {"0", "-1.5", "1e3", "1.5E-3", ".5", "5.", "INF", "-INF", "NaN", " 7 "};
const Values c_badDoubles = {"", "abc", "1,5", "inf", "-inf", "nan", "infinity", "1e", "e5", "1.5.2", "0x1p3", "1 2"};
const Values c_anyText = {"", "text", " with blanks ", "\xC3\xA4\xE2\x82\xAC\xF0\x9F\x98\x80", "&lt;&amp;"};

struct AttributeRule {
  std::string name;
  bool required;
  Values good;
  Values bad;
};

struct ChildRule {
  XmlElement element;
  bool required;
};

std::string join(const Values& parts, const std::string& separator = "") {
  std::string result;
  for (const std::string& part : parts) {
    result += (result.empty() ? "" : separator) + part;
  }
  return result;
}

/// One instance for all tests: the grammar does not change.
class BaseSchemaTest : public ::testing::Test {
 protected:
  static void SetUpTestSuite() { RequestXmlHelper::getInstance().addSchema(Fragment(c_components)); }
  static void TearDownTestSuite() { RequestXmlHelper::reset(true); }
  void TearDown() override { TestSupport::RecordingLog::clear(); }

  static Document parse(const std::string& text) { return Document(RequestXmlHelper::getInstance().parse(text)); }

  static void expectValid(const std::string& text) {
    try {
      const Document document = parse(text);
      EXPECT_NE(document->getDocumentElement(), nullptr);
    } catch (const Drelvan::DvExceptionNested& exception) {
      ADD_FAILURE() << "refused: " << text << "\n" << exception.what();
    }
  }
  static void expectValid(const XmlElement& element) { expectValid(element.text()); }

  /// Refused by the grammar, not for its form: without validation it is a document.
  static void expectInvalid(const std::string& text) {
    try {
      const Document document = parse(text);
      ADD_FAILURE() << "accepted: " << text;
    } catch (const Drelvan::DvExceptionNested& exception) {
      EXPECT_THAT(exception.what(), ::testing::StartsWith("Errors occurred while parsing input: ")) << text;
    }
    try {
      const TestSupport::ScriptedSource source(text);
      const Document document(RequestXmlHelper::getInstance().parse(source, false));
      EXPECT_NE(document->getDocumentElement(), nullptr);
    } catch (const Drelvan::DvExceptionNested& exception) {
      ADD_FAILURE() << "not even well-formed: " << text << "\n" << exception.what();
    }
  }
  static void expectInvalid(const XmlElement& element) { expectInvalid(element.text()); }

  /// Every value in the content of `element`.
  static void expectContent(const XmlElement& element, const Values& good, const Values& bad) {
    for (const std::string& value : good) {
      expectValid(element.withContent(value));
    }
    for (const std::string& value : bad) {
      expectInvalid(element.withContent(value));
    }
    expectInvalid(element.withContent(good.front() + "<child/>"));
  }

  static void expectAttributeRule(const XmlElement& minimal, const AttributeRule& rule) {
    SCOPED_TRACE("attribute " + rule.name);
    for (const std::string& value : rule.good) {
      expectValid(minimal.with(rule.name, value));
    }
    for (const std::string& value : rule.bad) {
      expectInvalid(minimal.with(rule.name, value));
    }
    const XmlElement with = minimal.with(rule.name, rule.good.front());
    if (rule.required) {
      expectInvalid(with.without(rule.name));
    } else {
      expectValid(with.without(rule.name));
    }
    const XmlElement qualified = with.without(rule.name).with("xmlns:dvrq", c_targetNamespace);
    expectInvalid(qualified.with("dvrq:" + rule.name, rule.good.front()));
  }

  /// `minimal` has the required attributes only, with valid values.
  static void expectAttributes(const XmlElement& minimal, const std::vector<AttributeRule>& rules) {
    expectValid(minimal);
    XmlElement all(minimal);
    for (const AttributeRule& rule : rules) {
      expectAttributeRule(minimal, rule);
      all = all.with(rule.name, rule.good.front());
    }
    expectValid(all);
    expectInvalid(all.with("undeclared", "value"));
    expectInvalid(minimal.with("undeclared", "value"));
  }

  static Values texts(const std::vector<ChildRule>& rules, bool requiredOnly = false) {
    Values result;
    for (const ChildRule& rule : rules) {
      if (rule.required || !requiredOnly) {
        result.push_back(rule.element.text());
      }
    }
    return result;
  }

  static void expectChildRule(const XmlElement& parent, const std::vector<ChildRule>& rules, std::size_t index) {
    SCOPED_TRACE("child " + rules[index].element.text());
    const Values all = texts(rules);
    Values without(all);
    without.erase(without.begin() + static_cast<std::ptrdiff_t>(index));
    if (rules[index].required) {
      expectInvalid(parent.withContent(join(without)));
    } else {
      expectValid(parent.withContent(join(without)));
    }
    Values twice(all);
    twice[index] += twice[index];
    expectInvalid(parent.withContent(join(twice)));
    Values unqualified(all);
    unqualified[index] = rules[index].element.with("xmlns", "").text();
    expectInvalid(parent.withContent(join(unqualified)));
    for (std::size_t other = index + 1; other < all.size(); ++other) {
      Values swapped(all);
      std::swap(swapped[index], swapped[other]);
      expectInvalid(parent.withContent(join(swapped)));
    }
    Values following(all);
    following[index] += "<undeclared/>";
    expectInvalid(parent.withContent(join(following)));
  }

  /// A sequence in which every element occurs at most once.
  static void expectSequence(const XmlElement& parent, const std::vector<ChildRule>& rules) {
    const Values all = texts(rules);
    expectValid(parent.withContent(join(all)));
    expectValid(parent.withContent(join(texts(rules, true))));
    expectValid(parent.withContent("\n  " + join(all, "\n  <!-- comment -->") + "\n"));
    expectInvalid(parent.withContent("<undeclared/>" + join(all)));
    expectInvalid(parent.withContent(join(all) + "text"));
    expectInvalid(parent.withContent("text" + join(all)));
    expectInvalid(parent.withContent(""));
    for (std::size_t index = 0; index < rules.size(); ++index) {
      expectChildRule(parent, rules, index);
    }
  }

  /// An element without any content.
  static void expectNoContent(const XmlElement& element) {
    expectValid(element);
    expectInvalid(element.withContent("text"));
    expectInvalid(element.withContent(" "));
    expectInvalid(element.withContent("<child/>"));
  }
};

XmlElement jobId(const std::string& name = "JobId") {
  return rootElement(name, XmlElement("id", c_uid).text() + XmlElement("name", "job").text());
}

TEST_F(BaseSchemaTest, UidIsThreeGroupsOfSixteenHexadecimalDigits) {
  expectContent(rootElement("Uid"), c_goodUids, c_badUids);
}

TEST_F(BaseSchemaTest, TimestampIsPrefixDateTimeAndOptionalFraction) {
  expectContent(rootElement("Timestamp"), c_goodTimestamps, c_badTimestamps);
}

TEST_F(BaseSchemaTest, JobIdIsIdThenName) {
  const XmlElement id("id", c_uid);
  const XmlElement name("name", "job");
  expectSequence(rootElement("JobId"), {{id, true}, {name, true}});
  expectInvalid(jobId().with("id", c_uid));
  for (const std::string& uid : c_badUids) {
    expectInvalid(rootElement("JobId", id.withContent(uid).text() + name.text()));
  }
  for (const std::string& text : c_anyText) {
    expectValid(rootElement("JobId", id.text() + name.withContent(text).text()));
  }
  expectInvalid(rootElement("JobId", id.text() + name.withContent("<child/>").text()));
}

TEST_F(BaseSchemaTest, ExceptionIsASequenceOfWhichOnlyTheTypeIsRequired) {
  const XmlElement inner("innerException", "<type>inner</type>");
  expectSequence(rootElement("Exception"), {{XmlElement("type", "t"), true},
                                            {XmlElement("message", "m"), false},
                                            {XmlElement("name", "n"), false},
                                            {XmlElement("source", "s"), false},
                                            {XmlElement("file", "f"), false},
                                            {XmlElement("function", "u"), false},
                                            {XmlElement("line", "1"), false},
                                            {XmlElement("severity", "v"), false},
                                            {inner, false}});
  expectInvalid(rootElement("Exception", "<type>t</type>").with("type", "t"));
}

TEST_F(BaseSchemaTest, ExceptionTextsAreFreeAndItsLineIsAnInt) {
  const std::string type = "<type>t</type>";
  for (const char* name : {"message", "name", "source", "file", "function", "severity"}) {
    SCOPED_TRACE(name);
    for (const std::string& text : c_anyText) {
      expectValid(rootElement("Exception", type + XmlElement(name, text).text()));
    }
    expectInvalid(rootElement("Exception", type + XmlElement(name, "<child/>").text()));
  }
  for (const std::string& text : c_anyText) {
    expectValid(rootElement("Exception", XmlElement("type", text).text()));
  }
  for (const std::string& line : c_goodInts) {
    expectValid(rootElement("Exception", type + XmlElement("line", line).text()));
  }
  for (const std::string& line : c_badInts) {
    expectInvalid(rootElement("Exception", type + XmlElement("line", line).text()));
  }
}

TEST_F(BaseSchemaTest, ExceptionsNest) {
  std::string content = "<type>innermost</type><line>3</line>";
  std::string broken = "<message>the type is missing</message>";
  for (int depth = 0; depth < 20; ++depth) {
    content = "<type>t</type>" + XmlElement("innerException", content).text();
    broken = "<type>t</type>" + XmlElement("innerException", broken).text();
  }
  expectValid(rootElement("Exception", content));
  expectInvalid(rootElement("Exception", broken));
  expectInvalid(rootElement("Exception", "<type>t</type><innerException/>"));
}

TEST_F(BaseSchemaTest, DataHasAttributesOnly) {
  const XmlElement minimal = rootElement("Data").with("id", c_uid).with("href", "file:a");
  expectNoContent(minimal);
  const Values goodTypes = {"abc", "abcd", "   ", "\xC3\xA4\xC3\xB6\xC3\xBC"};
  const Values badTypes = {"", "a", "ab", "\xC3\xA4\xC3\xB6", "\xF0\x9F\x98\x80"};
  expectAttributes(minimal, {{"id", true, c_goodUids, c_badUids},
                             {"name", false, c_anyText, {}},
                             {"dataPtrType", false, goodTypes, badTypes},
                             {"dataType", false, goodTypes, badTypes},
                             {"dataSize",
                              false,
                              {"0", "1", "9223372036854775807"},
                              {"", "-1", "-9223372036854775808", "9223372036854775808", "1.5", "much"}},
                             {"href", true, {"123456", "1234567", "      "}, {"", "1", "12345"}},
                             {"forceTransfer", false, c_goodBooleans, c_badBooleans},
                             {"fileNotTransfered", false, c_goodBooleans, c_badBooleans}});
  expectInvalid(minimal.with("fileNotTransferred", "true"));
}

TEST_F(BaseSchemaTest, RequestHasAnIdAndNothingElse) {
  const XmlElement minimal = rootElement("Request").with("id", c_uid);
  expectNoContent(minimal);
  expectAttributes(minimal, {{"id", true, c_goodUids, c_badUids}});
  expectInvalid(minimal.with("requestId", c_uid));
}

TEST_F(BaseSchemaTest, ReplyHasARequestIdAndNothingElse) {
  const XmlElement minimal = rootElement("Reply").with("requestId", c_uid);
  expectNoContent(minimal);
  expectAttributes(minimal, {{"requestId", true, c_goodUids, c_badUids}});
  expectInvalid(minimal.with("id", c_uid));
}

TEST_F(BaseSchemaTest, LogMessageIsTextWithTypeGroupAndTimestamp) {
  const XmlElement minimal =
      rootElement("LogMessage").with("type", "Info").with("group", "g").with("timestamp", "1715089509");
  expectAttributes(
      minimal, {{"type", true, {"Info", "Warning", "Error", "Debug"}, {"", "info", "INFO", "Fatal", "Info ", " Info"}},
                {"group", true, c_anyText, {}},
                {"timestamp", true, c_goodLongs, c_badLongs}});
  expectContent(minimal, c_anyText, {});
}

XmlElement parameter(const std::string& value = "1.5") {
  return XmlElement("parameter", "<id>p</id>" + XmlElement("value", value).text());
}

XmlElement encryptedParameter(const std::string& value = "secret") {
  return XmlElement("encryptedParameter", "<id>p</id>" + XmlElement("value", value).text());
}

XmlElement parameters(const std::string& content) {
  return rootElement("Parameters", "<realizationId>1</realizationId>" + content);
}

TEST_F(BaseSchemaTest, ParameterVectorIsARealizationIdAndAtLeastOneParameter) {
  const std::string plain = parameter().text();
  const std::string encrypted = encryptedParameter().text();
  for (const Values& content : std::vector<Values>{{plain},
                                                   {encrypted},
                                                   {plain, encrypted},
                                                   {encrypted, plain},
                                                   {plain, plain, encrypted, plain, encrypted, encrypted}}) {
    expectValid(parameters(join(content)));
  }
  expectValid(parameters(join(Values(500, plain + encrypted))));
  expectInvalid(parameters(""));
  expectInvalid(rootElement("Parameters", plain));
  expectInvalid(rootElement("Parameters"));
  expectInvalid(rootElement("Parameters", plain + "<realizationId>1</realizationId>"));
  expectInvalid(parameters("<realizationId>2</realizationId>" + plain));
  expectInvalid(parameters(plain + "<realizationId>2</realizationId>"));
  expectInvalid(parameters(plain + "<undeclared/>"));
  expectInvalid(parameters(plain + "text"));
  expectInvalid(parameters(parameter().with("xmlns", "").text()));
  expectInvalid(parameters(encryptedParameter().with("xmlns", "").text()));
  expectInvalid(parameters(plain).with("id", c_uid));
}

TEST_F(BaseSchemaTest, RealizationIdIsAnUnsignedInt) {
  for (const std::string& value : c_goodUnsigned) {
    expectValid(rootElement("Parameters", XmlElement("realizationId", value).text() + parameter().text()));
  }
  for (const std::string& value : c_badUnsigned) {
    expectInvalid(rootElement("Parameters", XmlElement("realizationId", value).text() + parameter().text()));
  }
}

TEST_F(BaseSchemaTest, ParameterValuesAreDoublesAndEncryptedOnesText) {
  for (const std::string& value : c_goodDoubles) {
    expectValid(parameters(parameter(value).text()));
  }
  for (const std::string& value : c_badDoubles) {
    expectInvalid(parameters(parameter(value).text()));
    expectValid(parameters(encryptedParameter(value).text()));
  }
  for (const std::string& value : c_anyText) {
    expectValid(parameters(encryptedParameter(value).text()));
  }
  expectInvalid(parameters(encryptedParameter("<child/>").text()));
}

TEST_F(BaseSchemaTest, BothKindsOfParameterAreIdThenValue) {
  const std::string id = "<id>p</id>";
  const std::string value = "<value>1</value>";
  for (const char* name : {"parameter", "encryptedParameter"}) {
    SCOPED_TRACE(name);
    const XmlElement element(name);
    expectValid(parameters(element.withContent(id + value).text()));
    expectValid(parameters(element.withContent("<id/>" + value).text()));
    for (const std::string& content : {std::string(), id, value, value + id, id + id + value, id + value + value,
                                       id + value + "<undeclared/>", id + "text" + value, "<id><x/></id>" + value,
                                       "<id xmlns=\"\">p</id>" + value, id + "<value xmlns=\"\">1</value>"}) {
      expectInvalid(parameters(element.withContent(content).text()));
    }
    expectInvalid(parameters(element.withContent(id + value).with("id", "p").text()));
  }
}

std::vector<AttributeRule> requestPackageRules() {
  return {{"version", true, {"5.0.0"}, {"", "5.0", "5.0.1", "5.0.0.0", "5.0.0 ", " 5.0.0", "V5.0.0", "4.0.0"}},
          {"serial", true, c_goodUnsigned, c_badUnsigned},
          {"timestamp", true, c_goodTimestamps, c_badTimestamps},
          {"clientId", true, c_goodUids, c_badUids},
          {"origin", false, c_anyText, {}},
          {"progressUpdates", false, c_goodBooleans, c_badBooleans},
          {"replyHost", false, c_anyText, {}},
          {"replyPort", false, c_goodUnsigned, c_badUnsigned},
          {"requestClientId", true, c_goodUids, c_badUids},
          {"replyExpected", false, c_goodBooleans, c_badBooleans}};
}

std::vector<AttributeRule> replyPackageRules() {
  return {{"version", true, {"5.0.0"}, {"", "5.0", "5.0.1", "5.0.0.0", "5.0.0 ", " 5.0.0"}},
          {"serial", true, c_goodUnsigned, c_badUnsigned},
          {"timestamp", true, c_goodTimestamps, c_badTimestamps},
          {"origin", false, c_anyText, {}}};
}

TEST_F(BaseSchemaTest, RequestPackageHasTheEnvelopeAttributes) {
  expectAttributes(requestPackage(), requestPackageRules());
}

TEST_F(BaseSchemaTest, ReplyPackageHasTheEnvelopeAttributesOfAReply) {
  expectAttributes(replyPackage(), replyPackageRules());
  for (const char* name : {"clientId", "requestClientId"}) {
    expectInvalid(replyPackage().with(name, c_uid));
  }
  for (const char* name : {"progressUpdates", "replyExpected"}) {
    expectInvalid(replyPackage().with(name, "true"));
  }
  expectInvalid(replyPackage().with("replyHost", "host"));
  expectInvalid(replyPackage().with("replyPort", "1"));
}

TEST_F(BaseSchemaTest, NamedPackageTypesServeFragmentsToo) {
  expectAttributes(requestPackage().named("RequestPackage"), requestPackageRules());
  expectAttributes(replyPackage().named("ReplyPackage"), replyPackageRules());
}

TEST_F(BaseSchemaTest, PackagesHoldExactlyOneRequestOrReply) {
  expectSequence(requestPackage(), {{TestSupport::request(), true}});
  expectSequence(replyPackage(), {{TestSupport::reply(), true}});
  expectInvalid(requestPackage(TestSupport::reply().text()));
  expectInvalid(replyPackage(TestSupport::request().text()));
  expectInvalid(requestPackage(TestSupport::request().withContent("<child/>").text()));
  expectInvalid(requestPackage(TestSupport::request().without("id").text()));
  expectInvalid(replyPackage(TestSupport::reply().without("requestId").text()));
}

TEST_F(BaseSchemaTest, MissingOriginOfARequestPackageIsFilledIn) {
  const Document document = parse(requestPackage().text());
  const auto* root = document->getDocumentElement();
  EXPECT_EQ(attribute(root, "origin"), "PellamConnector@127.0.0.1");
  EXPECT_FALSE(root->getAttributeNode(TestSupport::WideText("origin").get())->getSpecified());
}

TEST_F(BaseSchemaTest, GivenOriginIsKept) {
  for (const char* origin : {"", "Client@10.0.0.1"}) {
    const Document document = parse(requestPackage().with("origin", origin).text());
    EXPECT_TRUE(hasAttribute(document->getDocumentElement(), "origin"));
    EXPECT_EQ(attribute(document->getDocumentElement(), "origin"), origin);
  }
}

TEST_F(BaseSchemaTest, NoOtherAttributeIsFilledIn) {
  const Document request = parse(requestPackage().text());
  for (const char* name : {"progressUpdates", "replyHost", "replyPort", "replyExpected"}) {
    EXPECT_FALSE(hasAttribute(request->getDocumentElement(), name)) << name;
  }
  const Document reply = parse(replyPackage().text());
  EXPECT_FALSE(hasAttribute(reply->getDocumentElement(), "origin"));
  const Document data = parse(rootElement("Data").with("id", c_uid).with("href", "file:a").text());
  for (const char* name : {"name", "dataPtrType", "dataType", "dataSize", "forceTransfer", "fileNotTransfered"}) {
    EXPECT_FALSE(hasAttribute(data->getDocumentElement(), name)) << name;
  }
}

TEST_F(BaseSchemaTest, WhitespaceBetweenElementsIsNotInTheDocument) {
  const Document document = parse(requestPackage("\n  " + TestSupport::request().text() + "\n").text());
  EXPECT_EQ(document->getDocumentElement()->getChildNodes()->getLength(), 1U);
}

TEST_F(BaseSchemaTest, BareRequestAndReplyHoldExactlyOne) {
  expectSequence(rootElement("DV_Request"), {{TestSupport::request(), true}});
  expectSequence(rootElement("DV_Reply"), {{TestSupport::reply(), true}});
  expectInvalid(rootElement("DV_Request", TestSupport::reply().text()));
  expectInvalid(rootElement("DV_Reply", TestSupport::request().text()));
  expectInvalid(rootElement("DV_Request", TestSupport::request().text()).with("version", "5.0.0"));
  expectInvalid(rootElement("DV_Reply", TestSupport::reply().text()).with("version", "5.0.0"));
}

TEST_F(BaseSchemaTest, ScriptsHoldANonEmptySeries) {
  const std::string request = TestSupport::request().text();
  const std::string reply = TestSupport::reply().text();
  for (const std::size_t count : {1U, 2U, 500U}) {
    expectValid(rootElement("DV_RequestScript", join(Values(count, request))));
    expectValid(rootElement("DV_ReplyScript", join(Values(count, reply))));
  }
  for (const std::string& content : {std::string(), reply, request + reply, request + "text", "<undeclared/>" + request,
                                     TestSupport::request().with("xmlns", "").text()}) {
    expectInvalid(rootElement("DV_RequestScript", content));
  }
  for (const std::string& content : {std::string(), request, reply + request, reply + "text", "<undeclared/>" + reply,
                                     TestSupport::reply().with("xmlns", "").text()}) {
    expectInvalid(rootElement("DV_ReplyScript", content));
  }
  expectInvalid(rootElement("DV_RequestScript", request).with("serial", "1"));
  expectInvalid(rootElement("DV_ReplyScript", reply).with("serial", "1"));
}

TEST_F(BaseSchemaTest, OnlyTheDeclaredRootsInTheTargetNamespaceAreAccepted) {
  for (const char* name : {"request", "reply", "DV_Undeclared", "dv_RequestPackage", "DVUid", "DVJobId"}) {
    expectInvalid(rootElement(name));
  }
  expectInvalid(requestPackage().without("xmlns"));
  expectInvalid(requestPackage().with("xmlns", "http://drelvan.example/schemas/Other.xsd"));
  expectInvalid(requestPackage().with("xmlns", c_targetNamespace + "/"));
}

TEST_F(BaseSchemaTest, PrefixesAreTheDocumentsChoice) {
  const XmlElement request = TestSupport::request().named("p:request");
  const XmlElement package =
      requestPackage(request.text()).named("p:DV_RequestPackage").without("xmlns").with("xmlns:p", c_targetNamespace);
  expectValid(package);
  expectInvalid(package.withContent(TestSupport::request().text()));
}

/// An element that names its own type.
XmlElement typed(const XmlElement& element, const std::string& type) {
  return element.with("xmlns:xsi", c_instanceNamespace).with("xmlns:dvrq", c_targetNamespace).with("xsi:type", type);
}

std::string runContent() { return jobId("jobId").without("xmlns").text(); }

TEST_F(BaseSchemaTest, DerivedRequestsAreNamedByTheirType) {
  const XmlElement run = typed(TestSupport::request(), "dvrq:RunRequest").with("priority", "1");
  const std::string data = XmlElement("data").with("id", c_uid).with("href", "file:a").text();
  for (const std::string& content : {runContent(), runContent() + data, runContent() + data + data}) {
    const std::string request = run.withContent(content).text();
    expectValid(requestPackage(request));
    expectValid(rootElement("DV_Request", request));
    expectValid(rootElement("DV_RequestScript", request + TestSupport::request().text() + request));
  }
  expectInvalid(requestPackage(run.text()));
  expectInvalid(requestPackage(run.withContent(data).text()));
  expectInvalid(requestPackage(run.withContent(runContent()).without("priority").text()));
  expectInvalid(requestPackage(run.withContent(runContent()).without("id").text()));
  expectInvalid(requestPackage(run.withContent(runContent()).with("priority", "high").text()));
  expectInvalid(requestPackage(run.withContent(runContent() + "<undeclared/>").text()));
}

TEST_F(BaseSchemaTest, DerivedContentNeedsItsType) {
  expectInvalid(requestPackage(TestSupport::request().withContent(runContent()).text()));
  expectInvalid(requestPackage(TestSupport::request().with("priority", "1").text()));
  expectInvalid(replyPackage(TestSupport::reply().withContent("<exception><type>t</type></exception>").text()));
}

TEST_F(BaseSchemaTest, TypesCanBeDerivedRepeatedly) {
  const XmlElement urgent = typed(TestSupport::request(), "dvrq:UrgentRunRequest")
                                .with("priority", "1")
                                .with("deadline", c_timestamp)
                                .withContent(runContent());
  expectValid(requestPackage(urgent.text()));
  expectInvalid(requestPackage(urgent.without("deadline").text()));
  expectInvalid(requestPackage(urgent.with("deadline", "soon").text()));
}

TEST_F(BaseSchemaTest, DerivedRepliesAreNamedByTheirType) {
  const XmlElement run = typed(TestSupport::reply(), "dvrq:RunReply");
  const std::string exception = "<exception><type>t</type></exception>";
  expectValid(replyPackage(run.withContent(exception).text()));
  expectValid(rootElement("DV_Reply", run.withContent(exception).text()));
  expectValid(rootElement("DV_ReplyScript", run.withContent(exception).text() + TestSupport::reply().text()));
  expectInvalid(replyPackage(run.text()));
  expectInvalid(replyPackage(run.withContent("<exception/>").text()));
  expectInvalid(replyPackage(run.withContent(exception).without("requestId").text()));
}

TEST_F(BaseSchemaTest, RootTypesMayBeNamedThemselves) {
  expectValid(requestPackage(typed(TestSupport::request(), "dvrq:Request").text()));
  expectValid(replyPackage(typed(TestSupport::reply(), "dvrq:Reply").text()));
}

TEST_F(BaseSchemaTest, TypesThatAreNotDerivedAreRefused) {
  for (const char* type : {"dvrq:Reply", "dvrq:RunReply", "dvrq:DVData", "dvrq:Undeclared", "Other:RunRequest"}) {
    SCOPED_TRACE(type);
    expectInvalid(requestPackage(typed(TestSupport::request(), type).with("xmlns:Other", "urn:other").text()));
  }
  expectInvalid(replyPackage(typed(TestSupport::reply(), "dvrq:RunRequest").text()));
}

TEST_F(BaseSchemaTest, NothingIsNillable) {
  const XmlElement request = TestSupport::request().with("xmlns:xsi", c_instanceNamespace).with("xsi:nil", "true");
  expectInvalid(requestPackage(request.text()));
  expectInvalid(jobId().with("xmlns:xsi", c_instanceNamespace).with("xsi:nil", "true").withContent(""));
}

}  // namespace
