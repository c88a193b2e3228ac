#pragma once

#include <Platform/RemoteComputation/Service/RequestHandlingBase/AbstractJobLog.h>
#include <Platform/RemoteComputation/Service/RequestHandlingBase/GenericJobId.h>
#include <Platform/RemoteComputation/Service/RequestHandlingBase/HostInfo.h>
#include <Platform/RemoteComputation/Service/RequestPackages/PackageValues.h>
#include <Platform/RemoteComputation/Service/RequestPackages/Service_RequestPackages_export.h>

#include <cstdint>
#include <optional>
#include <ostream>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

namespace Drelvan {

/// Writes a package from its start to its end, into a string or to a stream, with one line for each element.
///
///     Drelvan::PackageWriter writer;
///     writer.startReplyPackage(Drelvan::ReplyEnvelope());
///     writer.startReply("MeanReply", requestId);
///     writer.element("mean", 5.5);
///     return writer.finish();
///
/// Text is UTF-8. Whatever is written is escaped, so that it reads back as it was; what XML cannot carry (most control
/// characters, bytes that are no UTF-8) becomes U+FFFD. Values of the types that `ElementReader` reads can be written,
/// texts also as `std::string_view` and `const char*`; an empty `std::optional` writes nothing, and the vector of a
/// simple type a list (`xs:list`).
///
/// The calls follow the order of the document. A call out of order (an attribute after content, an end without a start)
/// and a value that cannot be written (an invalid date, a name that XML does not allow) throw `DvException`; what was
/// written so far is then incomplete. The writer checks neither the schema nor duplicate attributes.
///
/// Threads: one at a time.
class SERVICE_REQUESTPACKAGES_EXPORT PackageWriter {
 public:
  /// Writes into a string, which `finish` returns.
  PackageWriter();
  /// Writes to `stream` in blocks; does not check the stream's state.
  explicit PackageWriter(std::ostream& stream);
  PackageWriter(const PackageWriter&) = delete;
  PackageWriter& operator=(const PackageWriter&) = delete;
  ~PackageWriter();

  /// @{
  /// The root element: a package with its envelope, or one of the four root elements without an envelope.
  void startRequestPackage(const RequestEnvelope& envelope);
  void startReplyPackage(const ReplyEnvelope& envelope);
  void startDocument(PackageKind kind);
  /// @}
  /// @{
  /// The element `request` or `reply` of the named type of a fragment, or with an empty `type` of the base schema's.
  /// Ends the one before.
  void startRequest(std::string_view type, std::string_view id);
  void startReply(std::string_view type, std::string_view requestId);
  /// @}

  /// An element with the value.
  template <typename Value>
  void element(std::string_view name, const Value& value);
  /// An element for each value.
  template <typename Value>
  void elements(std::string_view name, const std::vector<Value>& values);
  /// An element to which attributes, text and elements are added until `endElement`. Without a root before it, it is a
  /// piece of a package: no namespace is declared.
  void startElement(std::string_view name);
  /// Adds an attribute to the element just started. For simple types.
  template <typename Value>
  void attribute(std::string_view name, const Value& value);
  /// Names the type of the element just started (`xsi:type`), where the schema gives it a more general one.
  void type(std::string_view name);
  /// Adds text to the open element. For simple types.
  template <typename Value>
  void text(const Value& value);
  /// Appends XML verbatim, for example the output of another writer. Neither checked nor escaped.
  void piece(std::string_view xml);
  /// Ends the element started last.
  void endElement();

  /// Closes all open elements. Returns the document if it was written to a string; otherwise writes the rest to the
  /// stream and returns an empty string. The writer can then write another document.
  std::string finish();

 private:
  template <typename Value>
  struct IsOptional : std::false_type {};
  template <typename Value>
  struct IsOptional<std::optional<Value>> : std::true_type {};
  enum class Place { content, attributeValue };
  struct Level {
    std::size_t nameLength;
    bool hasText;
  };

  void startRoot(std::string_view name);
  void startEntry(std::string_view name, std::string_view type, std::string_view idName, std::string_view id);
  void startAttribute(std::string_view name);
  void endAttribute();
  void startText();
  void endTag();
  void startLine();
  std::string_view openName() const;
  void sendLong();

