#pragma once

#include <Platform/RemoteComputation/Service/RequestHandlingBase/AbstractJobLog.h>
#include <Platform/RemoteComputation/Service/RequestPackages/PackageWriter.h>

#include <chrono>
#include <fstream>
#include <string>
#include <vector>

/// The log of a job, on the side where the job runs. It keeps its entries, and writes each to a file at once as the
/// element `logMessage`, in which form the reply carries it to the client.
class MeanJobLog : public Drelvan::AbstractJobLog {
 public:
  MeanJobLog(const Drelvan::GenericJobId& jobId, const std::string& file)
      : m_jobId(jobId), m_fileName(file), m_file(file) {}

  void info(const std::string& text) {
    const auto now = std::chrono::system_clock::now().time_since_epoch();
    append({Message::Type::Info, "mean-job", std::chrono::duration_cast<std::chrono::milliseconds>(now).count(), text});
  }

  void append(const Message& message) override {
    m_messages.push_back(message);
    Drelvan::PackageWriter line(m_file);
    line.element("logMessage", message);
    line.finish();
    m_file.flush();
    m_messageAppended(message);
  }

  std::vector<Message> getMessages() const override { return m_messages; }
  Drelvan::GenericJobId getJobId() const override { return m_jobId; }

  void clear() override {
    m_messages.clear();
    m_file = std::ofstream(m_fileName);
  }

 private:
  const Drelvan::GenericJobId m_jobId;
  const std::string m_fileName;
  std::ofstream m_file;
  std::vector<Message> m_messages;
};
