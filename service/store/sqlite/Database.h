// SPDX-License-Identifier: Apache-2.0
#ifndef SERVICE_STORE_SQLITE_DATABASE_H_
#define SERVICE_STORE_SQLITE_DATABASE_H_

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "service/store/Store.h"

struct sqlite3;
struct sqlite3_stmt;

namespace cloudservice {

// The text of one SQL statement. It must be a constant outside of functions: all statements are
// then known before the first one is prepared, and a test checks the plan of each. The constructor
// throws std::logic_error when a statement has been prepared already.
class Sql {
 public:
  explicit Sql(std::string text);
  Sql(const Sql&) = delete;
  Sql& operator=(const Sql&) = delete;

  const std::string& Text() const { return m_text; }
  // Counts the statements of the program, from 0.
  std::size_t Number() const { return m_number; }
  // All statements of the program, in no particular order.
  static const std::vector<const Sql*>& All();

 private:
  const std::string m_text;
  const std::size_t m_number;
};

// One connection to a database file. A commit returns when its changes are on the disk. One thread
// at a time, but for ChangeFailed().
class Database {
 public:
  enum class Use { kWrite, kRead };

  // Opens the file, or creates it where it is missing. With kRead every change is refused. Throws
  // DatabaseError.
  explicit Database(const std::string& file, MissingFile missing = MissingFile::kCreate,
                    Use use = Use::kWrite);

  // Runs statements without values that make the schema or set up the connection. Rows for a
  // request are read and written by a Statement. Throws DatabaseError.
  void Execute(const char* script);
  // The number of rows that the last statement changed.
  int Changes() const;
  // How many rows were changed on this connection, less those whose change was undone.
  int ChangedRows() const;
  // The key of the row that was inserted last.
  std::int64_t LastInsertId() const;
  // Moves what was committed from the write-ahead log into the database file, as far as no reader
  // needs it there; any connection may. Throws nothing: what stays in the log is safe there.
  void MoveLog();
  // The log is moved whenever it has grown by so many pages.
  static constexpr int kLogPages = 1000;
  // The length of the log after this connection's last commit, and from which on it should begin
  // anew.
  static constexpr int kLongLog = 10 * kLogPages;
  int LogPages() const { return m_logPages; }
  // Has the log begin anew with the next commit; false, at once, when somebody reads it.
  bool EmptyLog();
  // False also when SQLite has rolled the transaction back by itself, as it does after some errors.
  bool InTransaction() const;
  sqlite3* Handle() const { return m_handle.get(); }

  // Whether the last change could not be written to the disk. A change that the schema forbids does
  // not count, since refusing it is a valid answer; nor does one that found nothing to change.
  bool ChangeFailed() const { return m_changeFailed; }

 private:
  friend class Statement;
  friend class DatabaseTransaction;
  friend class Savepoint;

  struct Close {
    void operator()(sqlite3* handle) const;
  };
  struct Finalize {
    void operator()(sqlite3_stmt* statement) const;
  };
  using Prepared = std::unique_ptr<sqlite3_stmt, Finalize>;

  void NoteChange(int code);
  // Tells that the changes were undone since ChangedRows() was `before`.
  void NoteUndone(int before);
  // A statement that is kept from its last use, or a new one. Keep() takes it back.
  Prepared Prepare(const Sql& sql);
  void Keep(const Sql& sql, Prepared statement);
  // Runs a statement that begins or ends a transaction; SQLITE_DONE when it has.
  int Mark(const Sql& sql);

  std::unique_ptr<sqlite3, Close> m_handle;
  std::vector<Prepared> m_kept;  // by Sql::Number()
  std::atomic<bool> m_changeFailed{false};
  int m_changedRows = 0;  // ChangedRows() at the last NoteChange()
  int m_undoneRows = 0;
  int m_logPages = 0;  // the length of the write-ahead log after the last commit
};

// A prepared statement with its values; the database outlives it and keeps what was prepared. Each
// Bind() sets the next value, from left to right. Columns are counted from 0. Every operation
// throws DatabaseError.
class Statement {
 public:
  Statement(Database& database, const Sql& sql);
  ~Statement();
  Statement(const Statement&) = delete;
  Statement& operator=(const Statement&) = delete;

  Statement& Bind(const std::string& text);
  Statement& Bind(std::int64_t number);
  Statement& BindNull();
  template <typename T>
  Statement& Bind(const std::optional<T>& value) {
    return value ? Bind(*value) : BindNull();
  }

  // Moves to the next row; false when there is none left.
  bool Step();
  // Runs a statement to its end and ignores its rows.
  void Run();

  std::string Text(int column) const;
  std::optional<std::string> OptionalText(int column) const;
  std::int64_t Number(int column) const;
  bool IsNull(int column) const;
  std::optional<std::int64_t> OptionalNumber(int column) const;

 private:
  Statement& Bound(int code);

  Database& m_database;
  const Sql& m_sql;
  Database::Prepared m_statement;
  int m_next = 1;
};

// A transaction of the database. It sees one state until it ends. Commit() makes all changes since
// the beginning; without a Commit() the destructor undoes them. The constructor and Commit() throw
// DatabaseError.
class DatabaseTransaction {
 public:
  enum class Mode { kRead, kWrite };

  explicit DatabaseTransaction(Database& database, Mode mode = Mode::kWrite);
  ~DatabaseTransaction();
  DatabaseTransaction(const DatabaseTransaction&) = delete;
  DatabaseTransaction& operator=(const DatabaseTransaction&) = delete;

  void Commit();

 private:
  Database& m_database;
  const Mode m_mode;
  const int m_before;  // Database::ChangedRows() at the beginning
  bool m_open = true;
};

// A part of a transaction. Release() keeps its changes for the transaction's commit; without it the
// destructor undoes them. The constructor and Release() throw DatabaseError.
class Savepoint {
 public:
  explicit Savepoint(Database& database);
  ~Savepoint();
  Savepoint(const Savepoint&) = delete;
  Savepoint& operator=(const Savepoint&) = delete;

  void Release();

 private:
  Database& m_database;
  const int m_before;  // Database::ChangedRows() at the beginning
  bool m_open = true;
};

}  // namespace cloudservice

#endif  // SERVICE_STORE_SQLITE_DATABASE_H_
