// SPDX-License-Identifier: Apache-2.0
// Net-SNMP as the module uses it: one thread in it at a time.
#ifndef HOST_DEVICE_SOURCES_SNMP_LIBRARY_H_
#define HOST_DEVICE_SOURCES_SNMP_LIBRARY_H_

// Its headers come in an order of their own.
// clang-format off
#include <net-snmp/net-snmp-config.h>
#include <net-snmp/net-snmp-includes.h>
#include <net-snmp/library/large_fd_set.h>
// clang-format on

#include <memory>
#include <string>
#include <vector>

#include "host/device/sources/snmp/Oid.h"
#include "host/util/Json.h"
#include "host/util/Problem.h"

namespace host {

// Holds the library while it lives: users, engines and counters are the process's. Whoever waits
// for a device does not hold it. The first one makes the library ready: without files of its own,
// without a log.
class SnmpLock {
 public:
  SnmpLock();
  ~SnmpLock();
  SnmpLock(const SnmpLock&) = delete;
  SnmpLock& operator=(const SnmpLock&) = delete;
};

struct PduRelease {
  void operator()(netsnmp_pdu* pdu) const { snmp_free_pdu(pdu); }
};
using PduRef = std::unique_ptr<netsnmp_pdu, PduRelease>;

// What a variable of an answer holds.
struct SnmpValue {
  enum class Kind { kNumber, kText, kNone };
  Kind kind = Kind::kNone;
  double number = 0;
  std::string text;  // of kNone: why
};
SnmpValue ValueOf(const netsnmp_variable_list& variable);

// The identifier of a variable, and an identifier that it holds (empty when it holds none).
Oid NameOf(const netsnmp_variable_list& variable);
Oid HeldOid(const netsnmp_variable_list& variable);

// Who asks, or who is believed: a community of version 2c, or a user of version 3 with
// authentication and privacy.
struct SnmpIdentity {
  bool isVersion3 = false;
  std::string community;
  std::string user;
  std::string authProtocol;  // "SHA" ...
  std::string authPassword;
  std::string privProtocol;  // "AES" or "DES"
  std::string privPassword;
};

// Reads it from a file of credentials.
Problem ReadIdentity(const std::string& path, bool isVersion3, SnmpIdentity& identity);

// Takes a user of an engine from the library, which keeps all to its end, former passwords
// included.
void ForgetUser(const u_char* engine, size_t engineLength, const char* name);

// The protocols by their names; null, and length 0, when there is none of that name.
struct ProtocolOid {
  const oid* name = nullptr;
  size_t length = 0;
};
ProtocolOid AuthProtocol(const std::string& name);
ProtocolOid PrivProtocol(const std::string& name);

}  // namespace host

#endif  // HOST_DEVICE_SOURCES_SNMP_LIBRARY_H_
