// SPDX-License-Identifier: Apache-2.0
#ifndef SERVICE_STORE_POSTGRESQL_SHARING_H_
#define SERVICE_STORE_POSTGRESQL_SHARING_H_

#include <chrono>
#include <string>

#include "service/store/postgresql/Connection.h"

namespace cloudservice::postgresql {

// Stores share a database, and a copy has it for itself, as long as the connection lasts. Both wait
// up to `wait` for another user to end: the server notices a moment later that one has ended.

// Throws DatabaseError that names `database` when a copy has it.
void ShareDatabase(Connection& connection, const std::string& database,
                   std::chrono::milliseconds wait);

// Throws DatabaseError that names `database` when a store or another copy has it.
void TakeDatabase(Connection& connection, const std::string& database,
                  std::chrono::milliseconds wait);

}  // namespace cloudservice::postgresql

#endif  // SERVICE_STORE_POSTGRESQL_SHARING_H_
