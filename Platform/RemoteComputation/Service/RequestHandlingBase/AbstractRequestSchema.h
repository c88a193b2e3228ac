#pragma once

#include <Platform/RemoteComputation/Service/RequestHandlingBase/Service_RequestHandlingBase_export.h>

#include <string>

namespace Drelvan {

/// One fragment of the package schema, and its form as a complete schema document.
///
/// A program defines its own requests and replies by deriving from this class and filling `m_schema` in the
/// constructor with top-level schema components: no XML declaration, no `xs:schema` element, ASCII only, types of the
/// target namespace written with the prefix `dvrq`, those of XML Schema with `xs`. `RequestXmlHelper::addSchema` takes
/// the result. The text is not checked.
///
/// Threads: a plain value.
class SERVICE_REQUESTHANDLINGBASE_EXPORT AbstractRequestSchema {
 public:
  /// @{
  /// Takes the three texts of `other`; one that is moved from is left with empty texts.
  AbstractRequestSchema(const AbstractRequestSchema& other);
  AbstractRequestSchema(AbstractRequestSchema&& other) noexcept;
  AbstractRequestSchema& operator=(const AbstractRequestSchema& other);
  AbstractRequestSchema& operator=(AbstractRequestSchema&& other) noexcept;
  /// @}
  ~AbstractRequestSchema();

  /// The fragment as a stand-alone schema document, built on every call.
  std::string getSchema() const;

  /// The bare fragment; the reference is valid as long as this object.
  const std::string& getSchemaNoHeader() const;

 protected:
  /// An empty fragment.
  AbstractRequestSchema();

  std::string m_header;  ///< XML declaration and opening `xs:schema` line, with its line feed
  std::string m_schema;  ///< the fragment
  std::string m_footer;  ///< the closing element, without a line feed
};

/// The fragment that every program shares: the package envelope (`DV_RequestPackage`, `DV_ReplyPackage`, bare requests,
/// replies and scripts) and the common value types. `RequestXmlHelper` always registers it.
///
/// Threads: a plain value.
class SERVICE_REQUESTHANDLINGBASE_EXPORT BaseRequestHandlingSchema : public AbstractRequestSchema {
 public:
  BaseRequestHandlingSchema();
};

}  // namespace Drelvan
