// SPDX-License-Identifier: Apache-2.0
#ifndef SERVICE_UTIL_NOTIFY_H_
#define SERVICE_UTIL_NOTIFY_H_

#include <chrono>
#include <string>

#include "service/util/Log.h"

namespace cloudservice {

// Tells the service manager (systemd) what the program does, a datagram each time. Any thread may
// call the operations; they never block.
class Notify {
 public:
  // `address` is NOTIFY_SOCKET's text: a path, or an abstract name behind "@"; null or empty where
  // nobody wants to know, nothing is sent then. The log outlives this object.
  Notify(const char* address, const Log& log);
  ~Notify();
  Notify(const Notify&) = delete;
  Notify& operator=(const Notify&) = delete;

  // Sends assignments, separated by line feeds: "READY=1". What cannot be sent is a line in the
  // log.
  void Send(const std::string& text) const;

 private:
  const Log& m_log;
  std::string m_address;
  int m_socket = -1;
};

// Half of the watchdog's time, of the texts of WATCHDOG_USEC and WATCHDOG_PID (null: not set); 0
// when there is no watchdog, or it is another process's.
std::chrono::microseconds WatchdogInterval(const char* usec, const char* pid);

// What says that the program reads again what it has read: until the next "READY=1".
std::string Reloading();

}  // namespace cloudservice

#endif  // SERVICE_UTIL_NOTIFY_H_
