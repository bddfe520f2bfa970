// SPDX-License-Identifier: Apache-2.0
#ifndef SERVICE_STORE_POSTGRESQL_SCHEMA_H_
#define SERVICE_STORE_POSTGRESQL_SCHEMA_H_

#include <string>

#include "service/store/postgresql/Connection.h"

namespace cloudservice::postgresql {

// Brings the tables to the newest version of the schema, each step in a transaction of its own; one
// process at a time does so, and others wait for it. An empty database gets the tables. Throws
// DatabaseError that names `database`, also when it belongs to another program or to a newer
// version of this one, or when texts in it are not UTF-8.
void UpgradeSchema(Connection& connection, const std::string& database);

// As UpgradeSchema(), for a database that a copy is going to write: true when it holds a part of a
// copy, which UpgradeSchema() refuses.
bool UpgradeForCopy(Connection& connection, const std::string& database);

// Makes the table of a copy's notes, which tells that it is not finished.
extern const char* const kMakeCopyNotes;

// Whether the database has tables. Throws as UpgradeSchema() does.
bool HasSchema(Connection& connection, const std::string& database);

// The newest version of the schema that this program knows.
int NewestSchemaVersion();

}  // namespace cloudservice::postgresql

#endif  // SERVICE_STORE_POSTGRESQL_SCHEMA_H_
