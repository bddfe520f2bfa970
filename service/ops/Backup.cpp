// SPDX-License-Identifier: Apache-2.0
#include "service/ops/Backup.h"

#include <sys/stat.h>

#include "service/store/Copy.h"
#include "service/store/Schema.h"

namespace cloudservice {

void BackUp(const std::string& database, const std::string& file) {
  struct stat there = {};
  // Not replaced: it could be the database itself.
  if (lstat(file.c_str(), &there) == 0) {
    throw DatabaseError("cannot write " + file + ": it is there already");
  }
  Database source(database, Database::Missing::kRefuse);
  if (CheckedVersion(source, database) == 0) throw DatabaseError(database + " is empty");
  CopyDatabase(source, file);
}

}  // namespace cloudservice
