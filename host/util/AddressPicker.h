// SPDX-License-Identifier: Apache-2.0
#ifndef HOST_UTIL_ADDRESSPICKER_H_
#define HOST_UTIL_ADDRESSPICKER_H_

#include <ifaddrs.h>

#include <cstdint>
#include <functional>
#include <string>

#include "host/util/Mutex.h"
#include "host/util/Problem.h"

namespace host {

// The appliance's address among those of its interfaces: the first global IPv4 address of an
// interface that is up, else the first global IPv6 address, else the loopback address.
std::string PickAddress(const struct ifaddrs* addresses);

// Keeps an answer for 60 s. Any thread.
class AddressCache {
 public:
  using LookUp = std::function<Problem(std::string& address)>;

  // `clock` tells milliseconds.
  AddressCache(LookUp lookUp, std::function<int64_t()> clock);

  // The address; on failure what the look-up failed with, and `address` as it was.
  Problem Get(std::string& address);

 private:
  const LookUp m_lookUp;
  const std::function<int64_t()> m_clock;
  Mutex m_mutex;
  std::string m_address GUARDED_BY(m_mutex);
  int64_t m_end GUARDED_BY(m_mutex) = 0;
};

}  // namespace host

#endif  // HOST_UTIL_ADDRESSPICKER_H_
