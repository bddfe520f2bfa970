// SPDX-License-Identifier: Apache-2.0
#ifndef SERVICE_STORE_LOCK_H_
#define SERVICE_STORE_LOCK_H_

#include <string>

namespace cloudservice {

// Keeps a second service away from a database as long as it lives, and as long as the process does.
// The file FILE.lock beside the database stands for it, and stays; commands don't look at it.
class DatabaseLock {
 public:
  // Throws DatabaseError when another service has it, or when it cannot be had.
  explicit DatabaseLock(const std::string& file);
  ~DatabaseLock();
  DatabaseLock(const DatabaseLock&) = delete;
  DatabaseLock& operator=(const DatabaseLock&) = delete;

 private:
  const int m_fd;
};

}  // namespace cloudservice

#endif  // SERVICE_STORE_LOCK_H_
