// SPDX-License-Identifier: Apache-2.0
// Owning a file descriptor.
#ifndef HOST_UTIL_FD_H_
#define HOST_UTIL_FD_H_

#include <unistd.h>

#include <cerrno>
#include <system_error>
#include <utility>

namespace host {

// Owns a file descriptor, or none (-1).
class Fd {
 public:
  Fd() = default;
  explicit Fd(int fd) : m_fd(fd) {}
  ~Fd() { Reset(); }
  Fd(Fd&& other) noexcept : m_fd(std::exchange(other.m_fd, -1)) {}
  Fd& operator=(Fd&& other) noexcept {
    if (this != &other) {
      Reset();
      m_fd = std::exchange(other.m_fd, -1);
    }
    return *this;
  }

  int Get() const { return m_fd; }
  bool IsOpen() const { return m_fd >= 0; }

  // Closes it. The answer is close's: a failed write may show up only here.
  int Reset() { return m_fd >= 0 ? close(std::exchange(m_fd, -1)) : 0; }

 private:
  int m_fd = -1;
};

// The descriptor that a call answered; throws what the system said when it answered none. For what
// nothing can run without.
inline Fd Needed(int fd, const char* what) {
  if (fd < 0) throw std::system_error(errno, std::generic_category(), what);
  return Fd(fd);
}

}  // namespace host

#endif  // HOST_UTIL_FD_H_
