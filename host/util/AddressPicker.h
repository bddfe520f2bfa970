// SPDX-License-Identifier: Apache-2.0
#ifndef HOST_UTIL_ADDRESSPICKER_H_
#define HOST_UTIL_ADDRESSPICKER_H_

#include <ifaddrs.h>

#include <cstdint>
#include <functional>
#include <string>

#include "host/util/Mutex.h"

namespace host {

// The appliance's address among those of its interfaces: the first global IPv4 address of an
// interface that is up, else the first global IPv6 address, else the loopback address.
std::string PickAddress(const struct ifaddrs* addresses);

// Keeps an answer for 60 s. Any thread.
class AddressCache {
 public:
  // `lookUp` answers 0 and the address, or an errno; `clock` tells milliseconds.
  AddressCache(std::function<int(std::string&)> lookUp, std::function<int64_t()> clock);

  // 0 and the address; on failure an errno, and `address` as it was.
  int Get(std::string& address);

 private:
  const std::function<int(std::string&)> m_lookUp;
  const std::function<int64_t()> m_clock;
  Mutex m_mutex;
  std::string m_address GUARDED_BY(m_mutex);
  int64_t m_end GUARDED_BY(m_mutex) = 0;
};

}  // namespace host

#endif  // HOST_UTIL_ADDRESSPICKER_H_
