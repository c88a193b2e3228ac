#include <examples/parameter_sweep/client/ParameterTable.h>

#include <algorithm>
#include <boost/algorithm/string/trim.hpp>
#include <boost/lexical_cast/try_lexical_convert.hpp>
#include <boost/tokenizer.hpp>
#include <cctype>
#include <cmath>
#include <cstddef>
#include <filesystem>
#include <fstream>
#include <limits>
#include <regex>
#include <set>

namespace ParameterSweep {

namespace {

constexpr const char* c_realizationColumn = "realizationId";
constexpr const char* c_byteOrderMark = "\xEF\xBB\xBF";

using Cells = std::vector<std::string>;

/// Lines and columns count from 1.
[[noreturn]] void fail(std::size_t line, std::size_t column, std::string message) {
  const auto isControl = [](char character) { return std::iscntrl(static_cast<unsigned char>(character)) != 0; };
  std::replace_if(message.begin(), message.end(), isControl, '?');
  throw SweepFailure(FailureKind::BadParameters,
                     "line " + std::to_string(line) + ", column " + std::to_string(column) + ": " + message);
}

Cells splitCells(const std::string& line) {
  const boost::escaped_list_separator<char> separator("", ",", "\"");
  const boost::tokenizer<boost::escaped_list_separator<char>> tokens(line, separator);
  Cells cells(tokens.begin(), tokens.end());
  for (std::string& cell : cells) {
    boost::algorithm::trim(cell);
  }
  return cells;
}

void checkHeader(const Cells& names, std::size_t line) {
  static const std::regex s_names("[A-Za-z_][A-Za-z0-9_]*");
  for (auto name = names.begin(); name != names.end(); ++name) {
    const auto column = static_cast<std::size_t>(name - names.begin()) + 1;
    if (name->empty()) {
      fail(line, column, "a parameter name is missing");
    }
    if (!std::regex_match(*name, s_names)) {
      fail(line, column, "'" + *name + "' cannot name a parameter; use letters, digits and '_'");
    }
    if (std::find(names.begin(), name, *name) != name) {
      fail(line, column, "the name '" + *name + "' stands there twice");
    }
  }
  if (names == Cells{c_realizationColumn}) {
    fail(line, 1, "there is no parameter");
  }
}

double readNumber(const std::string& cell, std::size_t line, std::size_t column) {
  double number = 0;
  if (!boost::conversion::try_lexical_convert(cell, number) || !std::isfinite(number)) {
    fail(line, column, "'" + cell + "' is not a number; write it as 1.5 or 15e-1");
  }
  return number;
}

std::uint32_t readRealizationId(const std::string& cell, std::size_t line, std::size_t column) {
  std::int64_t id = 0;
  if (!boost::conversion::try_lexical_convert(cell, id) || id < 0 || id > std::numeric_limits<std::uint32_t>::max()) {
    fail(line, column, "'" + cell + "' is not a realization id, which is a whole number from 0 to 4294967295");
  }
  return static_cast<std::uint32_t>(id);
}

ParameterVector readVector(const Cells& names, const Cells& cells, std::size_t line, std::size_t number) {
  if (cells.size() != names.size()) {
    fail(line, std::min(cells.size(), names.size()) + 1,
         std::to_string(cells.size()) + " cells where the first line has " + std::to_string(names.size()));
  }
  ParameterVector vector{static_cast<std::uint32_t>(number), {}};
  for (std::size_t index = 0; index < names.size(); ++index) {
    if (names[index] == c_realizationColumn) {
      vector.realizationId = readRealizationId(cells[index], line, index + 1);
    } else {
      vector.parameters.push_back({names[index], readNumber(cells[index], line, index + 1)});
    }
  }
  return vector;
}

std::vector<ParameterVector> readTable(std::istream& stream) {
  Cells names;
  std::vector<ParameterVector> vectors;
  std::set<std::uint32_t> seen;
  std::string line;
  for (std::size_t number = 1; std::getline(stream, line); ++number) {
    if (number == 1 && line.rfind(c_byteOrderMark, 0) == 0) {
      line.erase(0, 3);
    }
    if (boost::algorithm::trim_copy(line).empty()) {
      continue;
    }
    const Cells cells = splitCells(line);
    if (names.empty()) {
      checkHeader(cells, number);
      names = cells;
      continue;
    }
    vectors.push_back(readVector(names, cells, number, vectors.size() + 1));
    if (!seen.insert(vectors.back().realizationId).second) {
      const auto column = std::find(names.begin(), names.end(), c_realizationColumn) - names.begin() + 1;
      fail(number, static_cast<std::size_t>(column),
           "realization " + std::to_string(vectors.back().realizationId) + " stands there twice");
    }
  }
  if (stream.bad()) {
    throw SweepFailure(FailureKind::LocalTrouble, "it cannot be read to its end");
  }
  if (vectors.empty()) {
    fail(1, 1, "there is no realization; give a line of names and at least one of numbers");
  }
  return vectors;
}

}  // namespace

std::vector<ParameterVector> readParameterFile(const std::string& file) {
  std::ifstream stream(file, std::ios::binary);
  if (!stream || std::filesystem::is_directory(file)) {
    throw SweepFailure(FailureKind::LocalTrouble, "cannot read '" + file + "'");
  }
  try {
    return readTable(stream);
  } catch (const SweepFailure& failure) {
    throw SweepFailure(failure.getKind(), file + ": " + failure.what());
  }
}

}  // namespace ParameterSweep
