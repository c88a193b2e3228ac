#pragma once

#include <cstdint>
#include <filesystem>
#include <map>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>

struct sqlite3;
struct sqlite3_stmt;

namespace ParameterSweep {

/// A call of the database that failed. It says nothing about what is stored: the same call may succeed later.
class DatabaseError : public std::runtime_error {
 public:
  DatabaseError(const std::string& message, int code) : std::runtime_error(message), m_code(code) {}

  /// Whether a commit failed at its flush, so that a later start might find it stored all the same.
  bool isAmbiguous() const;

 private:
  int m_code;
};

struct CloseDatabase {
  void operator()(sqlite3* database) const;
};
struct FinalizeStatement {
  void operator()(sqlite3_stmt* statement) const;
};

/// One run of a statement: bind the values in their order, then read the rows. Throws `DatabaseError`.
class Query {
 public:
  Query(sqlite3* database, sqlite3_stmt* statement) : m_database(database), m_statement(statement) {}
  Query(const Query&) = delete;
  Query& operator=(const Query&) = delete;
  ~Query();  ///< The statement can be run again.

  Query& bind(std::int64_t value);
  Query& bind(const std::string& text);
  Query& bindBlob(std::string_view bytes);  ///< must stay until the query ends

  /// Goes to the next row; false when there is none.
  bool next();
  /// Runs a statement that gives no rows; the number of rows that it changed.
  int run();

  std::int64_t getNumber(int column) const;
  std::string getText(int column) const;  ///< also the bytes of a blob

 private:
  void check(int code) const;

  sqlite3* m_database;
  sqlite3_stmt* m_statement;
  int m_bound = 0;
};

/// One connection to a SQLite database. Threads: one at a time.
class Database {
 public:
  /// Opens the file, made where there is none and readable by its owner only. Throws `DatabaseError`.
  explicit Database(const std::filesystem::path& file);

  /// From now on this connection only reads.
  void refuseChanges() { execute("PRAGMA query_only = ON"); }

  /// Runs statements that give no rows.
  void execute(const std::string& statements);
  /// Prepares the statement once for all its runs; only one run of it at a time.
  Query query(const std::string& statement);

 private:
  std::unique_ptr<sqlite3, CloseDatabase> m_database;
  std::map<std::string, std::unique_ptr<sqlite3_stmt, FinalizeStatement>> m_statements;  ///< end before the connection
};

/// Everything between construction and `commit` is stored as one unit, or not at all.
class Transaction {
 public:
  explicit Transaction(Database& database);
  Transaction(const Transaction&) = delete;
  Transaction& operator=(const Transaction&) = delete;
  ~Transaction();  ///< Takes back what was not committed.

  void commit();

 private:
  Database& m_database;
  bool m_isOpen = true;
};

}  // namespace ParameterSweep
