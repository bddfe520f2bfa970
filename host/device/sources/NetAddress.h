// SPDX-License-Identifier: Apache-2.0
#ifndef HOST_DEVICE_SOURCES_NETADDRESS_H_
#define HOST_DEVICE_SOURCES_NETADDRESS_H_

#include <cstdint>
#include <optional>
#include <string>

#include "host/util/Problem.h"

namespace host {

// A host and a port, as settings have them.
struct NetAddress {
  std::string host;
  uint16_t port = 0;
};

// Of "host", "host:port", "address", "[address]" or "[address]:port"; none of a text that is none.
std::optional<NetAddress> ParseNetAddress(const std::string& text, uint16_t defaultPort);

// Replaces the host's name by its first numeric address. Blocks as long as the name service does.
Problem ResolveHost(NetAddress& address, bool& isIpv6);

}  // namespace host

#endif  // HOST_DEVICE_SOURCES_NETADDRESS_H_
