#include <examples/parameter_sweep/client/ParameterTable.h>

#include <algorithm>
#include <boost/algorithm/string/trim.hpp>
#include <charconv>
#include <cmath>
#include <cstddef>
#include <fstream>
#include <iterator>
#include <set>
#include <sstream>

namespace ParameterSweep {

namespace {

constexpr const char* c_realizationColumn = "realizationId";
constexpr const char* c_byteOrderMark = "\xEF\xBB\xBF";

/// Where a cell stands; both count from 1.
struct Place {
  std::size_t line;
  std::size_t column;
};

[[noreturn]] void fail(const Place& place, const std::string& message) {
  throw SweepFailure(FailureKind::BadParameters, "line " + std::to_string(place.line) + ", column " +
                                                     std::to_string(place.column) + ": " + message);
}

std::string unquoted(const std::string& cell) {
  const std::string trimmed = boost::algorithm::trim_copy(cell);
  const bool isQuoted = trimmed.size() >= 2 && trimmed.front() == '"' && trimmed.back() == '"';
  return isQuoted ? trimmed.substr(1, trimmed.size() - 2) : trimmed;
}

/// The cells of a line. Names and numbers hold no commas, so a comma always separates.
std::vector<std::string> splitCells(const std::string& line) {
  std::vector<std::string> cells;
  std::size_t begin = 0;
  for (std::size_t end = 0; end != std::string::npos; begin = end + 1) {
    end = line.find(',', begin);
    cells.push_back(unquoted(line.substr(begin, end == std::string::npos ? end : end - begin)));
  }
  return cells;
}

void checkHeader(const std::vector<std::string>& names, std::size_t line) {
  std::set<std::string> seen;
  for (std::size_t index = 0; index < names.size(); ++index) {
    if (names[index].empty()) {
      fail({line, index + 1}, "a parameter name is missing");
    }
    if (!seen.insert(names[index]).second) {
      fail({line, index + 1}, "the name '" + names[index] + "' stands there twice");
    }
  }
  if (seen.count(c_realizationColumn) == names.size()) {
    fail({line, 1}, "there is no parameter");
  }
}

std::uint32_t readRealizationId(const std::string& cell, const Place& place) {
  std::uint32_t id = 0;
  const auto [stop, error] = std::from_chars(cell.data(), cell.data() + cell.size(), id);
  if (error != std::errc() || stop != cell.data() + cell.size()) {
    fail(place, "'" + cell + "' is not a realization id, which is a whole number from 0 to 4294967295");
  }
  return id;
}

double readNumber(const std::string& cell, const Place& place) {
  const auto number = toDouble(cell);
  if (!number || !std::isfinite(*number)) {
    fail(place, "'" + cell + "' is not a number; write it as 1.5 or 15e-1");
  }
  return *number;
}

ParameterVector readVector(const std::vector<std::string>& names, const std::vector<std::string>& cells,
                           std::size_t line, std::size_t number) {
  if (cells.size() != names.size()) {
    fail({line, std::min(cells.size(), names.size()) + 1},
         std::to_string(cells.size()) + " cells where the first line has " + std::to_string(names.size()));
  }
  ParameterVector vector;
  vector.realizationId = static_cast<std::uint32_t>(number);
  for (std::size_t index = 0; index < names.size(); ++index) {
    const Place place{line, index + 1};
    if (names[index] == c_realizationColumn) {
      vector.realizationId = readRealizationId(cells[index], place);
    } else {
      vector.parameters.push_back({names[index], readNumber(cells[index], place)});
    }
  }
  return vector;
}

}  // namespace

std::vector<ParameterVector> readParameterTable(const std::string& text) {
  std::istringstream stream(text.rfind(c_byteOrderMark, 0) == 0 ? text.substr(3) : text);
  std::vector<std::string> names;
  std::vector<ParameterVector> vectors;
  std::set<std::uint32_t> seen;
  std::string line;
  for (std::size_t number = 1; std::getline(stream, line); ++number) {
    if (boost::algorithm::trim_copy(line).empty()) {
      continue;
    }
    const std::vector<std::string> cells = splitCells(line);
    if (names.empty()) {
      checkHeader(cells, number);
      names = cells;
      continue;
    }
    vectors.push_back(readVector(names, cells, number, vectors.size() + 1));
    if (!seen.insert(vectors.back().realizationId).second) {
      fail({number, 1}, "realization " + std::to_string(vectors.back().realizationId) + " stands there twice");
    }
  }
  if (vectors.empty()) {
    fail({1, 1}, "there is no realization; give a line of names and at least one of numbers");
  }
  return vectors;
}

std::vector<ParameterVector> readParameterFile(const std::string& file) {
  std::ifstream stream(file, std::ios::binary);
  const std::string text{std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
  if (!stream) {
    throw SweepFailure(FailureKind::LocalTrouble, "cannot read '" + file + "'");
  }
  try {
    return readParameterTable(text);
  } catch (const SweepFailure& failure) {
    throw SweepFailure(FailureKind::BadParameters, file + ": " + failure.what());
  }
}

}  // namespace ParameterSweep
