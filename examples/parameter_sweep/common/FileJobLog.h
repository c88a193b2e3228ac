#pragma once

#include <Platform/RemoteComputation/Service/RequestHandlingBase/AbstractJobLog.h>
#include <examples/parameter_sweep/common/SweepJobId.h>

#include <filesystem>
#include <string>
#include <vector>

namespace ParameterSweep {

/// The log of a job, kept in a file of the job's folder.
///
/// Threads: one thread per log; several processes may read the file while one appends to it.
class FileJobLog final : public Drelvan::AbstractJobLog {
 public:
  FileJobLog(const std::filesystem::path& file, const SweepJobId& jobId) : m_file(file), m_jobId(jobId) {}
  ~FileJobLog() override = default;

  void append(const Message& message) override;
  std::vector<Message> getMessages() const override;
  Drelvan::GenericJobId getJobId() const override { return m_jobId; }
  void clear() override;

  /// Appends a message with the present time.
  void write(Message::Type type, const std::string& group, const std::string& text);

 private:
  std::filesystem::path m_file;
  SweepJobId m_jobId;
};

}  // namespace ParameterSweep
