#include <Platform/RemoteComputation/Service/RequestHandlingBase/HostInfo.h>
#include <service/GeneralServices.h>

#include <algorithm>
#include <boost/algorithm/string/classification.hpp>
#include <boost/algorithm/string/split.hpp>
#include <boost/lexical_cast.hpp>
#include <cstddef>
#include <utility>
#include <vector>

namespace Drelvan {

namespace {

constexpr int c_unsetPort = -1;
constexpr std::size_t c_ipParts = 4;
constexpr unsigned int c_largestIpPart = 255;

bool isIpPart(const std::string& part) {
  try {
    return static_cast<unsigned int>(boost::lexical_cast<int>(part)) <= c_largestIpPart;
  } catch (const boost::bad_lexical_cast&) {
    return false;
  }
}

/// The port in the child named `tag`; unset when there is no such child.
int readPort(const std::string& tag, const xercesc_3_1::DOMElement* element) {
  const xercesc_3_1::DOMElement* child = XmlUtils::getElement(tag, element);
  return child == nullptr ? c_unsetPort : boost::lexical_cast<int>(XmlUtils::getContent(child));
}

template <typename Value>
void writeChild(std::stringstream& stream, const std::string& tag, const Value& value) {
  stream << "<" << tag << ">" << value << "</" << tag << ">" << std::endl;
}

}  // namespace

const std::string HostInfo::c_nameTag = "name";
const std::string HostInfo::c_ipTag = "ip";
const std::string HostInfo::c_requestServerPort = "requestServerPort";
const std::string HostInfo::c_publisherPort = "publisherPort";

HostInfo::HostInfo() : m_requestServerPort(c_unsetPort), m_publisherPort(c_unsetPort) {}

HostInfo::HostInfo(const std::string& name, const std::string& ip)
    : m_name(name), m_ip(ip), m_requestServerPort(c_unsetPort), m_publisherPort(c_unsetPort) {}

HostInfo::HostInfo(xercesc_3_1::DOMElement* element) : HostInfo() {
  if (const xercesc_3_1::DOMElement* name = XmlUtils::getElement(c_nameTag, element)) {
    m_name = XmlUtils::fromXml(XmlUtils::getContent(name));
  }
  if (const xercesc_3_1::DOMElement* ip = XmlUtils::getElement(c_ipTag, element)) {
    m_ip = XmlUtils::getContent(ip);
  }
  m_requestServerPort = readPort(c_requestServerPort, element);
  m_publisherPort = readPort(c_publisherPort, element);
}

HostInfo::HostInfo(const HostInfo& other) = default;

HostInfo::HostInfo(HostInfo&& other) noexcept
    : m_name(std::exchange(other.m_name, {})),
      m_ip(std::exchange(other.m_ip, {})),
      m_requestServerPort(other.m_requestServerPort),
      m_publisherPort(other.m_publisherPort) {}

HostInfo& HostInfo::operator=(const HostInfo& other) = default;

HostInfo& HostInfo::operator=(HostInfo&& other) noexcept {
  m_name = std::exchange(other.m_name, {});
  m_ip = std::exchange(other.m_ip, {});
  m_requestServerPort = other.m_requestServerPort;
  m_publisherPort = other.m_publisherPort;
  return *this;
}

HostInfo::~HostInfo() = default;

const std::string& HostInfo::getName() const { return m_name; }
const std::string& HostInfo::getIp() const { return m_ip; }
int HostInfo::getRequestServerPort() const { return m_requestServerPort; }
int HostInfo::getPublisherPort() const { return m_publisherPort; }
const std::string& HostInfo::getIpOrName() const { return m_ip.empty() ? m_name : m_ip; }
const std::string& HostInfo::getNameOrIp() const { return m_name.empty() ? m_ip : m_name; }

bool HostInfo::hasName() const { return !m_name.empty(); }
bool HostInfo::hasIp() const { return !m_ip.empty(); }
bool HostInfo::hasNameOrIp() const { return hasName() || hasIp(); }
bool HostInfo::hasRequestServerPort() const { return m_requestServerPort > 0; }
bool HostInfo::hasPublisherPort() const { return m_publisherPort > 0; }

bool HostInfo::empty() const { return !hasNameOrIp() && m_requestServerPort < 0 && m_publisherPort < 0; }

void HostInfo::setName(const std::string& name) { m_name = name; }
void HostInfo::setIp(const std::string& ip) { m_ip = ip; }
void HostInfo::setRequestServerPort(int port) { m_requestServerPort = port; }
void HostInfo::setPublisherPort(int port) { m_publisherPort = port; }

void HostInfo::setIpOrName(const std::string& text) {
  if (isIp(text)) {
    setIp(text);
  } else {
    setName(text);
  }
}

void HostInfo::clear() {
  m_name.clear();
  m_ip.clear();
  m_requestServerPort = c_unsetPort;
  m_publisherPort = c_unsetPort;
}

bool HostInfo::isIp(const std::string& text) {
  std::vector<std::string> parts;
  boost::algorithm::split(parts, text, boost::algorithm::is_any_of("."));
  return parts.size() == c_ipParts && std::all_of(parts.begin(), parts.end(), isIpPart);
}

bool HostInfo::isLocalIp(const std::string& text) { return text == "127.0.0.1"; }

std::string HostInfo::toString() const {
  return c_nameTag + ":" + m_name + ", " + c_ipTag + ":" + m_ip + ", " + c_requestServerPort + ":" +
         boost::lexical_cast<std::string>(m_requestServerPort) + ", " + c_publisherPort + ":" +
         boost::lexical_cast<std::string>(m_publisherPort);
}

void HostInfo::toXml(std::stringstream& stream, const std::string& tag, const std::string& indent,
                     const std::string& childIndent) {
  stream << indent << "<" << tag << ">" << std::endl;
  stream << indent << childIndent;
  writeChild(stream, c_nameTag, XmlUtils::toXml(m_name));
  stream << indent << childIndent;
  writeChild(stream, c_ipTag, m_ip);
  if (m_requestServerPort >= 0) {
    stream << indent << childIndent;
    writeChild(stream, c_requestServerPort, m_requestServerPort);
  }
  if (m_publisherPort >= 0) {
    stream << indent << childIndent;
    writeChild(stream, c_publisherPort, m_publisherPort);
  }
  stream << indent << "</" << tag << ">";
}

std::string HostInfo::toXmlString(const std::string& tag, const std::string& indent, const std::string& childIndent) {
  std::stringstream stream;
  toXml(stream, tag, indent, childIndent);
  return stream.str();
}

}  // namespace Drelvan
