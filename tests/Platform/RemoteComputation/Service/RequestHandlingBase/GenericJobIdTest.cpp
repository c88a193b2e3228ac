#include <Platform/RemoteComputation/Service/RequestHandlingBase/GenericJobId.h>
#include <gtest/gtest.h>
#include <service/Identifier.h>
#include <tests/support/ParsedDocument.h>

#include <sstream>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

namespace {

using Drelvan::GenericJobId;
using Drelvan::UniqueID;
using TestSupport::ParsedDocument;

const std::string c_id = "0123456789abcdef-0011223344556677-8899aabbccddeeff";
const std::string c_otherId = "fedcba9876543210-0011223344556677-8899aabbccddeeff";
const std::string c_text = "Job_0123456789#" + c_id;

/// A job id with a prefix of its own, as a program would derive it.
class JobId : public GenericJobId {
 public:
  explicit JobId(const std::string& prefix) { setPrefixAndGenerateUniqueId(prefix); }
  JobId(const std::string& prefix, const std::string& uniqueId) { setPrefixAndUniqueId(prefix, uniqueId); }

  using GenericJobId::setPrefixAndGenerateUniqueId;
  using GenericJobId::setPrefixAndUniqueId;
};

/// An id with exactly these two texts.
GenericJobId jobIdOf(const std::string& uniqueId, const std::string& name) {
  const ParsedDocument document("<jobId><id>" + uniqueId + "</id><name>" + name + "</name></jobId>");
  return GenericJobId(document.root());
}

void expectDefault(const GenericJobId& id) {
  EXPECT_TRUE(UniqueID().idCheckOK(id.getUniqueId())) << id.getUniqueId();
  EXPECT_EQ(id.getName(), "Invalid_" + id.getUniqueId().substr(0, 10));
  EXPECT_FALSE(id.isValid());
}

template <typename Type, typename = void>
struct SettersArePublic : std::false_type {};
template <typename Type>
struct SettersArePublic<Type, std::void_t<decltype(std::declval<Type&>().setPrefixAndGenerateUniqueId(std::string()))>>
    : std::true_type {};

template <typename Type, typename = void>
struct PairSetterIsPublic : std::false_type {};
template <typename Type>
struct PairSetterIsPublic<
    Type, std::void_t<decltype(std::declval<Type&>().setPrefixAndUniqueId(std::string(), std::string()))>>
    : std::true_type {};

#define DETECT_PUBLIC_CONSTANT(trait, constant) \
  template <typename Type, typename = void>     \
  struct trait : std::false_type {};            \
  template <typename Type>                      \
  struct trait<Type, std::void_t<decltype(Type::constant)>> : std::true_type {}

DETECT_PUBLIC_CONSTANT(TagIsPublic, c_tag);
DETECT_PUBLIC_CONSTANT(CmdTagIsPublic, c_cmdTag);
DETECT_PUBLIC_CONSTANT(UniqueIdTagIsPublic, c_uniqueIdTag);
DETECT_PUBLIC_CONSTANT(NameTagIsPublic, c_nameTag);
DETECT_PUBLIC_CONSTANT(InvalidPrefixIsPublic, c_invalidPrefix);

// ---- The type ----

static_assert(!std::is_polymorphic_v<GenericJobId>);
static_assert(!std::has_virtual_destructor_v<GenericJobId>);
static_assert(!std::is_final_v<GenericJobId>);
static_assert(sizeof(GenericJobId) == 2 * sizeof(std::string));
static_assert(std::is_standard_layout_v<GenericJobId>);
static_assert(std::is_default_constructible_v<GenericJobId>);
static_assert(std::is_copy_constructible_v<GenericJobId> && std::is_copy_assignable_v<GenericJobId>);
static_assert(std::is_nothrow_move_constructible_v<GenericJobId> && std::is_nothrow_move_assignable_v<GenericJobId>);
static_assert(std::is_convertible_v<xercesc_3_1::DOMElement*, GenericJobId>);
static_assert(std::is_constructible_v<GenericJobId, xercesc_3_1::DOMElement*, xercesc_3_1::DOMElement*>);
static_assert(std::is_same_v<decltype(std::declval<const GenericJobId&>().getName()), const std::string&>);
static_assert(std::is_same_v<decltype(std::declval<const GenericJobId&>().getUniqueId()), const std::string&>);
static_assert(std::is_same_v<decltype(GenericJobId::c_tag), const std::string>);
static_assert(std::is_same_v<decltype(GenericJobId::c_cmdTag), const std::string>);
static_assert(SettersArePublic<JobId>::value && !SettersArePublic<GenericJobId>::value);
static_assert(PairSetterIsPublic<JobId>::value && !PairSetterIsPublic<GenericJobId>::value);
static_assert(TagIsPublic<GenericJobId>::value && CmdTagIsPublic<GenericJobId>::value);
static_assert(!UniqueIdTagIsPublic<GenericJobId>::value && !NameTagIsPublic<GenericJobId>::value);
static_assert(!InvalidPrefixIsPublic<GenericJobId>::value);

TEST(GenericJobIdContractTest, HoldsTheUniqueIdBeforeTheName) {
  const GenericJobId id;
  const auto* const first = reinterpret_cast<const std::string*>(&id);
  EXPECT_EQ(&id.getUniqueId(), first);
  EXPECT_EQ(&id.getName(), first + 1);
}

TEST(GenericJobIdContractTest, HasTheTagsOfTheXmlAndCommandLineForms) {
  EXPECT_EQ(GenericJobId::c_tag, "jobId");
  EXPECT_EQ(GenericJobId::c_cmdTag, "-jobId");
}

// ---- Construction ----

TEST(GenericJobIdDefault, IsNamedInvalidAndNeverValid) { expectDefault(GenericJobId()); }

TEST(GenericJobIdDefault, DrawsItsOwnUniqueId) {
  const GenericJobId one;
  const GenericJobId other;
  EXPECT_NE(one.getUniqueId(), other.getUniqueId());
  expectDefault(one);
  expectDefault(other);
}

TEST(GenericJobIdSetters, GenerateANamedValidId) {
  const JobId id("Job");
  EXPECT_TRUE(UniqueID().idCheckOK(id.getUniqueId()));
  EXPECT_EQ(id.getName(), "Job_" + id.getUniqueId().substr(0, 10));
  EXPECT_TRUE(id.isValid());
}

TEST(GenericJobIdSetters, GenerateANewIdEachTime) {
  JobId id("Job");
  const std::string before = id.getUniqueId();
  id.setPrefixAndGenerateUniqueId("Job");
  EXPECT_NE(id.getUniqueId(), before);
  EXPECT_TRUE(id.isValid());
}

TEST(GenericJobIdSetters, ComposeTheNameOfPrefixAndFirstTenCharacters) {
  const JobId id("Job", c_id);
  EXPECT_EQ(id.getUniqueId(), c_id);
  EXPECT_EQ(id.getName(), "Job_0123456789");
}

TEST(GenericJobIdSetters, TakeAnyPrefixAndAnyUniqueId) {
  const struct {
    const char* prefix;
    const char* uniqueId;
    const char* name;
  } rows[] = {{"", "0123456789abcdef", "_0123456789"},
              {"a_b#c", "0123456789abcdef", "a_b#c_0123456789"},
              {"Job", "", "Job_"},
              {"Job", "123456789", "Job_123456789"},
              {"Job", "1234567890", "Job_1234567890"},
              {"Job", "12345678901", "Job_1234567890"},
              {"", "", "_"}};
  for (const auto& row : rows) {
    const JobId id(row.prefix, row.uniqueId);
    EXPECT_EQ(id.getName(), row.name);
    EXPECT_EQ(id.getUniqueId(), row.uniqueId);
  }
}

TEST(GenericJobIdSetters, TakeTheOwnUniqueId) {
  JobId id("Job", c_id);
  id.setPrefixAndUniqueId("Renamed", id.getUniqueId());
  EXPECT_EQ(id.getUniqueId(), c_id);
  EXPECT_EQ(id.getName(), "Renamed_0123456789");
  id.setPrefixAndUniqueId(id.getName(), c_otherId);
  EXPECT_EQ(id.getUniqueId(), c_otherId);
  EXPECT_EQ(id.getName(), "Renamed_0123456789_fedcba9876");
}

/// The id is stored before the name is composed of it.
TEST(GenericJobIdSetters, TakeTheirOwnMembersInTheOrderOfTheSteps) {
  JobId id("Job", "0123456789abcdef");
  id.setPrefixAndUniqueId(id.getUniqueId(), "fedcba9876543210");
  EXPECT_EQ(id.getUniqueId(), "fedcba9876543210");
  EXPECT_EQ(id.getName(), "fedcba9876543210_fedcba9876");
}

// ---- Copies and moves ----

TEST(GenericJobIdCopy, CopiesBothTexts) {
  const JobId original("Job", c_id);
  const GenericJobId copy(original);
  GenericJobId assigned;
  EXPECT_EQ(&(assigned = original), &assigned);
  for (const GenericJobId& id : {copy, assigned}) {
    EXPECT_EQ(id.getUniqueId(), c_id);
    EXPECT_EQ(id.getName(), "Job_0123456789");
    EXPECT_TRUE(id.isValid());
  }
  EXPECT_EQ(original.getName(), "Job_0123456789");
}

TEST(GenericJobIdCopy, KeepsTextsThatDoNotBelongTogether) {
  const GenericJobId original = jobIdOf("short", "Job_x");
  const GenericJobId copy(original);
  EXPECT_EQ(copy.getUniqueId(), "short");
  EXPECT_EQ(copy.getName(), "Job_x");
}

TEST(GenericJobIdCopy, SurvivesAssignmentToItself) {
  JobId id("Job", c_id);
  GenericJobId& alias = id;
  id = static_cast<const JobId&>(id);
  alias = static_cast<const GenericJobId&>(alias);
  EXPECT_EQ(id.getUniqueId(), c_id);
  EXPECT_EQ(id.getName(), "Job_0123456789");
}

/// Short texts live within a string object, long ones outside: both must end empty.
class GenericJobIdMove : public ::testing::TestWithParam<std::pair<std::string, std::string>> {};

TEST_P(GenericJobIdMove, ConstructionLeavesTheSourceEmpty) {
  const auto& [uniqueId, name] = GetParam();
  GenericJobId source = jobIdOf(uniqueId, name);
  const GenericJobId target(std::move(source));
  EXPECT_EQ(target.getUniqueId(), uniqueId);
  EXPECT_EQ(target.getName(), name);
  EXPECT_EQ(source.getUniqueId(), "");
  EXPECT_EQ(source.getName(), "");
  EXPECT_FALSE(source.isValid());
}

TEST_P(GenericJobIdMove, AssignmentLeavesTheSourceEmpty) {
  const auto& [uniqueId, name] = GetParam();
  GenericJobId source = jobIdOf(uniqueId, name);
  GenericJobId target;
  EXPECT_EQ(&(target = std::move(source)), &target);
  EXPECT_EQ(target.getUniqueId(), uniqueId);
  EXPECT_EQ(target.getName(), name);
  EXPECT_EQ(source.getUniqueId(), "");
  EXPECT_EQ(source.getName(), "");
  EXPECT_FALSE(source.isValid());
}

TEST_P(GenericJobIdMove, SourceCanBeUsedAgain) {
  const auto& [uniqueId, name] = GetParam();
  GenericJobId source = jobIdOf(uniqueId, name);
  const GenericJobId target(std::move(source));
  source = target;
  EXPECT_EQ(source.getUniqueId(), uniqueId);
  EXPECT_EQ(source.getName(), name);
}

INSTANTIATE_TEST_SUITE_P(ShortAndLong, GenericJobIdMove,
                         ::testing::Values(std::pair<std::string, std::string>("ab", "c"),
                                           std::pair<std::string, std::string>(c_id, "Job_0123456789"),
                                           std::pair<std::string, std::string>(std::string(500, 'a'),
                                                                               std::string(500, 'b')),
                                           std::pair<std::string, std::string>("", "")));

// ---- From documents ----

TEST(GenericJobIdFromElement, ReadsBothChildrenUnchanged) {
  const ParsedDocument document("<jobId>\n  <id>" + c_id + "</id>\n  <name>Job_0123456789</name>\n</jobId>");
  const GenericJobId id(document.root());
  EXPECT_EQ(id.getUniqueId(), c_id);
  EXPECT_EQ(id.getName(), "Job_0123456789");
  EXPECT_TRUE(id.isValid());
}

TEST(GenericJobIdFromElement, ChecksAndRepairsNothing) {
  const ParsedDocument document("<x><name> a&amp;b#&lt; </name><id>no id</id></x>");
  const GenericJobId id(document.root());
  EXPECT_EQ(id.getUniqueId(), "no id");
  EXPECT_EQ(id.getName(), " a&b#< ");
  EXPECT_FALSE(id.isValid());
}

TEST(GenericJobIdFromElement, DoesNotUnescapeASecondTime) {
  const ParsedDocument document("<jobId><id>x</id><name>&amp;lt;</name></jobId>");
  EXPECT_EQ(GenericJobId(document.root()).getName(), "&lt;");
}

TEST(GenericJobIdFromElement, ReadsMissingChildrenAsEmpty) {
  const ParsedDocument document("<jobId/>");
  const GenericJobId id(document.root());
  EXPECT_EQ(id.getUniqueId(), "");
  EXPECT_EQ(id.getName(), "");
  EXPECT_FALSE(id.isValid());
}

TEST(GenericJobIdFromElement, ReadsANullElementAsEmpty) {
  const GenericJobId id(static_cast<xercesc_3_1::DOMElement*>(nullptr));
  EXPECT_EQ(id.getUniqueId(), "");
  EXPECT_EQ(id.getName(), "");
}

TEST(GenericJobIdFromElement, ReadsTheContentsOfTwoElements) {
  const ParsedDocument document("<x><first>" + c_id + "</first><second>Job_0123456789</second></x>");
  auto* const first = document.root()->getFirstElementChild();
  auto* const second = first->getNextElementSibling();
  const GenericJobId id(first, second);
  EXPECT_EQ(id.getUniqueId(), c_id);
  EXPECT_EQ(id.getName(), "Job_0123456789");
  const GenericJobId swapped(second, first);
  EXPECT_EQ(swapped.getUniqueId(), "Job_0123456789");
  EXPECT_EQ(swapped.getName(), c_id);
}

TEST(GenericJobIdFromElement, ReadsNullElementsAsEmptyTexts) {
  const GenericJobId id(nullptr, nullptr);
  EXPECT_EQ(id.getUniqueId(), "");
  EXPECT_EQ(id.getName(), "");
}

TEST(GenericJobIdFromElement, ReadsBackWhatWasWritten) {
  const JobId original("My_Job");
  const ParsedDocument document(original.toXml("  ", "  "));
  const GenericJobId id(document.root());
  EXPECT_EQ(id.getUniqueId(), original.getUniqueId());
  EXPECT_EQ(id.getName(), original.getName());
  EXPECT_TRUE(id.isValid());
}

// ---- Validity ----

TEST(GenericJobIdValidity, FollowsTheNameAndTheUniqueId) {
  const std::string upper = "ABCDEF0123456789-0011223344556677-8899AABBCCDDEEFF";
  const struct {
    std::string uniqueId;
    std::string name;
    bool valid;
  } rows[] = {
      {c_id, "Job_0123456789", true},
      {c_id, "My_Job_0123456789", true},
      {c_id, "_0123456789", true},
      {c_id, "__0123456789", true},
      {c_id, "invalid_0123456789", true},
      {c_id, "INVALID_0123456789", true},
      {c_id, "Invalid_x_0123456789", true},
      {c_id, " Invalid_0123456789", true},
      {c_id, "a#b_0123456789", true},
      {upper, "Job_ABCDEF0123", true},
      {c_id, "Invalid_0123456789", false},
      {c_id, "", false},
      {c_id, "0123456789", false},
      {c_id, "Job", false},
      {c_id, "Job_", false},
      {c_id, "_", false},
      {c_id, "Job_012345678", false},
      {c_id, "Job_0123456789a", false},
      {c_id, "Job_0123456788", false},
      {c_id, "Job_0123456789_", false},
      {c_id, "Job_0123456789 ", false},
      {upper, "Job_abcdef0123", false},
      {"abcdef0123456789-0011223344556677-8899aabbccddeeff", "Job_ABCDEF0123", false},
      {"", "Job_", false},
      {"012345678", "Job_012345678", false},
      {c_id + "0", "Job_0123456789", false},
      {c_id.substr(1), "Job_123456789a", false},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(jobIdOf(row.uniqueId, row.name).isValid(), row.valid) << row.name << " with " << row.uniqueId;
  }
}

TEST(GenericJobIdValidity, FollowsTheChecksOfADerivedId) {
  EXPECT_TRUE(JobId("My_Job", c_id).isValid());
  EXPECT_EQ(JobId("My_Job", c_id).getName(), "My_Job_0123456789");
  EXPECT_FALSE(JobId("Invalid", c_id).isValid());
  EXPECT_FALSE(JobId("Job", "short").isValid());
}

// ---- XML form ----

TEST(GenericJobIdToXml, WritesFourLinesWithoutALastLineEnd) {
  const JobId id("Job", c_id);
  std::stringstream stream;
  id.toXml("theId", stream, "  ", "  ");
  EXPECT_EQ(stream.str(),
            "  <theId>\n"
            "    <id>" +
                c_id +
                "</id>\n"
                "    <name>Job_0123456789</name>\n"
                "  </theId>");
}

TEST(GenericJobIdToXml, UsesTheUsualTagWhenNoneIsGiven) {
  const JobId id("Job", c_id);
  std::stringstream stream;
  id.toXml(stream, "", "");
  EXPECT_EQ(stream.str(), "<jobId>\n<id>" + c_id + "</id>\n<name>Job_0123456789</name>\n</jobId>");
  EXPECT_EQ(id.toXml("", ""), stream.str());
}

TEST(GenericJobIdToXml, KeepsTheIndentationsApart) {
  EXPECT_EQ(JobId("Job", c_id).toXml("\t", ".."),
            "\t<jobId>\n\t..<id>" + c_id + "</id>\n\t..<name>Job_0123456789</name>\n\t</jobId>");
}

TEST(GenericJobIdToXml, AppendsToWhatTheStreamHolds) {
  const JobId id("Job", c_id);
  std::stringstream stream;
  stream << "before";
  id.toXml(stream, "", "");
  id.toXml(stream, "", "");
  EXPECT_EQ(stream.str(), "before" + id.toXml("", "") + id.toXml("", ""));
}

TEST(GenericJobIdToXml, EscapesNothing) {
  const JobId id("a&b<c>\"'", "<&>");
  EXPECT_EQ(id.toXml("", ""), "<jobId>\n<id><&></id>\n<name>a&b<c>\"'_<&></name>\n</jobId>");
}

TEST(GenericJobIdToXml, WritesTheTagUnchanged) {
  std::stringstream stream;
  JobId("", "").toXml("a:b<", stream, "", "");
  EXPECT_EQ(stream.str(), "<a:b<>\n<id></id>\n<name>_</name>\n</a:b<>");
}

TEST(GenericJobIdToXml, LeavesAFailedStreamFailed) {
  std::stringstream stream;
  stream.setstate(std::ios::badbit);
  JobId("Job", c_id).toXml(stream, "", "");
  EXPECT_TRUE(stream.bad());
  EXPECT_EQ(stream.str(), "");
}

/// Counts how often a stream over it is flushed.
class FlushCounter : public std::stringbuf {
 public:
  int count = 0;

