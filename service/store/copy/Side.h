// SPDX-License-Identifier: Apache-2.0
#ifndef SERVICE_STORE_COPY_SIDE_H_
#define SERVICE_STORE_COPY_SIDE_H_

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "service/store/Store.h"
#include "service/store/copy/Tables.h"

namespace cloudservice {

// A database that a copy reads or writes; a back end implements it. One thread at a time. Every
// operation blocks, and throws DatabaseError.
class CopySide {
 public:
  virtual ~CopySide() = default;

  // For messages; without a password.
  virtual const std::string& Name() const = 0;
  // Two sides that are one database have the same.
  virtual std::string Identity() = 0;

  // One of these two is called first. Until this object goes, no service can use the database, and
  // no command can change it; they throw when one uses it already.

  // The rows are of one state from now on. An older schema is brought up to date. Throws when the
  // database has no tables, and when it is an unfinished copy.
  virtual void BeginReading() = 0;
  // Makes the tables, and what keeps notes of the copy. Throws when the database has anything in it
  // but an unfinished copy.
  virtual void BeginWriting() = 0;

  // About how many rows the table has.
  virtual std::int64_t Count(const CopiedTable& table) = 0;
  // Some of the rows of a table, few enough to keep in memory.
  struct Rows {
    std::vector<CopiedRow> rows;  // none: all have been read
    std::string place;            // behind them
  };
  // The rows behind a place that this database has returned, also to another process; "" is the
  // beginning. It costs less where the call before has returned the place. Events come in the order
  // of their numbers, and so do the readings of one member.
  virtual Rows Next(const CopiedTable& table, const std::string& place) = 0;
  // The last number that each table has given, which no row may get again: by the table's name, and
  // that of the last change by "change"; 0: it has given none.
  using Numbers = std::map<std::string, std::int64_t>;
  virtual Numbers LastNumbers() = 0;

  // What follows is for the side that is written.

  // What a copy that is not finished has noted; empty when none was begun.
  using Notes = std::map<std::string, std::string>;
  virtual Notes Noted() = 0;
  // Gives the row of a source the numbers that it has here. The events come before what refers to
  // them, in the order of their numbers.
  virtual void Arrange(const CopiedTable& table, CopiedRow& row) = 0;
  // Keeps rows that Arrange() has been given, together with notes; those of the same names are
  // replaced. The error names the row that cannot be kept.
  virtual void Put(const CopiedTable& table, const std::vector<CopiedRow>& rows,
                   const Notes& notes) = 0;
  // Completes what follows from the rows, and lets services use the database. No number up to that
  // of the source is given again.
  virtual void Finish(const Numbers& source) = 0;
};

// The rows that Next() returns at once, and their bytes (the last row may exceed them).
constexpr std::size_t kCopiedRowsAtOnce = 5000;
constexpr std::size_t kCopiedBytesAtOnce = std::size_t{4} << 20;

// Opens the database: a file, or the URL of one on a PostgreSQL server. Throws DatabaseError.
std::unique_ptr<CopySide> OpenCopySide(const std::string& database, MissingFile missing);

// Why a database in which a copy has been begun is not opened.
inline std::string UnfinishedCopy(const std::string& database) {
  return database + " is a copy that is not finished: run cloudservice copy again";
}

// Why such a copy cannot be gone on with by this program.
inline std::string CopyOfOtherVersion(const std::string& database) {
  return database +
         " holds a part of a copy by another version of cloudservice: begin with an empty database";
}
// Why a copy is not begun.
inline std::string NotEmpty(const std::string& database) {
  return database + " is not empty, and a copy begins with an empty database";
}

}  // namespace cloudservice

#endif  // SERVICE_STORE_COPY_SIDE_H_
