#pragma once

#include <Platform/RemoteComputation/Service/RequestHandlingBase/RemoteJobStatusInterface.h>
#include <Platform/RemoteComputation/Service/RequestPackages/ElementReader.h>
#include <service/ExceptionHandling.h>

#include <string>

/// What a client knows of its job, from the replies that it gets. Its signals tell the rest of the client.
class MeanJobStatus : public Drelvan::RemoteJobStatusInterface {
 public:
  void takeReply(const Drelvan::ElementReader& reply) {
    if (reply.getTypeName() == "MeanReply") {
      m_jobId = reply.get<Drelvan::GenericJobId>("jobId");
      m_mean = reply.get<double>("mean");
      setState(State::Finished);
      m_finished();
    } else if (reply.getTypeName() == "MeanRefused") {
      for (const auto& exception : reply.get<Drelvan::PackageExceptions>("exception")) {
        m_error += (m_error.empty() ? "" : "\n  ") + exception.message.value_or(exception.type);
      }
      setState(State::Failed);
      m_failed(m_error);
    } else {
      reply.fail("is no reply of the mean service");
    }
  }

  double getMean() const { return m_mean; }

  Drelvan::GenericJobId getJobId() const override { return m_jobId; }
  State getState() const override { return m_state; }
  double getProgress() const override { return m_state == State::Finished ? 1 : 0; }
  Drelvan::HostInfo getHost() const override { return {}; }
  std::string getErrorMessage() const override { return m_error; }
  void cancel() override {
    throw Drelvan::DvException("a mean is there with its first reply; nothing is left to cancel", "mean-client",
                               __func__, __FILE__, __LINE__);
  }

 private:
  void setState(State state) {
    m_state = state;
    m_stateChanged(state);
  }

  Drelvan::GenericJobId m_jobId;
  State m_state = State::Unknown;
  double m_mean = 0;
  std::string m_error;
};
