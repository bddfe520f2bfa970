// SPDX-License-Identifier: Apache-2.0
#ifndef HOST_UTIL_LINEWRITER_H_
#define HOST_UTIL_LINEWRITER_H_

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>

#include "host/util/Fd.h"
#include "host/util/Mutex.h"

namespace host {

// Writes lines to a descriptor whose reader may have stopped reading. Any thread; lines are never
// mixed.
class LineWriter {
 public:
  // Makes the line that says how many lines before it were dropped.
  using Notice = std::function<std::string(unsigned long lost)>;

  // Borrows `fd`, whose settings stay as they are: others may share them.
  LineWriter(int fd, int waitMs, Notice notice);

  // Writes a line, its end included. When the descriptor takes no bytes, waits `waitMs` at most and
  // then drops the line; the lines after it are dropped without waiting until the descriptor takes
  // bytes again. A line that was begun is finished before the next one.
  void Write(const std::string& line);

 private:
  bool Put(std::string line, int64_t endMs) REQUIRES(m_mutex);
  bool Flush(int64_t endMs) REQUIRES(m_mutex);
  ssize_t WriteSome(const char* bytes, size_t size) const;
  bool AwaitRoom(int64_t endMs) const;

  const int m_fd;
  const int m_waitMs;
  const Notice m_notice;
  bool m_isSocket = false;
  Fd m_reopened;  // the same pipe or terminal, non-blocking for this program alone

  Mutex m_mutex;
  // The line at hand, of which `m_done` bytes are written.
  std::string m_line GUARDED_BY(m_mutex);
  size_t m_done GUARDED_BY(m_mutex) = 0;
  bool m_stalled GUARDED_BY(m_mutex) = false;
  unsigned long m_lost GUARDED_BY(m_mutex) = 0;
};

}  // namespace host

#endif  // HOST_UTIL_LINEWRITER_H_
