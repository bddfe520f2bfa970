// SPDX-License-Identifier: Apache-2.0
#ifndef HOST_FRAMEWORK_NOTIFYSOCKET_H_
#define HOST_FRAMEWORK_NOTIFYSOCKET_H_

#include <cstdint>
#include <string>

#include "host/util/EventThread.h"
#include "host/util/Fd.h"

namespace host {

// Sends messages to the service manager, a datagram each. Any thread; never blocks.
class NotifySocket {
 public:
  // `address` is NOTIFY_SOCKET's text: a path, or an abstract name after "@"; null or empty when
  // there is none, messages are then dropped.
  explicit NotifySocket(const char* address);

  void Send(const std::string& message);

 private:
  std::string m_address;
  Fd m_socket;
};

// Half of the watchdog's time in milliseconds, of the texts of WATCHDOG_USEC and WATCHDOG_PID
// (null: not set); 0 when there is no watchdog or it is another process's.
int64_t WatchdogIntervalMs(const char* usec, const char* pid);

// Feeds the watchdog, from the first turn on.
class Watchdog : public EventSource {
 public:
  Watchdog(NotifySocket& notify, int64_t intervalMs) : m_notify(notify), m_intervalMs(intervalMs) {}

  void Want(Wait& wait) override;
  void Serve(const Wait& wait, int64_t nowMs) override;

 private:
  NotifySocket& m_notify;
  const int64_t m_intervalMs;
  int64_t m_nextMs = 0;
};

}  // namespace host

#endif  // HOST_FRAMEWORK_NOTIFYSOCKET_H_
