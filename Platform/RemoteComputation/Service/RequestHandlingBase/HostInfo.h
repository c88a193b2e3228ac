#pragma once

#include <Platform/RemoteComputation/Service/RequestHandlingBase/Service_RequestHandlingBase_export.h>
#include <service/Xerces.h>

#include <sstream>
#include <string>
#include <xercesc/dom/DOMElement.hpp>

namespace Drelvan {

/// Describes a machine: name, IP address, and the ports of its request server and publisher. An empty text is an unset
/// name or address; a negative port (-1 by default) is an unset port.
///
/// Threads: a plain value without locks or shared state.
class SERVICE_REQUESTHANDLINGBASE_EXPORT HostInfo {
 public:
  /// Nothing is set.
  HostInfo();
  /// Neither text is checked; both ports stay unset.
  HostInfo(const std::string& name, const std::string& ip);
  /// Reads the children `name`, `ip`, `requestServerPort` and `publisherPort` of `element`, in any order; a missing one
  /// stays unset. The name is unescaped, the address is not. Throws `boost::bad_lexical_cast` when a port
  /// is not a decimal number of 32 bits.
  HostInfo(xercesc_3_1::DOMElement* element);
  /// @{
  /// Copies or moves the members; a moved-from object has empty texts and unchanged ports.
  HostInfo(const HostInfo& other);
  HostInfo(HostInfo&& other) noexcept;
  HostInfo& operator=(const HostInfo& other);
  HostInfo& operator=(HostInfo&& other) noexcept;
  /// @}
  ~HostInfo();

  /// @{
  /// Empty when unset.
  const std::string& getName() const;
  const std::string& getIp() const;
  /// @}
  /// @{
  /// Negative when unset.
  int getRequestServerPort() const;
  int getPublisherPort() const;
  /// @}
  /// The address if set, else the name, which may be empty too.
  const std::string& getIpOrName() const;
  /// The name if set, else the address, which may be empty too.
  const std::string& getNameOrIp() const;

  /// @{
  /// Whether the text is not empty.
  bool hasName() const;
  bool hasIp() const;
  bool hasNameOrIp() const;
  /// @}
  /// @{
  /// Whether the port is above 0.
  bool hasRequestServerPort() const;
  bool hasPublisherPort() const;
  /// @}
  /// Whether nothing is set; a port of 0 counts as set here.
  bool empty() const;

  /// @{
  /// Stores any value unchecked.
  void setName(const std::string& name);
  void setIp(const std::string& ip);
  void setRequestServerPort(int port);
  void setPublisherPort(int port);
  /// @}
  /// Sets the address when `isIp` holds for `text`, else the name; the other one keeps its value.
  void setIpOrName(const std::string& text);
  /// Unsets everything.
  void clear();

  /// Whether `text` is dotted decimal IPv4: four parts from 0 to 255, signs and leading zeros allowed as long as the
  /// value fits ("+1", "-0" and "010" do).
  static bool isIp(const std::string& text);
  /// Whether `text` is exactly "127.0.0.1".
  static bool isLocalIp(const std::string& text);

  /// All four members on one line, for logs; unset ports are not replaced.
  std::string toString() const;

  /// Appends the element `tag` to `stream`: opening tag, `name`, `ip`, each port of 0 or more, each with a line end,
  /// and the closing tag without one. `indent` precedes every line, followed by `childIndent` for the children.
  /// The name is escaped, the address is not.
  void toXml(std::stringstream& stream, const std::string& tag, const std::string& indent,
             const std::string& childIndent);
  /// The same as a string.
  std::string toXmlString(const std::string& tag, const std::string& indent, const std::string& childIndent);

 private:
  static const std::string c_nameTag;
  static const std::string c_ipTag;
  static const std::string c_requestServerPort;
  static const std::string c_publisherPort;

  std::string m_name;
  std::string m_ip;
  int m_requestServerPort;
  int m_publisherPort;
};

}  // namespace Drelvan
