#include <Platform/RemoteComputation/Service/RequestHandlingBase/RequestXmlHelper.h>
#include <service/ExceptionHandling.h>

#include "Packages.h"
#include "Peers.h"

namespace benchmarks {

namespace {

class Library final : public Peer {
 public:
  explicit Library(int numberedSchemas) : m_helper(freshHelper()) {
    m_helper.addSchema(EvaluateSchema());
    for (int number = 0; number < numberedSchemas; ++number) {
      m_helper.addSchema(NumberedSchema(number));
    }
  }

  bool accepts(const std::string& package) override {
    try {
      m_helper.parse(package)->release();
      return true;
    } catch (const Drelvan::DvExceptionNested&) {
      return false;
    }
  }

 private:
  static Drelvan::RequestXmlHelper& freshHelper() {
    Drelvan::RequestXmlHelper::reset(false);
    return Drelvan::RequestXmlHelper::getInstance();
  }

  Drelvan::RequestXmlHelper& m_helper;
};

}  // namespace

std::unique_ptr<Peer> makeLibrary(int numberedSchemas) { return std::make_unique<Library>(numberedSchemas); }

}  // namespace benchmarks
