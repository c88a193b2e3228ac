#pragma once

/// @file
/// Value types of packages, read by `ElementReader` and written by `PackageWriter`.
///
/// Threads: plain values; the functions may be called from any thread.

#include <Platform/RemoteComputation/Service/RequestHandlingBase/AbstractJobLog.h>
#include <Platform/RemoteComputation/Service/RequestPackages/Service_RequestPackages_export.h>

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <variant>
#include <vector>

namespace Drelvan {

class ElementReader;

/// The root elements of the base schema. A package has an envelope and one request or reply; the others have none.
enum class PackageKind { RequestPackage, ReplyPackage, Request, Reply, RequestScript, ReplyScript };

/// A point in time, as the schema type `DVTimestamp` carries it.
using Timestamp = std::chrono::time_point<std::chrono::system_clock, std::chrono::microseconds>;

/// The `DVTimestamp` form of a point in time, with six digits of the second: "UTC/ISO_2024-05-07T13:45:09.000000".
/// Throws `DvException` outside the years 0 to 9999.
SERVICE_REQUESTPACKAGES_EXPORT std::string toTimestampText(Timestamp time);
/// The `DVTimestamp` form of the present time.
SERVICE_REQUESTPACKAGES_EXPORT std::string currentTimestampText();
/// Parses a `DVTimestamp`. Throws `DvException` if the text is not one, or if it is not an existing date and time
/// although the schema accepts it, such as one with a blank in the day or with the month 13.
SERVICE_REQUESTPACKAGES_EXPORT Timestamp fromTimestampText(const std::string& text);

/// An `xs:date`. The zone is the offset from UTC; a date may have none.
struct XmlDate {
  std::int32_t year = 1;                     ///< never 0; negative before the year 1
  std::uint32_t month = 1;                   ///< from 1
  std::uint32_t day = 1;                     ///< from 1
  std::optional<std::chrono::minutes> zone;  ///< offset from UTC; empty when there is none
};

/// An `xs:time`. 24:00:00 reads as 00:00:00.
struct XmlTime {
  std::chrono::nanoseconds sinceMidnight{0};  ///< less than a day
  std::optional<std::chrono::minutes> zone;   ///< offset from UTC; empty when there is none
};

/// An `xs:dateTime`. 24:00:00 reads as 00:00:00 of the next day.
struct SERVICE_REQUESTPACKAGES_EXPORT XmlDateTime {
  std::int32_t year = 1;                      ///< never 0; negative before the year 1
  std::uint32_t month = 1;                    ///< from 1
  std::uint32_t day = 1;                      ///< from 1
  std::chrono::nanoseconds sinceMidnight{0};  ///< less than a day
  std::optional<std::chrono::minutes> zone;   ///< offset from UTC; empty when there is none

  /// `time` in UTC.
  static XmlDateTime fromTimestamp(Timestamp time);
  /// The point in time, rounded down to microseconds. Throws `DvException` if there is no zone, or outside the range of
  /// `Timestamp`.
  Timestamp toTimestamp() const;
};

/// An `xs:duration`: months, which have no fixed number of days, and the remaining time. Both have the same sign or are
/// zero.
struct XmlDuration {
  std::int64_t months = 0;           ///< the years and months
  std::chrono::nanoseconds rest{0};  ///< the days, hours, minutes and seconds
};

/// @{
/// Whether all parts are equal.
bool SERVICE_REQUESTPACKAGES_EXPORT operator==(const XmlDate& left, const XmlDate& right);
bool SERVICE_REQUESTPACKAGES_EXPORT operator==(const XmlTime& left, const XmlTime& right);
bool SERVICE_REQUESTPACKAGES_EXPORT operator==(const XmlDateTime& left, const XmlDateTime& right);
bool SERVICE_REQUESTPACKAGES_EXPORT operator==(const XmlDuration& left, const XmlDuration& right);
/// @}

/// The attributes of a `DV_RequestPackage`.
struct SERVICE_REQUESTPACKAGES_EXPORT RequestEnvelope {
  /// That of a new package: the next serial of this process and the present time. Set at least `clientId` and
  /// `requestClientId`.
  RequestEnvelope();
  /// Reads the attributes of `root`. Throws `DvException` for one that is missing or does not convert.
  explicit RequestEnvelope(const ElementReader& root);

