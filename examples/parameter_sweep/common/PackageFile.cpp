#include <examples/parameter_sweep/common/PackageFile.h>
#include <examples/parameter_sweep/common/Spool.h>
#include <examples/parameter_sweep/common/SweepFailure.h>
#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <charconv>
#include <system_error>
#include <utility>

namespace ParameterSweep {

namespace {

constexpr const char* c_end = "end";
constexpr std::size_t c_longestLine = 20;

}  // namespace

PackageFileWriter::PackageFileWriter(std::filesystem::path file)
    : m_file(std::move(file)), m_sibling(siblingOf(m_file)), m_stream(m_sibling, std::ios::binary | std::ios::trunc) {
  check();
}

PackageFileWriter::~PackageFileWriter() {
  std::error_code ignored;
  std::filesystem::remove(m_sibling, ignored);
}

void PackageFileWriter::add(const std::string& package) {
  m_stream << package.size() << "\n" << package << "\n";
  check();
}

void PackageFileWriter::finish() {
  close();
  moveIntoPlace(m_sibling, m_file);
}

void PackageFileWriter::finishUnflushed() {
  close();
  renameIntoPlace(m_sibling, m_file);
}

void PackageFileWriter::close() {
  m_stream << c_end << "\n";
  m_stream.close();
  check();
}

void PackageFileWriter::check() {
  if (!m_stream) {
    throw std::system_error(errno, std::generic_category(), "cannot write '" + m_file.string() + "'");
  }
}

PackageFileReader::PackageFileReader(const std::filesystem::path& file, std::size_t maxPackage)
    : m_name(file.string()),
      m_maxPackage(maxPackage),
      m_descriptor(::open(file.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK)) {
  if (m_descriptor < 0) {
    throw SweepFailure(FailureKind::LocalFailure,
                       "cannot read '" + m_name + "': " + std::generic_category().message(errno));
  }
}

PackageFileReader::~PackageFileReader() { ::close(m_descriptor); }

std::optional<std::string> PackageFileReader::next() {
  const std::string line = readLine();
  if (line == c_end) {
    return std::nullopt;
  }
  std::size_t size = 0;
  const auto [end, error] = std::from_chars(line.data(), line.data() + line.size(), size);
  if (error != std::errc() || end != line.data() + line.size() || size > m_maxPackage) {
    throw SweepFailure(FailureKind::MalformedPackage, "'" + m_name + "' is damaged: a length is wrong");
  }
  std::string package = read(size);
  if (read(1) != "\n") {
    throw SweepFailure(FailureKind::MalformedPackage, "'" + m_name + "' is damaged: a package has another length");
  }
  return package;
}

std::string PackageFileReader::readLine() {
  std::size_t end = 0;
  while ((end = m_buffer.find('\n')) == std::string::npos && m_buffer.size() <= c_longestLine && fill()) {
  }
  // Where there is no end of a line, its place is beyond any length.
  if (end > c_longestLine) {
    throw SweepFailure(FailureKind::MalformedPackage, "'" + m_name + "' is damaged: a line is not whole");
  }
  std::string line = m_buffer.substr(0, end);
  m_buffer.erase(0, end + 1);
  return line;
}

std::string PackageFileReader::read(std::size_t size) {
  while (m_buffer.size() < size && fill()) {
  }
  if (m_buffer.size() < size) {
    throw SweepFailure(FailureKind::MalformedPackage, "'" + m_name + "' is damaged: its end is missing");
  }
  std::string text = m_buffer.substr(0, size);
  m_buffer.erase(0, size);
  return text;
}

/// Reads more; false at the end of the file.
bool PackageFileReader::fill() {
  std::array<char, 65536> buffer{};
  const ssize_t size = ::read(m_descriptor, buffer.data(), buffer.size());
  if (size < 0) {
    throw SweepFailure(FailureKind::LocalFailure,
                       "cannot read '" + m_name + "': " + std::generic_category().message(errno));
  }
  m_buffer.append(buffer.data(), static_cast<std::size_t>(size));
  return size > 0;
}

}  // namespace ParameterSweep
