// SPDX-License-Identifier: Apache-2.0
// Messages to the service manager, and its watchdog.
#include "host/framework/NotifySocket.h"

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <cstring>

#include "host/util/Log.h"
#include "platform/util/LxStringUtils.h"

namespace host {
namespace {

bool ParseCount(const char* text, int64_t& value) {
  const std::string digits(text == nullptr ? "" : text);
  if (digits.empty() || digits.size() > 18) return false;
  if (digits.find_first_not_of("0123456789") != std::string::npos) return false;
  value = std::stoll(digits);
  return true;
}

}  // namespace

NotifySocket::NotifySocket(const char* address) : m_address(address == nullptr ? "" : address) {
  if (m_address.empty()) return;
  if ((m_address.front() != '/' && m_address.front() != '@') ||
      m_address.size() >= sizeof(sockaddr_un::sun_path)) {
    HOST_LOG(4, "NOTIFY_SOCKET is \"%s\", neither a path nor an abstract name; not used",
             m_address.c_str());
    return;
  }
  m_socket = Fd(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
}

void NotifySocket::Send(const std::string& message) {
  if (!m_socket.IsOpen()) return;
  struct sockaddr_un address = {};
  address.sun_family = AF_UNIX;
  std::memcpy(address.sun_path, m_address.data(), m_address.size());
  if (m_address.front() == '@') address.sun_path[0] = '\0';
  const auto length = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + m_address.size());
  if (sendto(m_socket.Get(), message.data(), message.size(), MSG_NOSIGNAL,
             reinterpret_cast<struct sockaddr*>(&address), length) < 0) {
    HOST_LOG(4, "%s was not sent to \"%s\": %s", message.c_str(), m_address.c_str(),
             std::strerror(errno));
  }
}

int64_t WatchdogIntervalMs(const char* usec, const char* pid) {
  int64_t number = 0;
  if (pid != nullptr && (!ParseCount(pid, number) || number != getpid())) return 0;
  if (!ParseCount(usec, number) || number < 2000) return 0;
  return number / 2000;
}

void Watchdog::Want(Wait& wait) { wait.Until(m_nextMs); }

void Watchdog::Serve(const Wait& /*wait*/, int64_t nowMs) {
  if (nowMs < m_nextMs) return;
  m_nextMs = nowMs + m_intervalMs;
  m_notify.Send("WATCHDOG=1");
}

}  // namespace host
