#pragma once

#include <Platform/RemoteComputation/Service/RequestHandlingBase/Service_RequestHandlingBase_export.h>
#include <service/Xerces.h>

#include <sstream>
#include <string>
#include <vector>
#include <xercesc/dom/DOMElement.hpp>

namespace Drelvan {

/// Names one job across all processes of the service: a unique id and a readable name, which is a prefix, "_" and the
/// first ten characters of the unique id.
///
/// The text form is the name, "#" and the unique id; the command-line form is the two arguments "-jobId" and the text
/// form. The XML form is an element of schema type `DVJobId`. A class derived from this one chooses its own prefix.
///
/// Threads: a plain value without locks or shared state.
/// Values read from outside are stored unchanged; `isValid` says whether they are usable.
class SERVICE_REQUESTHANDLINGBASE_EXPORT GenericJobId {
 public:
  static const std::string c_tag;     ///< "jobId", the usual element name of the XML form
  static const std::string c_cmdTag;  ///< "-jobId", the command-line switch

  /// A new unique id with the prefix "Invalid": never valid, and the result of every failed read.
  GenericJobId();
  /// @{
  /// Copies or moves both texts; a moved-from object has empty texts.
  GenericJobId(const GenericJobId& other);
  GenericJobId(GenericJobId&& other) noexcept;
  GenericJobId& operator=(const GenericJobId& other);
  GenericJobId& operator=(GenericJobId&& other) noexcept;
  /// @}
  ~GenericJobId();

  /// Reads the children `id` and `name` of an element of type `DVJobId`; a missing one reads as empty.
  GenericJobId(xercesc_3_1::DOMElement* element);
  /// Reads the contents of the `id` and the `name` element themselves.
  GenericJobId(xercesc_3_1::DOMElement* idElement, xercesc_3_1::DOMElement* nameElement);

  /// @{
  /// The stored text, valid or not.
  const std::string& getName() const;
  const std::string& getUniqueId() const;
  /// @}

  /// Whether the unique id is well-formed, the name belongs to it, and the prefix (all before the name's last "_") is
  /// not "Invalid".
  bool isValid() const;

  /// Appends the element `tag` with its children `id` and `name` to `stream`: three lines and the closing tag, which
  /// has no line end. `indent` precedes every line, followed by `childIndent` for the children. Nothing is
  /// escaped: a name with "<" or "&" makes the XML not well-formed.
  void toXml(const std::string& tag, std::stringstream& stream, const std::string& indent,
             const std::string& childIndent) const;
  /// The same with the tag `c_tag`.
  void toXml(std::stringstream& stream, const std::string& indent, const std::string& childIndent) const;
  /// The same as a string.
  std::string toXml(const std::string& indent, const std::string& childIndent) const;

  /// The text form.
  std::string toString() const;

  /// Reads the text form; `text` is not changed. On failure replaces `errorMessage` and returns an invalid id; on
  /// success leaves it unchanged. Throws `std::out_of_range`, with `errorMessage` unchanged, when a valid unique id
  /// follows a name of one to ten characters. The prefix is not checked.
  static GenericJobId fromString(std::string& text, std::string& errorMessage);

  /// Appends the two arguments of the command-line form.
  void toCmd(std::vector<std::string>& arguments) const;

  /// Reads the argument after the first one that is exactly `c_cmdTag`; results and failures as for `fromString`.
  static GenericJobId fromCmd(const std::vector<std::string>& arguments, std::string& errorMessage);
  /// The same over `argv[0]` to `argv[argc - 1]`.
  static GenericJobId fromCmd(int argc, char* argv[], std::string& errorMessage);

 protected:
  /// Generates a new unique id, and the name with `prefix`. With a "#" in the prefix the text form cannot be read.
  void setPrefixAndGenerateUniqueId(const std::string& prefix);
  /// Stores `uniqueId` unchecked, and the name with `prefix`.
  void setPrefixAndUniqueId(const std::string& prefix, const std::string& uniqueId);

 private:
  static const std::string c_uniqueIdTag;
  static const std::string c_nameTag;
  static const std::string c_invalidPrefix;

  std::string m_uniqueId;
  std::string m_name;
};

}  // namespace Drelvan
