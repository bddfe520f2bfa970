// SPDX-License-Identifier: Apache-2.0
#ifndef HOST_UTIL_WAIT_H_
#define HOST_UTIL_WAIT_H_

#include <poll.h>

#include <cstdint>
#include <vector>

namespace host {

// What is waited for at once, as in a turn of an event loop, and what of it became ready.
class Wait {
 public:
  void ForRead(int fd) { m_fds.push_back({fd, POLLIN, 0}); }
  void ForWrite(int fd) { m_fds.push_back({fd, POLLOUT, 0}); }
  // Not longer than until that time of the monotonic clock, in milliseconds.
  void Until(int64_t timeMs);

  // Whether a descriptor that was waited for can be read, written, or has failed.
  bool Ready(int fd) const;

  // Waits, at most `limitMs` (-1: without end). False when waiting itself failed.
  bool Poll(int limitMs);

 private:
  std::vector<struct pollfd> m_fds;
  bool m_bounded = false;
  int64_t m_endMs = 0;
};

}  // namespace host

#endif  // HOST_UTIL_WAIT_H_