 protected:
  int sync() override {
    ++count;
    return std::stringbuf::sync();
  }
};

TEST(GenericJobIdToXml, FlushesAfterEachLineEnd) {
  FlushCounter buffer;
  std::stringstream stream;
  stream.std::ios::rdbuf(&buffer);
  JobId("Job", c_id).toXml(stream, "", "");
  EXPECT_EQ(buffer.count, 3);
}

// ---- Text form ----

TEST(GenericJobIdToString, JoinsNameAndUniqueId) {
  EXPECT_EQ(JobId("Job", c_id).toString(), c_text);
  EXPECT_EQ(JobId("a#b", "").toString(), "a#b_#");
  const GenericJobId id;
  EXPECT_EQ(id.toString(), "Invalid_" + id.getUniqueId().substr(0, 10) + "#" + id.getUniqueId());
}

struct Reading {
  GenericJobId id;
  std::string message;
};

Reading readText(std::string text) {
  const std::string before = text;
  std::string message = "as it was";
  GenericJobId id = GenericJobId::fromString(text, message);
  EXPECT_EQ(text, before);
  return {std::move(id), std::move(message)};
}

TEST(GenericJobIdFromString, ReadsTheTextForm) {
  const Reading reading = readText(c_text);
  EXPECT_EQ(reading.message, "as it was");
  EXPECT_EQ(reading.id.getName(), "Job_0123456789");
  EXPECT_EQ(reading.id.getUniqueId(), c_id);
  EXPECT_TRUE(reading.id.isValid());
}

TEST(GenericJobIdFromString, ReportsTheError) {
  const std::string upperText = "Job_ABCDEF0123#abcdef0123456789-0011223344556677-8899aabbccddeeff";
  const struct {
    std::string text;
    const char* message;
  } rows[] = {
      {"", "Invalid value for -jobId"},
      {"Job_0123456789", "Invalid value for -jobId"},
      {c_id, "Invalid value for -jobId"},
      {"#", "Invalid UniqueID in -jobId"},
      {"Job_0123456789#", "Invalid UniqueID in -jobId"},
      {c_text + "\n", "Invalid UniqueID in -jobId"},
      {c_text + " ", "Invalid UniqueID in -jobId"},
      {c_text + "#", "Invalid UniqueID in -jobId"},
      {"Job#_0123456789#" + c_id, "Invalid UniqueID in -jobId"},
      {"a#nothing", "Invalid UniqueID in -jobId"},
      {"#nothing", "Invalid UniqueID in -jobId"},
      {"Job_0123456789# " + c_id, "Invalid UniqueID in -jobId"},
      {"#" + c_id, "Invalid name in -jobId"},
      {upperText, "Invalid name in -jobId"},
      {"Job_0123456788#" + c_id, "Invalid name in -jobId"},
      {"Job-0123456789#" + c_id, "Invalid name in -jobId"},
      {"Job_0123456789_#" + c_id, "Invalid name in -jobId"},
      {"01234567890#" + c_id, "Invalid name in -jobId"},
      {"no relation at all#" + c_id, "Invalid name in -jobId"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.text);
    const Reading reading = readText(row.text);
    EXPECT_EQ(reading.message, row.message);
    expectDefault(reading.id);
  }
}

TEST(GenericJobIdFromString, ThrowsForANameOfOneToTenCharacters) {
  for (std::size_t length = 1; length <= 10; ++length) {
    const std::string expectedEnding = "_0123456789";
    for (const std::string& name : {std::string(length, 'x'), expectedEnding.substr(11 - length)}) {
      std::string text = name + "#" + c_id;
      std::string message = "as it was";
      EXPECT_THROW(GenericJobId::fromString(text, message), std::out_of_range) << name;
      EXPECT_EQ(message, "as it was");
      EXPECT_EQ(text, name + "#" + c_id);
    }
  }
}

TEST(GenericJobIdFromString, TestsTheUniqueIdBeforeAShortName) {
  EXPECT_EQ(readText("x#nothing").message, "Invalid UniqueID in -jobId");
}

TEST(GenericJobIdFromString, AcceptsANameOfElevenCharacters) {
  const Reading reading = readText("_0123456789#" + c_id);
  EXPECT_EQ(reading.message, "as it was");
  EXPECT_EQ(reading.id.getName(), "_0123456789");
  EXPECT_TRUE(reading.id.isValid());
}

TEST(GenericJobIdFromString, DoesNotLookAtThePrefix) {
  const Reading reading = readText("Invalid_0123456789#" + c_id);
  EXPECT_EQ(reading.message, "as it was");
  EXPECT_EQ(reading.id.getName(), "Invalid_0123456789");
  EXPECT_EQ(reading.id.getUniqueId(), c_id);
  EXPECT_FALSE(reading.id.isValid());
}

TEST(GenericJobIdFromString, ReadsADefaultIdBackWithoutAMessage) {
  const GenericJobId id;
  const Reading reading = readText(id.toString());
  EXPECT_EQ(reading.message, "as it was");
  EXPECT_EQ(reading.id.getUniqueId(), id.getUniqueId());
  EXPECT_FALSE(reading.id.isValid());
}

TEST(GenericJobIdFromString, ReplacesTheWholeMessage) {
  std::string text = "nothing";
  std::string message(1000, 'x');
  GenericJobId::fromString(text, message);
  EXPECT_EQ(message, "Invalid value for -jobId");
}

// ---- Command-line form ----

TEST(GenericJobIdToCmd, AppendsTwoArguments) {
  const JobId id("Job", c_id);
  std::vector<std::string> arguments{"program", "-jobId"};
  id.toCmd(arguments);
  id.toCmd(arguments);
  EXPECT_EQ(arguments, (std::vector<std::string>{"program", "-jobId", "-jobId", c_text, "-jobId", c_text}));
}

/// Reads through both readers, which must agree.
Reading readArguments(const std::vector<std::string>& arguments) {
  std::vector<std::string> texts = arguments;
  std::vector<char*> pointers;
  for (std::string& text : texts) {
    pointers.push_back(text.data());
  }
  pointers.push_back(nullptr);

  std::string message = "as it was";
  GenericJobId id = GenericJobId::fromCmd(arguments, message);
  std::string otherMessage = "as it was";
  const GenericJobId other = GenericJobId::fromCmd(static_cast<int>(arguments.size()), pointers.data(), otherMessage);
  EXPECT_EQ(message, otherMessage);
  EXPECT_EQ(id.isValid(), other.isValid());
  if (message == "as it was") {
    EXPECT_EQ(id.getName(), other.getName());
    EXPECT_EQ(id.getUniqueId(), other.getUniqueId());
  } else {
    expectDefault(other);
  }
  EXPECT_EQ(texts, arguments);
  return {std::move(id), std::move(message)};
}

TEST(GenericJobIdFromCmd, ReadsTheArgumentAfterTheSwitch) {
  const std::vector<std::vector<std::string>> rows{{"-jobId", c_text},
                                                   {"program", "-jobId", c_text},
                                                   {"program", "-v", "-jobId", c_text, "-x"},
                                                   {"program", "-jobid", "x", "-jobId", c_text},
                                                   {"program", "-jobId=" + c_text, "-jobId", c_text},
                                                   {"program", " -jobId", "-jobId ", "-jobId", c_text},
                                                   {"program", "", "-jobId", c_text},
                                                   {"-jobId", c_text, "-jobId", "bad"},
                                                   {"-jobId", c_text, "-jobId"}};
  for (const auto& row : rows) {
    SCOPED_TRACE(::testing::PrintToString(row));
    const Reading reading = readArguments(row);
    EXPECT_EQ(reading.message, "as it was");
    EXPECT_EQ(reading.id.getName(), "Job_0123456789");
    EXPECT_EQ(reading.id.getUniqueId(), c_id);
    EXPECT_TRUE(reading.id.isValid());
  }
}

TEST(GenericJobIdFromCmd, ReportsTheError) {
  const struct {
    std::vector<std::string> arguments;
    const char* message;
  } rows[] = {
      {{}, "-jobId not found"},
      {{"program"}, "-jobId not found"},
      {{"program", c_text}, "-jobId not found"},
      {{"program", "-JOBID", c_text}, "-jobId not found"},
      {{"program", "-jobid", c_text}, "-jobId not found"},
      {{"program", "jobId", c_text}, "-jobId not found"},
      {{"program", "--jobId", c_text}, "-jobId not found"},
      {{"program", "-jobIds", c_text}, "-jobId not found"},
      {{"program", "-jobI", c_text}, "-jobId not found"},
      {{"program", "-jobId=" + c_text}, "-jobId not found"},
      {{"program", "-jobId " + c_text}, "-jobId not found"},
      {{"program", "-jobId" + c_text}, "-jobId not found"},
      {{"-jobId"}, "-jobId need an value"},
      {{"program", "-jobId"}, "-jobId need an value"},
      {{"program", c_text, "-jobId"}, "-jobId need an value"},
      {{"-jobId", "-verbose"}, "Invalid value for -jobId"},
      {{"-jobId", "-jobId", c_text}, "Invalid value for -jobId"},
      {{"-jobId", ""}, "Invalid value for -jobId"},
      {{"-jobId", "bad", "-jobId", c_text}, "Invalid value for -jobId"},
      {{"-jobId", c_text + "\n"}, "Invalid UniqueID in -jobId"},
      {{"-jobId", "#" + c_id}, "Invalid name in -jobId"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(::testing::PrintToString(row.arguments));
    const Reading reading = readArguments(row.arguments);
    EXPECT_EQ(reading.message, row.message);
    expectDefault(reading.id);
  }
}

TEST(GenericJobIdFromCmd, FindsNothingWithoutAPositiveCount) {
  std::string text = "-jobId";
  char* arguments[] = {text.data(), nullptr};
  for (const int count : {0, -1, -2147483647 - 1}) {
    std::string message;
    expectDefault(GenericJobId::fromCmd(count, arguments, message));
    EXPECT_EQ(message, "-jobId not found");
    message.clear();
    expectDefault(GenericJobId::fromCmd(count, nullptr, message));
    EXPECT_EQ(message, "-jobId not found");
  }
}

TEST(GenericJobIdFromCmd, DoesNotLookBehindTheCount) {
  std::string program = "program";
  std::string tag = "-jobId";
  std::string text = c_text;
  char* arguments[] = {program.data(), tag.data(), text.data(), nullptr};
  std::string message;
  GenericJobId::fromCmd(1, arguments, message);
  EXPECT_EQ(message, "-jobId not found");
  GenericJobId::fromCmd(2, arguments, message);
  EXPECT_EQ(message, "-jobId need an value");
  message = "as it was";
  EXPECT_TRUE(GenericJobId::fromCmd(3, arguments, message).isValid());
  EXPECT_EQ(message, "as it was");
}

TEST(GenericJobIdFromCmd, ComparesWholeElementsByteForByte) {
  std::string message;
  const std::string withNul("-jobId\0", 7);
  GenericJobId::fromCmd({withNul, c_text}, message);
  EXPECT_EQ(message, "-jobId not found");
}

TEST(GenericJobIdFromCmd, ThrowsForANameOfOneToTenCharacters) {
  for (const std::string& name : {std::string("x"), std::string("0123456789")}) {
    std::string message = "as it was";
    std::string tag = "-jobId";
    std::string text = name + "#" + c_id;
    EXPECT_THROW(GenericJobId::fromCmd({tag, text}, message), std::out_of_range);
    char* arguments[] = {tag.data(), text.data(), nullptr};
    EXPECT_THROW(GenericJobId::fromCmd(2, arguments, message), std::out_of_range);
    EXPECT_EQ(message, "as it was");
  }
}

TEST(GenericJobIdFromCmd, ReadsBackWhatToCmdWrote) {
  const JobId id("My_Job");
  std::vector<std::string> arguments{"program"};
  id.toCmd(arguments);
  const Reading reading = readArguments(arguments);
  EXPECT_EQ(reading.id.getName(), id.getName());
  EXPECT_EQ(reading.id.getUniqueId(), id.getUniqueId());
  EXPECT_EQ(reading.message, "as it was");
}

}  // namespace
