// SPDX-License-Identifier: Apache-2.0
// Noticing that somebody wrote a configuration file.
#include "host/config/ConfigWatch.h"

#include <sys/inotify.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <utility>

#include "host/util/Clock.h"
#include "host/util/Files.h"
#include "host/util/Log.h"

namespace host {
namespace {

constexpr int64_t kTryMs = 1000;
constexpr int64_t kLongestReadPauseMs = 60000;

// Which folder stands at a path; zeros for none.
std::pair<dev_t, ino_t> IdentityOf(const std::string& folder) {
  struct stat status = {};
  if (stat(folder.c_str(), &status) != 0) return {};
  return {status.st_dev, status.st_ino};
}

}  // namespace

ConfigWatch::ConfigWatch(std::string folder, std::vector<ConfigStore*> stores)
    : m_folder(std::move(folder)),
      m_stores(std::move(stores)),
      m_unread(m_stores.size(), false),
      m_readPauseMs(kTryMs / 2) {
  if (Problem problem = Attach()) {
    HOST_LOG(4, "%s is not watched yet: %s", m_folder.c_str(), problem.Text().c_str());
  } else {
    ReloadAll();  // what was written since the stores were made
  }
}

Problem ConfigWatch::Attach() {
  if (!m_inotify.IsOpen()) m_inotify = Fd(inotify_init1(IN_CLOEXEC | IN_NONBLOCK));
  if (!m_inotify.IsOpen()) return Problem::OfErrno(errno);
  if (Problem problem = MakeFolders(m_folder)) return problem;
  // Before the watch: a folder that takes its place in between differs at the next look.
  m_watched = IdentityOf(m_folder);
  // A folder that is deleted tells nothing of it while somebody holds it open; the one above it
  // tells of the next one. Where that can't be had, the folder's own events have to do.
  m_watchAbove = inotify_add_watch(m_inotify.Get(), FolderOf(m_folder).c_str(),
                                   IN_CREATE | IN_MOVED_TO | IN_ONLYDIR);
  // Not IN_CREATE: a file that was just made is still empty.
  m_watch = inotify_add_watch(m_inotify.Get(), m_folder.c_str(),
                              IN_CLOSE_WRITE | IN_MOVED_TO | IN_MOVE_SELF | IN_ONLYDIR);
  if (m_watch < 0) return Problem::OfErrno(errno);
  WatchTargets();
  return {};
}

// Whoever writes a file that is a link writes what it names.
void ConfigWatch::WatchTargets() {
  m_targets.assign(m_stores.size(), Target());
  for (size_t i = 0; i < m_stores.size(); ++i) {
    std::string path = m_stores[i]->Path();
    if (FollowLinks(path) || path == m_stores[i]->Path()) continue;
    // The folder may be watched already, for more.
    m_targets[i].watch = inotify_add_watch(m_inotify.Get(), FolderOf(path).c_str(),
                                           IN_CLOSE_WRITE | IN_MOVED_TO | IN_ONLYDIR | IN_MASK_ADD);
    m_targets[i].name = path.substr(path.rfind('/') + 1);
  }
}

bool ConfigWatch::IsUnread() const {
  return std::find(m_unread.begin(), m_unread.end(), true) != m_unread.end();
}

bool ConfigWatch::Concerns(size_t store, int watch, const std::string& name) const {
  if (watch == m_watch && m_folder + "/" + name == m_stores[store]->Path()) return true;
  const Target& target = m_targets[store];
  return watch == target.watch && name == target.name;
}

void ConfigWatch::ReloadAll() {
  m_unread.assign(m_stores.size(), true);
  ReadUnread();
}

// What an exception leaves unread is read the next time, and so is what can't be read now; that
// comes after waits that double, for the file may be wrong until somebody corrects it.
void ConfigWatch::ReadUnread() {
  m_readPauseMs = std::min(2 * m_readPauseMs, kLongestReadPauseMs);
  m_nextReadMs = MonotonicMs() + m_readPauseMs;
  for (size_t i = 0; i < m_stores.size(); ++i) {
    if (m_unread[i]) m_unread[i] = !m_stores[i]->Reload();
  }
  if (!IsUnread()) m_readPauseMs = kTryMs / 2;
}

void ConfigWatch::Want(Wait& wait) {
  if (IsUnread()) wait.Until(m_nextReadMs);
  if (m_watch >= 0) {
    wait.ForRead(m_inotify.Get());
  } else {
    wait.Until(m_nextTryMs);
  }
}

void ConfigWatch::Serve(const Wait& wait, int64_t nowMs) {
  try {
    if (m_watch >= 0 && wait.Ready(m_inotify.Get())) TakeEvents();
  } catch (...) {
    m_watch = -1;  // what the events told is lost: watching begins anew
    throw;
  }
  if (IsUnread() && nowMs >= m_nextReadMs) ReadUnread();
  if (m_watch >= 0 || nowMs < m_nextTryMs) return;
  m_nextTryMs = nowMs + kTryMs;
  if (Attach()) return;
  HOST_LOG(5, "%s is watched", m_folder.c_str());
  ReloadAll();
}

// Gives the watch up when another folder stands in the place of the watched one.
void ConfigWatch::DropReplacedFolder() {
  if (IdentityOf(m_folder) == m_watched) return;
  inotify_rm_watch(m_inotify.Get(), m_watch);
  m_watch = -1;
}

void ConfigWatch::TakeEvents() {
  alignas(struct inotify_event) char buffer[4096];
  bool changed = false;
  bool folderReplaced = false;
  ssize_t got = 0;
  while ((got = read(m_inotify.Get(), buffer, sizeof(buffer))) > 0) {
    for (ssize_t at = 0; at < got;) {
      struct inotify_event event = {};
      std::memcpy(&event, buffer + at, sizeof(event));
      const std::string name(event.len > 0 ? buffer + at + sizeof(event) : "");
      at += static_cast<ssize_t>(sizeof(event) + event.len);
      const bool lost = (event.mask & IN_Q_OVERFLOW) != 0;
      for (size_t i = 0; i < m_stores.size(); ++i) {
        if (!lost && !Concerns(i, event.wd, name)) continue;
        m_unread[i] = true;
        changed = true;
      }
      if ((event.mask & IN_MOVE_SELF) != 0) inotify_rm_watch(m_inotify.Get(), event.wd);
      if ((event.mask & IN_IGNORED) != 0 && event.wd == m_watch) m_watch = -1;
      if (lost || event.wd == m_watchAbove) folderReplaced = true;
    }
  }
  if (m_watch >= 0) WatchTargets();  // a link may name another file now
  if (folderReplaced && m_watch >= 0) DropReplacedFolder();
  if (!changed) return;
  m_readPauseMs = kTryMs / 2;
  ReadUnread();
}

}  // namespace host