  /// @{
  /// As the attribute of this name.
  std::string version;
  std::uint32_t serial;
  std::string timestamp;  ///< a `DVTimestamp`
  std::string clientId;
  std::optional<std::string> origin;  ///< a validated document always has one; the schema gives the default
  std::optional<bool> progressUpdates;
  std::optional<std::string> replyHost;
  std::optional<std::uint32_t> replyPort;
  std::string requestClientId;
  std::optional<bool> replyExpected;
  /// @}
};

/// The attributes of a `DV_ReplyPackage`.
struct SERVICE_REQUESTPACKAGES_EXPORT ReplyEnvelope {
  /// As `RequestEnvelope()`; complete as it is.
  ReplyEnvelope();
  /// As `RequestEnvelope(root)`.
  explicit ReplyEnvelope(const ElementReader& root);

  /// @{
  /// As the attribute of this name.
  std::string version;
  std::uint32_t serial;
  std::string timestamp;  ///< a `DVTimestamp`
  std::optional<std::string> origin;
  /// @}
};

/// A `DVData`: a reference to data outside the package.
struct PackageData {
  /// @{
  /// As the attribute of this name.
  std::string id;
  std::optional<std::string> name = {};
  std::optional<std::string> dataPtrType = {};
  std::optional<std::string> dataType = {};
  std::optional<std::int64_t> dataSize = {};  ///< bytes
  std::string href;
  std::optional<bool> forceTransfer = {};
  std::optional<bool> fileNotTransfered = {};
  /// @}
};

/// A `DVException` without its inner exception.
struct PackageException {
  /// @{
  /// As the child element of this name.
  std::string type;
  std::optional<std::string> message = {};
  std::optional<std::string> name = {};
  std::optional<std::string> source = {};
  std::optional<std::string> file = {};
  std::optional<std::string> function = {};
  std::optional<std::int32_t> line = {};
  std::optional<std::string> severity = {};
  /// @}
};

/// A `DVException`, outermost first: each is the inner exception of the one before. Never empty in a package.
using PackageExceptions = std::vector<PackageException>;

/// One parameter of a `ParameterVector`.
struct SERVICE_REQUESTPACKAGES_EXPORT Parameter {
  std::string id;                           ///< its name
  std::variant<double, std::string> value;  ///< a number, or the text of an encrypted parameter

  /// Whether the value is the text of an encrypted parameter.
  bool isEncrypted() const;
  /// The number. Throws `DvException` for an encrypted parameter.
  double getNumber() const;
};

/// A `DVPellamParameterVector`, with its parameters of both kinds in order.
struct ParameterVector {
  std::uint32_t realizationId = 0;    ///< the number of the realization
  std::vector<Parameter> parameters;  ///< never empty in a package
};

/// The texts of an enumeration in packages. A program that reads or writes an enumeration of its own specialises this
/// for it, with the texts as the schema has them:
///
///     template <>
///     struct Drelvan::EnumerationTexts<Colour> {
///       static constexpr std::pair<const char*, Colour> c_texts[] = {{"Red", Colour::red}, {"Blue", Colour::blue}};
///     };
template <typename Enumeration>
struct EnumerationTexts;

/// @cond INTERNAL
template <>
struct EnumerationTexts<AbstractJobLog::Message::Type> {
  using Type = AbstractJobLog::Message::Type;
  static constexpr std::pair<const char*, Type> c_texts[] = {
      {"Info", Type::Info}, {"Warning", Type::Warning}, {"Error", Type::Error}, {"Debug", Type::Debug}};
};
/// @endcond

}  // namespace Drelvan
