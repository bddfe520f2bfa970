// SPDX-License-Identifier: Apache-2.0
#ifndef SERVICE_STORE_SQLITE_COPY_H_
#define SERVICE_STORE_SQLITE_COPY_H_

#include <string>

#include "service/store/sqlite/Database.h"

namespace cloudservice {

// Copies everything that is committed in the database into `file`, and replaces a file of this
// name. The copy is of one state, even if others write to the database meanwhile. The file gets its
// name only when it is complete and on the disk; mode 0600 (less what the umask takes). Blocks
// while the database is read and written. Throws DatabaseError that names the file and the reason.
void CopyDatabase(Database& database, const std::string& file);

}  // namespace cloudservice

#endif  // SERVICE_STORE_SQLITE_COPY_H_
