#include <examples/parameter_sweep/common/FileJobLog.h>
#include <examples/parameter_sweep/common/Packages.h>
#include <examples/parameter_sweep/common/Spool.h>

#include <chrono>
#include <fstream>

namespace ParameterSweep {

void FileJobLog::append(const Message& message) {
  std::ofstream(m_file, std::ios::binary | std::ios::app) << writeLogLine(message) << std::flush;
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
