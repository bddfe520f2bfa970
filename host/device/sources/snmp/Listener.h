// SPDX-License-Identifier: Apache-2.0
#ifndef HOST_DEVICE_SOURCES_SNMP_LISTENER_H_
#define HOST_DEVICE_SOURCES_SNMP_LISTENER_H_

#include <string>
#include <vector>

#include "host/device/sources/NetAddress.h"
#include "host/device/sources/SourceModule.h"
#include "host/device/sources/snmp/Library.h"

namespace host {

// A notification, whichever version and kind it was sent as.
struct SnmpTrap {
  Oid name;            // as version 2 has it; empty of one that says none
  std::string sender;  // its numeric address
};

// The name of a notification; a version 1 trap's is put together from its parts. Empty when it has
// none.
Oid TrapName(const netsnmp_pdu& pdu);

// Takes notifications of one identity, traps and informs, and answers the latter. Used by one
// thread at a time, without a lock of the library.
class SnmpListener {
 public:
  SnmpListener() = default;
  ~SnmpListener() { Close(); }
  SnmpListener(const SnmpListener&) = delete;
  SnmpListener& operator=(const SnmpListener&) = delete;

  // Binds its socket. `engine`: of the devices that send traps of version 3, as bytes.
  Problem Open(const NetAddress& address, const SnmpIdentity& identity, const std::string& engine);
  void Close();
  bool IsOpen() const { return m_handle != nullptr; }
  int Fd() const { return m_fd; }

  // What has come. Does not wait.
  std::vector<SnmpTrap> Take();

 private:
  static int OnMessage(int operation, netsnmp_session* session, int request, netsnmp_pdu* pdu,
                       void* listener);
  bool IsBelieved(const netsnmp_pdu& pdu) const;
  void Keep(netsnmp_pdu* pdu);

  SnmpIdentity m_identity;
  netsnmp_transport* m_transport = nullptr;  // the session's
  void* m_handle = nullptr;
  int m_fd = -1;
  std::vector<SnmpTrap> m_taken;
};

}  // namespace host

#endif  // HOST_DEVICE_SOURCES_SNMP_LISTENER_H_
