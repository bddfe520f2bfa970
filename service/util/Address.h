// SPDX-License-Identifier: Apache-2.0
#ifndef SERVICE_UTIL_ADDRESS_H_
#define SERVICE_UTIL_ADDRESS_H_

#include <cstdint>
#include <string>

namespace cloudservice {

// Splits "ADDR:PORT", of IPv4, or "[ADDR]:PORT", of IPv6, into `address`, without brackets, and
// `port`. False when `text` has neither form; both are as they were then.
bool ParseEndpoint(const std::string& text, std::string& address, std::uint16_t& port);

}  // namespace cloudservice

#endif  // SERVICE_UTIL_ADDRESS_H_
