// SPDX-License-Identifier: Apache-2.0
// Copies of the database.
#include "service/store/Backup.h"

#include <sys/stat.h>

#include "service/store/sqlite/Copy.h"
#include "service/store/sqlite/Schema.h"

namespace cloudservice {

void BackUp(const std::string& database, const std::string& file) {
  struct stat there = {};
  // A file that exists is not replaced: it could be the database itself.
  if (lstat(file.c_str(), &there) == 0) {
    throw DatabaseError("cannot write " + file + ": it is there already");
  }
  Database source(database, MissingFile::kRefuse);
  if (CheckedVersion(source, database) == 0) throw DatabaseError(database + " is empty");
  CopyDatabase(source, file);
}

}  // namespace cloudservice
