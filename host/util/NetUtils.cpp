// SPDX-License-Identifier: Apache-2.0
// The appliance's own address, looked up and kept for a while.
#include "platform/util/NetUtils.h"

#include <ifaddrs.h>

#include <cerrno>
#include <memory>

#include "host/util/AddressPicker.h"
#include "host/util/Clock.h"

namespace {

host::Problem LookUp(std::string& address) {
  struct ifaddrs* list = nullptr;
  if (getifaddrs(&list) != 0) return host::Problem::OfErrno(errno != 0 ? errno : EIO);
  std::unique_ptr<struct ifaddrs, decltype(&freeifaddrs)> owner(list, &freeifaddrs);
  address = host::PickAddress(list);
  return {};
}

}  // namespace

int orv_netutils::GetGlobalAddress(std::string& address) {
  static auto* cache = new host::AddressCache(&LookUp, &host::MonotonicMs);
  return cache->Get(address).Errno();
}
