// SPDX-License-Identifier: Apache-2.0
#ifndef SERVICE_STORE_BACKUP_H_
#define SERVICE_STORE_BACKUP_H_

#include <string>

namespace cloudservice {

// Copies the database into `file`, whole or not at all, whether a service uses it or not; what was
// answered before the call is in the copy. Throws DatabaseError that names the file and the reason,
// also when `file` is there already or `database` is not a database of this program.
void BackUp(const std::string& database, const std::string& file);

}  // namespace cloudservice

#endif  // SERVICE_STORE_BACKUP_H_
