#include <Platform/RemoteComputation/Service/RequestPackages/PackageWriter.h>
#include <gtest/gtest.h>
#include <rapidcheck/gtest.h>
#include <tests/Platform/RemoteComputation/Service/RequestPackages/PackagesFixture.h>

#include <chrono>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <functional>
#include <optional>
#include <string>
#include <tuple>
#include <utility>
#include <variant>
#include <vector>

/// What is written reads back as it was, through a validating parse.
namespace {

using Drelvan::ElementReader;
using Drelvan::PackageDocument;
using Drelvan::PackageWriter;

/// The parser of all properties: a parser a try would take most of the time.
class ParserEnvironment : public ::testing::Environment {
 public:
  void SetUp() override {
    m_session.emplace(std::vector<Drelvan::AbstractRequestSchema>{RequestPackagesTests::ValuesSchema()});
  }
  void TearDown() override { m_session.reset(); }

 private:
  std::optional<Drelvan::ParserSession> m_session;
};

::testing::Environment* const parserEnvironment = ::testing::AddGlobalTestEnvironment(new ParserEnvironment);

void appendUtf8(std::uint32_t code, std::string& text) {
  const auto append = [&](std::uint32_t byte) { text.push_back(static_cast<char>(byte)); };
  if (code < 0x80) {
    append(code);
  } else if (code < 0x800) {
    append(0xC0 | (code >> 6));
    append(0x80 | (code & 0x3F));
  } else if (code < 0x10000) {
    append(0xE0 | (code >> 12));
    append(0x80 | (code >> 6 & 0x3F));
    append(0x80 | (code & 0x3F));
  } else {
    append(0xF0 | (code >> 18));
    append(0x80 | (code >> 12 & 0x3F));
    append(0x80 | (code >> 6 & 0x3F));
    append(0x80 | (code & 0x3F));
  }
}

/// Any character that XML 1.0 can carry; those that mean something to XML more often than others.
rc::Gen<std::uint32_t> characters() {
  using rc::gen::inRange;
  return rc::gen::weightedOneOf<std::uint32_t>(
      {{4, rc::gen::elementOf(std::vector<std::uint32_t>{'\t', '\n', '\r', ' ',  '&',    '<',    '>',
                                                         '"',  '\'', ']',  '[',  '!',    '-',    '?',
                                                         ';',  '#',  0x7F, 0x85, 0x2028, 0xFEFF, 0xFFFD})},
       {3, inRange<std::uint32_t>(0x20, 0x7F)},
       {2, inRange<std::uint32_t>(0x80, 0x800)},
       {2, inRange<std::uint32_t>(0x800, 0xD800)},
       {1, inRange<std::uint32_t>(0xE000, 0xFFFE)},
       {1, inRange<std::uint32_t>(0x10000, 0x110000)}});
}

rc::Gen<std::string> texts() {
  return rc::gen::map(rc::gen::container<std::vector<std::uint32_t>>(characters()),
                      [](const std::vector<std::uint32_t>& codes) {
                        std::string text;
                        for (const std::uint32_t code : codes) {
                          appendUtf8(code, text);
                        }
                        return text;
                      });
}

template <typename Value>
rc::Gen<std::optional<Value>> optional(const rc::Gen<Value>& generator) {
  return rc::gen::oneOf(rc::gen::map(generator, [](Value value) { return std::optional<Value>(std::move(value)); }),
                        rc::gen::just(std::optional<Value>()));
}

/// Every bit pattern, and numbers near zero and one.
template <typename Number, typename Bits>
rc::Gen<Number> floatings() {
  const auto fromBits = [](Bits bits) {
    Number number{};
    static_assert(sizeof number == sizeof bits);
    std::memcpy(&number, &bits, sizeof number);
    return number;
  };
  return rc::gen::oneOf(rc::gen::map(rc::gen::arbitrary<Bits>(), fromBits), rc::gen::arbitrary<Number>());
}

std::string replyWith(const std::function<void(PackageWriter&)>& write) {
  PackageWriter writer;
  writer.startReplyPackage(Drelvan::ReplyEnvelope());
  writer.startReply("ValuesReply", TestSupport::c_uid);
  write(writer);
  return writer.finish();
}

/// `value` as it comes back from the element of that name.
template <typename Value>
Value throughElement(const std::string& name, const Value& value) {
  const std::string text = replyWith([&](PackageWriter& writer) { writer.element(name, value); });
  return PackageDocument::fromText(text).getReply().get<Value>(name);
}

template <typename Value>
Value throughAttribute(const std::string& name, const Value& value) {
  const std::string text = replyWith([&](PackageWriter& writer) {
    writer.startElement("attributes");
    writer.attribute(name, value);
  });
  return PackageDocument::fromText(text).getReply().getChild("attributes").getAttribute<Value>(name);
}

template <typename Number>
bool isSame(Number left, Number right) {
  return (std::isnan(left) && std::isnan(right)) || (left == right && std::signbit(left) == std::signbit(right));
}

RC_GTEST_PROP(PackagesProperty, TextsReadBack, ()) {
  const std::string text = *texts();
  RC_ASSERT(throughElement("string", text) == text);
  RC_ASSERT(throughAttribute("text", text) == text);
}

TEST(Packages, EveryCharacterThatXmlCanCarryReadsBack) {
  std::string text;
  const auto flush = [&] {
    EXPECT_EQ(throughElement("string", text), text);
    EXPECT_EQ(throughAttribute("text", text), text);
    text.clear();
  };
  const auto add = [&](std::uint32_t first, std::uint32_t last) {
    for (std::uint32_t code = first; code <= last; ++code) {
      appendUtf8(code, text);
      if (text.size() > 60000) {
        flush();
      }
    }
  };
  add(0x9, 0xA);
  add(0xD, 0xD);
  add(0x20, 0xD7FF);
  add(0xE000, 0xFFFD);
  add(0x10000, 0x10FFFF);
  flush();
}

RC_GTEST_PROP(PackagesProperty, AnyBytesMakeAValidPackage, (const std::string& bytes)) {
  const std::string text = replyWith([&](PackageWriter& writer) {
    writer.element("string", bytes);
    writer.startElement("attributes");
    writer.attribute("text", bytes);
  });
  RC_ASSERT(PackageDocument::fromText(text).getReply().findChild("string").has_value());
}

RC_GTEST_PROP(PackagesProperty, NumbersReadBack, ()) {
  const auto signedNumber = *rc::gen::arbitrary<std::int64_t>();
  const auto unsignedNumber = *rc::gen::arbitrary<std::uint64_t>();
  const auto doubleNumber = *floatings<double, std::uint64_t>();
  const auto floatNumber = *floatings<float, std::uint32_t>();
  RC_ASSERT(throughElement("long", signedNumber) == signedNumber);
  RC_ASSERT(throughElement("unsignedLong", unsignedNumber) == unsignedNumber);
  RC_ASSERT(isSame(throughElement("double", doubleNumber), doubleNumber));
  RC_ASSERT(isSame(throughAttribute("number", doubleNumber), doubleNumber));
  RC_ASSERT(isSame(throughElement("float", floatNumber), floatNumber));
}

RC_GTEST_PROP(PackagesProperty, ListsReadBack, ()) {
  const auto doubles = *rc::gen::container<std::vector<double>>(rc::gen::arbitrary<double>());
  const auto numbers = *rc::gen::arbitrary<std::vector<int>>();
  RC_ASSERT(throughElement("doubles", doubles) == doubles);
  RC_ASSERT(throughAttribute("numbers", numbers) == numbers);
}

rc::Gen<std::optional<std::chrono::minutes>> zones() {
  return optional(rc::gen::map(rc::gen::inRange(-840, 841), [](int count) { return std::chrono::minutes(count); }));
}

rc::Gen<std::chrono::nanoseconds> timesOfDay() {
  return rc::gen::map(rc::gen::inRange<std::int64_t>(0, 86'400'000'000'000),
                      [](std::int64_t count) { return std::chrono::nanoseconds(count); });
}

RC_GTEST_PROP(PackagesProperty, DatesAndTimesReadBack, ()) {
  const std::int32_t year =
      *rc::gen::oneOf(rc::gen::inRange(1, 10000), rc::gen::inRange(-9999, 0), rc::gen::inRange(10000, 200000));
  const auto month = *rc::gen::inRange<std::uint32_t>(1, 13);
  const auto day = *rc::gen::inRange<std::uint32_t>(1, 29);
  const Drelvan::XmlDate date{year, month, day, *zones()};
  const Drelvan::XmlTime time{*timesOfDay(), *zones()};
  const Drelvan::XmlDateTime both{year, month, day, *timesOfDay(), *zones()};
  RC_ASSERT(throughElement("date", date) == date);
  RC_ASSERT(throughElement("time", time) == time);
  RC_ASSERT(throughElement("dateTime", both) == both);
}

RC_GTEST_PROP(PackagesProperty, DurationsReadBack, ()) {
  const auto months = *rc::gen::inRange<std::int64_t>(0, 1'000'000);
  const auto rest = *rc::gen::map(rc::gen::arbitrary<std::uint64_t>(),
                                  [](std::uint64_t bits) { return static_cast<std::int64_t>(bits >> 1); });
  const int sign = *rc::gen::element(-1, 1);
  const Drelvan::XmlDuration duration{sign * months, std::chrono::nanoseconds(sign * rest)};
  RC_ASSERT(throughElement("duration", duration) == duration);
}

RC_GTEST_PROP(PackagesProperty, PointsInTimeReadBack, ()) {
  // The years 0 to 9999.
  const auto count = *rc::gen::inRange<std::int64_t>(-62'167'219'200'000'000, 253'402'300'800'000'000);
  const Drelvan::Timestamp time{std::chrono::microseconds(count)};
  RC_ASSERT(throughElement("timestamp", time) == time);
  RC_PRE(count >= -62'135'596'800'000'000);
  const auto both = Drelvan::XmlDateTime::fromTimestamp(time);
  RC_ASSERT(throughElement("dateTime", both).toTimestamp() == time);
}

RC_GTEST_PROP(PackagesProperty, HostsReadBack, ()) {
  Drelvan::HostInfo host(*texts(), *texts());
  host.setRequestServerPort(*rc::gen::inRange(-1, 100000));
  host.setPublisherPort(*rc::gen::inRange(-1, 100000));
  const auto read = throughElement("host", host);
  RC_ASSERT(read.getName() == host.getName());
  RC_ASSERT(read.getIp() == host.getIp());
  RC_ASSERT(read.getRequestServerPort() == host.getRequestServerPort());
  RC_ASSERT(read.getPublisherPort() == host.getPublisherPort());
}

class JobId : public Drelvan::GenericJobId {
 public:
  explicit JobId(const std::string& prefix) { setPrefixAndGenerateUniqueId(prefix); }
};

RC_GTEST_PROP(PackagesProperty, JobIdsReadBack, ()) {
  const Drelvan::GenericJobId jobId = JobId(*texts());
  const auto read = throughElement("jobId", jobId);
  RC_ASSERT(read.getName() == jobId.getName());
  RC_ASSERT(read.getUniqueId() == jobId.getUniqueId());
  RC_ASSERT(read.isValid() == jobId.isValid());
}

/// At least six characters, as the schema asks of a reference.
rc::Gen<std::string> references() {
  return rc::gen::map(texts(), [](const std::string& text) { return "file:/" + text; });
}

RC_GTEST_PROP(PackagesProperty, DataReadsBack, ()) {
  const Drelvan::PackageData data{TestSupport::c_uid,
                                  *optional(texts()),
                                  *optional(references()),
                                  *optional(references()),
                                  *optional(rc::gen::nonNegative<std::int64_t>()),
                                  *references(),
                                  *optional(rc::gen::arbitrary<bool>()),
                                  *optional(rc::gen::arbitrary<bool>())};
  const auto read = throughElement("data", data);
  RC_ASSERT(std::tie(read.id, read.name, read.dataPtrType, read.dataType, read.dataSize, read.href, read.forceTransfer,
                     read.fileNotTransfered) == std::tie(data.id, data.name, data.dataPtrType, data.dataType,
                                                         data.dataSize, data.href, data.forceTransfer,
                                                         data.fileNotTransfered));
}

RC_GTEST_PROP(PackagesProperty, LogMessagesReadBack, ()) {
  using Message = Drelvan::AbstractJobLog::Message;
  const Message message{
      *rc::gen::element(Message::Type::Info, Message::Type::Warning, Message::Type::Error, Message::Type::Debug),
      *texts(), *rc::gen::arbitrary<std::int64_t>(), *texts()};
  const auto read = throughElement("log", message);
  RC_ASSERT(std::tie(read.type, read.group, read.timestamp, read.text) ==
            std::tie(message.type, message.group, message.timestamp, message.text));
}

rc::Gen<Drelvan::PackageException> exceptions() {
  return rc::gen::exec([] {
    return Drelvan::PackageException{*texts(),
                                     *optional(texts()),
                                     *optional(texts()),
                                     *optional(texts()),
                                     *optional(texts()),
                                     *optional(texts()),
                                     *optional(rc::gen::arbitrary<std::int32_t>()),
                                     *optional(texts())};
  });
}

RC_GTEST_PROP(PackagesProperty, ExceptionsReadBack, ()) {
  auto chain = *rc::gen::container<Drelvan::PackageExceptions>(exceptions());
  chain.push_back(*exceptions());
  const auto read = throughElement("exception", chain);
  RC_ASSERT(read.size() == chain.size());
  for (std::size_t index = 0; index < chain.size(); ++index) {
    const auto fields = [](const Drelvan::PackageException& one) {
      return std::tie(one.type, one.message, one.name, one.source, one.file, one.function, one.line, one.severity);
    };
    RC_ASSERT(fields(read[index]) == fields(chain[index]));
  }
}

RC_GTEST_PROP(PackagesProperty, ParameterVectorsReadBack, ()) {
  const auto values = rc::gen::oneOf(
      rc::gen::map(rc::gen::arbitrary<double>(), [](double value) { return std::variant<double, std::string>(value); }),
      rc::gen::map(texts(), [](std::string value) { return std::variant<double, std::string>(std::move(value)); }));
  const auto parameters = rc::gen::exec([values] { return Drelvan::Parameter{*texts(), *values}; });
  Drelvan::ParameterVector vector{*rc::gen::arbitrary<std::uint32_t>(),
                                  *rc::gen::container<std::vector<Drelvan::Parameter>>(parameters)};
  vector.parameters.push_back(*parameters);
  const auto read = throughElement("vector", vector);
  RC_ASSERT(read.realizationId == vector.realizationId);
  RC_ASSERT(read.parameters.size() == vector.parameters.size());
  for (std::size_t index = 0; index < vector.parameters.size(); ++index) {
    RC_ASSERT(read.parameters[index].id == vector.parameters[index].id);
    RC_ASSERT(read.parameters[index].value == vector.parameters[index].value);
  }
}

}  // namespace
