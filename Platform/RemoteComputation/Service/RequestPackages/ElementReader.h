#pragma once

#include <Platform/RemoteComputation/Service/RequestHandlingBase/AbstractJobLog.h>
#include <Platform/RemoteComputation/Service/RequestHandlingBase/GenericJobId.h>
#include <Platform/RemoteComputation/Service/RequestHandlingBase/HostInfo.h>
#include <Platform/RemoteComputation/Service/RequestPackages/PackageValues.h>
#include <Platform/RemoteComputation/Service/RequestPackages/Service_RequestPackages_export.h>
#include <service/Xerces.h>

#include <cstddef>
#include <cstdint>
#include <iterator>
#include <limits>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>
#include <xercesc/dom/DOMElement.hpp>

namespace Drelvan {

/// Reads typed values out of an element of a parsed document.
///
/// An `ElementReader` refers to an element of its document and is valid as long as the document exists. `name`
/// arguments are read during the call only. Elements are found by their local names, whatever their prefix, among the
/// direct children. Text is UTF-8, whatever the locale.
///
/// | type | what it reads |
/// |---|---|
/// | `std::string` | the text, unchanged |
/// | `bool` | `true`, `1`, `false`, `0` |
/// | an integer type | a decimal number within its range |
/// | `double`, `float` | a decimal number within its range, `INF`, `-INF`, `NaN` |
/// | `XmlDate`, `XmlTime`, `XmlDateTime`, `XmlDuration` | the types `xs:date` and so on |
/// | `Timestamp` | `DVTimestamp` |
/// | an enumeration that has `EnumerationTexts` | one of its texts |
/// | `std::vector` of one of these | values separated by white space (`xs:list`) |
/// | `GenericJobId`, `HostInfo` | their children, not checked; see `GenericJobId::isValid` |
/// | `PackageData`, `AbstractJobLog::Message`, `PackageExceptions`, `ParameterVector` | the types of the base schema |
///
/// White space around a value is ignored, except in a `std::string`. A missing or malformed value throws `DvException`
/// with the element's path, its text and the type. The reader never substitutes a default.
///
/// Threads: any number may read one document at a time.
class SERVICE_REQUESTPACKAGES_EXPORT ElementReader {
 public:
  class Children;

  /// Reads `element`, which its document owns.
  explicit ElementReader(const xercesc_3_1::DOMElement& element);

  /// The local name.
  std::string getName() const;
  /// The type that `xsi:type` names, without its prefix; empty when the element has no such attribute.
  std::string getTypeName() const;
  /// The path from the root, such as "/DV_RequestPackage/request/values/parameter[2]".
  std::string getPath() const;
  /// The element itself, which the document owns.
  const xercesc_3_1::DOMElement& getElement() const;

  /// The value that the element holds.
  template <typename Value>
  Value as() const;
  /// The value of the first child `name`.
  template <typename Value>
  Value get(std::string_view name) const;
  /// The same; empty when there is no such child.
  template <typename Value>
  std::optional<Value> find(std::string_view name) const;
  /// The values of all children `name` in their order.
  template <typename Value>
  std::vector<Value> getAll(std::string_view name) const;
  /// The value of the attribute `name`, given in the document or by the schema.
  template <typename Value>
  Value getAttribute(std::string_view name) const;
  /// The same; empty when there is no such attribute.
  template <typename Value>
  std::optional<Value> findAttribute(std::string_view name) const;

  /// The first child `name`. Throws `DvException` when there is none.
  ElementReader getChild(std::string_view name) const;
  /// The same; empty when there is none.
  std::optional<ElementReader> findChild(std::string_view name) const;
  /// The children `name` in their order, for a range-based `for`; `name` must outlive the result.
  Children getChildren(std::string_view name) const;
  /// All child elements.
  Children getChildren() const;

  /// Throws a `DvException` with the path and `reason`, for a value that has the right type but is not acceptable.
  [[noreturn]] void fail(const std::string& reason) const;

 private:
  template <typename Value>
  struct Type {};
  /// The location of a text: the content of an element or, when `attribute` is not empty, an attribute of it.
  struct Place {
    const xercesc_3_1::DOMElement& element;
    std::string_view attribute;
  };

