#include <examples/parameter_sweep/common/SweepFailure.h>
#include <examples/parameter_sweep/store/StoreSchema.h>

#include <array>

namespace ParameterSweep {

namespace {

// Times are milliseconds since 1970. A job's number tells its place in the order of submission.
constexpr const char* c_version1 = R"sql(
CREATE TABLE job(
  number INTEGER PRIMARY KEY,
  id TEXT NOT NULL UNIQUE,
  owner TEXT NOT NULL,
  title TEXT NOT NULL,
  priority INTEGER NOT NULL,
  part_size INTEGER NOT NULL,
  expression TEXT NOT NULL,
  columns TEXT NOT NULL,
  complete INTEGER NOT NULL,
  state TEXT NOT NULL,
  packages INTEGER NOT NULL,
  realizations INTEGER NOT NULL,
  bytes INTEGER NOT NULL,
  parts INTEGER NOT NULL DEFAULT 0,
  parts_done INTEGER NOT NULL DEFAULT 0,
  submitted INTEGER NOT NULL,
  started INTEGER NOT NULL DEFAULT 0,
  ended INTEGER NOT NULL DEFAULT 0,
  host TEXT NOT NULL DEFAULT '',
  failure_kind TEXT NOT NULL DEFAULT '',
  failure_message TEXT NOT NULL DEFAULT '',
  failure_function TEXT NOT NULL DEFAULT '',
  failure_file TEXT NOT NULL DEFAULT '',
  failure_line INTEGER NOT NULL DEFAULT 0);
CREATE INDEX job_active ON job(priority DESC, number) WHERE state IN ('Queued', 'Running');
CREATE INDEX job_owner ON job(owner, state, bytes);
CREATE INDEX job_ended ON job(ended) WHERE ended > 0;
CREATE INDEX job_incomplete ON job(submitted) WHERE complete = 0;
CREATE TABLE package(
  job INTEGER NOT NULL REFERENCES job(number) ON DELETE CASCADE,
  number INTEGER NOT NULL,
  first INTEGER NOT NULL,
  count INTEGER NOT NULL,
  content BLOB NOT NULL,
  UNIQUE(job, number));
CREATE TABLE part(
  job INTEGER NOT NULL REFERENCES job(number) ON DELETE CASCADE,
  number INTEGER NOT NULL,
  first INTEGER NOT NULL,
  count INTEGER NOT NULL,
  state TEXT NOT NULL,
  tries INTEGER NOT NULL DEFAULT 0,
  run TEXT NOT NULL DEFAULT '',
  log_offset INTEGER NOT NULL DEFAULT 0,
  results BLOB,
  UNIQUE(job, number));
CREATE INDEX part_run ON part(job) WHERE run <> '';
CREATE TABLE message(
  id INTEGER PRIMARY KEY,
  job INTEGER NOT NULL REFERENCES job(number) ON DELETE CASCADE,
  time INTEGER NOT NULL,
  type TEXT NOT NULL,
  source TEXT NOT NULL,
  text TEXT NOT NULL);
CREATE INDEX message_job ON message(job, id);
CREATE TABLE counter(value INTEGER NOT NULL);
INSERT INTO counter VALUES(0);
)sql";

/// What brings a database from the version of the index to the next one.
constexpr std::array<const char*, 1> c_upgrades{c_version1};

}  // namespace

int getStoreVersion() { return static_cast<int>(c_upgrades.size()); }

void upgradeStore(Database& database) {
  Transaction transaction(database);
  std::int64_t version = 0;
  {
    Query query = database.query("PRAGMA user_version");
    version = query.next() ? query.getNumber(0) : 0;
  }
  if (version < 0 || version > getStoreVersion()) {
    throw SweepFailure(FailureKind::LocalFailure, "the spool was made by a newer sweep-server (version " +
                                                      std::to_string(version) + " of its database); use that one");
  }
  for (auto next = static_cast<std::size_t>(version); next < c_upgrades.size(); ++next) {
    database.execute(c_upgrades.at(next));
  }
  database.execute("PRAGMA user_version = " + std::to_string(getStoreVersion()));
  transaction.commit();
}

}  // namespace ParameterSweep
