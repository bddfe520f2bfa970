// SPDX-License-Identifier: Apache-2.0
#ifndef SERVICE_STORE_SQLITE_COPY_H_
#define SERVICE_STORE_SQLITE_COPY_H_

#include <string>

#include "service/store/sqlite/Database.h"

namespace cloudservice {

// Writes all that is committed in the database into a file of its own, which takes the place of any
// of this name: one state, whoever writes to the database meanwhile. The file has its name when it
// is whole and on the disk, not before; mode 0600 (less what the umask takes). Blocks as long as
// reading and writing that much takes. Throws DatabaseError that names the file and the reason.
void CopyDatabase(Database& database, const std::string& file);

}  // namespace cloudservice

#endif  // SERVICE_STORE_SQLITE_COPY_H_