  static constexpr const char* nameOf(Type<std::string>) { return "xs:string"; }
  static constexpr const char* nameOf(Type<bool>) { return "xs:boolean"; }
  static constexpr const char* nameOf(Type<float>) { return "xs:float"; }
  static constexpr const char* nameOf(Type<double>) { return "xs:double"; }
  static constexpr const char* nameOf(Type<XmlDate>) { return "xs:date"; }
  static constexpr const char* nameOf(Type<XmlTime>) { return "xs:time"; }
  static constexpr const char* nameOf(Type<XmlDateTime>) { return "xs:dateTime"; }
  static constexpr const char* nameOf(Type<XmlDuration>) { return "xs:duration"; }
  static constexpr const char* nameOf(Type<Timestamp>) { return "DVTimestamp"; }
  static constexpr const char* nameOf(Type<GenericJobId>) { return "DVJobId"; }
  static constexpr const char* nameOf(Type<HostInfo>) { return "a host"; }
  static constexpr const char* nameOf(Type<PackageData>) { return "DVData"; }
  static constexpr const char* nameOf(Type<AbstractJobLog::Message>) { return "LogMessage"; }
  static constexpr const char* nameOf(Type<PackageExceptions>) { return "DVException"; }
  static constexpr const char* nameOf(Type<ParameterVector>) { return "DVPellamParameterVector"; }
  template <typename Item>
  static constexpr const char* nameOf(Type<std::vector<Item>>) {
    return "a list";
  }
  template <typename Value>
  static constexpr const char* nameOf(Type<Value>);

  /// @{
  /// Types read from several texts.
  GenericJobId read(Type<GenericJobId>) const;
  HostInfo read(Type<HostInfo>) const;
  PackageData read(Type<PackageData>) const;
  AbstractJobLog::Message read(Type<AbstractJobLog::Message>) const;
  PackageExceptions read(Type<PackageExceptions>) const;
  ParameterVector read(Type<ParameterVector>) const;
  template <typename Value>
  Value read(Type<Value>) const;
  /// @}

  /// @{
  /// Types read from one text.
  static std::string convert(const Place& place, std::string&& text, Type<std::string>);
  static bool convert(const Place& place, std::string_view text, Type<bool>);
  static float convert(const Place& place, std::string_view text, Type<float>);
  static double convert(const Place& place, std::string_view text, Type<double>);
  static XmlDate convert(const Place& place, std::string_view text, Type<XmlDate>);
  static XmlTime convert(const Place& place, std::string_view text, Type<XmlTime>);
  static XmlDateTime convert(const Place& place, std::string_view text, Type<XmlDateTime>);
  static XmlDuration convert(const Place& place, std::string_view text, Type<XmlDuration>);
  static Timestamp convert(const Place& place, std::string_view text, Type<Timestamp>);
  template <typename Item>
  static std::vector<Item> convert(const Place& place, std::string_view text, Type<std::vector<Item>>);
  template <typename Value>
  static Value convert(const Place& place, std::string_view text, Type<Value>);
  /// @}
  static std::int64_t convertSigned(const Place& place, std::string_view text, std::int64_t smallest,
                                    std::int64_t largest, const char* type);
  static std::uint64_t convertUnsigned(const Place& place, std::string_view text, std::uint64_t largest,
                                       const char* type);

  template <typename Value>
  SERVICE_REQUESTPACKAGES_NO_EXPORT static Value orFail(const std::optional<Value>& value, const Place& place,
                                                        std::string_view text, const char* type);

  /// Takes the next item off `list`; false when there is none.
  static bool takeItem(std::string_view& list, std::string_view& item);
  static std::string_view trim(std::string_view text);
  std::string getText() const;
  std::optional<std::string> findAttributeText(std::string_view name) const;
  ElementReader getChild(std::string_view name, const char* type) const;
  [[noreturn]] static void failMissing(const Place& place, const char* type);
  /// `expected` follows the words "is not".
  [[noreturn]] static void failConversion(const Place& place, std::string_view text, const std::string& expected);

  const xercesc_3_1::DOMElement* m_element;
};

/// The child elements of one element that have one name, or all of them.
class SERVICE_REQUESTPACKAGES_EXPORT ElementReader::Children {
 public:
  /// @cond INTERNAL
  class SERVICE_REQUESTPACKAGES_EXPORT Iterator {
   public:
    using iterator_category = std::input_iterator_tag;
    using value_type = ElementReader;
    using difference_type = std::ptrdiff_t;
    using pointer = const ElementReader*;
    using reference = ElementReader;

