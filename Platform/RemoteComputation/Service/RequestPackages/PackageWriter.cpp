#include <Platform/RemoteComputation/Service/RequestPackages/Failure.h>
#include <Platform/RemoteComputation/Service/RequestPackages/Lexical.h>
#include <Platform/RemoteComputation/Service/RequestPackages/PackageWriter.h>
#include <Platform/RemoteComputation/Service/RequestPackages/Text.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <utility>

namespace Drelvan {

namespace {

constexpr const char* c_targetNamespace = "http://drelvan.example/schemas/DVRequests.xsd";
constexpr const char* c_instanceNamespace = "http://www.w3.org/2001/XMLSchema-instance";
constexpr const char* c_replacement = "\xEF\xBF\xBD";
constexpr std::size_t c_pieceLength = 16384;

/// What escaping makes of a byte.
enum class Escape : unsigned char { none, always, inAttributes, sequence };

constexpr std::array<Escape, 256> makeEscapes() {
  std::array<Escape, 256> escapes{};
  for (std::size_t byte = 0; byte < escapes.size(); ++byte) {
    escapes[byte] = byte < 0x20 ? Escape::always : byte < 0x80 ? Escape::none : Escape::sequence;
  }
  for (const char byte : {'&', '<', '>'}) {
    escapes[static_cast<unsigned char>(byte)] = Escape::always;
  }
  for (const char byte : {'"', '\t', '\n'}) {
    escapes[static_cast<unsigned char>(byte)] = Escape::inAttributes;
  }
  return escapes;
}

constexpr std::array<Escape, 256> c_escapes = makeEscapes();

const char* referenceFor(char byte) {
  switch (byte) {
    case '&':
      return "&amp;";
    case '<':
      return "&lt;";
    case '>':
      return "&gt;";
    case '"':
      return "&quot;";
    case '\t':
      return "&#9;";
    case '\n':
      return "&#10;";
    case '\r':
      return "&#13;";
    default:
      return c_replacement;
  }
}

constexpr std::array<bool, 256> makeNameBytes(bool isFirst) {
  std::array<bool, 256> bytes{};
  for (std::size_t byte = 0; byte < bytes.size(); ++byte) {
    const bool isLetter = (byte >= 'a' && byte <= 'z') || (byte >= 'A' && byte <= 'Z') || byte >= 0x80;
    const bool isInner = (byte >= '0' && byte <= '9') || byte == '-' || byte == '.';
    bytes[byte] = isLetter || byte == '_' || byte == ':' || (isInner && !isFirst);
  }
  return bytes;
}

constexpr std::array<bool, 256> c_firstNameBytes = makeNameBytes(true);
constexpr std::array<bool, 256> c_nameBytes = makeNameBytes(false);

void checkName(std::string_view name) {
  const auto isNameByte = [](char byte) { return c_nameBytes[static_cast<unsigned char>(byte)]; };
  const bool isName = !name.empty() && c_firstNameBytes[static_cast<unsigned char>(name.front())] &&
                      std::all_of(name.begin(), name.end(), isNameByte);
  if (!isName) {
    Private::fail("Drelvan::PackageWriter", __FILE__, __LINE__, Private::quoted(name) + " is not a valid XML name");
  }
}

void failOrder(const char* function, int line, const std::string& message) {
  Private::fail(function, __FILE__, line, message);
}

template <typename Value>
void appendChecked(const Value& value, const char* type, std::string& text) {
  if (!Private::write(value, text)) {
    Private::fail("Drelvan::PackageWriter", __FILE__, __LINE__, std::string("the value is not a valid ") + type);
  }
}

const char* rootName(PackageKind kind) {
  switch (kind) {
    case PackageKind::Request:
      return "DV_Request";
    case PackageKind::Reply:
      return "DV_Reply";
    case PackageKind::RequestScript:
      return "DV_RequestScript";
    case PackageKind::ReplyScript:
      return "DV_ReplyScript";
    default:
      failOrder("Drelvan::PackageWriter::startDocument", __LINE__,
                "a package has an envelope; use startRequestPackage or startReplyPackage");
      return "";
  }
}

}  // namespace

PackageWriter::PackageWriter() = default;

PackageWriter::PackageWriter(std::ostream& stream) : m_stream(&stream) {}

PackageWriter::~PackageWriter() = default;

void PackageWriter::startRequestPackage(const RequestEnvelope& envelope) {
  startRoot("DV_RequestPackage");
  attribute("version", envelope.version);
  attribute("serial", envelope.serial);
  attribute("timestamp", envelope.timestamp);
  attribute("clientId", envelope.clientId);
  attribute("origin", envelope.origin);
  attribute("progressUpdates", envelope.progressUpdates);
  attribute("replyHost", envelope.replyHost);
  attribute("replyPort", envelope.replyPort);
  attribute("requestClientId", envelope.requestClientId);
  attribute("replyExpected", envelope.replyExpected);
}

void PackageWriter::startReplyPackage(const ReplyEnvelope& envelope) {
  startRoot("DV_ReplyPackage");
  attribute("version", envelope.version);
  attribute("serial", envelope.serial);
  attribute("timestamp", envelope.timestamp);
  attribute("origin", envelope.origin);
}

void PackageWriter::startDocument(PackageKind kind) { startRoot(rootName(kind)); }

void PackageWriter::startRequest(std::string_view type, std::string_view id) { startEntry("request", type, "id", id); }

void PackageWriter::startReply(std::string_view type, std::string_view requestId) {
  startEntry("reply", type, "requestId", requestId);
}

void PackageWriter::startElement(std::string_view name) {
  checkName(name);
  if (!m_levels.empty()) {
    startLine();
  }
  m_text += '<';
  m_text += name;
  m_names += name;
  m_levels.push_back({name.size(), false});
  m_isTagOpen = true;
}

void PackageWriter::type(std::string_view name) {
  checkName(name);
  attribute("xsi:type", name);
}

void PackageWriter::piece(std::string_view xml) {
  if (!m_levels.empty()) {
    startLine();
  }
  m_text += xml;
  sendLong();
}

void PackageWriter::endElement() {
  if (m_levels.empty()) {
    failOrder("Drelvan::PackageWriter::endElement", __LINE__, "no element is open");
  }
  const std::string_view name = openName();
  if (m_isTagOpen) {
    m_text += "/>";
    m_isTagOpen = false;
  } else {
    startLine();
    m_text += "</";
    m_text += name;
    m_text += '>';
  }
  m_names.resize(m_names.size() - name.size());
  m_levels.pop_back();
  if (m_levels.empty()) {
    m_text += '\n';
  }
  sendLong();
}

std::string PackageWriter::finish() {
  while (!m_levels.empty()) {
    endElement();
  }
  m_hasRoot = false;
  std::string text = std::exchange(m_text, {});
  if (m_stream != nullptr) {
    m_stream->write(text.data(), static_cast<std::streamsize>(text.size()));
    text.clear();
  }
  return text;
}

void PackageWriter::startRoot(std::string_view name) {
  if (m_hasRoot || !m_levels.empty()) {
    failOrder("Drelvan::PackageWriter::startRoot", __LINE__, "a document has one root element; finish this one first");
  }
  startElement(name);
  m_hasRoot = true;
  attribute("xmlns", c_targetNamespace);
  attribute("xmlns:xsi", c_instanceNamespace);
}

void PackageWriter::startEntry(std::string_view name, std::string_view type, std::string_view idName,
                               std::string_view id) {
  if (m_levels.empty()) {
    failOrder("Drelvan::PackageWriter::startEntry", __LINE__, "start a package or another document first");
  }
  while (m_levels.size() > 1) {
    endElement();
  }
  startElement(name);
  if (!type.empty()) {
    this->type(type);
  }
  attribute(idName, id);
}

void PackageWriter::startAttribute(std::string_view name) {
  if (!m_isTagOpen) {
    failOrder("Drelvan::PackageWriter::attribute", __LINE__,
              "attribute " + Private::quoted(name) + " comes after the content of its element; write attributes first");
  }
  checkName(name);
  m_text += ' ';
  m_text += name;
  m_text += "=\"";
}

void PackageWriter::endAttribute() { m_text += '"'; }

void PackageWriter::startText() {
  if (m_levels.empty()) {
    failOrder("Drelvan::PackageWriter::text", __LINE__, "no element is open that could hold the text");
  }
  endTag();
  m_levels.back().hasText = true;
}

void PackageWriter::endTag() {
  if (m_isTagOpen) {
    m_text += '>';
    m_isTagOpen = false;
  }
}

void PackageWriter::startLine() {
  endTag();
  if (!m_levels.back().hasText && (m_text.empty() || m_text.back() != '\n')) {
    m_text += '\n';
  }
}

std::string_view PackageWriter::openName() const {
  const std::string_view names = m_names;
  return names.substr(names.size() - m_levels.back().nameLength);
}

void PackageWriter::sendLong() {
  if (m_stream != nullptr && m_text.size() >= c_pieceLength) {
    m_stream->write(m_text.data(), static_cast<std::streamsize>(m_text.size()));
    m_text.clear();
  }
}

void PackageWriter::write(const GenericJobId& jobId) {
  element("id", jobId.getUniqueId());
  element("name", jobId.getName());
}

void PackageWriter::write(const HostInfo& host) {
  element("name", host.getName());
  element("ip", host.getIp());
  if (host.getRequestServerPort() >= 0) {
    element("requestServerPort", host.getRequestServerPort());
  }
  if (host.getPublisherPort() >= 0) {
    element("publisherPort", host.getPublisherPort());
  }
}

void PackageWriter::write(const PackageData& data) {
  attribute("id", data.id);
  attribute("name", data.name);
  attribute("dataPtrType", data.dataPtrType);
  attribute("dataType", data.dataType);
  attribute("dataSize", data.dataSize);
  attribute("href", data.href);
  attribute("forceTransfer", data.forceTransfer);
  attribute("fileNotTransfered", data.fileNotTransfered);
}

void PackageWriter::write(const AbstractJobLog::Message& message) {
  attribute("type", message.type);
  attribute("group", message.group);
  attribute("timestamp", message.timestamp);
  text(message.text);
}

void PackageWriter::write(const PackageExceptions& exceptions) {
  if (exceptions.empty()) {
    failOrder("Drelvan::PackageWriter::element", __LINE__, "a DVException has at least one exception; none is given");
  }
  for (const PackageException& exception : exceptions) {
    if (&exception != exceptions.data()) {
      startElement("innerException");
    }
    write(exception);
  }
  for (std::size_t inner = 1; inner < exceptions.size(); ++inner) {
    endElement();
  }
}

void PackageWriter::write(const PackageException& exception) {
  element("type", exception.type);
  element("message", exception.message);
  element("name", exception.name);
  element("source", exception.source);
  element("file", exception.file);
  element("function", exception.function);
  element("line", exception.line);
  element("severity", exception.severity);
}

void PackageWriter::write(const ParameterVector& vector) {
  element("realizationId", vector.realizationId);
  for (const Parameter& parameter : vector.parameters) {
    element(parameter.isEncrypted() ? "encryptedParameter" : "parameter", parameter);
  }
}

void PackageWriter::write(const Parameter& parameter) {
  element("id", parameter.id);
  std::visit([this](const auto& value) { element("value", value); }, parameter.value);
}

void PackageWriter::failEnumeration(std::int64_t value) {
  Private::fail(
      "Drelvan::PackageWriter", __FILE__, __LINE__,
      "the value " + std::to_string(value) + " of an enumeration has no text; add it to its EnumerationTexts");
}

void PackageWriter::appendText(std::string_view text, Place place) {
  const Escape limit = place == Place::content ? Escape::inAttributes : Escape::none;
  std::size_t done = 0;
  std::size_t next = 0;
  while (next < text.size()) {
    const Escape escape = c_escapes[static_cast<unsigned char>(text[next])];
    if (escape == Escape::none || escape == limit) {
      ++next;
      continue;
    }
    const std::size_t length = escape == Escape::sequence ? Private::characterLength(text.substr(next)) : 0;
    if (length == 0) {
      m_text.append(text, done, next - done).append(referenceFor(text[next]));
      done = next + 1;
    }
    next += std::max<std::size_t>(length, 1);
  }
  m_text.append(text, done);
  sendLong();
}

void PackageWriter::appendItem(std::string_view item, Place place) {
  if (item.empty() || std::any_of(item.begin(), item.end(), Private::isBlank)) {
    failOrder("Drelvan::PackageWriter::text", __LINE__,
              "an item of a list is empty or holds a blank, which would make two of it: " + Private::quoted(item));
  }
  appendText(item, place);
}

void PackageWriter::appendInteger(std::int64_t value) { Private::write(value, m_text); }
void PackageWriter::appendInteger(std::uint64_t value) { Private::write(value, m_text); }
void PackageWriter::appendValue(float value) { Private::write(value, m_text); }
void PackageWriter::appendValue(double value) { Private::write(value, m_text); }
void PackageWriter::appendValue(const XmlDate& value) { appendChecked(value, "xs:date", m_text); }
void PackageWriter::appendValue(const XmlTime& value) { appendChecked(value, "xs:time", m_text); }
void PackageWriter::appendValue(const XmlDateTime& value) { appendChecked(value, "xs:dateTime", m_text); }
void PackageWriter::appendValue(const XmlDuration& value) { appendChecked(value, "xs:duration", m_text); }
void PackageWriter::appendValue(Timestamp value) { appendChecked(value, "DVTimestamp", m_text); }

}  // namespace Drelvan
