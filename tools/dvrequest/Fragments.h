#pragma once

#include <Platform/RemoteComputation/Service/RequestHandlingBase/AbstractRequestSchema.h>

#include <string>
#include <vector>

namespace DvRequest {

/// A schema fragment from a file, with the text exactly as it stands there.
class Fragment final : public Drelvan::AbstractRequestSchema {
 public:
  /// Throws `Unreadable`.
  explicit Fragment(const std::string& file);

  const std::string& getFile() const;

 private:
  std::string m_file;
};

std::vector<Fragment> readFragments(const std::vector<std::string>& files);

/// The schema document that the library makes of the base schema and the fragments, to the byte.
std::string combinedSchema(const std::vector<Fragment>& fragments);

}  // namespace DvRequest
