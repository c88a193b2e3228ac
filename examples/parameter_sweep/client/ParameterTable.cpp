#include <examples/parameter_sweep/client/ParameterTable.h>

#include <algorithm>
#include <boost/algorithm/string/classification.hpp>
#include <boost/algorithm/string/predicate.hpp>
#include <boost/algorithm/string/trim.hpp>
#include <boost/lexical_cast/try_lexical_convert.hpp>
#include <cctype>
#include <charconv>
#include <cmath>
#include <cstddef>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <limits>
#include <system_error>
#include <unordered_set>
#include <utility>

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

/// The cells of a line; commas within double quotes do not count.
Cells splitCells(const std::string& line) {
  Cells cells(1);
  bool isQuoted = false;
  for (const char character : line) {
    if (character == '"') {
      isQuoted = !isQuoted;
    } else if (character == ',' && !isQuoted) {
      cells.emplace_back();
    } else {
      cells.back() += character;
    }
  }
  for (std::string& cell : cells) {
    boost::algorithm::trim(cell);
  }
  return cells;
}

/// As the expressions know them.
bool isName(const std::string& text) {
  constexpr const char* c_characters = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz_0123456789";
  return text.find_first_not_of(c_characters) == std::string::npos && text.find_first_of("0123456789") != 0;
}

void checkHeader(const Cells& names, std::size_t line) {
  for (auto name = names.begin(); name != names.end(); ++name) {
    const auto column = static_cast<std::size_t>(name - names.begin()) + 1;
    if (name->empty()) {
      fail(line, column, "a parameter name is missing");
    }
    if (!isName(*name)) {
      fail(line, column, "'" + *name + "' cannot name a parameter; use letters, digits and '_'");
    }
    if (std::find(names.begin(), name, *name) != name) {
      fail(line, column, "duplicate column '" + *name + "'");
    }
  }
  if (names == Cells{c_realizationColumn}) {
    fail(line, 1, "there is no parameter");
  }
}

double readNumber(const std::string& cell, std::size_t line, std::size_t column) {
  double number = 0;
  const char* const end = cell.data() + cell.size();
  const char* const begin = cell.data() + (cell.size() > 1 && cell[0] == '+' && cell[1] != '-' ? 1 : 0);
  const auto [stopped, error] = std::from_chars(begin, end, number);
  if (error != std::errc() || stopped != end || !std::isfinite(number)) {
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

/// The table of a stream, read line by line.
class TableReader {
 public:
  ParameterTable read(std::istream& stream) {
    std::string line;
    for (std::size_t number = 1; std::getline(stream, line); ++number) {
      if (number == 1 && line.rfind(c_byteOrderMark, 0) == 0) {
        line.erase(0, std::strlen(c_byteOrderMark));
      }
      if (!boost::algorithm::all(line, boost::algorithm::is_space())) {
        readLine(splitCells(line), number);
      }
    }
    if (stream.bad()) {
      throw SweepFailure(FailureKind::LocalFailure, "it cannot be read to its end");
    }
    if (m_table.size() == 0) {
      fail(1, 1, "there is no realization; give a line of names and at least one of numbers");
    }
    return std::move(m_table);
  }

 private:
  void readLine(const Cells& cells, std::size_t line) {
    if (m_columns.empty()) {
      readHeader(cells, line);
    } else {
      readVector(cells, line);
    }
  }

  void readHeader(const Cells& names, std::size_t line) {
    checkHeader(names, line);
    m_columns = names;
    Cells parameters = names;
    parameters.erase(std::remove(parameters.begin(), parameters.end(), c_realizationColumn), parameters.end());
    m_table = ParameterTable(parameters);
  }

  void readVector(const Cells& cells, std::size_t line) {
    if (cells.size() != m_columns.size()) {
      fail(line, std::min(cells.size(), m_columns.size()) + 1,
           std::to_string(cells.size()) + " cells where the first line has " + std::to_string(m_columns.size()));
    }
    auto realizationId = static_cast<std::uint32_t>(m_table.size() + 1);
    std::size_t idColumn = 1;
    std::vector<double> values;
    for (std::size_t index = 0; index < cells.size(); ++index) {
      if (m_columns[index] == c_realizationColumn) {
        idColumn = index + 1;
        realizationId = readRealizationId(cells[index], line, idColumn);
      } else {
        values.push_back(readNumber(cells[index], line, index + 1));
      }
    }
    if (!m_seen.insert(realizationId).second) {
      fail(line, idColumn, "duplicate realization id " + std::to_string(realizationId));
    }
    m_table.add(realizationId, values);
  }

  Cells m_columns;
  ParameterTable m_table{{}};
  std::unordered_set<std::uint32_t> m_seen;
};

ParameterTable readNamed(std::istream& stream, const std::string& name) {
  try {
    return TableReader().read(stream);
  } catch (const SweepFailure& failure) {
    throw SweepFailure(failure.getKind(), name + ": " + failure.what());
  }
}

}  // namespace

ParameterVector ParameterTable::getVector(std::size_t index) const {
  ParameterVector vector{m_realizationIds.at(index), {}};
  for (std::size_t column = 0; column < m_names.size(); ++column) {
    vector.parameters.push_back({m_names[column], m_values[index * m_names.size() + column]});
  }
  return vector;
}

void ParameterTable::add(std::uint32_t realizationId, const std::vector<double>& values) {
  m_realizationIds.push_back(realizationId);
  m_values.insert(m_values.end(), values.begin(), values.end());
}

ParameterTable readParameterFile(const std::string& file) {
  if (file == "-") {
    return readNamed(std::cin, "standard input");
  }
  std::ifstream stream(file, std::ios::binary);
  if (!stream || std::filesystem::is_directory(file)) {
    throw SweepFailure(FailureKind::LocalFailure, "cannot read '" + file + "'");
  }
  return readNamed(stream, file);
}

}  // namespace ParameterSweep
