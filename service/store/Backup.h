// SPDX-License-Identifier: Apache-2.0
#ifndef SERVICE_STORE_BACKUP_H_
#define SERVICE_STORE_BACKUP_H_

#include <string>

namespace cloudservice {

// Copies the database, which a service may be using, into `file`, as a whole or not at all. The
// copy has every change that was answered before the call. Blocks while the database is read and
// written. Throws DatabaseError that names the file and the reason, also when `file` exists already
// or `database` is not a database of this program.
void BackUp(const std::string& database, const std::string& file);

}  // namespace cloudservice

#endif  // SERVICE_STORE_BACKUP_H_
