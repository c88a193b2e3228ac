#include <Platform/RemoteComputation/Service/RequestHandlingBase/GenericJobId.h>
#include <service/GeneralServices.h>
#include <service/Identifier.h>

#include <algorithm>
#include <cstddef>
#include <utility>

namespace Drelvan {

namespace {

constexpr std::size_t c_idCharactersInName = 10;
constexpr const char* c_nameSeparator = "_";
constexpr const char* c_textSeparator = "#";

std::string firstCharacters(const std::string& uniqueId) { return uniqueId.substr(0, c_idCharactersInName); }

bool isUniqueId(const std::string& text) { return UniqueID().idCheckOK(text); }

/// Whether `name` ends with what belongs to `uniqueId`. Throws `std::out_of_range` for a name too short to hold it;
/// only the empty name is refused without that.
bool nameBelongsTo(const std::string& name, const std::string& uniqueId) {
  if (name.empty()) {
    return false;
  }
  const std::string ending = c_nameSeparator + firstCharacters(uniqueId);
  return name.substr(name.size() - (c_idCharactersInName + 1)) == ending;
}

GenericJobId failedRead(std::string& errorMessage, const std::string& message) {
  errorMessage = message;
  return {};
}

/// Reads the text form after the switch; `argument(i)` gives the i-th of `count` arguments.
template <typename Argument>
GenericJobId readFromArguments(std::size_t count, Argument argument, std::string& errorMessage) {
  for (std::size_t index = 0; index < count; ++index) {
    if (argument(index) != GenericJobId::c_cmdTag) {
      continue;
    }
    if (index + 1 == count) {
      return failedRead(errorMessage, GenericJobId::c_cmdTag + " need an value");
    }
    std::string text = argument(index + 1);
    return GenericJobId::fromString(text, errorMessage);
  }
  return failedRead(errorMessage, GenericJobId::c_cmdTag + " not found");
}

}  // namespace

const std::string GenericJobId::c_tag = "jobId";
const std::string GenericJobId::c_cmdTag = "-jobId";
const std::string GenericJobId::c_uniqueIdTag = "id";
const std::string GenericJobId::c_nameTag = "name";
const std::string GenericJobId::c_invalidPrefix = "Invalid";

GenericJobId::GenericJobId() { setPrefixAndGenerateUniqueId(c_invalidPrefix); }

GenericJobId::GenericJobId(const GenericJobId& other) = default;

GenericJobId::GenericJobId(GenericJobId&& other) noexcept
    : m_uniqueId(std::exchange(other.m_uniqueId, {})), m_name(std::exchange(other.m_name, {})) {}

GenericJobId& GenericJobId::operator=(const GenericJobId& other) = default;

GenericJobId& GenericJobId::operator=(GenericJobId&& other) noexcept {
  m_uniqueId = std::exchange(other.m_uniqueId, {});
  m_name = std::exchange(other.m_name, {});
  return *this;
}

GenericJobId::~GenericJobId() = default;

GenericJobId::GenericJobId(xercesc_3_1::DOMElement* element)
    : m_uniqueId(XmlUtils::getElementContent(c_uniqueIdTag, element)),
      m_name(XmlUtils::getElementContent(c_nameTag, element)) {}

GenericJobId::GenericJobId(xercesc_3_1::DOMElement* idElement, xercesc_3_1::DOMElement* nameElement)
    : m_uniqueId(XmlUtils::getContent(idElement)), m_name(XmlUtils::getContent(nameElement)) {}

const std::string& GenericJobId::getName() const { return m_name; }

const std::string& GenericJobId::getUniqueId() const { return m_uniqueId; }

bool GenericJobId::isValid() const {
  const std::size_t separator = m_name.rfind(c_nameSeparator);
  if (separator == std::string::npos || m_name.substr(0, separator) == c_invalidPrefix) {
    return false;
  }
  return isUniqueId(m_uniqueId) && m_name.substr(separator + 1) == firstCharacters(m_uniqueId);
}

void GenericJobId::toXml(const std::string& tag, std::stringstream& stream, const std::string& indent,
                         const std::string& childIndent) const {
  stream << indent << "<" << tag << ">" << std::endl;
  stream << indent << childIndent << "<" << c_uniqueIdTag << ">" << m_uniqueId << "</" << c_uniqueIdTag << ">"
         << std::endl;
  stream << indent << childIndent << "<" << c_nameTag << ">" << m_name << "</" << c_nameTag << ">" << std::endl;
  stream << indent << "</" << tag << ">";
}

void GenericJobId::toXml(std::stringstream& stream, const std::string& indent, const std::string& childIndent) const {
  toXml(c_tag, stream, indent, childIndent);
}

std::string GenericJobId::toXml(const std::string& indent, const std::string& childIndent) const {
  std::stringstream stream;
  toXml(c_tag, stream, indent, childIndent);
  return stream.str();
}

std::string GenericJobId::toString() const { return m_name + c_textSeparator + m_uniqueId; }

GenericJobId GenericJobId::fromString(std::string& text, std::string& errorMessage) {
  const std::size_t separator = text.find(c_textSeparator);
  if (separator == std::string::npos) {
    return failedRead(errorMessage, "Invalid value for " + c_cmdTag);
  }
  const std::string name = text.substr(0, separator);
  const std::string uniqueId = text.substr(separator + 1);
  if (!isUniqueId(uniqueId)) {
    return failedRead(errorMessage, "Invalid UniqueID in " + c_cmdTag);
  }
  if (!nameBelongsTo(name, uniqueId)) {
    return failedRead(errorMessage, "Invalid name in " + c_cmdTag);
  }
  GenericJobId jobId;
  jobId.m_name = name;
  jobId.m_uniqueId = uniqueId;
  return jobId;
}

void GenericJobId::toCmd(std::vector<std::string>& arguments) const {
  arguments.push_back(c_cmdTag);
  arguments.push_back(toString());
}

GenericJobId GenericJobId::fromCmd(const std::vector<std::string>& arguments, std::string& errorMessage) {
  return readFromArguments(
      arguments.size(), [&](std::size_t index) -> const std::string& { return arguments[index]; }, errorMessage);
}

GenericJobId GenericJobId::fromCmd(int argc, char* argv[], std::string& errorMessage) {
  const auto count = static_cast<std::size_t>(std::max(argc, 0));
  return readFromArguments(
      count, [argv](std::size_t index) -> const char* { return argv[index]; }, errorMessage);
}

void GenericJobId::setPrefixAndGenerateUniqueId(const std::string& prefix) {
  setPrefixAndUniqueId(prefix, UniqueID::generateId());
}

void GenericJobId::setPrefixAndUniqueId(const std::string& prefix, const std::string& uniqueId) {
  // In this order also where an argument is a member of this object.
  m_uniqueId = uniqueId;
  m_name = prefix + c_nameSeparator + firstCharacters(uniqueId);
}

}  // namespace Drelvan
