// SPDX-License-Identifier: Apache-2.0
// Addresses with ports, read.
#include "service/util/Address.h"

#include <arpa/inet.h>

namespace cloudservice {

namespace {

bool IsAddress(int family, const std::string& text) {
  unsigned char binary[sizeof(struct in6_addr)];
  return inet_pton(family, text.c_str(), binary) == 1;
}

bool ParsePort(const std::string& text, std::uint16_t& port) {
  if (text.empty() || text.size() > 5) return false;
  if (text.find_first_not_of("0123456789") != std::string::npos) return false;
  const unsigned long value = std::stoul(text);
  if (value > 65535) return false;
  port = static_cast<std::uint16_t>(value);
  return true;
}

}  // namespace

bool ParseEndpoint(const std::string& text, std::string& address, std::uint16_t& port) {
  const std::size_t colon = text.rfind(':');
  if (colon == std::string::npos) return false;
  std::string host = text.substr(0, colon);
  if (host.size() > 2 && host.front() == '[' && host.back() == ']') {
    host = host.substr(1, host.size() - 2);
    if (!IsAddress(AF_INET6, host)) return false;
  } else if (!IsAddress(AF_INET, host)) {
    return false;
  }
  if (!ParsePort(text.substr(colon + 1), port)) return false;
  address = host;
  return true;
}

}  // namespace cloudservice
