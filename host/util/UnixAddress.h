// SPDX-License-Identifier: Apache-2.0
#ifndef HOST_UTIL_UNIXADDRESS_H_
#define HOST_UTIL_UNIXADDRESS_H_

#include <sys/socket.h>
#include <sys/un.h>

#include <string>

#include "host/util/Fd.h"
#include "host/util/Problem.h"

namespace host {

// The address of a socket file. A path too long for an address is reached through an open
// descriptor of its folder, for which this object must outlive the call that uses it.
class UnixAddress {
 public:
  explicit UnixAddress(const std::string& path);

  // What kept the folder from being opened; ENAMETOOLONG for a name too long.
  const Problem& Failure() const { return m_failure; }

  const struct sockaddr* Get() const {
    return reinterpret_cast<const struct sockaddr*>(&m_address);
  }
  socklen_t Size() const { return sizeof(m_address); }

 private:
  Fd m_folder;
  Problem m_failure;
  struct sockaddr_un m_address = {};
};

}  // namespace host

#endif  // HOST_UTIL_UNIXADDRESS_H_
