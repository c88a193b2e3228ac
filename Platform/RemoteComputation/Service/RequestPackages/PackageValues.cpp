#include <Platform/RemoteComputation/Service/RequestPackages/ElementReader.h>
#include <Platform/RemoteComputation/Service/RequestPackages/Failure.h>
#include <Platform/RemoteComputation/Service/RequestPackages/Lexical.h>
#include <Platform/RemoteComputation/Service/RequestPackages/PackageValues.h>

#include <atomic>
#include <limits>

namespace Drelvan {

namespace {

using std::chrono::hours;
using std::chrono::microseconds;

constexpr const char* c_version = "5.0.0";

std::uint32_t nextSerial() {
  static std::atomic<std::uint32_t> s_last{0};
  return ++s_last;
}

Timestamp now() { return std::chrono::time_point_cast<microseconds>(std::chrono::system_clock::now()); }

}  // namespace

std::string toTimestampText(Timestamp time) {
  std::string text;
  if (!Private::write(time, text)) {
    Private::fail("Drelvan::toTimestampText", __FILE__, __LINE__,
                  std::to_string(time.time_since_epoch().count()) +
                      " microseconds since 1970 are outside the years 0 to 9999, which a DVTimestamp can name");
  }
  return text;
}

std::string currentTimestampText() { return toTimestampText(now()); }

Timestamp fromTimestampText(const std::string& text) {
  const auto time = Private::readTimestamp(text);
  if (!time) {
    Private::fail("Drelvan::fromTimestampText", __FILE__, __LINE__,
                  Private::quoted(text) + " is no date and time in the form UTC/ISO_2024-05-07T13:45:09");
  }
  return *time;
}

XmlDateTime XmlDateTime::fromTimestamp(Timestamp time) {
  const auto sinceEpoch = time.time_since_epoch();
  constexpr microseconds day = hours(24);
  const std::int64_t days = sinceEpoch / day - (sinceEpoch % day < microseconds(0) ? 1 : 0);
  XmlDateTime value;
  std::int64_t year = 0;
  Private::dateFromDays(days, year, value.month, value.day);
  value.year = static_cast<std::int32_t>(year <= 0 ? year - 1 : year);
  value.sinceMidnight = sinceEpoch - days * day;
  value.zone = std::chrono::minutes(0);
  return value;
}

Timestamp XmlDateTime::toTimestamp() const {
  if (!zone) {
    Private::fail("Drelvan::XmlDateTime::toTimestamp", __FILE__, __LINE__,
                  "a date and time without a zone is not a point in time; set the zone");
  }
  // The range of a timestamp, in years.
  constexpr std::int32_t largestYear = 290'000;
  if (year > largestYear || year < -largestYear) {
    Private::fail("Drelvan::XmlDateTime::toTimestamp", __FILE__, __LINE__,
                  "the year " + std::to_string(year) + " is outside the range of a Timestamp");
  }
  const std::int64_t days = Private::daysFromDate(year < 0 ? year + 1 : year, month, day);
  return Timestamp(hours(24 * days) + std::chrono::duration_cast<microseconds>(sinceMidnight) - *zone);
}

bool operator==(const XmlDate& left, const XmlDate& right) {
  return left.year == right.year && left.month == right.month && left.day == right.day && left.zone == right.zone;
}

bool operator==(const XmlTime& left, const XmlTime& right) {
  return left.sinceMidnight == right.sinceMidnight && left.zone == right.zone;
}

bool operator==(const XmlDateTime& left, const XmlDateTime& right) {
  return left.year == right.year && left.month == right.month && left.day == right.day &&
         left.sinceMidnight == right.sinceMidnight && left.zone == right.zone;
}

bool operator==(const XmlDuration& left, const XmlDuration& right) {
  return left.months == right.months && left.rest == right.rest;
}

RequestEnvelope::RequestEnvelope() : version(c_version), serial(nextSerial()), timestamp(currentTimestampText()) {}

RequestEnvelope::RequestEnvelope(const ElementReader& root)
    : version(root.getAttribute<std::string>("version")),
      serial(root.getAttribute<std::uint32_t>("serial")),
      timestamp(root.getAttribute<std::string>("timestamp")),
      clientId(root.getAttribute<std::string>("clientId")),
      origin(root.findAttribute<std::string>("origin")),
      progressUpdates(root.findAttribute<bool>("progressUpdates")),
      replyHost(root.findAttribute<std::string>("replyHost")),
      replyPort(root.findAttribute<std::uint32_t>("replyPort")),
      requestClientId(root.getAttribute<std::string>("requestClientId")),
      replyExpected(root.findAttribute<bool>("replyExpected")) {}

ReplyEnvelope::ReplyEnvelope() : version(c_version), serial(nextSerial()), timestamp(currentTimestampText()) {}

ReplyEnvelope::ReplyEnvelope(const ElementReader& root)
    : version(root.getAttribute<std::string>("version")),
      serial(root.getAttribute<std::uint32_t>("serial")),
      timestamp(root.getAttribute<std::string>("timestamp")),
      origin(root.findAttribute<std::string>("origin")) {}

bool Parameter::isEncrypted() const { return std::holds_alternative<std::string>(value); }

double Parameter::getNumber() const {
  const double* const number = std::get_if<double>(&value);
  if (number == nullptr) {
    Private::fail("Drelvan::Parameter::getNumber", __FILE__, __LINE__,
                  "the parameter " + Private::quoted(id) + " is encrypted; send a plain one");
  }
  return *number;
}

}  // namespace Drelvan
