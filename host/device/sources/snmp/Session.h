// SPDX-License-Identifier: Apache-2.0
#ifndef HOST_DEVICE_SOURCES_SNMP_SESSION_H_
#define HOST_DEVICE_SOURCES_SNMP_SESSION_H_

#include <cstdint>
#include <string>

#include "host/device/sources/NetAddress.h"
#include "host/device/sources/SourceModule.h"
#include "host/device/sources/snmp/Library.h"

namespace host {

// A way to one agent. Used by one thread at a time, without a lock of the library.
class SnmpSession {
 public:
  SnmpSession() = default;
  ~SnmpSession() { Close(); }
  SnmpSession(const SnmpSession&) = delete;
  SnmpSession& operator=(const SnmpSession&) = delete;

  bool IsOpen() const { return m_handle != nullptr; }

  // Makes the way, and asks an agent of version 3 for its engine. Blocks, within the limits but for
  // the look-up of the host.
  Problem Open(const NetAddress& address, const SnmpIdentity& identity, const SourceLimits& limits);
  void Close();

  // Sends the request, whose owner it becomes, and waits for the answer. A problem closes the way:
  // what comes late is no answer to what follows.
  Problem Ask(PduRef request, PduRef& answer);

 private:
  struct Exchange;

  static int OnAnswer(int operation, netsnmp_session* session, int request, netsnmp_pdu* pdu,
                      void* exchange);
  Problem Send(PduRef request, Exchange& exchange);
  Problem Follow(const Exchange& exchange);
  Problem FindEngine();

  void* m_handle = nullptr;
  int m_stopFd = -1;
};

}  // namespace host

#endif  // HOST_DEVICE_SOURCES_SNMP_SESSION_H_
