// SPDX-License-Identifier: Apache-2.0
// Reading, replacing and locking files; making folders.
#include "host/util/Files.h"

#include <dirent.h>
#include <fcntl.h>
#include <limits.h>
#include <sys/file.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "host/util/Clock.h"

namespace host {
namespace {

constexpr useconds_t kLockPauseUs = 10000;
constexpr mode_t kModeBits = 0777;
constexpr int kMostLinks = 40;

// What the last call of the system failed with.
Problem Failed() { return Problem::OfErrno(errno); }

Problem WriteAll(int fd, const std::string& text) {
  size_t done = 0;
  while (done < text.size()) {
    ssize_t written = write(fd, text.data() + done, text.size() - done);
    if (written < 0 && errno != EINTR) return Failed();
    if (written > 0) done += static_cast<size_t>(written);
  }
  return {};
}

Problem WriteAndSync(Fd& file, const std::string& text) {
  if (Problem problem = WriteAll(file.Get(), text)) return problem;
  if (fsync(file.Get()) != 0 || file.Reset() != 0) return Failed();
  return {};
}

// Gives the file away, as far as this user may. A group that it could not be given to has no
// rights: those were another group's.
bool SetOwnership(int fd, const Ownership& wanted) {
  struct stat status = {};
  if (fstat(fd, &status) != 0) return false;
  const bool owner =
      status.st_uid == wanted.owner || fchown(fd, wanted.owner, static_cast<gid_t>(-1)) == 0;
  const bool group =
      status.st_gid == wanted.group || fchown(fd, static_cast<uid_t>(-1), wanted.group) == 0;
  const mode_t mode = group ? wanted.mode : wanted.mode & ~static_cast<mode_t>(S_IRWXG);
  const bool allowed = (status.st_mode & kModeBits) == mode || fchmod(fd, mode) == 0;
  return owner && group && allowed;
}

// What the names of this file's temporaries begin with; six characters follow.
std::string TemporaryPrefix(const std::string& path) {
  return FolderOf(path) + "/." + path.substr(path.rfind('/') + 1) + ".new.";
}

Problem SyncFolder(const std::string& path) {
  Fd folder(open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (!folder.IsOpen()) return Failed();
  // EINVAL: a file system that has nothing to sync in a folder.
  return fsync(folder.Get()) == 0 || errno == EINVAL ? Problem() : Failed();
}

}  // namespace

std::string FolderOf(const std::string& path) {
  const size_t slash = path.rfind('/');
  if (slash == std::string::npos) return ".";
  return slash == 0 ? "/" : path.substr(0, slash);
}

Problem ReadFile(const std::string& path, size_t limit, std::string& text) {
  text.clear();
  Fd file(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
  if (!file.IsOpen()) return Failed();
  char buffer[16384];
  for (;;) {
    ssize_t got = read(file.Get(), buffer, sizeof(buffer));
    if (got == 0) return {};
    if (got < 0 && errno == EINTR) continue;
    if (got < 0) return Failed();
    text.append(buffer, static_cast<size_t>(got));
    if (text.size() > limit) return Problem::OfErrno(EFBIG);
  }
}

Ownership OwnershipOf(const std::string& path) {
  struct stat status = {};
  if (stat(path.c_str(), &status) == 0) {
    return {status.st_uid, status.st_gid, status.st_mode & kModeBits};
  }
  if (stat(FolderOf(path).c_str(), &status) == 0) return {status.st_uid, status.st_gid, 0600};
  return {geteuid(), getegid(), 0600};
}

Problem FollowLinks(std::string& path) {
  for (int links = 0; links < kMostLinks; ++links) {
    char named[PATH_MAX];
    const ssize_t length = readlink(path.c_str(), named, sizeof(named));
    if (length < 0) return errno == EINVAL || errno == ENOENT ? Problem() : Failed();
    const std::string next(named, static_cast<size_t>(length));
    path = next.compare(0, 1, "/") == 0 ? next : FolderOf(path) + "/" + next;
  }
  return Problem::OfErrno(ELOOP);
}

Problem ReplaceFile(const std::string& path, const Ownership& wanted, const std::string& text,
                    Problem& warning) {
  warning = {};
  std::string temporary = TemporaryPrefix(path) + "XXXXXX";
  Fd file(mkostemp(&temporary[0], O_CLOEXEC));
  if (!file.IsOpen()) return Failed();
  if (!SetOwnership(file.Get(), wanted)) warning = Problem("its owner or group could not be kept");
  Problem problem = WriteAndSync(file, text);
  if (!problem && rename(temporary.c_str(), path.c_str()) != 0) problem = Failed();
  if (problem) {
    unlink(temporary.c_str());
    return problem;
  }
  if (Problem unsynced = SyncFolder(FolderOf(path))) {
    warning = unsynced.With("its folder could not be synced");
  }
  return {};
}

void RemoveTemporaries(const std::string& path) {
  const std::string folder = FolderOf(path);
  const std::string prefix = TemporaryPrefix(path).substr(folder.size() + 1);
  const std::unique_ptr<DIR, int (*)(DIR*)> entries(opendir(folder.c_str()), &closedir);
  if (entries == nullptr) return;
  while (const struct dirent* entry = readdir(entries.get())) {
    const std::string name = entry->d_name;
    const bool ours =
        name.size() == prefix.size() + 6 && name.compare(0, prefix.size(), prefix) == 0;
    if (ours) unlinkat(dirfd(entries.get()), entry->d_name, 0);
  }
}

Problem MakeFolders(const std::string& path) {
  struct stat status = {};
  if (stat(path.c_str(), &status) == 0) {
    return S_ISDIR(status.st_mode) ? Problem() : Problem::OfErrno(ENOTDIR);
  }
  if (errno != ENOENT) return Failed();
  const std::string above = FolderOf(path);
  if (above != path && above != ".") {
    if (Problem problem = MakeFolders(above)) return problem;
  }
  return mkdir(path.c_str(), 0755) == 0 || errno == EEXIST ? Problem() : Failed();
}

FileLock::FileLock(const std::string& path, int waitMs, const Ownership& wanted)
    : m_file(open(path.c_str(), O_RDONLY | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600)) {
  if (!m_file.IsOpen()) {
    m_failure = Failed();
    return;
  }
  SetOwnership(m_file.Get(), wanted);
  const int64_t end = MonotonicMs() + waitMs;
  while (flock(m_file.Get(), LOCK_EX | LOCK_NB) != 0) {
    if (errno != EWOULDBLOCK && errno != EINTR) {
      m_failure = Failed();
      return;
    }
    if (MonotonicMs() >= end) {
      m_failure = Problem::OfErrno(ETIMEDOUT);
      return;
    }
    usleep(kLockPauseUs);
  }
}

}  // namespace host
