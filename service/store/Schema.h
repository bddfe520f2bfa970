#ifndef SERVICE_STORE_SCHEMA_H_
#define SERVICE_STORE_SCHEMA_H_

#include <string>

#include "service/store/Database.h"

namespace cloudservice {

// Brings the database to the newest version of the schema, each step in a transaction of its own.
// Throws DatabaseError, naming `file`, also when it belongs to another program or to a newer
// version of this one.
void UpgradeSchema(Database& database, const std::string& file);

// The newest version that this program knows.
int NewestSchemaVersion();

}  // namespace cloudservice

#endif  // SERVICE_STORE_SCHEMA_H_
