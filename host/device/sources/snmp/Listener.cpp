// SPDX-License-Identifier: Apache-2.0
// The socket to which devices send their notifications.
#include "host/device/sources/snmp/Listener.h"

#include <netdb.h>
#include <poll.h>
#include <sys/socket.h>

#include <cstdlib>
#include <cstring>
#include <utility>

namespace host {
namespace {

constexpr int kMostAtOnce = 1000;

const Oid kTrapName = {1, 3, 6, 1, 6, 3, 1, 1, 4, 1, 0};
const Oid kGenericTraps = {1, 3, 6, 1, 6, 3, 1, 1, 5};

// The numeric address that a message came from; empty when the transport does not say.
std::string SenderOf(const netsnmp_pdu& pdu) {
  if (pdu.transport_data == nullptr ||
      pdu.transport_data_length != static_cast<int>(sizeof(netsnmp_indexed_addr_pair))) {
    return {};
  }
  const auto& pair = *static_cast<const netsnmp_indexed_addr_pair*>(pdu.transport_data);
  const struct sockaddr& remote = pair.remote_addr.sa;
  const socklen_t length =
      remote.sa_family == AF_INET6 ? sizeof(struct sockaddr_in6) : sizeof(struct sockaddr_in);
  char text[NI_MAXHOST] = {};
  const int error = getnameinfo(&remote, length, text, sizeof(text), nullptr, 0, NI_NUMERICHOST);
  return error == 0 ? text : "";
}

// A user of the engine that sends traps; the library keeps it to the end of the process.
Problem AddUser(const SnmpIdentity& identity, const std::string& engine) {
  std::string line = "-e 0x";
  constexpr char kDigits[] = "0123456789abcdef";
  for (const char c : engine) {
    const auto byte = static_cast<unsigned char>(c);
    line += {kDigits[byte >> 4], kDigits[byte & 0xf]};
  }
  const auto quoted = [](const std::string& text) {
    std::string word = " \"";
    for (const char c : text) word += c == '"' || c == '\\' ? std::string{'\\', c} : std::string{c};
    return word + "\"";
  };
  line += quoted(identity.user) + " " + identity.authProtocol + quoted(identity.authPassword) +
          " " + identity.privProtocol + quoted(identity.privPassword);
  const auto* const bytes = reinterpret_cast<const u_char*>(engine.data());
  ForgetUser(bytes, engine.size(), identity.user.c_str());
  usm_parse_create_usmUser("createUser", line.data());
  const auto* const user = usm_get_user(bytes, engine.size(), identity.user.c_str());
  return user == nullptr ? Problem("its user is not taken by the library") : Problem();
}

}  // namespace

Oid TrapName(const netsnmp_pdu& pdu) {
  if (pdu.command != SNMP_MSG_TRAP) {
    for (const auto* variable = pdu.variables; variable != nullptr;
         variable = variable->next_variable) {
      if (NameOf(*variable) == kTrapName) return HeldOid(*variable);
    }
    return {};
  }
  if (pdu.trap_type >= 0 && pdu.trap_type < SNMP_TRAP_ENTERPRISESPECIFIC) {
    Oid name = kGenericTraps;
    name.push_back(static_cast<uint32_t>(pdu.trap_type) + 1);
    return name;
  }
  Oid name;
  for (size_t i = 0; pdu.enterprise != nullptr && i < pdu.enterprise_length; ++i) {
    name.push_back(static_cast<uint32_t>(pdu.enterprise[i]));
  }
  name.push_back(0);
  name.push_back(static_cast<uint32_t>(pdu.specific_type));
  return name;
}

Problem SnmpListener::Open(const NetAddress& address, const SnmpIdentity& identity,
                           const std::string& engine) {
  NetAddress numeric = address;
  bool isIpv6 = false;
  if (Problem problem = ResolveHost(numeric, isIpv6)) return problem;
  const std::string port = ":" + std::to_string(numeric.port);
  const std::string name =
      isIpv6 ? "udp6:[" + numeric.host + "]" + port : "udp:" + numeric.host + port;
  const SnmpLock lock;
  m_identity = identity;
  if (identity.isVersion3) {
    if (Problem problem = AddUser(identity, engine)) return problem;
  }
  m_transport = netsnmp_transport_open_server("snmptrap", name.c_str());
  if (m_transport == nullptr) return Problem("cannot listen at " + name);
  netsnmp_session session = {};
  snmp_sess_init(&session);
  session.version = SNMP_DEFAULT_VERSION;
  session.callback = &SnmpListener::OnMessage;
  session.callback_magic = this;
  session.isAuthoritative = SNMP_SESS_UNKNOWNAUTH;
  m_fd = m_transport->sock;
  m_handle = snmp_sess_add(&session, m_transport, nullptr, nullptr);
  if (m_handle != nullptr) return {};
  m_transport = nullptr;  // the library has freed it
  m_fd = -1;
  return Problem(snmp_api_errstring(session.s_snmp_errno));
}

void SnmpListener::Close() {
  if (m_handle == nullptr) return;
  const SnmpLock lock;
  snmp_sess_close(std::exchange(m_handle, nullptr));
  m_transport = nullptr;
  m_fd = -1;
}

bool SnmpListener::IsBelieved(const netsnmp_pdu& pdu) const {
  if (m_identity.isVersion3) {
    return pdu.version == SNMP_VERSION_3 && pdu.securityLevel == SNMP_SEC_LEVEL_AUTHPRIV &&
           pdu.securityName != nullptr &&
           std::string(pdu.securityName, pdu.securityNameLen) == m_identity.user;
  }
  if (pdu.version != SNMP_VERSION_2c && pdu.version != SNMP_VERSION_1) return false;
  return pdu.community != nullptr && std::string(reinterpret_cast<const char*>(pdu.community),
                                                 pdu.community_len) == m_identity.community;
}

void SnmpListener::Keep(netsnmp_pdu* pdu) {
  const bool isTrap = pdu->command == SNMP_MSG_TRAP || pdu->command == SNMP_MSG_TRAP2 ||
                      pdu->command == SNMP_MSG_INFORM;
  if (!isTrap || !IsBelieved(*pdu)) return;
  m_taken.push_back({TrapName(*pdu), SenderOf(*pdu)});
  if (pdu->command != SNMP_MSG_INFORM) return;
  netsnmp_pdu* const answer = snmp_clone_pdu(pdu);
  if (answer == nullptr) return;
  answer->command = SNMP_MSG_RESPONSE;
  answer->errstat = 0;
  answer->errindex = 0;
  if (snmp_sess_send(m_handle, answer) == 0) snmp_free_pdu(answer);
}

// Called by the library, whose C code no exception passes.
int SnmpListener::OnMessage(int operation, netsnmp_session* /*session*/, int /*request*/,
                            netsnmp_pdu* pdu, void* listener) {
  if (operation != NETSNMP_CALLBACK_OP_RECEIVED_MESSAGE || pdu == nullptr) return 1;
  try {
    static_cast<SnmpListener*>(listener)->Keep(pdu);
  } catch (const std::exception&) {
    return 1;  // out of memory: the notification is lost
  }
  return 1;
}

std::vector<SnmpTrap> SnmpListener::Take() {
  const SnmpLock lock;
  for (int i = 0; i < kMostAtOnce; ++i) {
    struct pollfd ready = {m_fd, POLLIN, 0};
    if (poll(&ready, 1, 0) <= 0) break;
    netsnmp_large_fd_set fds = {};
    netsnmp_large_fd_set_init(&fds, FD_SETSIZE);
    netsnmp_large_fd_setfd(m_fd, &fds);
    snmp_sess_read2(m_handle, &fds);
    netsnmp_large_fd_set_cleanup(&fds);
  }
  return std::exchange(m_taken, {});
}

}  // namespace host
