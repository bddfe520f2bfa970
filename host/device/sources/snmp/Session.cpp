// SPDX-License-Identifier: Apache-2.0
// Requests to an agent, and the wait for their answers.
#include "host/device/sources/snmp/Session.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <utility>

#include "host/util/Clock.h"
#include "host/util/Wait.h"

namespace host {
namespace {

// Sets which the library does without a limit of 1,024 descriptors.
class FdSet {
 public:
  FdSet() { netsnmp_large_fd_set_init(&m_set, FD_SETSIZE); }
  ~FdSet() { netsnmp_large_fd_set_cleanup(&m_set); }
  FdSet(const FdSet&) = delete;
  FdSet& operator=(const FdSet&) = delete;
  netsnmp_large_fd_set* Get() { return &m_set; }

 private:
  netsnmp_large_fd_set m_set = {};
};

std::string PeerName(const NetAddress& address, bool isIpv6) {
  const std::string port = ":" + std::to_string(address.port);
  return isIpv6 ? "udp6:[" + address.host + "]" + port : "udp:" + address.host + port;
}

// The keys of a user from its passwords. What failed, in words.
Problem FillUser(const SnmpIdentity& identity, netsnmp_session& session) {
  session.securityModel = SNMP_SEC_MODEL_USM;
  session.securityLevel = SNMP_SEC_LEVEL_AUTHPRIV;
  const ProtocolOid auth = AuthProtocol(identity.authProtocol);
  const ProtocolOid priv = PrivProtocol(identity.privProtocol);
  session.securityAuthProto = const_cast<oid*>(auth.name);  // NOLINT: the library copies it
  session.securityAuthProtoLen = auth.length;
  session.securityPrivProto = const_cast<oid*>(priv.name);  // NOLINT: the library copies it
  session.securityPrivProtoLen = priv.length;
  session.securityAuthKeyLen = USM_AUTH_KU_LEN;
  session.securityPrivKeyLen = USM_PRIV_KU_LEN;
  const auto key = [&auth](const std::string& password, u_char* bytes, size_t* length) {
    std::string text = password;
    return generate_Ku(auth.name, static_cast<u_int>(auth.length),
                       reinterpret_cast<u_char*>(text.data()), text.size(), bytes, length);
  };
  if (key(identity.authPassword, session.securityAuthKey, &session.securityAuthKeyLen) != 0 ||
      key(identity.privPassword, session.securityPrivKey, &session.securityPrivKeyLen) != 0) {
    return Problem("its protocols are not offered by the library");
  }
  return {};
}

Problem OfLibrary(int error) { return Problem(snmp_api_errstring(error)); }

// Asks for nothing: an agent answers with its engine.
PduRef EngineRequest() {
  PduRef request(snmp_pdu_create(SNMP_MSG_GET));
  request->version = SNMP_VERSION_3;
  request->securityName = strdup("");
  request->securityNameLen = 0;
  request->securityLevel = SNMP_SEC_LEVEL_NOAUTH;
  request->securityModel = SNMP_SEC_MODEL_USM;
  return request;
}

}  // namespace

// A request under way.
struct SnmpSession::Exchange {
  bool done = false;
  int error = 0;               // the library's; 0 when there is an answer
  netsnmp_pdu* pdu = nullptr;  // the answer, or a report
};

Problem SnmpSession::Open(const NetAddress& address, const SnmpIdentity& identity,
                          const SourceLimits& limits) {
  NetAddress numeric = address;
  bool isIpv6 = false;
  if (Problem problem = ResolveHost(numeric, isIpv6)) return problem;
  m_stopFd = limits.stopFd;
  std::string peer = PeerName(numeric, isIpv6);
  std::string name = identity.isVersion3 ? identity.user : identity.community;
  {
    const SnmpLock lock;
    netsnmp_session session = {};
    snmp_sess_init(&session);
    session.version = identity.isVersion3 ? SNMP_VERSION_3 : SNMP_VERSION_2c;
    session.peername = peer.data();
    session.timeout = limits.timeoutMs * 1000L;
    session.retries = limits.retries;
    session.flags |= SNMP_FLAGS_DONT_PROBE;
    if (identity.isVersion3) {
      session.securityName = name.data();
      session.securityNameLen = name.size();
      if (Problem problem = FillUser(identity, session)) return problem;
    } else {
      session.community = reinterpret_cast<u_char*>(name.data());
      session.community_len = name.size();
    }
    m_handle = snmp_sess_open(&session);
    if (m_handle == nullptr) return OfLibrary(session.s_snmp_errno);
    // Opening takes the flag away, without which the first request would be preceded by one that
    // the library waits for.
    snmp_sess_session(m_handle)->flags |= SNMP_FLAGS_DONT_PROBE;
  }
  return identity.isVersion3 ? FindEngine() : Problem();
}

void SnmpSession::Close() {
  if (m_handle == nullptr) return;
  const SnmpLock lock;
  snmp_sess_close(std::exchange(m_handle, nullptr));
}

// What the agent answers is none of this request's, and leaves its engine in the session.
Problem SnmpSession::FindEngine() {
  PduRef report;
  Problem problem = Ask(EngineRequest(), report);
  const SnmpLock lock;
  netsnmp_session* const session = m_handle == nullptr ? nullptr : snmp_sess_session(m_handle);
  if (session == nullptr) return problem;
  if (session->securityEngineIDLen == 0) return Problem("its agent tells no engine");
  ForgetUser(session->securityEngineID, session->securityEngineIDLen, session->securityName);
  const int error = usm_create_user_from_session(session);
  return error == SNMPERR_SUCCESS ? Problem() : OfLibrary(error);
}

// Called by the library, whose C code no exception passes.
int SnmpSession::OnAnswer(int operation, netsnmp_session* session, int /*request*/,
                          netsnmp_pdu* pdu, void* exchange) {
  auto& its = *static_cast<Exchange*>(exchange);
  if (its.done) return 1;
  switch (operation) {
    case NETSNMP_CALLBACK_OP_RECEIVED_MESSAGE:
      its.pdu = snmp_clone_pdu(pdu);
      its.error = its.pdu == nullptr ? SNMPERR_MALLOC : SNMPERR_SUCCESS;
      if (pdu->command == SNMP_MSG_REPORT) its.error = snmpv3_get_report_type(pdu);
      break;
    case NETSNMP_CALLBACK_OP_TIMED_OUT:
      its.error = SNMPERR_TIMEOUT;
      break;
    case NETSNMP_CALLBACK_OP_CONNECT:
    case NETSNMP_CALLBACK_OP_RESEND:
    case NETSNMP_CALLBACK_OP_SEC_ERROR:  // what can be said of it follows, or nothing in time
      return 1;
    default:
      its.error = session->s_snmp_errno == 0 ? SNMPERR_GENERR : session->s_snmp_errno;
  }
  its.done = true;
  return 1;
}

Problem SnmpSession::Send(PduRef request, Exchange& exchange) {
  const SnmpLock lock;
  if (snmp_sess_async_send(m_handle, request.get(), &SnmpSession::OnAnswer, &exchange) != 0) {
    static_cast<void>(request.release());  // the library's now
    return {};
  }
  int system = 0;
  int error = 0;
  char* text = nullptr;
  snmp_sess_error(m_handle, &system, &error, &text);
  Problem problem(text == nullptr ? "cannot be sent" : text);
  free(text);
  return problem;
}

// Waits for the answer; the library's clock says when to ask again, and when it is enough.
Problem SnmpSession::Follow(const Exchange& exchange) {
  for (;;) {
    Wait wait;
    if (m_stopFd >= 0) wait.ForRead(m_stopFd);
    int fd = -1;
    {
      const SnmpLock lock;
      if (exchange.done) return {};
      const netsnmp_transport* const transport = snmp_sess_transport(m_handle);
      if (transport == nullptr) return Problem("its socket is gone");
      fd = transport->sock;
      FdSet fds;
      int count = 0;
      int block = 1;
      struct timeval left = {};
      snmp_sess_select_info2(m_handle, &count, fds.Get(), &left, &block);
      wait.ForRead(fd);
      if (block == 0) wait.Until(MonotonicMs() + left.tv_sec * 1000 + left.tv_usec / 1000 + 1);
    }
    if (!wait.Poll(-1)) return Problem::OfErrno(errno);
    if (m_stopFd >= 0 && wait.Ready(m_stopFd)) return Problem("is stopped");
    const SnmpLock lock;
    if (wait.Ready(fd)) {
      FdSet fds;
      netsnmp_large_fd_setfd(fd, fds.Get());
      snmp_sess_read2(m_handle, fds.Get());
    } else {
      snmp_sess_timeout(m_handle);
    }
  }
}

Problem SnmpSession::Ask(PduRef request, PduRef& answer) {
  Exchange exchange;
  Problem problem = Send(std::move(request), exchange);
  if (!problem) problem = Follow(exchange);
  answer.reset(exchange.pdu);
  if (problem) {
    Close();  // the exchange ends here, and nothing is to be put into it later
    return problem;
  }
  if (exchange.error == SNMPERR_SUCCESS) return {};
  const bool isEngine = exchange.error == SNMPERR_UNKNOWN_ENG_ID;
  if (exchange.error == SNMPERR_TIMEOUT || !isEngine) Close();
  return exchange.error == SNMPERR_TIMEOUT ? Problem("no answer") : OfLibrary(exchange.error);
}

}  // namespace host
