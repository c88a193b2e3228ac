#include <examples/parameter_sweep/store/JobStore.h>
#include <examples/parameter_sweep/store/StoreChanges.h>
#include <examples/parameter_sweep/store/StoreSchema.h>

#include <algorithm>
#include <limits>

namespace ParameterSweep {

namespace {

const std::string c_selectJobs =
    "SELECT id, owner, title, priority, part_size, expression, columns, complete, state, packages, realizations, "
    "bytes, parts, parts_done, submitted, started, ended, host, failure_kind, failure_message, failure_function, "
    "failure_file, failure_line, number FROM job ";
constexpr int c_numberColumn = 23;

const std::string c_selectParts = "SELECT number, first, count, state, tries, run, log_offset FROM part ";

// As many pages as the log keeps on the disk when it was larger for a while.
constexpr const char* c_settings =
    "PRAGMA journal_mode = WAL; PRAGMA synchronous = FULL; PRAGMA foreign_keys = ON; PRAGMA temp_store = MEMORY; "
    "PRAGMA journal_size_limit = 16777216;";

SweepJobId readId(const Query& row) { return SweepJobId::fromText(row.getText(0)); }

SweepFailure readFailure(const Query& row) {
  return {fromText(row.getText(18), FailureKind::Internal), row.getText(19), row.getText(20).c_str(),
          row.getText(21).c_str(), static_cast<int>(row.getNumber(22))};
}

JobStatus readStatus(const Query& row) {
  JobStatus status{readId(row), fromText(row.getText(8), JobState::Unknown)};
  status.owner = row.getText(1);
  status.title = row.getText(2);
  status.priority = static_cast<std::int32_t>(row.getNumber(3));
  status.realizations = static_cast<std::uint64_t>(row.getNumber(10));
  status.parts = static_cast<std::uint32_t>(row.getNumber(12));
  status.partsDone = static_cast<std::uint32_t>(row.getNumber(13));
  status.submitted = row.getNumber(14);
  status.started = row.getNumber(15);
  status.ended = row.getNumber(16);
  status.host.setName(row.getText(17));
  status.progress = status.parts == 0 ? 0 : static_cast<double>(status.partsDone) / status.parts;
  if (!row.getText(18).empty()) {
    status.failure = readFailure(row);
  }
  return status;
}

JobRecord readJob(const Query& row) {
  JobRecord job{readStatus(row)};
  job.partSize = static_cast<std::uint32_t>(row.getNumber(4));
  job.expression = row.getText(5);
  job.columns = row.getText(6);
  job.isComplete = row.getNumber(7) != 0;
  job.packages = static_cast<std::uint32_t>(row.getNumber(9));
  job.bytes = row.getNumber(11);
  return job;
}

std::vector<PartRecord> readParts(Query& query) {
  std::vector<PartRecord> parts;
  while (query.next()) {
    parts.push_back({static_cast<std::uint32_t>(query.getNumber(0)), static_cast<std::uint64_t>(query.getNumber(1)),
                     static_cast<std::uint64_t>(query.getNumber(2)), fromText(query.getText(3), PartState::Queued),
                     static_cast<std::uint32_t>(query.getNumber(4)), query.getText(5),
                     static_cast<std::uint64_t>(query.getNumber(6))});
  }
  return parts;
}

}  // namespace

JobStore::JobStore(const std::filesystem::path& file) : m_file(file), m_writing(file), m_reading(file) {
  m_writing.execute(c_settings);
  upgradeStore(m_writing);
  m_reading.refuseChanges();
}

std::vector<bool> JobStore::apply(const std::vector<const Change*>& changes) {
  std::vector<bool> applied;
  applied.reserve(changes.size());
  Transaction transaction(m_writing);
  for (const Change* change : changes) {
    applied.push_back(applyChange(m_writing, *change));
  }
  transaction.commit();
  return applied;
}

std::vector<bool> JobStore::apply(const std::vector<Change>& changes) {
  std::vector<const Change*> pointers;
  pointers.reserve(changes.size());
  for (const Change& change : changes) {
    pointers.push_back(&change);
  }
  return apply(pointers);
}

void JobStore::overwriteFailed() {
  // What a failed commit left in the log begins where the next one is written, and counts no more without its
  // beginning.
  Transaction transaction(m_writing);
  m_writing.query("UPDATE counter SET value = value + 1").run();
  transaction.commit();
}

std::vector<std::pair<JobRecord, std::vector<PartRecord>>> JobStore::loadActive() {
  std::vector<std::pair<JobRecord, std::vector<PartRecord>>> jobs;
  {
    Query query = m_reading.query(
        c_selectJobs + "WHERE state IN ('Queued', 'Running') AND complete = 1 ORDER BY priority DESC, number");
    while (query.next()) {
      jobs.emplace_back(readJob(query), std::vector<PartRecord>());
    }
  }
  for (auto& [job, parts] : jobs) {
    parts = getParts(job.status.jobId);
  }
  return jobs;
}

std::vector<std::pair<SweepJobId, PartRecord>> JobStore::loadStrayRuns() {
  Query query = m_reading.query(
      "SELECT job.id, part.number, part.tries, part.run FROM part JOIN job ON job.number = part.job "
      "WHERE part.run <> '' AND job.state NOT IN ('Queued', 'Running')");
  std::vector<std::pair<SweepJobId, PartRecord>> runs;
  while (query.next()) {
    PartRecord part;
    part.number = static_cast<std::uint32_t>(query.getNumber(1));
    part.tries = static_cast<std::uint32_t>(query.getNumber(2));
    part.run = query.getText(3);
    runs.emplace_back(SweepJobId::fromText(query.getText(0)), part);
  }
  return runs;
}

std::optional<JobRecord> JobStore::find(const SweepJobId& jobId) {
  Query query = m_reading.query(c_selectJobs + "WHERE id = ?");
  return query.bind(jobId.getUniqueId()).next() ? std::optional(readJob(query)) : std::nullopt;
}

std::vector<PartRecord> JobStore::getParts(const SweepJobId& jobId) {
  Query query = m_reading.query(c_selectParts + "WHERE job = (SELECT number FROM job WHERE id = ?) ORDER BY number");
  return readParts(query.bind(jobId.getUniqueId()));
}

std::vector<Realization> JobStore::readResults(const SweepJobId& jobId, std::uint64_t after, std::size_t limit) {
  Query query = m_reading.query(
      "SELECT substr(results, 1 + ?2 * max(0, ?3 - first), ?2 * ?4) FROM part "
      "WHERE job = (SELECT number FROM job WHERE id = ?1) AND first + count > ?3 ORDER BY number");
  query.bind(jobId.getUniqueId())
      .bind(static_cast<std::int64_t>(c_resultBytes))
      .bind(static_cast<std::int64_t>(after))
      .bind(static_cast<std::int64_t>(limit));
  std::vector<Realization> results;
  while (results.size() < limit && query.next()) {
    const std::vector<Realization> more = unpackResults(query.getText(0));
    results.insert(results.end(), more.begin(),
                   more.begin() + static_cast<std::ptrdiff_t>(std::min(more.size(), limit - results.size())));
  }
  return results;
}

std::pair<std::vector<LogMessage>, std::uint64_t> JobStore::readMessages(const SweepJobId& jobId, std::uint64_t after,
                                                                         std::size_t limit) {
  Query query = m_reading.query(
      "SELECT type, source, time, text, id FROM message WHERE job = (SELECT number FROM job WHERE id = ?) AND id > ? "
      "ORDER BY id LIMIT ?");
  query.bind(jobId.getUniqueId()).bind(static_cast<std::int64_t>(after)).bind(static_cast<std::int64_t>(limit));
  std::vector<LogMessage> messages;
  while (query.next()) {
    messages.push_back(
        {fromText(query.getText(0), LogMessage::Type::Info), query.getText(1), query.getNumber(2), query.getText(3)});
    after = static_cast<std::uint64_t>(query.getNumber(4));
  }
  return {messages, after};
}

JobList JobStore::list(const Filter& filter) {
  Query query = m_reading.query(c_selectJobs +
                                "WHERE complete = 1 AND number < ?1 AND (?2 = '' OR state = ?2) AND (?3 = 0 OR owner = "
                                "?4) AND (?6 = 0 OR state IN ('Queued', 'Running')) ORDER BY number DESC LIMIT ?5");
  const std::int64_t before =
      filter.before == 0 ? std::numeric_limits<std::int64_t>::max() : static_cast<std::int64_t>(filter.before);
  query.bind(before)
      .bind(filter.state ? std::string(toText(*filter.state)) : std::string())
      .bind(filter.owner ? 1 : 0)
      .bind(filter.owner.value_or(""))
      .bind(static_cast<std::int64_t>(filter.limit) + 1)
      .bind(filter.isActive ? 1 : 0);
  JobList list;
  std::uint64_t last = 0;
  while (query.next()) {
    if (list.jobs.size() == filter.limit) {
      list.next = last;
      break;
    }
    list.jobs.push_back(readStatus(query));
    last = static_cast<std::uint64_t>(query.getNumber(c_numberColumn));
  }
  return list;
}

JobStore::Usage JobStore::getUsage(const std::string& owner) {
  Query query = m_reading.query("SELECT total(bytes), total(state IN ('Queued', 'Running')) FROM job WHERE owner = ?");
  query.bind(owner).next();
  return {query.getNumber(0), query.getNumber(1)};
}

std::vector<SweepJobId> JobStore::findExpired(std::int64_t ended, std::int64_t begun, std::size_t limit) {
  Query query = m_reading.query(
      "SELECT id FROM job WHERE ended > 0 AND ended < ?1 UNION ALL "
      "SELECT id FROM job WHERE complete = 0 AND submitted < ?2 LIMIT ?3");
  query.bind(ended).bind(begun).bind(static_cast<std::int64_t>(limit));
  std::vector<SweepJobId> jobs;
  while (query.next()) {
    jobs.push_back(readId(query));
  }
  return jobs;
}

std::int64_t JobStore::countJobs() {
  Query query = m_reading.query("SELECT count(*) FROM job WHERE complete = 1");
  return query.next() ? query.getNumber(0) : 0;
}

}  // namespace ParameterSweep
