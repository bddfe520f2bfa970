// SPDX-License-Identifier: Apache-2.0
#ifndef PLATFORM_UTIL_NETUTILS_H_
#define PLATFORM_UTIL_NETUTILS_H_

#include <string>

namespace orv_netutils {

// Writes the appliance's global network address as text ("192.0.2.17", "2001:db8::17") to
// `address` and returns 0. On failure returns non-zero; `address` is then what it was. Called
// once a request on whichever thread sends it, so it must be quick and safe on any thread.
int GetGlobalAddress(std::string& address);

}  // namespace orv_netutils

#endif  // PLATFORM_UTIL_NETUTILS_H_
