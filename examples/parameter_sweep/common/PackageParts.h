#pragma once

#include <Platform/RemoteComputation/Service/RequestPackages/PackageDocument.h>
#include <Platform/RemoteComputation/Service/RequestPackages/PackageWriter.h>
#include <examples/parameter_sweep/common/Messages.h>

#include <array>
#include <string>
#include <string_view>
#include <utility>

/// What requests and replies have in common. Private to the sources of Packages.h.
namespace ParameterSweep {

/// The names of the enumerators, as `EnumerationTexts` has them.
template <typename Enumeration, template <typename...> class List, typename... Enumerators>
constexpr auto makeTexts(List<Enumerators...>) {
  return std::array<std::pair<const char*, Enumeration>, sizeof...(Enumerators)>{
      {{Enumerators::name, Enumerators::value}...}};
}

}  // namespace ParameterSweep

template <>
struct Drelvan::EnumerationTexts<ParameterSweep::JobState> {
  static constexpr auto c_texts = ParameterSweep::makeTexts<ParameterSweep::JobState>(
      boost::describe::describe_enumerators<ParameterSweep::JobState>{});
};

namespace ParameterSweep {

/// An element that is left out when it says nothing.
template <typename Value>
void writeUnlessEmpty(Drelvan::PackageWriter& writer, const char* name, const Value& value) {
  if (value != Value()) {
    writer.element(name, value);
  }
}

/// Parses and validates the package and has it read. What the parser or the reader refuses is `MalformedPackage`.
template <typename Read>
auto readPackage(const std::string& package, Read read) {
  try {
    return read(Drelvan::PackageDocument::fromText(package));
  } catch (const SweepFailure&) {
    throw;
  } catch (const Drelvan::DvException& exception) {
    throw SweepFailure(FailureKind::MalformedPackage,
                       exception.getMessage() + "; send a package that follows the schema");
  }
}

/// Throws `SweepFailure` (`UnknownRequest`) for another document.
inline void requireKind(const Drelvan::PackageDocument& document, Drelvan::PackageKind kind, const char* name) {
  if (document.getKind() != kind) {
    throw SweepFailure(FailureKind::UnknownRequest, std::string("the package holds no ") + name + " for this program");
  }
}

/// Throws `SweepFailure` (`UnknownJob`) for the id of another service's job.
inline SweepJobId readJobId(const Drelvan::ElementReader& parent, std::string_view name = SweepJobId::c_tag) {
  return SweepJobId(parent.get<Drelvan::GenericJobId>(name));
}

}  // namespace ParameterSweep
