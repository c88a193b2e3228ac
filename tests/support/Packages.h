#pragma once

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

namespace TestSupport {

inline const std::string c_targetNamespace = "http://drelvan.example/schemas/DVRequests.xsd";
inline const std::string c_uid = "0123456789abcdef-0123456789ABCDEF-fedcba9876543210";
inline const std::string c_otherUid = "ffffffffffffffff-0000000000000000-aaaaaaaaaaaaaaaa";
inline const std::string c_timestamp = "UTC/ISO_2024-05-07T13:45:09";

/// An XML element under construction. Values and content are written as they are, without escaping.
class XmlElement {
 public:
  explicit XmlElement(std::string name, std::string content = "")
      : m_name(std::move(name)), m_content(std::move(content)) {}

  /// A copy with the attribute set, or replaced at its place.
  XmlElement with(const std::string& name, const std::string& value) const {
    XmlElement copy(*this);
    const auto found = copy.find(name);
    if (found == copy.m_attributes.end()) {
      copy.m_attributes.emplace_back(name, value);
    } else {
      found->second = value;
    }
    return copy;
  }

  /// A copy without the attribute.
  XmlElement without(const std::string& name) const {
    XmlElement copy(*this);
    const auto found = copy.find(name);
    if (found != copy.m_attributes.end()) {
      copy.m_attributes.erase(found);
    }
    return copy;
  }

  XmlElement withContent(const std::string& content) const {
    XmlElement copy(*this);
    copy.m_content = content;
    return copy;
  }

  XmlElement named(const std::string& name) const {
    XmlElement copy(*this);
    copy.m_name = name;
    return copy;
  }

  std::string text() const {
    std::string result = "<" + m_name;
    for (const auto& [name, value] : m_attributes) {
      result += " " + name + "=\"" + value + "\"";
    }
    return m_content.empty() ? result + "/>" : result + ">" + m_content + "</" + m_name + ">";
  }

 private:
  using Attributes = std::vector<std::pair<std::string, std::string>>;

  Attributes::iterator find(const std::string& name) {
    return std::find_if(m_attributes.begin(), m_attributes.end(),
                        [&](const auto& attribute) { return attribute.first == name; });
  }

  std::string m_name;
  Attributes m_attributes;
  std::string m_content;
};

/// A root element: declares the target namespace as the default one.
inline XmlElement rootElement(const std::string& name, const std::string& content = "") {
  return XmlElement(name, content).with("xmlns", c_targetNamespace);
}

inline XmlElement request() { return XmlElement("request").with("id", c_uid); }
inline XmlElement reply() { return XmlElement("reply").with("requestId", c_uid); }

/// A valid request package with nothing but what is required.
inline XmlElement requestPackage(const std::string& content = request().text()) {
  return rootElement("DV_RequestPackage", content)
      .with("version", "5.0.0")
      .with("serial", "1")
      .with("timestamp", c_timestamp)
      .with("clientId", c_uid)
      .with("requestClientId", c_otherUid);
}

/// A valid reply package with nothing but what is required.
inline XmlElement replyPackage(const std::string& content = reply().text()) {
  return rootElement("DV_ReplyPackage", content)
      .with("version", "5.0.0")
      .with("serial", "1")
      .with("timestamp", c_timestamp);
}

/// Well-formed and refused for one reason, an element that nothing declares.
inline std::string undeclaredDocument(const std::string& name = "undeclared") { return "<" + name + "/>"; }

/// Not well-formed: the root element is not closed.
inline std::string brokenDocument() { return "<DV_Request"; }

}  // namespace TestSupport
