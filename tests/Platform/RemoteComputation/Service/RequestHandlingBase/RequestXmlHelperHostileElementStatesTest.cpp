// Undeclared elements around one of the schema: Xerces-C keeps a state for each level of a document, and
// grows the room for it by doubling once, however far the depth has jumped. No depth may write behind that room,
// whatever has happened to the scanner before.

#include <tests/Platform/RemoteComputation/Service/RequestHandlingBase/RequestXmlHelperHostileFixture.h>
#include <tests/support/GuardedMemory.h>

#include <ostream>
#include <stdexcept>
#include <string>
#include <vector>
#include <xercesc/parsers/XercesDOMParser.hpp>
#include <xercesc/util/PlatformUtils.hpp>
#include <xercesc/validators/common/Grammar.hpp>

namespace {

using RequestXmlHelperTests::HelperTest;
using RequestXmlHelperTests::HostileTest;
using RequestXmlHelperTests::numbered;
using RequestXmlHelperTests::repeated;

constexpr std::size_t c_maxDepth = 1000;

TestSupport::GuardedMemory& memory() {
  static TestSupport::GuardedMemory& instance = *new TestSupport::GuardedMemory;
  return instance;
}

/// Starts the platform with the guarded memory before the library can start it with its own.
class GuardedPlatform final : public ::testing::Environment {
 public:
  void SetUp() override {
    xercesc_3_1::XMLPlatformUtils::Initialize(xercesc_3_1::XMLUni::fgXercescDefaultLocale, nullptr, nullptr, &memory());
  }
  void TearDown() override { xercesc_3_1::XMLPlatformUtils::Terminate(); }
};

::testing::Environment* const c_platform = ::testing::AddGlobalTestEnvironment(new GuardedPlatform);

std::string wrapped(std::size_t depth) {
  return repeated("<a>", depth) + "<t:request xmlns:t='" + TestSupport::c_targetNamespace + "'/>" +
         repeated("</a>", depth);
}

void parseAny(const std::string& text, bool validate) {
  const TestSupport::ScriptedSource source(text);
  try {
    const TestSupport::Document document(Drelvan::RequestXmlHelper::getInstance().parse(source, validate));
  } catch (const Drelvan::DvExceptionNested&) {
  }
  TestSupport::RecordingLog::clear();
}

void expectNoDamage(std::size_t depth) {
  parseAny(wrapped(depth), true);
  ASSERT_EQ(memory().damages(), 0U) << "validated, depth " << depth;
  parseAny(wrapped(depth), false);
  ASSERT_EQ(memory().damages(), 0U) << "unvalidated, depth " << depth;
}

/// The depths at which the room would be doubled, and some between.
std::vector<std::size_t> chosenDepths() {
  std::vector<std::size_t> result = {c_maxDepth + 1, c_maxDepth, c_maxDepth - 1, 1};
  for (std::size_t size = 16; size <= c_maxDepth; size *= 2) {
    result.insert(result.end(), {size - 1, size, size + 1, size + size / 2});
  }
  return result;
}

class RequestXmlHelperHostileElementStates : public HostileTest {
 protected:
  static void expectNoDamageAtAnyChosenDepth() {
    for (const std::size_t depth : chosenDepths()) {
      expectNoDamage(depth);
    }
  }
};

TEST(GuardedMemory, FindsWritesBehindABlock) {
  TestSupport::GuardedMemory guarded;
  auto* block = static_cast<char*>(guarded.allocate(64));
  EXPECT_EQ(guarded.damages(), 0U);
  char& behind = block[64 + 4000];
  const char before = behind;
  behind = 0;
  EXPECT_EQ(guarded.damages(), 1U);
  behind = before;
  EXPECT_EQ(guarded.damages(), 0U);
  behind = 0;
  guarded.deallocate(block);
  EXPECT_EQ(guarded.damages(), 1U) << "also once it is freed";
}

TEST(GuardedMemory, FindsWhatTheBareParserDoes) {
  const std::string schema = Drelvan::BaseRequestHandlingSchema().getSchema();
  TestSupport::GuardedMemory guarded;
  {
    xercesc_3_1::XercesDOMParser parser(nullptr, &guarded);
    Drelvan::RequestXmlHelper::XmlErrorHandler handler;
    parser.setDoNamespaces(true);
    parser.setDoSchema(true);
    parser.setValidationScheme(xercesc_3_1::XercesDOMParser::Val_Always);
    const xercesc_3_1::MemBufInputSource source(reinterpret_cast<const XMLByte*>(schema.data()), schema.size(), "");
    parser.loadGrammar(source, xercesc_3_1::Grammar::SchemaGrammarType, true);
    parser.useCachedGrammarInParse(true);
    parser.setErrorHandler(&handler);
    const TestSupport::ScriptedSource document(wrapped(500));
    parser.parse(document);
  }
  TestSupport::RecordingLog::clear();
  if (_XERCES_VERSION > 30204) {
    GTEST_SKIP() << "only known of Xerces-C up to 3.2.4";
  }
  EXPECT_GT(guarded.damages(), 0U);
}

TEST_F(RequestXmlHelperHostileElementStates, AreInRoomAtEveryDepth) {
  for (std::size_t depth = 1; depth <= c_maxDepth + 1; ++depth) {
    parseAny(wrapped(depth), true);
    parseAny(wrapped(depth), false);
    if (depth % 20 == 1) {
      ASSERT_EQ(memory().damages(), 0U) << "up to depth " << depth;
    }
  }
}

TEST_F(RequestXmlHelperHostileElementStates, AreInRoomInTheFirstDocument) {
  for (const std::size_t depth : chosenDepths()) {
    Drelvan::RequestXmlHelper::reset(false);
    expectNoDamage(depth);
    Drelvan::RequestXmlHelper::reset(false);
    parseAny(wrapped(depth), false);
    ASSERT_EQ(memory().damages(), 0U) << "unvalidated, depth " << depth;
  }
}

/// What makes the parser begin anew with a fresh scanner, or may do so.
struct Upset {
  std::string name;
  void (*cause)();

