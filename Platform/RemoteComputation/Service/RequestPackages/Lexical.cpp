#include <Platform/RemoteComputation/Service/RequestPackages/Lexical.h>

#include <array>
#include <charconv>
#include <cmath>
#include <limits>
#include <utility>

namespace Drelvan::Private {

namespace {

using std::chrono::hours;
using std::chrono::microseconds;
using std::chrono::minutes;
using std::chrono::nanoseconds;
using std::chrono::seconds;

constexpr std::size_t c_nanosecondDigits = 9;
constexpr minutes c_largestZone = hours(14);

constexpr bool isDigit(char character) { return character >= '0' && character <= '9'; }

/// Reads a text from its start. Once something was not there, it stays failed.
class Scanner {
 public:
  explicit Scanner(std::string_view text) : m_text(text) {}

  bool isGood() const { return m_good; }
  bool isAtEnd() const { return m_text.empty(); }
  /// Whether everything was there and nothing is left.
  bool isDone() const { return m_good && m_text.empty(); }
  void fail() { m_good = false; }

  bool skip(char expected) {
    const bool found = !m_text.empty() && m_text.front() == expected;
    m_text.remove_prefix(found ? 1 : 0);
    return found;
  }

  void expect(std::string_view expected) {
    if (m_text.substr(0, expected.size()) == expected) {
      m_text.remove_prefix(expected.size());
    } else {
      fail();
    }
  }

  /// The digits that come next, however many.
  std::string_view takeDigits() {
    std::size_t count = 0;
    while (count < m_text.size() && isDigit(m_text[count])) {
      ++count;
    }
    const std::string_view digits = m_text.substr(0, count);
    m_text.remove_prefix(count);
    return digits;
  }

  /// A number of two digits, at most `largest`.
  std::uint32_t takeTwoDigits(std::uint32_t largest) {
    if (m_text.size() < 2 || !isDigit(m_text[0]) || !isDigit(m_text[1])) {
      fail();
      return 0;
    }
    const auto value = static_cast<std::uint32_t>((m_text[0] - '0') * 10 + (m_text[1] - '0'));
    m_text.remove_prefix(2);
    m_good = m_good && value <= largest;
    return value;
  }

