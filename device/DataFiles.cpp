// SPDX-License-Identifier: Apache-2.0
// Where a device's data files lie: the search up the folders.
#include "device/DataFiles.h"

#include <dirent.h>
#include <unistd.h>

#include <memory>

#include "base/Policy.h"
#include "platform/pld/PldConstants.h"
#include "platform/util/LocalPath.h"

namespace cloudclient {

namespace {

bool FolderHolds(const std::string& folder, const std::string& fileName) {
  struct Close {
    void operator()(DIR* dir) const { closedir(dir); }
  };
  const std::unique_ptr<DIR, Close> dir(opendir(LocalPath(folder).c_str()));
  if (!dir) return false;
  while (const struct dirent* entry = readdir(dir.get())) {
    if (fileName == entry->d_name) return true;
  }
  return false;
}

}  // namespace

bool FindDataFile(const std::string& sequence, const std::string& fileName, std::string& path) {
  const std::string base = std::string(pld::kDataFolder) + '/';
  std::string folder = base;
  for (const char c : sequence) folder += c == '.' ? '/' : c;

  // Only an empty sequence and one that begins with a full stop meet the base, which ends in a
  // slash. Any other search for a file that is nowhere on the way up never ends: its folder is
  // empty then and stays so.
  // Kept: docs/kept-behaviour.md#endless-search
  while (folder != base) {
    if (FolderHolds(folder, fileName)) {
      path = folder;
      path += '/';
      path += fileName;
      return true;
    }
    if (ThePolicy().search.endAtBase && folder == pld::kDataFolder) return false;
    const size_t slash = folder.rfind('/');
    if (slash != std::string::npos) folder.erase(slash);
    if (folder.empty()) usleep(100000);
  }
  return false;
}

}  // namespace cloudclient
