#include <examples/parameter_sweep/store/Database.h>
#include <fcntl.h>
#include <sqlite3.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

namespace ParameterSweep {

namespace {

constexpr int c_busyMilliseconds = 2000;

[[noreturn]] void fail(sqlite3* database, int code) {
  const std::string reason = database == nullptr ? ::sqlite3_errstr(code) : ::sqlite3_errmsg(database);
  const int systemError = database == nullptr ? 0 : ::sqlite3_system_errno(database);
  const bool isInputOutput = (code & 0xFF) == SQLITE_IOERR || (code & 0xFF) == SQLITE_CANTOPEN;
  const std::string cause =
      isInputOutput && systemError != 0 ? " (" + std::generic_category().message(systemError) + ")" : "";
  throw DatabaseError("the database: " + reason + cause, code);
}

/// SQLite would make the file with the rights that the process gives to any file. One that exists is not even opened:
/// to close it would take the locks from all connections of this process.
void makePrivate(const std::filesystem::path& file) {
  const int descriptor = ::open(file.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, S_IRUSR | S_IWUSR);
  if (descriptor >= 0) {
    ::close(descriptor);
  } else if (errno != EEXIST) {
    throw DatabaseError("cannot open '" + file.string() + "': " + std::generic_category().message(errno),
                        SQLITE_CANTOPEN);
  }
}

}  // namespace

bool DatabaseError::isAmbiguous() const { return m_code == SQLITE_IOERR_FSYNC || m_code == SQLITE_IOERR_DIR_FSYNC; }

void CloseDatabase::operator()(sqlite3* database) const { ::sqlite3_close_v2(database); }

void FinalizeStatement::operator()(sqlite3_stmt* statement) const { ::sqlite3_finalize(statement); }

Query::~Query() {
  ::sqlite3_reset(m_statement);
  ::sqlite3_clear_bindings(m_statement);
}

void Query::check(int code) const {
  if (code != SQLITE_OK) {
    fail(m_database, ::sqlite3_extended_errcode(m_database));
  }
}

Query& Query::bind(std::int64_t value) {
  check(::sqlite3_bind_int64(m_statement, ++m_bound, value));
  return *this;
}

Query& Query::bind(const std::string& text) {
  check(::sqlite3_bind_text64(m_statement, ++m_bound, text.data(), text.size(), SQLITE_TRANSIENT, SQLITE_UTF8));
  return *this;
}

Query& Query::bindBlob(std::string_view bytes) {
  check(::sqlite3_bind_blob64(m_statement, ++m_bound, bytes.data(), bytes.size(), SQLITE_STATIC));
  return *this;
}

bool Query::next() {
  const int code = ::sqlite3_step(m_statement);
  if (code != SQLITE_ROW && code != SQLITE_DONE) {
    fail(m_database, ::sqlite3_extended_errcode(m_database));
  }
  return code == SQLITE_ROW;
}

int Query::run() {
  while (next()) {
  }
  return ::sqlite3_changes(m_database);
}

std::int64_t Query::getNumber(int column) const { return ::sqlite3_column_int64(m_statement, column); }

std::string Query::getText(int column) const {
  const void* const bytes = ::sqlite3_column_blob(m_statement, column);
  if (bytes == nullptr && ::sqlite3_errcode(m_database) == SQLITE_NOMEM) {
    fail(m_database, SQLITE_NOMEM);
  }
  const auto size = static_cast<std::size_t>(::sqlite3_column_bytes(m_statement, column));
  return bytes == nullptr ? std::string() : std::string(static_cast<const char*>(bytes), size);
}

Database::Database(const std::filesystem::path& file) {
  makePrivate(file);
  sqlite3* opened = nullptr;
  const int code = ::sqlite3_open_v2(file.c_str(), &opened, SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOMUTEX, nullptr);
  m_database.reset(opened);
  if (code != SQLITE_OK) {
    fail(opened, code);
  }
  ::sqlite3_extended_result_codes(opened, 1);
  ::sqlite3_busy_timeout(opened, c_busyMilliseconds);
}

void Database::execute(const std::string& statements) {
  const int code = ::sqlite3_exec(m_database.get(), statements.c_str(), nullptr, nullptr, nullptr);
  if (code != SQLITE_OK) {
    fail(m_database.get(), code);
  }
}

Query Database::query(const std::string& statement) {
  auto& prepared = m_statements[statement];
  if (prepared == nullptr) {
    sqlite3_stmt* made = nullptr;
    const int code =
        ::sqlite3_prepare_v3(m_database.get(), statement.c_str(), -1, SQLITE_PREPARE_PERSISTENT, &made, nullptr);
    if (code != SQLITE_OK) {
      fail(m_database.get(), code);
    }
    prepared.reset(made);
  }
  return {m_database.get(), prepared.get()};
}

Transaction::Transaction(Database& database) : m_database(database) { m_database.execute("BEGIN IMMEDIATE"); }

Transaction::~Transaction() {
  if (m_isOpen) {
    try {
      m_database.execute("ROLLBACK");
    } catch (const std::exception&) {  // SQLite has rolled back by itself
    }
  }
}

void Transaction::commit() {
  m_database.execute("COMMIT");
  m_isOpen = false;
}

}  // namespace ParameterSweep
