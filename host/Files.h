#ifndef HOST_FILES_H_
#define HOST_FILES_H_

#include <sys/types.h>

#include <string>

#include "host/Fd.h"

namespace host {

// Paths here are this machine's. Every operation returns 0 or an errno.

// Replaces `text` by the file's bytes. EFBIG when there are more than `limit`; never waits for a
// writer of a pipe.
int ReadFile(const std::string& path, size_t limit, std::string& text);

// Replaces the file as a whole: whoever opens it finds the old bytes or the new ones, also after a
// loss of power. On failure the old file is untouched and nothing is left beside it. Mode 0600.
int ReplaceFile(const std::string& path, const std::string& text);

// Makes the folder and those above it, where missing, with mode 0755.
int MakeFolders(const std::string& path);

// "/a/b" of "/a/b/c".
std::string FolderOf(const std::string& path);

// Holds an advisory lock on a lock file, which is made (0600) when missing and never removed.
class FileLock {
 public:
  // Waits for the lock for `waitMs` at most.
  FileLock(const std::string& path, int waitMs);

  // 0 when the lock is held; ETIMEDOUT when somebody else kept it; else what failed.
  int Status() const { return m_status; }

 private:
  Fd m_file;
  int m_status = 0;
};

}  // namespace host

#endif  // HOST_FILES_H_
