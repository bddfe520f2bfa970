// SPDX-License-Identifier: Apache-2.0
#ifndef SERVICE_STORE_SQLITE_DATABASE_H_
#define SERVICE_STORE_SQLITE_DATABASE_H_

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "service/store/Store.h"

struct sqlite3;
struct sqlite3_stmt;

namespace cloudservice {

// The text of one statement. All there are is known before the first of them is prepared, so that a
// test can look at the plan of each: a constant outside of functions, never made later. Throws
// std::logic_error where it is.
class Sql {
 public:
  explicit Sql(std::string text);
  Sql(const Sql&) = delete;
  Sql& operator=(const Sql&) = delete;

  const std::string& Text() const { return m_text; }
  // In no particular order.
  static const std::vector<const Sql*>& All();

 private:
  const std::string m_text;
};

// One connection to a database file. One thread. Every commit is on the disk before it returns.
class Database {
 public:
  // Opens the file, or creates it where it is missing. Throws DatabaseError.
  explicit Database(const std::string& file, MissingFile missing = MissingFile::kCreate);

  // Runs what makes the schema and sets the connection, statements that take no values. Whatever
  // reads or writes rows for a request is a Statement. Throws DatabaseError.
  void Execute(const char* script);
  // Rows changed by the last statement.
  int Changes() const;
  // Key of the row inserted last.
  std::int64_t LastInsertId() const;
  // A number that is another one when another connection has changed the file.
  std::int64_t DataVersion();
  sqlite3* Handle() const { return m_handle.get(); }

  // Whether the last change could not be brought to the disk. One that the schema forbids is not
  // meant, since that is an answer too, nor one that found nothing to change.
  bool ChangeFailed() const { return m_changeFailed; }

 private:
  friend class Statement;
  friend class DatabaseTransaction;
  void NoteChange(int code);

  struct Close {
    void operator()(sqlite3* handle) const;
  };
  std::unique_ptr<sqlite3, Close> m_handle;
  bool m_changeFailed = false;
  int m_changedRows = 0;  // of all changes that were noted
};

// A statement with its values, finalised with the object. Values are bound and columns counted from
// left to right. Every operation throws DatabaseError.
class Statement {
 public:
  Statement(Database& database, const Sql& sql);

  Statement& Bind(const std::string& text);
  Statement& Bind(std::int64_t number);
  Statement& BindNull();
  template <typename T>
  Statement& Bind(const std::optional<T>& value) {
    return value ? Bind(*value) : BindNull();
  }

  // The next row; false when there is none left.
  bool Step();
  // For a statement without rows.
  void Run();

  std::string Text(int column) const;
  std::optional<std::string> OptionalText(int column) const;
  std::int64_t Number(int column) const;
  bool IsNull(int column) const;
  std::optional<std::int64_t> OptionalNumber(int column) const;

 private:
  struct Finalize {
    void operator()(sqlite3_stmt* statement) const;
  };
  Statement& Bound(int code);

  Database& m_database;
  std::unique_ptr<sqlite3_stmt, Finalize> m_statement;
  int m_next = 1;
};

// One state of the database until the end, and everything until Commit() happens whole or not at
// all; without a Commit() nothing did.
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
  bool m_open = true;
};

}  // namespace cloudservice

#endif  // SERVICE_STORE_SQLITE_DATABASE_H_
