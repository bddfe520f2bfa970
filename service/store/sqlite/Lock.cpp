// SPDX-License-Identifier: Apache-2.0
// The lock that keeps a second service away from a database.
#include "service/store/Lock.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>

#include "service/store/sqlite/Database.h"

namespace cloudservice {

namespace {

int OpenLock(const std::string& file) {
  std::error_code unknown;
  // Links are resolved, so that all names of a database lead to one lock.
  const std::filesystem::path path = std::filesystem::weakly_canonical(file, unknown);
  const std::string name = (unknown ? file : path.string()) + ".lock";
  const int fd = open(name.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
  if (fd < 0) throw DatabaseError("cannot open " + name + ": " + std::strerror(errno));
  return fd;
}

}  // namespace

DatabaseLock::DatabaseLock(const std::string& file) : m_fd(OpenLock(file)) {
  // The database itself is not locked: closing its descriptor here would drop the locks that SQLite
  // holds on it.
  if (flock(m_fd, LOCK_EX | LOCK_NB) == 0) return;
  const int reason = errno;
  close(m_fd);
  if (reason == EWOULDBLOCK) throw DatabaseError(file + " is in use by another service");
  throw DatabaseError("cannot lock " + file + ": " + std::strerror(reason));
}

DatabaseLock::~DatabaseLock() { close(m_fd); }

}  // namespace cloudservice
