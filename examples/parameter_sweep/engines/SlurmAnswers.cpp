#include <examples/parameter_sweep/engines/SlurmAnswers.h>

#include <algorithm>
#include <array>
#include <boost/algorithm/string/classification.hpp>
#include <boost/algorithm/string/predicate.hpp>
#include <boost/algorithm/string/split.hpp>
#include <boost/algorithm/string/trim.hpp>
#include <charconv>
#include <cstddef>
#include <sstream>
#include <string_view>

namespace ParameterSweep {

const char* const c_queueFormat = "ArrayJobID:24|,ArrayTaskID:24|,State:32|,exit_code:24|,TimeUsed:32|,Name:128|";
const char* const c_accountFormat = "JobID,JobName%128,State,ExitCode";

namespace {

constexpr std::array<const char*, 4> c_programs{"sbatch: ", "squeue: ", "scancel: ", "sacct: "};

bool isComplaint(const std::string& line) {
  return std::any_of(c_programs.begin(), c_programs.end(),
                     [&](const char* program) { return boost::algorithm::starts_with(line, program); });
}

/// The lines of an answer, without what the programs say about themselves.
std::vector<std::string> readLines(const std::string& answer) {
  std::vector<std::string> lines;
  std::istringstream stream(answer);
  for (std::string line; std::getline(stream, line);) {
    if (!line.empty() && !isComplaint(line)) {
      lines.push_back(line);
    }
  }
  return lines;
}

std::vector<std::string> readFields(const std::string& line) {
  std::vector<std::string> fields;
  boost::algorithm::split(fields, line, boost::algorithm::is_any_of("|"));
  for (std::string& field : fields) {
    boost::algorithm::trim(field);
  }
  return fields;
}

bool isNumber(const std::string& text) {
  return !text.empty() && std::all_of(text.begin(), text.end(), boost::algorithm::is_digit());
}

/// What a state means for a part; empty for a word that Slurm does not have.
std::optional<RunReport::Kind> readState(const std::string& state) {
  if (state.empty() || state.find_first_not_of("ABCDEFGHIJKLMNOPQRSTUVWXYZ_") != std::string::npos) {
    return std::nullopt;
  }
  for (const char* waiting : {"PENDING", "CONFIGURING", "REQUEUED", "REQUEUE_FED", "REQUEUE_HOLD", "RESV_DEL_HOLD",
                              "SPECIAL_EXIT", "STOPPED"}) {
    if (state == waiting) {
      return RunReport::Kind::Waiting;
    }
  }
  for (const char* running : {"RUNNING", "COMPLETING", "SUSPENDED", "RESIZING", "SIGNALING", "STAGE_OUT"}) {
    if (state == running) {
      return RunReport::Kind::Running;
    }
  }
  for (const char* ended : {"COMPLETED", "FAILED", "TIMEOUT", "OUT_OF_MEMORY", "NODE_FAIL", "BOOT_FAIL", "DEADLINE",
                            "PREEMPTED", "CANCELLED", "REVOKED"}) {
    if (state == ended) {
      return RunReport::Kind::Ended;
    }
  }
  return std::nullopt;
}

/// Empty for anything but digits, and for more than fits.
std::optional<int> readNumber(std::string_view text) {
  int number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  const bool isWhole = error == std::errc() && end == text.data() + text.size() && number >= 0;
  return isWhole ? std::optional(number) : std::nullopt;
}

/// From CODE:SIGNAL, or from the status of a process as a number; empty for anything else.
std::optional<RunEnd> readEnd(const std::string& state, const std::string& code) {
  constexpr int c_signals = 128;
  constexpr int c_codes = 256;
  const std::size_t colon = code.find(':');
  const std::string_view text = code;
  std::optional<int> exitCode = readNumber(text.substr(0, colon));
  std::optional<int> signal = colon == std::string::npos ? exitCode : readNumber(text.substr(colon + 1));
  if (!exitCode || !signal) {
    return std::nullopt;
  }
  if (colon == std::string::npos) {
    signal = *exitCode % c_signals;
    exitCode = *exitCode / c_codes;
  }
  RunEnd end;
  end.reason = state == "COMPLETED" || state == "FAILED" ? "" : state;
  if (*signal != 0) {
    end.signal = *signal;
  } else if (end.reason.empty()) {
    end.exitCode = *exitCode;
  }
  return end;
}

/// Only a task that has ended has an end to read.
std::optional<RunEnd> readEnd(RunReport::Kind kind, const std::string& state, const std::string& code) {
  return kind == RunReport::Kind::Ended ? readEnd(state, code) : RunEnd{};
}

/// From [DAYS-][HOURS:]MINUTES:SECONDS; 0 for anything else.
std::chrono::milliseconds readAge(const std::string& text) {
  constexpr std::array<int, 4> c_seconds{1, 60, 3600, 86400};
  std::vector<std::string> parts;
  boost::algorithm::split(parts, text, boost::algorithm::is_any_of("-:"));
  std::chrono::seconds age{0};
  for (std::size_t index = 0; index < parts.size() && index < c_seconds.size(); ++index) {
    const std::string& part = parts[parts.size() - 1 - index];
    age += std::int64_t{readNumber(part).value_or(0)} * std::chrono::seconds(c_seconds.at(index));
  }
  return age;
}

}  // namespace

std::optional<std::string> readArrayId(const std::string& answer) {
  const std::vector<std::string> lines = readLines(answer);
  if (lines.size() != 1) {
    return std::nullopt;
  }
  // The name of the cluster may follow.
  const std::string id = lines.front().substr(0, lines.front().find(';'));
  return isNumber(id) ? std::optional(id) : std::nullopt;
}

std::optional<std::vector<SlurmTask>> readQueue(const std::string& answer) {
  constexpr std::size_t c_fields = 7;  // the last one is what follows the last '|'
  std::vector<SlurmTask> tasks;
  for (const std::string& line : readLines(answer)) {
    const std::vector<std::string> fields = readFields(line);
    const auto kind = fields.size() == c_fields ? readState(fields[2]) : std::nullopt;
    const auto end = kind ? readEnd(*kind, fields[2], fields[3]) : std::nullopt;
    if (!end || !isNumber(fields[0])) {
      return std::nullopt;
    }
    if (isNumber(fields[1])) {  // anything else is no task of an array, so none of ours
      tasks.push_back({fields[0] + "_" + fields[1], fields[5], *kind, *end, readAge(fields[4])});
    }
  }
  return tasks;
}

bool isTaskId(const std::string& text) {
  const std::size_t middle = text.find('_');
  return middle != std::string::npos && isNumber(text.substr(0, middle)) && isNumber(text.substr(middle + 1));
}

std::optional<std::vector<SlurmTask>> readAccounts(const std::string& answer) {
  constexpr std::size_t c_fields = 4;
  std::vector<SlurmTask> tasks;
  for (const std::string& line : readLines(answer)) {
    const std::vector<std::string> fields = readFields(line);
    const std::string state = fields.size() == c_fields ? fields[2].substr(0, fields[2].find(' ')) : "";
    const auto kind = readState(state);
    const auto end = kind ? readEnd(*kind, state, fields[3]) : std::nullopt;
    if (!end) {
      return std::nullopt;
    }
    if (*kind == RunReport::Kind::Ended && isTaskId(fields[0])) {
      tasks.push_back({fields[0], fields[1], *kind, *end});
    }
  }
  return tasks;
}

std::string readComplaints(const std::string& answer) {
  std::string complaints;
  std::istringstream stream(answer);
  for (std::string line; std::getline(stream, line);) {
    if (isComplaint(line)) {
      complaints += (complaints.empty() ? "" : "; ") + line;
    }
  }
  return complaints;
}

}  // namespace ParameterSweep
