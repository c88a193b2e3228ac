#include <examples/parameter_sweep/store/StoreChanges.h>

namespace ParameterSweep {

namespace {

constexpr const char* c_isActive = "state IN ('Queued', 'Running') AND complete = 1";

/// The number of a job for which the condition holds; 0 when there is none.
std::int64_t findJob(Database& database, const SweepJobId& jobId, const std::string& condition) {
  Query query = database.query("SELECT number FROM job WHERE id = ? AND " + condition);
  return query.bind(jobId.getUniqueId()).next() ? query.getNumber(0) : 0;
}

void addMessages(Database& database, std::int64_t job, const std::vector<LogMessage>& messages) {
  for (const LogMessage& message : messages) {
    database.query("INSERT INTO message(job, time, type, source, text) VALUES(?, ?, ?, ?, ?)")
        .bind(job)
        .bind(message.timestamp)
        .bind(toText(message.type))
        .bind(message.group)
        .bind(message.text)
        .run();
  }
}

void insertJob(Database& database, const JobRecord& job) {
  database
      .query(
          "INSERT INTO job(id, owner, title, priority, part_size, expression, columns, complete, state, "
          "packages, realizations, bytes, submitted) VALUES(?, ?, ?, ?, ?, ?, ?, ?, 'Queued', 0, 0, 0, ?)")
      .bind(job.status.jobId.getUniqueId())
      .bind(job.status.owner)
      .bind(job.status.title)
      .bind(job.status.priority)
      .bind(job.partSize)
      .bind(job.expression)
      .bind(job.columns)
      .bind(job.isComplete ? 1 : 0)
      .bind(job.status.submitted)
      .run();
}

void insertParts(Database& database, std::int64_t job, const std::vector<PartRecord>& parts) {
  for (const PartRecord& part : parts) {
    database.query("INSERT INTO part(job, number, first, count, state) VALUES(?, ?, ?, ?, 'Queued')")
        .bind(job)
        .bind(part.number)
        .bind(static_cast<std::int64_t>(part.first))
        .bind(static_cast<std::int64_t>(part.count))
        .run();
  }
}

bool apply(Database& database, const AddPackage& change) {
  const SweepJobId& jobId = change.job.status.jobId;
  if (change.package.number == 1) {
    if (findJob(database, jobId, "1") != 0) {
      return false;
    }
    insertJob(database, change.job);
  }
  const std::int64_t job = findJob(database, jobId, change.package.number == 1 ? "1" : "complete = 0");
  const int changed = database
                          .query(
                              "UPDATE job SET packages = ?2, realizations = ?3, bytes = bytes + ?4, complete = ?5, "
                              "parts = ?6 WHERE number = ?1 AND packages = ?2 - 1")
                          .bind(job)
                          .bind(change.package.number)
                          .bind(static_cast<std::int64_t>(change.job.status.realizations))
                          .bind(static_cast<std::int64_t>(change.content.size()))
                          .bind(change.job.isComplete ? 1 : 0)
                          .bind(static_cast<std::int64_t>(change.parts.size()))
                          .run();
  if (changed == 0) {
    return false;
  }
  database.query("INSERT INTO package(job, number, first, count, content) VALUES(?, ?, ?, ?, ?)")
      .bind(job)
      .bind(change.package.number)
      .bind(static_cast<std::int64_t>(change.package.first))
      .bind(static_cast<std::int64_t>(change.package.count))
      .bindBlob(change.content)
      .run();
  insertParts(database, job, change.parts);
  addMessages(database, job, change.messages);
  return true;
}

bool apply(Database& database, const CopyJob& change) {
  const std::int64_t source = findJob(database, change.ofJob, "complete = 1");
  if (source == 0 || findJob(database, change.job.status.jobId, "1") != 0) {
    return false;
  }
  insertJob(database, change.job);
  const std::int64_t job = findJob(database, change.job.status.jobId, "1");
  database
      .query(
          "UPDATE job SET (part_size, expression, columns, packages, realizations, bytes, parts, parts_done) = (SELECT "
          "part_size, expression, columns, packages, realizations, bytes, parts, parts_done FROM job WHERE number = "
          "?2) "
          "WHERE number = ?1")
      .bind(job)
      .bind(source)
      .run();
  database
      .query(
          "INSERT INTO package(job, number, first, count, content) SELECT ?1, number, first, count, content FROM "
          "package WHERE job = ?2 ORDER BY number")
      .bind(job)
      .bind(source)
      .run();
  database
      .query(
          "INSERT INTO part(job, number, first, count, state, results) SELECT ?1, number, first, count, CASE state "
          "WHEN 'Finished' THEN state ELSE 'Queued' END, results FROM part WHERE job = ?2 ORDER BY number")
      .bind(job)
      .bind(source)
      .run();
  // Of a finished job there is nothing to compute again.
  database
      .query(
          "UPDATE job SET state = 'Finished', started = submitted, ended = submitted WHERE number = ? AND "
          "parts_done = parts")
      .bind(job)
      .run();
  addMessages(database, job, change.messages);
  return true;
}

bool apply(Database& database, const StartParts& change) {
  const std::int64_t job = findJob(database, change.jobId, c_isActive);
  if (job == 0) {
    return false;
  }
  for (const PartRecord& part : change.parts) {
    database
        .query(
            "UPDATE part SET state = 'Running', tries = ?3, run = ?4, log_offset = 0 WHERE job = ?1 AND number = ?2 "
            "AND state <> 'Finished'")
        .bind(job)
        .bind(part.number)
        .bind(part.tries)
        .bind(part.run)
        .run();
  }
  database
      .query(
          "UPDATE job SET state = 'Running', started = CASE started WHEN 0 THEN ?2 ELSE started END WHERE number = "
          "?1")
      .bind(job)
      .bind(change.time)
      .run();
  return true;
}

bool apply(Database& database, const QueuePart& change) {
  const std::int64_t job = findJob(database, change.jobId, c_isActive);
  return database.query("UPDATE part SET state = 'Queued', run = '' WHERE job = ? AND number = ? AND state = 'Running'")
             .bind(job)
             .bind(change.part)
             .run() != 0;
}

bool apply(Database& database, const FinishPart& change) {
  const std::int64_t job = findJob(database, change.jobId, c_isActive);
  const int finished = database
                           .query(
                               "UPDATE part SET state = 'Finished', run = '', results = ?3 WHERE job = ?1 AND number "
                               "= ?2 AND state <> 'Finished'")
                           .bind(job)
                           .bind(change.part)
                           .bindBlob(change.results)
                           .run();
  if (finished == 0) {
    return false;
  }
  addMessages(database, job, change.messages);
  database.query("UPDATE job SET parts_done = parts_done + 1, bytes = bytes + ?2, host = ?3 WHERE number = ?1")
      .bind(job)
      .bind(static_cast<std::int64_t>(change.results.size()))
      .bind(change.host)
      .run();
  // The store itself knows whether the job has all of its parts.
  database.query("UPDATE job SET state = 'Finished', ended = ?2 WHERE number = ?1 AND parts_done = parts")
      .bind(job)
      .bind(change.time)
      .run();
  return true;
}

bool apply(Database& database, const EndJob& change) {
  const std::int64_t job = findJob(database, change.jobId, c_isActive);
  if (job == 0) {
    return false;
  }
  database
      .query(
          "UPDATE job SET state = ?, ended = ?, host = CASE ?3 WHEN '' THEN host ELSE ?3 END, failure_kind = ?4, "
          "failure_message = ?5, failure_function = ?6, failure_file = ?7, failure_line = ?8 WHERE number = ?9")
      .bind(toText(change.state))
      .bind(change.time)
      .bind(change.host)
      .bind(toText(change.failure.getKind()))
      .bind(change.failure.getMessage())
      .bind(change.failure.getFunction())
      .bind(change.failure.getFile())
      .bind(change.failure.getLine())
      .bind(job)
      .run();
  addMessages(database, job, change.messages);
  return true;
}

bool apply(Database& database, const AddMessages& change) {
  const std::int64_t job = findJob(database, change.jobId, "1");
  if (job == 0) {
    return false;
  }
  if (change.part != 0 &&
      database.query("UPDATE part SET log_offset = ?3 WHERE job = ?1 AND number = ?2 AND log_offset "
                     "< ?3 AND state = 'Running'")
              .bind(job)
              .bind(change.part)
              .bind(static_cast<std::int64_t>(change.logOffset))
              .run() == 0) {
    return false;
  }
  addMessages(database, job, change.messages);
  return true;
}

bool apply(Database& database, const ForgetRun& change) {
  return database.query("UPDATE part SET run = '' WHERE job = ? AND number = ? AND tries = ?")
             .bind(findJob(database, change.jobId, "1"))
             .bind(change.part)
             .bind(change.tries)
             .run() != 0;
}

bool apply(Database& database, const RemoveJob& change) {
  return database.query("DELETE FROM job WHERE id = ? AND (complete = 0 OR state NOT IN ('Queued', 'Running'))")
             .bind(change.jobId.getUniqueId())
             .run() != 0;
}

bool apply(Database& database, const TakeOverJob& change) {
  if (!apply(database, change.submission)) {
    return false;
  }
  const JobStatus& status = change.submission.job.status;
  const std::int64_t job = findJob(database, status.jobId, "1");
  addMessages(database, job, change.messages);
  if (status.state == JobState::Finished) {
    return apply(database, FinishPart{status.jobId, 1, change.results, {}, status.host.getName(), status.ended});
  }
  return !isEnd(status.state) ||
         apply(database, EndJob{status.jobId,
                                status.state,
                                status.failure.value_or(SweepFailure(FailureKind::Internal, "the reason is not known")),
                                {},
                                status.host.getName(),
                                status.ended});
}

}  // namespace

bool applyChange(Database& database, const Change& change) {
  return std::visit([&](const auto& value) { return apply(database, value); }, change);
}

}  // namespace ParameterSweep
