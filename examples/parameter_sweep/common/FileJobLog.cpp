#include <examples/parameter_sweep/common/FileJobLog.h>
#include <examples/parameter_sweep/common/Packages.h>
#include <examples/parameter_sweep/common/Spool.h>

#include <chrono>
#include <fstream>

namespace ParameterSweep {

namespace {

/// Whether a writer was ended in the middle of a line.
bool endsWithinLine(const std::filesystem::path& file) {
  std::ifstream stream(file, std::ios::binary);
  return stream.seekg(-1, std::ios::end) && stream.get() != '\n';
}

}  // namespace

void FileJobLog::append(const Message& message) {
  const std::string lineEnd = endsWithinLine(m_file) ? "\n" : "";
  std::ofstream(m_file, std::ios::binary | std::ios::app) << lineEnd + writeLogLine(message) << std::flush;
  m_messageAppended(message);
}

std::vector<FileJobLog::Message> FileJobLog::getMessages() const { return readLogLines(readStoredFile(m_file)); }

void FileJobLog::clear() { removeStoredFile(m_file); }

void FileJobLog::write(Message::Type type, const std::string& group, const std::string& text) {
  using std::chrono::milliseconds;
  const auto now = std::chrono::system_clock::now().time_since_epoch();
  append({type, group, std::chrono::duration_cast<milliseconds>(now).count(), text});
}

}  // namespace ParameterSweep
