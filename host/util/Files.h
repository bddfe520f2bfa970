// SPDX-License-Identifier: Apache-2.0
#ifndef HOST_UTIL_FILES_H_
#define HOST_UTIL_FILES_H_

#include <sys/types.h>

#include <string>

#include "host/util/Fd.h"
#include "host/util/Problem.h"

namespace host {

// Paths here are this machine's. Problems are the system's.

// Replaces `text` by the file's bytes. EFBIG when there are more than `limit`; never waits for a
// writer of a pipe.
Problem ReadFile(const std::string& path, size_t limit, std::string& text);

// Owner, group and mode of a file.
struct Ownership {
  uid_t owner = 0;
  gid_t group = 0;
  mode_t mode = 0600;
};

// Those of the file; for a missing file owner and group of its folder, and mode 0600.
Ownership OwnershipOf(const std::string& path);

// Replaces a path that is a link by the link's last target, which need not exist.
Problem FollowLinks(std::string& path);

// Replaces the file, or a link in its place, as a whole: whoever opens it finds the old bytes or
// the new ones, also after a loss of power. On failure the old file is untouched and nothing is
// left beside it. The new file has `wanted`'s owner, group and mode; `warning` is what of these,
// or of the folder's syncing, could not be done all the same.
Problem ReplaceFile(const std::string& path, const Ownership& wanted, const std::string& text,
                    Problem& warning);

// Removes the temporary files of processes that were killed while they replaced that file. The
// caller holds the file's lock.
void RemoveTemporaries(const std::string& path);

// Makes the folder and those above it, where missing, with mode 0755.
Problem MakeFolders(const std::string& path);

// "/a/b" of "/a/b/c".
std::string FolderOf(const std::string& path);

// Holds an advisory lock on a lock file, which is made when missing and never removed.
class FileLock {
 public:
  // Waits for the lock for `waitMs` at most. The lock file is given `wanted`'s owner, group and
  // mode, as far as this user may: else the first user would lock all others out.
  FileLock(const std::string& path, int waitMs, const Ownership& wanted);

  // None when the lock is held; ETIMEDOUT when somebody else kept it; else what failed.
  const Problem& Failure() const { return m_failure; }

 private:
  Fd m_file;
  Problem m_failure;
};

}  // namespace host

#endif  // HOST_UTIL_FILES_H_
