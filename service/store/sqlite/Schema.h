// SPDX-License-Identifier: Apache-2.0
#ifndef SERVICE_STORE_SQLITE_SCHEMA_H_
#define SERVICE_STORE_SQLITE_SCHEMA_H_

#include <string>

#include "service/store/sqlite/Database.h"

namespace cloudservice {

// Brings the database to the newest version of the schema, each step in a transaction of its own.
// One of an older version N is copied before that, as "<file>.vN", in place of any file of this
// name; returns the copy's name, empty when there is none. Throws DatabaseError, naming `file`,
// also when it belongs to another program or to a newer version of this one.
std::string UpgradeSchema(Database& database, const std::string& file);

// The version of a database that is this program's; 0: an empty one. Throws DatabaseError, naming
// `file`, when it belongs to another program or to a newer version of this one.
std::int64_t CheckedVersion(Database& database, const std::string& file);

// The newest version that this program knows.
int NewestSchemaVersion();

}  // namespace cloudservice

#endif  // SERVICE_STORE_SQLITE_SCHEMA_H_
