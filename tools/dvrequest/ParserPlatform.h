#pragma once

#include <Platform/RemoteComputation/Service/RequestHandlingBase/RequestXmlHelper.h>
#include <tools/dvrequest/LibraryLog.h>

namespace DvRequest {

/// The library's parser, started, with its log. Everything that comes from the parser must be gone before this is.
class ParserPlatform {
 public:
  ParserPlatform() { Drelvan::RequestXmlHelper::getInstance(); }
  ~ParserPlatform() { Drelvan::RequestXmlHelper::reset(true); }
  ParserPlatform(const ParserPlatform&) = delete;
  ParserPlatform& operator=(const ParserPlatform&) = delete;

  LibraryLog& log() { return m_log; }

 private:
  LibraryLog m_log;
};

}  // namespace DvRequest