 private:
  std::string_view m_text;
  bool m_good = true;
};

template <typename Number>
std::optional<Number> readAll(std::string_view text) {
  Number value{};
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  return error == std::errc() && end == text.data() + text.size() ? std::optional<Number>(value) : std::nullopt;
}

/// Like `readAll`, for texts that may begin with a plus sign.
template <typename Number>
std::optional<Number> readInteger(std::string_view text) {
  const bool hasPlus = !text.empty() && text.front() == '+';
  const std::string_view rest = text.substr(hasPlus ? 1 : 0);
  return hasPlus && (rest.empty() || rest.front() == '-') ? std::nullopt : readAll<Number>(rest);
}

template <typename Number>
std::optional<Number> readFloating(std::string_view text) {
  if (text == "INF" || text == "-INF") {
    constexpr Number infinity = std::numeric_limits<Number>::infinity();
    return text.front() == '-' ? -infinity : infinity;
  }
  if (text == "NaN") {
    return std::numeric_limits<Number>::quiet_NaN();
  }
  const bool hasPlus = !text.empty() && text.front() == '+';
  const std::string_view number = text.substr(hasPlus ? 1 : 0);
  const std::string_view digits = number.substr(!hasPlus && !number.empty() && number.front() == '-' ? 1 : 0);
  // The conversion would take words for infinity as well.
  const bool isNumber = !digits.empty() && (isDigit(digits.front()) || digits.front() == '.');
  return isNumber ? readAll<Number>(number) : std::nullopt;
}

template <typename Number>
void writeNumber(Number value, std::string& text) {
  std::array<char, 32> buffer{};
  const auto end = std::to_chars(buffer.data(), buffer.data() + buffer.size(), value).ptr;
  text.append(buffer.data(), end);
}

template <typename Number>
void writeFloating(Number value, std::string& text) {
  if (std::isnan(value)) {
    text += "NaN";
  } else if (std::isinf(value)) {
    text += value < 0 ? "-INF" : "INF";
  } else {
    writeNumber(value, text);
  }
}

/// `value` with at least `digits` digits.
void writePadded(std::uint64_t value, std::size_t digits, std::string& text) {
  std::array<char, 20> buffer{};
  const auto* end = std::to_chars(buffer.data(), buffer.data() + buffer.size(), value).ptr;
  const auto length = static_cast<std::size_t>(end - buffer.data());
  text.append(digits > length ? digits - length : 0, '0').append(buffer.data(), length);
}

constexpr bool isLeapYear(std::int64_t year) { return year % 4 == 0 && (year % 100 != 0 || year % 400 == 0); }

/// In the year as counted with a year 0.
std::uint32_t daysOfMonth(std::int64_t year, std::uint32_t month) {
  constexpr std::array<std::uint32_t, 12> days{31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  return month == 2 && isLeapYear(year) ? 29 : days[month - 1];
}

/// XML Schema has no year 0; calendars are counted with one.
constexpr std::int64_t toCalendarYear(std::int64_t year) { return year < 0 ? year + 1 : year; }
constexpr std::int64_t fromCalendarYear(std::int64_t year) { return year <= 0 ? year - 1 : year; }

template <typename Day>
bool isDay(const Day& value) {
  return value.year != 0 && value.month >= 1 && value.month <= 12 && value.day >= 1 &&
         value.day <= daysOfMonth(toCalendarYear(value.year), value.month);
}

bool isTimeOfDay(nanoseconds value) { return value >= nanoseconds(0) && value < hours(24); }

bool isZone(const std::optional<minutes>& zone) { return !zone || (*zone >= -c_largestZone && *zone <= c_largestZone); }

std::int32_t takeYear(Scanner& scanner) {
  const bool isNegative = scanner.skip('-');
  const std::string_view digits = scanner.takeDigits();
  const auto year = readAll<std::int32_t>(digits);
  if (!year || *year == 0 || digits.size() < 4 || (digits.size() > 4 && digits.front() == '0')) {
    scanner.fail();
    return 1;
  }
  return isNegative ? -*year : *year;
}

template <typename Day>
void takeDay(Scanner& scanner, Day& value) {
  value.year = takeYear(scanner);
  scanner.expect("-");
  value.month = scanner.takeTwoDigits(12);
  scanner.expect("-");
  value.day = scanner.takeTwoDigits(31);
  if (scanner.isGood() && !isDay(value)) {
    scanner.fail();
  }
}

/// What follows the point of a number of seconds. More than nanoseconds are refused: nothing is left out silently.
nanoseconds takeFraction(Scanner& scanner) {
  std::string_view digits = scanner.takeDigits();
  if (digits.empty()) {
    scanner.fail();
  }
  while (!digits.empty() && digits.back() == '0') {
    digits.remove_suffix(1);
  }
  if (digits.size() > c_nanosecondDigits) {
    scanner.fail();
    return nanoseconds(0);
  }
  std::int64_t value = 0;
  for (std::size_t index = 0; index < c_nanosecondDigits; ++index) {
    value = value * 10 + (index < digits.size() ? digits[index] - '0' : 0);
  }
  return nanoseconds(value);
}

/// 24:00:00 is good, and 24 hours.
nanoseconds takeTimeOfDay(Scanner& scanner) {
  nanoseconds value = hours(scanner.takeTwoDigits(24));
  scanner.expect(":");
  value += minutes(scanner.takeTwoDigits(59));
  scanner.expect(":");
  value += seconds(scanner.takeTwoDigits(59));
  if (scanner.skip('.')) {
    value += takeFraction(scanner);
  }
  if (value > hours(24)) {
    scanner.fail();
  }
  return value;
}

std::optional<minutes> takeZone(Scanner& scanner) {
  if (scanner.isAtEnd()) {
    return std::nullopt;
  }
  if (scanner.skip('Z')) {
    return minutes(0);
  }
  const bool isNegative = scanner.skip('-');
  if (!isNegative) {
    scanner.expect("+");
  }
  minutes zone = hours(scanner.takeTwoDigits(14));
  scanner.expect(":");
  zone += minutes(scanner.takeTwoDigits(59));
  if (zone > c_largestZone) {
    scanner.fail();
  }
  return isNegative ? -zone : zone;
}

/// False when there is no next day.
bool addDay(XmlDateTime& value) {
  if (value.year == std::numeric_limits<std::int32_t>::max() && value.month == 12 && value.day == 31) {
    return false;
  }
  std::int64_t year = 0;
  dateFromDays(daysFromDate(toCalendarYear(value.year), value.month, value.day) + 1, year, value.month, value.day);
  value.year = static_cast<std::int32_t>(fromCalendarYear(year));
  return true;
}

/// The sum, or nothing when it cannot be held. `total`, `value` and `unit` are not negative.
std::optional<std::int64_t> addScaled(std::int64_t total, std::int64_t value, std::int64_t unit) {
  constexpr std::int64_t largest = std::numeric_limits<std::int64_t>::max();
  return value > (largest - total) / unit ? std::nullopt : std::optional<std::int64_t>(total + value * unit);
}

/// The fields of a duration up to its end or to the "T", in the order of `units`; each is a name and what it counts.
template <std::size_t Count>
class DurationFields {
 public:
  using Units = std::array<std::pair<char, std::int64_t>, Count>;

  DurationFields(Scanner& scanner, const Units& units) : m_scanner(scanner), m_units(units) {}

  /// Reads the fields; calls `add(index, number, fraction)` for each.
  template <typename Add>
  std::size_t read(Add add) {
    std::size_t fields = 0;
    for (std::size_t next = 0; next < Count;) {
      const std::string_view digits = m_scanner.takeDigits();
      if (digits.empty()) {
        return fields;
      }
      const auto number = readAll<std::int64_t>(digits);
      const bool hasFraction = m_scanner.skip('.');
      const nanoseconds fraction = hasFraction ? takeFraction(m_scanner) : nanoseconds(0);
      const std::size_t index = takeUnit(next);
      if (!number || index == Count || (hasFraction && m_units[index].first != 'S')) {
        m_scanner.fail();
        return fields;
      }
      add(m_units[index], *number, fraction);
      ++fields;
      next = index + 1;
    }
    return fields;
  }

 private:
  std::size_t takeUnit(std::size_t first) {
    while (first < Count && !m_scanner.skip(m_units[first].first)) {
      ++first;
    }
    return first;
  }

  Scanner& m_scanner;
  const Units& m_units;
};

constexpr std::int64_t c_second = 1'000'000'000;
constexpr std::array<std::pair<char, std::int64_t>, 3> c_dayUnits{{{'Y', 12}, {'M', 1}, {'D', 86'400 * c_second}}};
constexpr std::array<std::pair<char, std::int64_t>, 3> c_timeUnits{
    {{'H', 3'600 * c_second}, {'M', 60 * c_second}, {'S', c_second}}};

void writeZone(const std::optional<minutes>& zone, std::string& text) {
  if (!zone) {
    return;
  }
  if (*zone == minutes(0)) {
    text += 'Z';
    return;
  }
  const auto count = static_cast<std::uint64_t>(std::abs(zone->count()));
  text += zone->count() < 0 ? '-' : '+';
  writePadded(count / 60, 2, text);
  text += ':';
  writePadded(count % 60, 2, text);
}

/// The fraction of a second with its point and without zeros at its end; nothing when it is zero.
void writeFraction(nanoseconds fraction, std::string& text) {
  if (fraction.count() == 0) {
    return;
  }
  text += '.';
  writePadded(static_cast<std::uint64_t>(fraction.count()), c_nanosecondDigits, text);
  text.resize(text.find_last_not_of('0') + 1);
}

void writeTimeOfDay(nanoseconds value, std::string& text) {
  const auto second = static_cast<std::uint64_t>(std::chrono::duration_cast<seconds>(value).count());
  writePadded(second / 3600, 2, text);
  text += ':';
  writePadded(second / 60 % 60, 2, text);
  text += ':';
  writePadded(second % 60, 2, text);
  writeFraction(value % seconds(1), text);
}

template <typename Day>
void writeDay(const Day& value, std::string& text) {
  text += value.year < 0 ? "-" : "";
  writePadded(static_cast<std::uint64_t>(std::abs(std::int64_t{value.year})), 4, text);
  text += '-';
  writePadded(value.month, 2, text);
  text += '-';
  writePadded(value.day, 2, text);
}

void writeField(std::uint64_t count, char unit, std::string& text) {
  if (count != 0) {
    writePadded(count, 1, text);
    text += unit;
  }
}

/// The absolute value; also of the smallest number.
std::uint64_t magnitude(std::int64_t value) {
  return value < 0 ? ~static_cast<std::uint64_t>(value) + 1 : static_cast<std::uint64_t>(value);
}

void writeTimeFields(std::uint64_t count, std::string& text) {
  constexpr std::uint64_t second = c_second;
  const std::uint64_t inDay = count % (86'400 * second);
  if (inDay == 0) {
    return;
  }
  text += 'T';
  writeField(inDay / (3'600 * second), 'H', text);
  writeField(inDay / (60 * second) % 60, 'M', text);
  const std::uint64_t inMinute = inDay % (60 * second);
  if (inMinute != 0) {
    writePadded(inMinute / second, 1, text);
    writeFraction(nanoseconds(static_cast<std::int64_t>(inMinute % second)), text);
    text += 'S';
  }
}

}  // namespace

std::optional<bool> readBool(std::string_view text) {
  if (text == "true" || text == "1") {
    return true;
  }
  return text == "false" || text == "0" ? std::optional<bool>(false) : std::nullopt;
}

std::optional<std::int64_t> readSigned(std::string_view text) { return readInteger<std::int64_t>(text); }

std::optional<std::uint64_t> readUnsigned(std::string_view text) {
  if (!text.empty() && text.front() == '-') {
    const auto value = readInteger<std::int64_t>(text);
    return value == 0 ? std::optional<std::uint64_t>(0) : std::nullopt;
  }
  return readInteger<std::uint64_t>(text);
}

std::optional<float> readFloat(std::string_view text) { return readFloating<float>(text); }
std::optional<double> readDouble(std::string_view text) { return readFloating<double>(text); }

std::optional<XmlDate> readDate(std::string_view text) {
  Scanner scanner(text);
  XmlDate value;
  takeDay(scanner, value);
  value.zone = takeZone(scanner);
  return scanner.isDone() ? std::optional<XmlDate>(value) : std::nullopt;
}

std::optional<XmlTime> readTime(std::string_view text) {
  Scanner scanner(text);
  XmlTime value;
  value.sinceMidnight = takeTimeOfDay(scanner) % hours(24);
  value.zone = takeZone(scanner);
  return scanner.isDone() ? std::optional<XmlTime>(value) : std::nullopt;
}

std::optional<XmlDateTime> readDateTime(std::string_view text) {
  Scanner scanner(text);
  XmlDateTime value;
  takeDay(scanner, value);
  scanner.expect("T");
  value.sinceMidnight = takeTimeOfDay(scanner);
  value.zone = takeZone(scanner);
  if (!scanner.isDone()) {
    return std::nullopt;
  }
  const bool isNextDay = value.sinceMidnight == hours(24);
  value.sinceMidnight %= hours(24);
  return isNextDay && !addDay(value) ? std::nullopt : std::optional<XmlDateTime>(value);
}

std::optional<XmlDuration> readDuration(std::string_view text) {
  Scanner scanner(text);
  const bool isNegative = scanner.skip('-');
  scanner.expect("P");
  std::optional<std::int64_t> months = 0;
  std::optional<std::int64_t> rest = 0;
  const auto add = [&](const std::pair<char, std::int64_t>& unit, std::int64_t number, nanoseconds fraction) {
    auto& total = unit.second < c_second ? months : rest;
    total = total ? addScaled(*total, number, unit.second) : total;
    total = total ? addScaled(*total, fraction.count(), 1) : total;
  };
  std::size_t fields = DurationFields(scanner, c_dayUnits).read(add);
  if (scanner.skip('T')) {
    const std::size_t timeFields = DurationFields(scanner, c_timeUnits).read(add);
    fields = timeFields == 0 ? 0 : fields + timeFields;
  }
  if (!scanner.isDone() || fields == 0 || !months || !rest) {
    return std::nullopt;
  }
  return isNegative ? XmlDuration{-*months, nanoseconds(-*rest)} : XmlDuration{*months, nanoseconds(*rest)};
}

std::optional<Timestamp> readTimestamp(std::string_view text) {
  Scanner scanner(text);
  scanner.expect("UTC/ISO_");
  const std::string_view yearDigits = scanner.takeDigits();
  const auto year = readAll<std::int64_t>(yearDigits);
  scanner.expect("-");
  const std::uint32_t month = scanner.takeTwoDigits(12);
  scanner.expect("-");
  const std::uint32_t day = scanner.takeTwoDigits(31);
  scanner.expect("T");
  const nanoseconds time = takeTimeOfDay(scanner);
  const bool isGood = scanner.isDone() && yearDigits.size() == 4 && year && month >= 1 && day >= 1 &&
                      day <= daysOfMonth(*year, month) && isTimeOfDay(time) && time % microseconds(1) == nanoseconds(0);
  if (!isGood) {
    return std::nullopt;
  }
  return Timestamp(hours(24 * daysFromDate(*year, month, day)) + std::chrono::duration_cast<microseconds>(time));
}

void write(std::int64_t value, std::string& text) { writeNumber(value, text); }
void write(std::uint64_t value, std::string& text) { writeNumber(value, text); }
void write(float value, std::string& text) { writeFloating(value, text); }
void write(double value, std::string& text) { writeFloating(value, text); }

bool write(const XmlDate& value, std::string& text) {
  if (!isDay(value) || !isZone(value.zone)) {
    return false;
  }
  writeDay(value, text);
  writeZone(value.zone, text);
  return true;
}

bool write(const XmlTime& value, std::string& text) {
  if (!isTimeOfDay(value.sinceMidnight) || !isZone(value.zone)) {
    return false;
  }
  writeTimeOfDay(value.sinceMidnight, text);
  writeZone(value.zone, text);
  return true;
}

bool write(const XmlDateTime& value, std::string& text) {
  if (!isDay(value) || !isTimeOfDay(value.sinceMidnight) || !isZone(value.zone)) {
    return false;
  }
  writeDay(value, text);
  text += 'T';
  writeTimeOfDay(value.sinceMidnight, text);
  writeZone(value.zone, text);
  return true;
}

bool write(const XmlDuration& value, std::string& text) {
  if ((value.months < 0 && value.rest.count() > 0) || (value.months > 0 && value.rest.count() < 0)) {
    return false;
  }
  if (value.months == 0 && value.rest.count() == 0) {
    text += "PT0S";
    return true;
  }
  const std::uint64_t months = magnitude(value.months);
  const std::uint64_t rest = magnitude(value.rest.count());
  text += value.months < 0 || value.rest.count() < 0 ? "-P" : "P";
  writeField(months / 12, 'Y', text);
  writeField(months % 12, 'M', text);
  writeField(rest / (86'400 * std::uint64_t{c_second}), 'D', text);
  writeTimeFields(rest, text);
  return true;
}

bool write(Timestamp value, std::string& text) {
  const std::int64_t count = value.time_since_epoch().count();
  constexpr std::int64_t day = 86'400'000'000;
  const std::int64_t days = count / day - (count % day < 0 ? 1 : 0);
  std::int64_t year = 0;
  std::uint32_t month = 0;
  std::uint32_t dayOfMonth = 0;
  dateFromDays(days, year, month, dayOfMonth);
  if (year < 0 || year > 9999) {
    return false;
  }
  const auto time = static_cast<std::uint64_t>(count - days * day);
  text += "UTC/ISO_";
  writePadded(static_cast<std::uint64_t>(year), 4, text);
  for (const auto& [separator, number] : {std::pair{'-', std::uint64_t{month}},
                                          {'-', dayOfMonth},
                                          {'T', time / 3'600'000'000},
                                          {':', time / 60'000'000 % 60},
                                          {':', time / 1'000'000 % 60}}) {
    text += separator;
    writePadded(number, 2, text);
  }
  text += '.';
  writePadded(time % 1'000'000, 6, text);
  return true;
}

std::int64_t daysFromDate(std::int64_t year, std::uint32_t month, std::uint32_t day) {
  // Whole days of the years before, then of the months before, then of this one.
  const std::int64_t before = year - 1;
  const auto floorDivide = [](std::int64_t value, std::int64_t by) { return value / by - (value % by < 0 ? 1 : 0); };
  constexpr std::int64_t epoch = 719'162;  // days before 1970 since the beginning of the year 1
  std::int64_t days = before * 365 + floorDivide(before, 4) - floorDivide(before, 100) + floorDivide(before, 400);
  for (std::uint32_t earlier = 1; earlier < month; ++earlier) {
    days += daysOfMonth(year, earlier);
  }
  return days + day - 1 - epoch;
}

void dateFromDays(std::int64_t days, std::int64_t& year, std::uint32_t& month, std::uint32_t& day) {
  // An estimate that is at most one year off, then the months one by one.
  constexpr std::int64_t daysOfCycle = 146'097;  // of 400 years
  year = 1970 + (days >= 0 ? days : days - daysOfCycle + 1) * 400 / daysOfCycle;
  while (daysFromDate(year, 1, 1) > days) {
    --year;
  }
  while (daysFromDate(year + 1, 1, 1) <= days) {
    ++year;
  }
  std::int64_t rest = days - daysFromDate(year, 1, 1);
  for (month = 1; rest >= daysOfMonth(year, month); ++month) {
    rest -= daysOfMonth(year, month);
  }
  day = static_cast<std::uint32_t>(rest) + 1;
}

}  // namespace Drelvan::Private
