#include <examples/parameter_sweep/common/PackageFile.h>
#include <examples/parameter_sweep/common/Packages.h>
#include <examples/parameter_sweep/server/PartPreparer.h>
#include <unistd.h>

#include <algorithm>
#include <exception>
#include <memory>
#include <system_error>
#include <vector>

namespace ParameterSweep {

namespace {

/// The packages that the part lies in.
std::vector<PackageRecord> findPackages(PackageReader& reader, const SweepJobId& jobId, const PartRecord& part) {
  std::vector<PackageRecord> packages = reader.getPackages(jobId);
  const auto isOutside = [&](const PackageRecord& package) {
    return package.first + package.count <= part.first || package.first >= part.first + part.count;
  };
  packages.erase(std::remove_if(packages.begin(), packages.end(), isOutside), packages.end());
  return packages;
}

void writeInput(PackageReader& reader, const Request& sweep, const PartRecord& part,
                const std::filesystem::path& file) {
  const std::vector<PackageRecord> packages = findPackages(reader, sweep.jobId, part);
  Request place = sweep;
  place.skip = packages.empty() ? 0 : part.first - packages.front().first;
  place.count = part.count;
  PackageFileWriter writer(file);
  writer.add(writeRequestPackage(place));
  for (const PackageRecord& package : packages) {
    writer.add(reader.readPackage(sweep.jobId, package.number));
  }
  writer.finish();
}

/// Puts the input there as a whole: a run that nobody knows of may be reading an earlier one.
void replaceInput(PackageReader& reader, const Request& sweep, const PartRecord& part, const PartFiles& files) {
  std::filesystem::create_directories(files.folder);
  const std::filesystem::path unfinished = files.input.string() + "." + std::to_string(::getpid()) + ".new";
  try {
    writeInput(reader, sweep, part, unfinished);
    std::filesystem::rename(unfinished, files.input);
  } catch (...) {
    std::error_code ignored;
    std::filesystem::remove(unfinished, ignored);
    throw;
  }
}

}  // namespace

PartPreparer::PartPreparer(const std::filesystem::path& database) : m_database(database) { m_database.refuseChanges(); }

void PartPreparer::prepare(const JobRecord& job, const PartRecord& part, const PartFiles& files, const Done& done) {
  const auto error = std::make_shared<std::string>();
  const Request sweep{RequestKind::Compute, job.status.jobId, {job.expression, {}}};
  m_worker.run(
      [this, sweep, part, files, error] {
        try {
          replaceInput(m_packages, sweep, part, files);
        } catch (const std::exception& exception) {
          *error = exception.what();
        }
      },
      [done, error] { done(*error); });
}

}  // namespace ParameterSweep
