#include "host/Files.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>

#include "host/Clock.h"

namespace host {
namespace {

constexpr useconds_t kLockPauseUs = 10000;

int WriteAll(int fd, const std::string& text) {
  size_t done = 0;
  while (done < text.size()) {
    ssize_t written = write(fd, text.data() + done, text.size() - done);
    if (written < 0 && errno != EINTR) return errno;
    if (written > 0) done += static_cast<size_t>(written);
  }
  return 0;
}

int WriteAndSync(Fd& file, const std::string& text) {
  if (int error = WriteAll(file.Get(), text)) return error;
  if (fsync(file.Get()) != 0) return errno;
  return file.Reset() == 0 ? 0 : errno;
}

int SyncFolder(const std::string& path) {
  Fd folder(open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (!folder.IsOpen()) return errno;
  // EINVAL: a file system that has nothing to sync in a folder.
  return fsync(folder.Get()) == 0 || errno == EINVAL ? 0 : errno;
}

}  // namespace

std::string FolderOf(const std::string& path) {
  const size_t slash = path.rfind('/');
  if (slash == std::string::npos) return ".";
  return slash == 0 ? "/" : path.substr(0, slash);
}

int ReadFile(const std::string& path, size_t limit, std::string& text) {
  text.clear();
  Fd file(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
  if (!file.IsOpen()) return errno;
  char buffer[16384];
  for (;;) {
    ssize_t got = read(file.Get(), buffer, sizeof(buffer));
    if (got == 0) return 0;
    if (got < 0 && errno == EINTR) continue;
    if (got < 0) return errno;
    text.append(buffer, static_cast<size_t>(got));
    if (text.size() > limit) return EFBIG;
  }
}

int ReplaceFile(const std::string& path, const std::string& text) {
  const std::string folder = FolderOf(path);
  std::string temporary = folder + "/." + path.substr(path.rfind('/') + 1) + ".XXXXXX";
  Fd file(mkostemp(&temporary[0], O_CLOEXEC));
  if (!file.IsOpen()) return errno;
  int error = WriteAndSync(file, text);
  if (error == 0 && rename(temporary.c_str(), path.c_str()) != 0) error = errno;
  if (error != 0) {
    unlink(temporary.c_str());
    return error;
  }
  return SyncFolder(folder);
}

int MakeFolders(const std::string& path) {
  struct stat status = {};
  if (stat(path.c_str(), &status) == 0) return S_ISDIR(status.st_mode) ? 0 : ENOTDIR;
  if (errno != ENOENT) return errno;
  const std::string above = FolderOf(path);
  if (above != path && above != ".") {
    if (int error = MakeFolders(above)) return error;
  }
  return mkdir(path.c_str(), 0755) == 0 || errno == EEXIST ? 0 : errno;
}

FileLock::FileLock(const std::string& path, int waitMs)
    : m_file(open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600)) {
  if (!m_file.IsOpen()) {
    m_status = errno;
    return;
  }
  const int64_t end = MonotonicMs() + waitMs;
  while (flock(m_file.Get(), LOCK_EX | LOCK_NB) != 0) {
    if (errno != EWOULDBLOCK && errno != EINTR) {
      m_status = errno;
      return;
    }
    if (MonotonicMs() >= end) {
      m_status = ETIMEDOUT;
      return;
    }
    usleep(kLockPauseUs);
  }
}

}  // namespace host
