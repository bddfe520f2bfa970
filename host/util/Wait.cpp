// SPDX-License-Identifier: Apache-2.0
// Waiting for descriptors and a time.
#include "host/util/Wait.h"

#include <algorithm>
#include <cerrno>
#include <limits>

#include "host/util/Clock.h"

namespace host {

void Wait::Until(int64_t timeMs) {
  m_endMs = m_bounded ? std::min(m_endMs, timeMs) : timeMs;
  m_bounded = true;
}

bool Wait::Ready(int fd) const {
  return std::any_of(m_fds.begin(), m_fds.end(), [fd](const struct pollfd& entry) {
    return entry.fd == fd && entry.revents != 0;
  });
}

bool Wait::Poll(int limitMs) {
  int64_t waitMs = limitMs < 0 ? -1 : limitMs;
  if (m_bounded) {
    const int64_t left = std::max<int64_t>(m_endMs - MonotonicMs(), 0);
    waitMs = waitMs < 0 ? left : std::min(waitMs, left);
  }
  waitMs = std::min<int64_t>(waitMs, std::numeric_limits<int>::max());
  return poll(m_fds.data(), m_fds.size(), static_cast<int>(waitMs)) >= 0 || errno == EINTR;
}

}  // namespace host
