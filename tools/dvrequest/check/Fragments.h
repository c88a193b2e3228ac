#pragma once

#include <Platform/RemoteComputation/Service/RequestHandlingBase/AbstractRequestSchema.h>
#include <Platform/RemoteComputation/Service/RequestPackages/PackageSchema.h>
#include <tools/dvrequest/support/Report.h>

#include <string>
#include <vector>

namespace DvRequest {

/// The schema fragments of some files, with their texts exactly as they stand there.
class Fragments {
 public:
  /// Throws `Unreadable`.
  explicit Fragments(const std::vector<std::string>& files);

  const std::vector<Drelvan::AbstractRequestSchema>& get() const { return m_fragments; }
  /// The schema document that the library makes of the base schema and the fragments, to the byte.
  std::string combined() const { return m_schema.getText(); }
  /// What is wrong with them: one report for each broken one, with the places in its own file.
  std::vector<Report> check() const;

 private:
  const std::vector<std::string> m_files;
  const std::vector<Drelvan::AbstractRequestSchema> m_fragments;
  const Drelvan::PackageSchema m_schema;
};

}  // namespace DvRequest