  /// @{
  /// The content of an element.
  void write(const GenericJobId& jobId);
  void write(const HostInfo& host);
  void write(const PackageData& data);
  void write(const AbstractJobLog::Message& message);
  void write(const PackageExceptions& exceptions);
  void write(const ParameterVector& vector);
  void write(const PackageException& exception);
  void write(const Parameter& parameter);
  template <typename Value>
  void write(const Value& value);
  /// @}

  /// @{
  /// The text of a simple type.
  template <typename Value>
  void append(const Value& value, Place place);
  template <typename Item>
  void append(const std::vector<Item>& items, Place place);
  template <typename Enumeration>
  static const char* textOf(Enumeration value);
  [[noreturn]] static void failEnumeration(std::int64_t value);
  void appendText(std::string_view text, Place place);
  void appendItem(std::string_view item, Place place);
  void appendInteger(std::int64_t value);
  void appendInteger(std::uint64_t value);
  void appendValue(float value);
  void appendValue(double value);
  void appendValue(const XmlDate& value);
  void appendValue(const XmlTime& value);
  void appendValue(const XmlDateTime& value);
  void appendValue(const XmlDuration& value);
  void appendValue(Timestamp value);
  /// @}

  std::ostream* m_stream = nullptr;
  std::string m_text;           ///< what has not gone to the stream
  std::string m_names;          ///< of the open elements, concatenated
  std::vector<Level> m_levels;  ///< the open elements
  bool m_isTagOpen = false;     ///< whether the start tag of the innermost can take attributes
  bool m_hasRoot = false;
};

template <typename Value>
void PackageWriter::element(std::string_view name, const Value& value) {
  if constexpr (IsOptional<Value>::value) {
    if (value) {
      element(name, *value);
    }
  } else {
    startElement(name);
    if constexpr (std::is_base_of_v<GenericJobId, Value>) {
      write(static_cast<const GenericJobId&>(value));
    } else {
      write(value);
    }
    endElement();
  }
}

template <typename Value>
void PackageWriter::elements(std::string_view name, const std::vector<Value>& values) {
  for (const auto& value : values) {
    element(name, value);
  }
}

template <typename Value>
void PackageWriter::attribute(std::string_view name, const Value& value) {
  if constexpr (IsOptional<Value>::value) {
    if (value) {
      attribute(name, *value);
    }
  } else {
    startAttribute(name);
    append(value, Place::attributeValue);
    endAttribute();
  }
}

template <typename Value>
void PackageWriter::text(const Value& value) {
  startText();
  append(value, Place::content);
}

template <typename Value>
void PackageWriter::write(const Value& value) {
  text(value);
}

template <typename Value>
void PackageWriter::append(const Value& value, Place place) {
  if constexpr (std::is_same_v<Value, bool>) {
    appendText(value ? "true" : "false", place);
  } else if constexpr (std::is_enum_v<Value>) {
    appendText(textOf(value), place);
  } else if constexpr (std::is_integral_v<Value> && std::is_signed_v<Value>) {
    appendInteger(static_cast<std::int64_t>(value));
  } else if constexpr (std::is_integral_v<Value>) {
    appendInteger(static_cast<std::uint64_t>(value));
  } else if constexpr (std::is_convertible_v<const Value&, std::string_view>) {
    appendText(value, place);
  } else {
    appendValue(value);
  }
}

template <typename Enumeration>
const char* PackageWriter::textOf(Enumeration value) {
  for (const auto& [text, one] : EnumerationTexts<Enumeration>::c_texts) {
    if (one == value) {
      return text;
    }
  }
  failEnumeration(static_cast<std::int64_t>(value));
}

template <typename Item>
void PackageWriter::append(const std::vector<Item>& items, Place place) {
  bool isFirst = true;
  for (const auto& item : items) {
    if (!isFirst) {
      appendText(" ", place);
    }
    isFirst = false;
    if constexpr (std::is_convertible_v<const Item&, std::string_view>) {
      appendItem(item, place);
    } else {
      append(item, place);
    }
  }
}

}  // namespace Drelvan
