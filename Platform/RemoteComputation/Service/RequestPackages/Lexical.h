#pragma once

// Private to the library's source units; not installed.

#include <Platform/RemoteComputation/Service/RequestPackages/PackageValues.h>

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

/// The texts of the simple types of XML Schema. What is read has no blanks around it; the result is empty if the text
/// is not a value of the type or is out of range. What is written is appended.
namespace Drelvan::Private {

std::optional<bool> readBool(std::string_view text);
std::optional<std::int64_t> readSigned(std::string_view text);
std::optional<std::uint64_t> readUnsigned(std::string_view text);
std::optional<float> readFloat(std::string_view text);
std::optional<double> readDouble(std::string_view text);
std::optional<XmlDate> readDate(std::string_view text);
std::optional<XmlTime> readTime(std::string_view text);
std::optional<XmlDateTime> readDateTime(std::string_view text);
std::optional<XmlDuration> readDuration(std::string_view text);
std::optional<Timestamp> readTimestamp(std::string_view text);

void write(std::int64_t value, std::string& text);
void write(std::uint64_t value, std::string& text);
void write(float value, std::string& text);
void write(double value, std::string& text);
/// @{
/// False, with `text` as it was, when `value` is no date, time or duration.
bool write(const XmlDate& value, std::string& text);
bool write(const XmlTime& value, std::string& text);
bool write(const XmlDateTime& value, std::string& text);
bool write(const XmlDuration& value, std::string& text);
bool write(Timestamp value, std::string& text);
/// @}

/// @{
/// Days since 1970-01-01 in the proleptic Gregorian calendar, in which the year before 1 is 0.
std::int64_t daysFromDate(std::int64_t year, std::uint32_t month, std::uint32_t day);
void dateFromDays(std::int64_t days, std::int64_t& year, std::uint32_t& month, std::uint32_t& day);
/// @}

}  // namespace Drelvan::Private
