// SPDX-License-Identifier: Apache-2.0
// Hosts and ports in settings.
#include "host/device/sources/NetAddress.h"

#include <netdb.h>
#include <sys/socket.h>

#include <memory>

namespace host {
namespace {

// From 1 to 65535; none of another text.
std::optional<uint16_t> ParsePort(const std::string& text) {
  constexpr size_t kMostDigits = 5;
  if (text.empty() || text.size() > kMostDigits) return std::nullopt;
  if (text.find_first_not_of("0123456789") != std::string::npos) return std::nullopt;
  const unsigned long port = std::stoul(text);
  if (port == 0 || port > UINT16_MAX) return std::nullopt;
  return static_cast<uint16_t>(port);
}

}  // namespace

std::optional<NetAddress> ParseNetAddress(const std::string& text, uint16_t defaultPort) {
  NetAddress address;
  address.port = defaultPort;
  std::string rest;
  if (!text.empty() && text.front() == '[') {
    const size_t end = text.find(']');
    if (end == std::string::npos) return std::nullopt;
    address.host = text.substr(1, end - 1);
    rest = text.substr(end + 1);
  } else {
    // More than one colon without brackets is an address of IPv6 without a port.
    const size_t colon = text.find(':');
    const bool hasPort = colon != std::string::npos && colon == text.rfind(':');
    address.host = hasPort ? text.substr(0, colon) : text;
    if (hasPort) rest = text.substr(colon);
  }
  if (address.host.empty() || address.host.find_first_of(" \t[]/") != std::string::npos) {
    return std::nullopt;
  }
  if (rest.empty()) return address;
  const std::optional<uint16_t> port =
      rest.front() == ':' ? ParsePort(rest.substr(1)) : std::nullopt;
  if (!port) return std::nullopt;
  address.port = *port;
  return address;
}

Problem ResolveHost(NetAddress& address, bool& isIpv6) {
  struct addrinfo hints = {};
  hints.ai_socktype = SOCK_DGRAM;
  hints.ai_flags = AI_NUMERICSERV;
  struct addrinfo* first = nullptr;
  int error = getaddrinfo(address.host.c_str(), nullptr, &hints, &first);
  const std::unique_ptr<struct addrinfo, void (*)(struct addrinfo*)> found(first, [](auto* list) {
    if (list != nullptr) freeaddrinfo(list);
  });
  char numeric[NI_MAXHOST] = {};
  if (error == 0) {
    error = getnameinfo(found->ai_addr, found->ai_addrlen, numeric, sizeof(numeric), nullptr, 0,
                        NI_NUMERICHOST);
  }
  if (error != 0) return Problem(gai_strerror(error)).With(address.host);
  isIpv6 = found->ai_family == AF_INET6;
  address.host = numeric;
  return {};
}

}  // namespace host
