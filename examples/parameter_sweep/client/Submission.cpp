#include <examples/parameter_sweep/client/Submission.h>

#include <cstddef>
#include <optional>
#include <string>

namespace ParameterSweep {

namespace {

/// Large enough that the envelope does not matter, small enough that other clients' requests need not wait.
constexpr std::size_t c_packageBytes = std::size_t{64} << 10U;

/// What a vector takes in a package, about.
std::size_t estimateBytes(const ParameterTable& table) {
  constexpr std::size_t c_vectorBytes = 80;
  constexpr std::size_t c_parameterBytes = 75;  // the longest numbers included
  std::size_t bytes = c_vectorBytes;
  for (const std::string& name : table.getNames()) {
    bytes += c_parameterBytes + name.size();
  }
  return bytes;
}

/// Gives the packages of a submission, one after the other.
class Packages {
 public:
  Packages(const Request& first, const ParameterTable& table)
      : m_request(first), m_table(table), m_vectors(1 + c_packageBytes / estimateBytes(table)) {}

  std::optional<Request> next() {
    if (m_given == m_table.size()) {
      return std::nullopt;
    }
    Request request = m_given == 0 ? m_request : Request{RequestKind::Append, m_request.jobId};
    const std::size_t end = std::min(m_table.size(), m_given + m_vectors);
    while (m_given < end) {
      request.sweep.vectors.push_back(m_table.getVector(m_given++));
    }
    request.more = end < m_table.size();
    request.packageNumber = ++m_number;
    return request;
  }

 private:
  const Request& m_request;
  const ParameterTable& m_table;
  const std::size_t m_vectors;  ///< in each package
  std::size_t m_given = 0;
  std::uint32_t m_number = 0;
};

}  // namespace

JobStatus submitTable(ServerConnection& connection, const Request& request, const ParameterTable& table) {
  Packages packages(request, table);
  return connection.askInTurn<JobStatus>([&] { return packages.next(); });
}

}  // namespace ParameterSweep