  friend std::ostream& operator<<(std::ostream& stream, const Upset& upset) { return stream << upset.name; }
};

const std::vector<Upset> c_upsets = {
    {"ManyNames",
     [] { parseAny("<r>" + numbered(5000, [](const auto& number) { return "<e" + number + "/>"; }) + "</r>", false); }},
    {"ManyBytes", [] { parseAny("<r>" + std::string(std::size_t{17} << 20U, 'x') + "</r>", false); }},
    {"ManyFailedBytes", [] { parseAny("<r>" + std::string(std::size_t{5} << 20U, 'x') + "</r>", true); }},
    {"ExceededDepth", [] { parseAny(repeated("<n>", 2000), false); }},
    {"ExceededProblems", [] { parseAny("<r>" + repeated("<e/>", 2000) + "</r>", true); }},
    {"ExceededNamespaces",
     [] {
       const auto declaration = [](const auto& number) { return " xmlns:p" + number + "='urn:" + number + "'"; };
       parseAny("<r" + numbered(2000, declaration) + "/>", true);
     }},
    {"Doctype", [] { parseAny("<!DOCTYPE r [<!ELEMENT r (a|b)*><!ATTLIST r a CDATA 'v'>]><r/>", false); }},
    {"RefusedDoctype", [] { parseAny("<!DOCTYPE r><r/>", true); }},
    {"OtherVersion", [] { parseAny("<?xml version='1.1'?><r/>", false); }},
    {"UnknownVersion", [] { parseAny("<?xml version='1.2'?><r/>", false); }},
    {"BrokenText", [] { parseAny(repeated("<a>", 500), false); }},
    {"ThrowingSource",
     [] {
       const TestSupport::ScriptedSource source("<r>", [] { throw std::runtime_error("gone"); });
       EXPECT_THROW(Drelvan::RequestXmlHelper::getInstance().parse(source, true), Drelvan::DvExceptionNested);
     }},
    {"ExhaustedMemory",
     [] {
       for (std::size_t successes = 0; successes < 100; successes += 7) {
         memory().failAfter(successes);
         try {
           parseAny(wrapped(40), true);
         } catch (const xercesc_3_1::OutOfMemoryException&) {
         }
       }
       memory().failNone();
     }},
};

class RequestXmlHelperHostileUpset : public RequestXmlHelperHostileElementStates,
                                     public ::testing::WithParamInterface<Upset> {};

TEST_P(RequestXmlHelperHostileUpset, LeavesTheElementStatesInRoom) {
  for (const std::size_t depth : chosenDepths()) {
    GetParam().cause();
    expectNoDamage(depth);
  }
  GetParam().cause();
  expectNoDamageAtAnyChosenDepth();
  parseValid();
}

INSTANTIATE_TEST_SUITE_P(Each, RequestXmlHelperHostileUpset, ::testing::ValuesIn(c_upsets),
                         [](const auto& information) { return information.param.name; });

}  // namespace
