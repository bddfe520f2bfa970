// SPDX-License-Identifier: Apache-2.0
// Messages to the service manager.
#include "service/util/Notify.h"

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <ctime>

namespace cloudservice {

namespace {

bool ParseCount(const char* text, std::int64_t& value) {
  const std::string digits = text == nullptr ? "" : text;
  if (digits.empty() || digits.size() > 18) return false;
  if (digits.find_first_not_of("0123456789") != std::string::npos) return false;
  value = std::stoll(digits);
  return true;
}

}  // namespace

Notify::Notify(const char* address, const Log& log)
    : m_log(log), m_address(address == nullptr ? "" : address) {
  if (m_address.empty()) return;
  if ((m_address.front() != '/' && m_address.front() != '@') ||
      m_address.size() >= sizeof(sockaddr_un::sun_path)) {
    m_log.Line("NOTIFY_SOCKET is neither a path nor an abstract name: " + m_address);
    return;
  }
  m_socket = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
}

Notify::~Notify() {
  if (m_socket >= 0) close(m_socket);
}

void Notify::Send(const std::string& text) const {
  if (m_socket < 0) return;
  struct sockaddr_un address = {};
  address.sun_family = AF_UNIX;
  std::memcpy(address.sun_path, m_address.data(), m_address.size());
  if (m_address.front() == '@') address.sun_path[0] = '\0';
  const auto length = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + m_address.size());
  if (sendto(m_socket, text.data(), text.size(), MSG_NOSIGNAL,
             reinterpret_cast<struct sockaddr*>(&address), length) < 0) {
    m_log.Line("not sent to NOTIFY_SOCKET " + m_address + ": " + text + ": " +
               std::strerror(errno));
  }
}

std::chrono::microseconds WatchdogInterval(const char* usec, const char* pid) {
  std::int64_t number = 0;
  if (pid != nullptr && (!ParseCount(pid, number) || number != getpid())) return {};
  if (!ParseCount(usec, number)) return {};
  return std::chrono::microseconds(number / 2);
}

std::string Reloading() {
  struct timespec now = {};
  clock_gettime(CLOCK_MONOTONIC, &now);
  const std::int64_t usec = std::int64_t{now.tv_sec} * 1000000 + now.tv_nsec / 1000;
  return "RELOADING=1\nMONOTONIC_USEC=" + std::to_string(usec);
}

}  // namespace cloudservice
