// One input is the inside of a host element; it is also tested as an address.

#include <Platform/RemoteComputation/Service/RequestHandlingBase/HostInfo.h>
#include <fuzz/support/Input.h>
#include <fuzz/support/Parsing.h>
#include <fuzz/support/Property.h>
#include <service/GeneralServices.h>

#include <algorithm>
#include <boost/lexical_cast.hpp>
#include <optional>
#include <string>

namespace {

using Drelvan::HostInfo;
using Drelvan::XmlUtils;
using Fuzz::require;

bool isPart(std::string part) {
  const bool negative = !part.empty() && part.front() == '-';
  if (negative || (!part.empty() && part.front() == '+')) {
    part.erase(0, 1);
  }
  if (part.empty() || part.find_first_not_of("0123456789") != std::string::npos) {
    return false;
  }
  part.erase(0, part.find_first_not_of('0'));
  return part.empty() || (!negative && part.size() <= 3 && std::stoi(part) <= 255);
}

void checkAddress(const std::string& text) {
  const std::vector<std::string> parts = Fuzz::split(text, ".");
  const bool expected = parts.size() == 4 && std::all_of(parts.begin(), parts.end(), isPart);
  require(HostInfo::isIp(text) == expected, "an address is four decimal numbers from 0 to 255");
  HostInfo host;
  host.setIpOrName(text);
  require((expected ? host.getIp() : host.getName()) == text, "a text is set as address or as name");
  require(host.getIpOrName() == text && host.getNameOrIp() == text, "either way it is found again");
}

std::optional<HostInfo> hostIn(const std::string& content) {
  const Fuzz::Document document = Fuzz::parsed("<host>" + content + "</host>");
  if (document == nullptr) {
    return std::nullopt;
  }
  try {
    return HostInfo(document->getDocumentElement());
  } catch (const boost::bad_lexical_cast&) {
    return std::nullopt;
  }
}

/// Whether the writer and the reader together keep the texts: an address is written as it stands, and a reader undoes
/// references in names once more.
bool survives(const HostInfo& host) {
  return XmlUtils::toXml(host.getIp()) == host.getIp() && XmlUtils::fromXml(host.getName()) == host.getName() &&
         XmlUtils::fromXml(XmlUtils::toXml(host.getName())) == host.getName();
}

void checkWritten(HostInfo host) {
  const std::string written = host.toXmlString("host", "", " ");
  const std::optional<HostInfo> again = hostIn(written.substr(6, written.size() - 6 - 7));
  require(again.has_value(), "what is written reads back");
  require(again->getName() == host.getName() && again->getIp() == host.getIp(), "the texts read back the same");
  require(again->hasRequestServerPort() == host.hasRequestServerPort() &&
              again->hasPublisherPort() == host.hasPublisherPort(),
          "the ports read back the same");
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  require(Fuzz::parsed("<host/>") != nullptr, "the parser starts");
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string input = Fuzz::textOf(data, size);
  checkAddress(input);
  const std::optional<HostInfo> host = hostIn(input);
  if (host.has_value()) {
    require(host->toString().find(host->getName()) != std::string::npos, "the log text holds the name");
    if (survives(*host)) {
      checkWritten(*host);
    }
  }
  return 0;
}
