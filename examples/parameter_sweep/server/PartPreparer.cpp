#include <examples/parameter_sweep/common/PackageFile.h>
#include <examples/parameter_sweep/common/Packages.h>
#include <examples/parameter_sweep/server/PartPreparer.h>

#include <algorithm>
#include <exception>
#include <memory>
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

/// Put into place as a whole, since a run of an earlier server may be reading an earlier one.
void writeInput(PackageReader& reader, const Request& sweep, const PartRecord& part, const PartFiles& files) {
  std::filesystem::create_directories(files.folder);
  const std::vector<PackageRecord> packages = findPackages(reader, sweep.jobId, part);
  Request place = sweep;
  place.skip = packages.empty() ? 0 : part.first - packages.front().first;
  place.count = part.count;
  PackageFileWriter writer(files.input);
  writer.add(writeRequestPackage(place));
  for (const PackageRecord& package : packages) {
    writer.add(reader.readPackage(sweep.jobId, package.number));
  }
  writer.finishUnflushed();
}

}  // namespace

PartPreparer::PartPreparer(const std::filesystem::path& database) : m_database(database) { m_database.refuseChanges(); }

std::uint64_t PartPreparer::prepare(const JobRecord& job, const PartRecord& part, const PartFiles& files,
                                    const Done& done) {
  struct Outcome {
    std::uint64_t number = 0;
    std::string error;  // of the worker, until it is done
  };
  const auto outcome = std::make_shared<Outcome>();
  const Request sweep{RequestKind::Compute, job.status.jobId, {job.expression, {}}};
  outcome->number = m_worker.run(
      [this, sweep, part, files, outcome] {
        try {
          writeInput(m_packages, sweep, part, files);
        } catch (const std::exception& exception) {
          outcome->error = exception.what();
        }
      },
      [done, outcome] { done(outcome->number, outcome->error); });
  return outcome->number;
}

}  // namespace ParameterSweep
