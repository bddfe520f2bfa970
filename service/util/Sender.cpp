// SPDX-License-Identifier: Apache-2.0
// Which addresses count as one sender.
#include "service/util/Sender.h"

#include <arpa/inet.h>

#include <algorithm>

namespace cloudservice {

std::string SenderOf(const std::string& address) {
  struct in6_addr binary = {};
  if (inet_pton(AF_INET6, address.c_str(), &binary) != 1 || IN6_IS_ADDR_V4MAPPED(&binary)) {
    return address;
  }
  constexpr std::size_t kNetworkBytes = 8;
  std::fill(binary.s6_addr + kNetworkBytes, binary.s6_addr + sizeof binary.s6_addr, 0);
  char text[INET6_ADDRSTRLEN] = "";
  inet_ntop(AF_INET6, &binary, text, sizeof text);
  return text;
}

}  // namespace cloudservice
