// SPDX-License-Identifier: Apache-2.0
#ifndef TESTS_UNIT_SERVICE_NOTIFYMANAGER_H_
#define TESTS_UNIT_SERVICE_NOTIFYMANAGER_H_

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstddef>
#include <cstring>
#include <stdexcept>
#include <string>

namespace cloudservice {

// The service manager's end of NOTIFY_SOCKET: a path, or an abstract name behind "@".
class NotifyManager {
 public:
  explicit NotifyManager(const std::string& name)
      : m_fd(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0)) {
    const struct timeval limit = {30, 0};
    setsockopt(m_fd, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
    struct sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    std::memcpy(address.sun_path, name.data(), name.size());
    if (name.front() == '@') address.sun_path[0] = '\0';
    const auto length = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + name.size());
    if (bind(m_fd, reinterpret_cast<struct sockaddr*>(&address), length) != 0) {
      close(m_fd);
      throw std::runtime_error("cannot bind " + name);
    }
  }
  ~NotifyManager() { close(m_fd); }
  NotifyManager(const NotifyManager&) = delete;
  NotifyManager& operator=(const NotifyManager&) = delete;

  // The next message; empty when none comes for half a minute.
  std::string Read() const { return Receive(0); }
  // The next message, if it has come already.
  std::string ReadNow() const { return Receive(MSG_DONTWAIT); }

 private:
  std::string Receive(int flags) const {
    char bytes[256];
    const ssize_t n = recv(m_fd, bytes, sizeof bytes, flags);
    return n > 0 ? std::string(bytes, static_cast<std::size_t>(n)) : "";
  }

  const int m_fd;
};

}  // namespace cloudservice

#endif  // TESTS_UNIT_SERVICE_NOTIFYMANAGER_H_
