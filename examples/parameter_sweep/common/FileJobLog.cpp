#include <examples/parameter_sweep/common/FileJobLog.h>
#include <examples/parameter_sweep/common/Messages.h>
#include <examples/parameter_sweep/common/PackageReader.h>
#include <examples/parameter_sweep/common/PackageWriter.h>
#include <examples/parameter_sweep/common/StoredFile.h>

#include <fstream>

namespace ParameterSweep {

FileJobLog::FileJobLog(const std::filesystem::path& file, const SweepJobId& jobId) : m_file(file), m_jobId(jobId) {}

FileJobLog::~FileJobLog() = default;

void FileJobLog::append(const Message& message) {
  std::ofstream(m_file, std::ios::binary | std::ios::app) << writeLogLine(message) << std::flush;
  m_messageAppended(message);
}

std::vector<FileJobLog::Message> FileJobLog::getMessages() const { return readLogLines(readStoredFile(m_file)); }

Drelvan::GenericJobId FileJobLog::getJobId() const { return m_jobId; }

void FileJobLog::clear() { removeStoredFile(m_file); }

void FileJobLog::write(Message::Type type, const std::string& group, const std::string& text) {
  append({type, group, currentMilliseconds(), text});
}

}  // namespace ParameterSweep
