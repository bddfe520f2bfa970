// SPDX-License-Identifier: Apache-2.0
#ifndef SERVICE_AUTH_OPERATORS_H_
#define SERVICE_AUTH_OPERATORS_H_

#include <cstdint>
#include <map>
#include <mutex>
#include <optional>
#include <string>

#include "service/auth/FailureLimit.h"
#include "service/auth/KnownWrong.h"
#include "service/store/Store.h"
#include "service/util/Clock.h"

namespace cloudservice {

// How long a session lasts after its last request.
constexpr std::int64_t kSessionSeconds = 12 * 3600;
// How many sessions there may be at once. A further one ends the session that was used longest ago.
constexpr std::int64_t kMaxSessions = 1000;

// The credentials of a request; a member is empty where the request has none of its kind.
struct Credentials {
  std::string session;        // the cookie's value
  std::string authorization;  // the header's value
};

// The operator that credentials belong to.
struct Identity {
  std::optional<std::int64_t> person;  // the operator's identifier; none: the credentials are wrong
  std::string name;
  std::int64_t wait = 0;  // seconds until the next password of this sender is checked; 0: at once
};

// The operators, who may look at all appliances, and their sessions, which all processes share.
// Every operation throws DatabaseError. Any thread may call the operations.
class Operators {
 public:
  // The store outlives this object.
  Operators(Store& store, Clock clock);

  // Whether there is any operator.
  bool Any();

  // The operator that the credentials of the sender `peer` belong to. Where there is an
  // authorization, the session is ignored. Blocks for a slow hash when the authorization has a
  // password that was not right before.
  Identity Identify(const std::string& peer, const Credentials& credentials);
  // Whether Identify() would take long: the authorization has a password that was not right before.
  // It answers from memory, so that the answer is wrong where the password has changed meanwhile.
  bool IsSlow(const std::string& authorization) const;
  // Whether the operator still exists and, unless `session` is empty, that session too. The
  // question does not make the session last longer.
  bool Holds(std::int64_t person, const std::string& session);
  // The operator with this name and password. Blocks for a slow hash unless this password was right
  // before, or the sender has to wait.
  Identity Check(const std::string& peer, const std::string& name, const std::string& password);

  // Begins a session of the operator; returns the value for its cookie.
  std::string Begin(std::int64_t person);
  void End(const std::string& session);

  // Adds an operator with a password. Throws std::runtime_error that says what is wrong with the
  // name or the password, or that there is an operator of this name.
  void AddWithPassword(const std::string& name, const std::string& password);
  // Adds an operator with a random token, and returns the token. Throws as AddWithPassword().
  std::string AddWithToken(const std::string& name);

 private:
  std::optional<OperatorRecord> Find(std::int64_t person);
  struct Verified {
    std::string hash;      // the stored hash that the password matched
    std::string password;  // SHA-256 of m_salt and the password
  };

  // The operator of a session that has not expired, and whether its last use is to be noted.
  struct Signed {
    OperatorRecord person;
    bool note = false;
  };
  std::optional<Signed> FindSigned(const std::string& session);
  bool IsVerified(const OperatorRecord& person, const std::string& password) const;
  // Takes as long as checking a wrong password.
  void CheckNobody(const std::string& password);
  Identity IdentifyByHeader(const std::string& peer, const std::string& authorization);
  void Add(OperatorRecord person);

  Store& m_store;
  const Clock m_clock;
  FailureLimit m_limit;
  KnownWrong m_wrong;
  mutable std::mutex m_mutex;  // guards m_verified
  // Passwords that were right, by operator: scripts don't wait for the slow hash at each request.
  std::map<std::int64_t, Verified> m_verified;
  const std::string m_salt;
};

}  // namespace cloudservice

#endif  // SERVICE_AUTH_OPERATORS_H_
