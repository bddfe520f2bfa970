// SPDX-License-Identifier: Apache-2.0
// Copying a database into a file.
#include "service/store/sqlite/Copy.h"

#include <fcntl.h>
#include <sqlite3.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>

namespace cloudservice {

namespace {

struct CloseHandle {
  void operator()(sqlite3* handle) const { sqlite3_close_v2(handle); }
};

[[noreturn]] void Fail(const std::string& file, const std::string& reason) {
  throw DatabaseError("cannot write " + file + ": " + reason);
}

// An empty file beside `file`, which SQLite takes for an empty database. It has a name that no
// other file has. It is removed with this object unless Finish() has renamed it to `file`.
class Unfinished {
 public:
  explicit Unfinished(const std::string& file) : m_file(file), m_name(file + ".XXXXXX") {
    const int fd = mkostemp(m_name.data(), O_CLOEXEC);
    if (fd < 0) Fail(file, std::strerror(errno));
    close(fd);
  }
  ~Unfinished() {
    if (!m_name.empty()) unlink(m_name.c_str());
  }
  Unfinished(const Unfinished&) = delete;
  Unfinished& operator=(const Unfinished&) = delete;

  const std::string& Name() const { return m_name; }
  void Finish() {
    if (rename(m_name.c_str(), m_file.c_str()) != 0) Fail(m_file, std::strerror(errno));
    m_name.clear();
  }

 private:
  const std::string& m_file;
  std::string m_name;
};

void CopyPages(sqlite3* from, const std::string& file) {
  sqlite3* handle = nullptr;
  const int opened =
      sqlite3_open_v2(file.c_str(), &handle, SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOMUTEX, nullptr);
  const std::unique_ptr<sqlite3, CloseHandle> to(handle);
  if (opened != SQLITE_OK) Fail(file, sqlite3_errstr(opened));
  sqlite3_backup* backup = sqlite3_backup_init(handle, "main", from, "main");
  if (backup == nullptr) Fail(file, sqlite3_errmsg(handle));
  // All pages are copied in one step, so that the copy is of one state of the database. A reader in
  // that mode stops no writer.
  const int copied = sqlite3_backup_step(backup, -1);
  sqlite3_backup_finish(backup);
  if (copied != SQLITE_DONE) Fail(file, sqlite3_errstr(copied));
}

void Sync(const std::string& name, int flags) {
  const int fd = open(name.c_str(), flags | O_CLOEXEC);
  const bool synced = fd >= 0 && fsync(fd) == 0;
  const int reason = errno;
  if (fd >= 0) close(fd);
  if (!synced) Fail(name, std::strerror(reason));
}

std::string FolderOf(const std::string& file) {
  const std::size_t slash = file.rfind('/');
  if (slash == std::string::npos) return ".";
  return slash == 0 ? "/" : file.substr(0, slash);
}

}  // namespace

void CopyDatabase(Database& database, const std::string& file) {
  Unfinished copy(file);
  CopyPages(database.Handle(), copy.Name());
  Sync(copy.Name(), O_RDWR);
  copy.Finish();
  Sync(FolderOf(file), O_RDONLY | O_DIRECTORY);
}

}  // namespace cloudservice
