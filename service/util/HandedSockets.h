// SPDX-License-Identifier: Apache-2.0
#ifndef SERVICE_UTIL_HANDEDSOCKETS_H_
#define SERVICE_UTIL_HANDEDSOCKETS_H_

#include <string>
#include <vector>

namespace cloudservice {

// A socket that the service manager (systemd) has opened for this process.
struct HandedSocket {
  int descriptor = -1;
  std::string name;  // of the unit, or as the unit says
};

// The sockets that the texts of LISTEN_PID, LISTEN_FDS and LISTEN_FDNAMES tell of (null: not set);
// none when they are for another process, or say no number.
std::vector<HandedSocket> HandedSockets(const char* pid, const char* count, const char* names);

// The protocol family of a TCP socket that listens: AF_INET or AF_INET6. Throws std::runtime_error
// that names the socket when it is none.
int FamilyOf(const HandedSocket& socket);

}  // namespace cloudservice

#endif  // SERVICE_UTIL_HANDEDSOCKETS_H_
