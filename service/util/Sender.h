// SPDX-License-Identifier: Apache-2.0
#ifndef SERVICE_UTIL_SENDER_H_
#define SERVICE_UTIL_SENDER_H_

#include <string>

namespace cloudservice {

// The sender that an address counts as: an IPv4 address itself, or the 64-bit network of an IPv6
// address, since one sender may own all addresses of that.
std::string SenderOf(const std::string& address);

}  // namespace cloudservice

#endif  // SERVICE_UTIL_SENDER_H_
