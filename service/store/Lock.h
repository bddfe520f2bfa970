// SPDX-License-Identifier: Apache-2.0
#ifndef SERVICE_STORE_LOCK_H_
#define SERVICE_STORE_LOCK_H_

#include <string>

namespace cloudservice {

// Keeps a second service away from a database, until this object or its process ends. It locks the
// file FILE.lock beside the database, which stays afterwards. Commands ignore the lock.
class DatabaseLock {
 public:
  // Locks the database `file`. Throws DatabaseError when another service holds the lock, or when
  // locking fails. Does not wait.
  explicit DatabaseLock(const std::string& file);
  ~DatabaseLock();
  DatabaseLock(const DatabaseLock&) = delete;
  DatabaseLock& operator=(const DatabaseLock&) = delete;

 private:
  const int m_fd;
};

}  // namespace cloudservice

#endif  // SERVICE_STORE_LOCK_H_
