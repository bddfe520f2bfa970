// SPDX-License-Identifier: Apache-2.0
// Sockets that the service manager hands over.
#include "service/util/HandedSockets.h"

#include <sys/socket.h>
#include <unistd.h>

#include <charconv>
#include <cstring>
#include <stdexcept>
#include <string_view>

namespace cloudservice {

namespace {

// They come behind standard input, output and error.
constexpr int kFirst = 3;
constexpr int kMost = 1000;

int NumberOf(const char* text) {
  const std::string_view digits = text == nullptr ? "" : text;
  int number = 0;
  const auto end = std::from_chars(digits.data(), digits.data() + digits.size(), number);
  return end.ec == std::errc() && end.ptr == digits.data() + digits.size() ? number : 0;
}

int OptionOf(int descriptor, int option) {
  int value = -1;
  socklen_t size = sizeof value;
  return getsockopt(descriptor, SOL_SOCKET, option, &value, &size) == 0 ? value : -1;
}

}  // namespace

std::vector<HandedSocket> HandedSockets(const char* pid, const char* count, const char* names) {
  const int number = NumberOf(count);
  if (NumberOf(pid) != getpid() || number < 1 || number > kMost) return {};
  std::vector<HandedSocket> sockets;
  std::string_view rest = names == nullptr ? "" : names;
  for (int i = 0; i < number; ++i) {
    const std::size_t end = rest.find(':');
    const std::string_view name = rest.substr(0, end);
    sockets.push_back({kFirst + i, name.empty() ? "unknown" : std::string(name)});
    rest.remove_prefix(end == std::string_view::npos ? rest.size() : end + 1);
  }
  return sockets;
}

int FamilyOf(const HandedSocket& socket) {
  const int family = OptionOf(socket.descriptor, SO_DOMAIN);
  if ((family == AF_INET || family == AF_INET6) &&
      OptionOf(socket.descriptor, SO_TYPE) == SOCK_STREAM &&
      OptionOf(socket.descriptor, SO_ACCEPTCONN) == 1) {
    return family;
  }
  throw std::runtime_error("the socket " + socket.name + " that was handed over (descriptor " +
                           std::to_string(socket.descriptor) + ") is no TCP socket that listens");
}

}  // namespace cloudservice
