// SPDX-License-Identifier: Apache-2.0
#ifndef HOST_CONFIG_CONFIGWATCH_H_
#define HOST_CONFIG_CONFIGWATCH_H_

#include <sys/types.h>

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "host/config/ConfigStore.h"
#include "host/util/EventThread.h"
#include "host/util/Fd.h"
#include "host/util/Problem.h"

namespace host {

// Makes stores read their files again when another process wrote or replaced a file, and whenever
// watching begins. All files lie in one folder, which is made when it is missing; when that fails,
// or the folder is removed, it is tried again once a second. When a file is a link, the folder of
// its target is watched as well. So is the folder above, where that is possible: when another
// folder takes the place of the watched one, that is watched instead. A file that could not be read
// is read again after a second, and after waits that double up to a minute: memory or descriptors
// may have been short.
class ConfigWatch : public EventSource {
 public:
  // Borrows the stores. The folder is this machine's.
  ConfigWatch(std::string folder, std::vector<ConfigStore*> stores);

  void Want(Wait& wait) override;
  void Serve(const Wait& wait, int64_t nowMs) override;

  // Has every store read its file.
  void ReloadAll();

 private:
  Problem Attach();
  void TakeEvents();
  void DropReplacedFolder();
  void WatchTargets();
  void ReadUnread();
  bool IsUnread() const;
  bool Concerns(size_t store, int watch, const std::string& name) const;

  const std::string m_folder;
  const std::vector<ConfigStore*> m_stores;
  Fd m_inotify;
  int m_watch = -1;
  std::pair<dev_t, ino_t> m_watched;  // the folder that m_watch is of
  int m_watchAbove = -1;
  // For each store what its file names in the end, and the watch of that folder.
  struct Target {
    int watch = -1;
    std::string name;
  };
  std::vector<Target> m_targets;
  std::vector<bool> m_unread;  // of each store whether its file could not be read
  int64_t m_nextTryMs = 0;
  int64_t m_readPauseMs;
  int64_t m_nextReadMs = 0;
};

}  // namespace host

#endif  // HOST_CONFIG_CONFIGWATCH_H_
