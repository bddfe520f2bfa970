// SPDX-License-Identifier: Apache-2.0
#ifndef SERVICE_STORE_SQLITE_SCHEMA_H_
#define SERVICE_STORE_SQLITE_SCHEMA_H_

#include <string>

#include "service/store/sqlite/Database.h"

namespace cloudservice {

// Brings the database to the newest version of the schema, each step in a transaction of its own. A
// database of an older version N is copied to "<file>.vN" before, which replaces a file of this
// name. Returns the name of the copy, or "" when none was made. Throws DatabaseError, naming
// `file`, also when it belongs to another program or to a newer version of this one.
std::string UpgradeSchema(Database& database, const std::string& file);

// The version of the database's schema; 0 for an empty database. Throws DatabaseError, naming
// `file`, when it belongs to another program or to a newer version of this one, or is a copy that
// is not finished.
std::int64_t CheckedVersion(Database& database, const std::string& file);

// Makes the notes of a copy into the database, which tell that it is not finished.
extern const char* const kMakeCopyNotes;
// Whether there are such notes. Throws as CheckedVersion() does, also when the schema is older than
// the newest.
bool IsUnfinishedCopy(Database& database, const std::string& file);

// The newest version of the schema that this program knows.
int NewestSchemaVersion();

}  // namespace cloudservice

#endif  // SERVICE_STORE_SQLITE_SCHEMA_H_