    ElementReader operator*() const { return ElementReader(*m_element); }
    Iterator& operator++();
    bool operator==(const Iterator& other) const { return m_element == other.m_element; }
    bool operator!=(const Iterator& other) const { return m_element != other.m_element; }

   private:
    friend class Children;
    Iterator(const xercesc_3_1::DOMElement* element, std::string_view name);

    const xercesc_3_1::DOMElement* m_element;
    std::string_view m_name;
  };
  /// @endcond

  /// @{
  /// For a loop over the elements; both are valid as long as this object and the document exist.
  Iterator begin() const;
  Iterator end() const;
  /// @}

 private:
  friend class ElementReader;
  Children(const xercesc_3_1::DOMElement& parent, std::string_view name);

  const xercesc_3_1::DOMElement* m_parent;
  std::string_view m_name;
};

template <typename Value>
Value ElementReader::as() const {
  return read(Type<Value>{});
}

template <typename Value>
Value ElementReader::get(std::string_view name) const {
  return getChild(name, nameOf(Type<Value>{})).template as<Value>();
}

template <typename Value>
std::optional<Value> ElementReader::find(std::string_view name) const {
  const auto child = findChild(name);
  return child ? std::optional<Value>(child->as<Value>()) : std::nullopt;
}

template <typename Value>
std::vector<Value> ElementReader::getAll(std::string_view name) const {
  std::vector<Value> values;
  for (const ElementReader& child : getChildren(name)) {
    values.push_back(child.as<Value>());
  }
  return values;
}

template <typename Value>
Value ElementReader::getAttribute(std::string_view name) const {
  auto value = findAttribute<Value>(name);
  if (!value) {
    failMissing({*m_element, name}, nameOf(Type<Value>{}));
  }
  return *std::move(value);
}

template <typename Value>
std::optional<Value> ElementReader::findAttribute(std::string_view name) const {
  auto text = findAttributeText(name);
  return text ? std::optional<Value>(convert({*m_element, name}, *std::move(text), Type<Value>{})) : std::nullopt;
}

template <typename Value>
Value ElementReader::read(Type<Value> type) const {
  return convert({*m_element, {}}, getText(), type);
}

template <typename Item>
std::vector<Item> ElementReader::convert(const Place& place, std::string_view text, Type<std::vector<Item>>) {
  std::vector<Item> items;
  for (std::string_view item; takeItem(text, item);) {
    if constexpr (std::is_same_v<Item, std::string>) {
      items.emplace_back(item);
    } else {
      items.push_back(convert(place, item, Type<Item>{}));
    }
  }
  return items;
}

template <typename Value>
Value ElementReader::convert(const Place& place, std::string_view text, Type<Value> type) {
  static_assert(std::is_integral_v<Value> || std::is_enum_v<Value>, "ElementReader does not read this type");
  if constexpr (std::is_enum_v<Value>) {
    std::string expected = "one of";
    for (const auto& [name, value] : EnumerationTexts<Value>::c_texts) {
      if (trim(text) == name) {
        return value;
      }
      expected.append(" '").append(name).append("'");
    }
    failConversion(place, text, expected);
  } else if constexpr (std::is_signed_v<Value>) {
    using Limits = std::numeric_limits<Value>;
    return static_cast<Value>(convertSigned(place, text, Limits::min(), Limits::max(), nameOf(type)));
  } else {
    return static_cast<Value>(convertUnsigned(place, text, std::numeric_limits<Value>::max(), nameOf(type)));
  }
}

template <typename Value>
constexpr const char* ElementReader::nameOf(Type<Value>) {
  constexpr const char* signedNames[] = {"xs:byte", "xs:short", "xs:int", "xs:long"};
  constexpr const char* unsignedNames[] = {"xs:unsignedByte", "xs:unsignedShort", "xs:unsignedInt", "xs:unsignedLong"};
  constexpr std::size_t size = sizeof(Value) == 1 ? 0 : sizeof(Value) == 2 ? 1 : sizeof(Value) == 4 ? 2 : 3;
  return std::is_enum_v<Value> ? "an enumeration" : std::is_signed_v<Value> ? signedNames[size] : unsignedNames[size];
}

}  // namespace Drelvan
