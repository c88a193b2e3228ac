#include <examples/parameter_sweep/common/Messages.h>

#include <algorithm>
#include <array>
#include <boost/algorithm/string/trim.hpp>
#include <charconv>
#include <chrono>
#include <cmath>
#include <cstddef>
#include <cstdlib>

namespace ParameterSweep {

namespace {

// Both in the order of their enumeration.
constexpr std::array<const char*, 6> c_states{"Unknown", "Queued", "Running", "Finished", "Failed", "Cancelled"};
constexpr std::array<const char*, 4> c_logTypes{"Info", "Warning", "Error", "Debug"};

template <typename Enumeration, std::size_t Size>
Enumeration find(const std::array<const char*, Size>& names, const std::string& text) {
  const auto* const found = std::find(names.begin(), names.end(), text);
  return static_cast<Enumeration>(found == names.end() ? 0 : found - names.begin());
}

}  // namespace

const char* toText(JobState state) { return c_states.at(static_cast<std::size_t>(state)); }

JobState toJobState(const std::string& text) { return find<JobState>(c_states, text); }

const char* toText(LogMessage::Type type) { return c_logTypes.at(static_cast<std::size_t>(type)); }

LogMessage::Type toLogType(const std::string& text) { return find<LogMessage::Type>(c_logTypes, text); }

std::string toText(double number) {
  if (std::isnan(number)) {
    return "NaN";
  }
  if (std::isinf(number)) {
    return number < 0 ? "-INF" : "INF";
  }
  std::array<char, 32> text{};
  char* const end = std::to_chars(text.data(), text.data() + text.size(), number).ptr;
  return {text.data(), end};
}

std::optional<double> toDouble(const std::string& text) {
  std::string trimmed = boost::algorithm::trim_copy(text);
  if (trimmed.size() > 1 && trimmed[0] == '+' && trimmed[1] != '-') {
    trimmed.erase(0, 1);
  }
  double number = 0;
  const char* const end = trimmed.data() + trimmed.size();
  const auto [stop, error] = std::from_chars(trimmed.data(), end, number);
  // A number beyond the range of double was valid text; the schema's arithmetic makes it zero or infinity, so do we.
  if (error == std::errc::result_out_of_range && stop == end) {
    return std::strtod(trimmed.c_str(), nullptr);
  }
  return error == std::errc() && stop == end ? std::optional<double>(number) : std::nullopt;
}

std::int64_t currentMilliseconds() {
  const auto now = std::chrono::system_clock::now().time_since_epoch();
  return std::chrono::duration_cast<std::chrono::milliseconds>(now).count();
}

}  // namespace ParameterSweep
