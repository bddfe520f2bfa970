// SPDX-License-Identifier: Apache-2.0
// Lines to a descriptor whose reader may have stopped reading.
#include "host/util/LineWriter.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <utility>

#include "host/util/Clock.h"

namespace host {

LineWriter::LineWriter(int fd, int waitMs, Notice notice)
    : m_fd(fd), m_waitMs(waitMs), m_notice(std::move(notice)) {
  struct stat status = {};
  if (fstat(fd, &status) != 0) return;
  m_isSocket = S_ISSOCK(status.st_mode);
  if (!S_ISFIFO(status.st_mode) && !S_ISCHR(status.st_mode)) return;
  const std::string path = "/proc/self/fd/" + std::to_string(fd);
  m_reopened = Fd(open(path.c_str(), O_WRONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
}

void LineWriter::Write(const std::string& line) {
  const MutexLock guard(m_mutex);
  const int64_t endMs = MonotonicMs() + (m_stalled ? 0 : m_waitMs);
  bool taken = Flush(endMs);
  if (taken && m_lost > 0) {
    taken = Put(m_notice(m_lost), endMs);
    if (taken) m_lost = 0;
  }
  if (!taken || !Put(line, endMs)) ++m_lost;
}

// False when nothing of the line was taken. A line that was begun counts as written.
bool LineWriter::Put(std::string line, int64_t endMs) {
  m_line = std::move(line);
  m_done = 0;
  if (Flush(endMs) || m_done > 0) return true;
  m_line.clear();
  return false;
}

// Writes what is left of the line at hand. False when some of it is still left.
bool LineWriter::Flush(int64_t endMs) {
  while (m_done < m_line.size()) {
    const ssize_t written = WriteSome(m_line.data() + m_done, m_line.size() - m_done);
    if (written >= 0) {
      m_done += static_cast<size_t>(written);
    } else if (errno != EINTR && !(errno == EAGAIN && AwaitRoom(endMs))) {
      m_stalled = true;
      return false;
    }
  }
  if (m_done > 0) m_stalled = false;
  m_line.clear();
  m_done = 0;
  return true;
}

ssize_t LineWriter::WriteSome(const char* bytes, size_t size) const {
  if (m_isSocket) return send(m_fd, bytes, size, MSG_DONTWAIT | MSG_NOSIGNAL);
  if (m_reopened.IsOpen()) return write(m_reopened.Get(), bytes, size);
  // A pipe of another user's can't be opened again. One that has room takes this much at once.
  struct pollfd room = {m_fd, POLLOUT, 0};
  if (poll(&room, 1, 0) == 0) {
    errno = EAGAIN;
    return -1;
  }
  return write(m_fd, bytes, std::min<size_t>(size, PIPE_BUF));
}

bool LineWriter::AwaitRoom(int64_t endMs) const {
  const int64_t leftMs = endMs - MonotonicMs();
  if (leftMs <= 0) return false;
  struct pollfd room = {m_fd, POLLOUT, 0};
  return poll(&room, 1, static_cast<int>(leftMs)) != 0;
}

}  // namespace host
