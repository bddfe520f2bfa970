// SPDX-License-Identifier: Apache-2.0
#ifndef SERVICE_AUTH_OPERATORS_H_
#define SERVICE_AUTH_OPERATORS_H_

#include <cstdint>
#include <map>
#include <optional>
#include <string>

#include "service/auth/FailureLimit.h"
#include "service/store/Store.h"
#include "service/util/Clock.h"

namespace cloudservice {

// How long a session lasts without a request.
constexpr std::int64_t kSessionSeconds = 12 * 3600;
// As many at once; of more, those that were used longest ago end.
constexpr std::size_t kMaxSessions = 1000;

// What somebody brings to be let in; empty where it was not brought.
struct Credentials {
  std::string session;        // the cookie's value
  std::string authorization;  // the header's value
};

struct Identity {
  std::optional<std::int64_t> person;  // the operator; none: nobody who is known
  std::string name;
  std::int64_t wait = 0;  // seconds until a password of this sender is looked at again
};

// Who may look at all appliances. Sessions live in memory. Every operation throws DatabaseError.
// One thread.
class Operators {
 public:
  // `steady` never goes back. The store outlives it.
  Operators(Store& store, Clock clock, Clock steady);

  // Who brings these credentials; the authorization counts where there is one. Blocks for a slow
  // hash when it is a password that was not seen before.
  Identity Identify(const std::string& peer, const Credentials& credentials);
  // Whether the operator is still there, and the session, unless it is empty; that this is asked
  // does not make the session last longer.
  bool Holds(std::int64_t person, const std::string& session);
  // Who has this password.
  Identity Check(const std::string& peer, const std::string& name, const std::string& password);

  // A new session of an operator's; the value for the cookie.
  std::string Begin(std::int64_t person);
  void End(const std::string& session);

  // Makes an operator who has a password, or a token. Throws std::runtime_error that says what is
  // wrong with the name or the password, or that there is one of this name.
  void AddWithPassword(const std::string& name, const std::string& password);
  // Returns the token.
  std::string AddWithToken(const std::string& name);

 private:
  std::optional<OperatorRecord> Find(std::int64_t person);
  struct Session {
    std::int64_t person = 0;
    std::int64_t used = 0;
  };
  struct Verified {
    std::string hash;      // the one that is stored
    std::string password;  // of the password and m_salt
  };

  std::map<std::string, Session>::iterator FindSession(const std::string& session);
  Identity IdentifyByHeader(const std::string& peer, const std::string& authorization);
  void Add(OperatorRecord person);

  Store& m_store;
  const Clock m_clock;
  const Clock m_steady;
  FailureLimit m_limit;
  std::map<std::string, Session> m_sessions;  // by the SHA-256 of the cookie's value
  // Passwords that were right, so that scripts don't wait for the slow hash at each request.
  std::map<std::int64_t, Verified> m_verified;
  const std::string m_salt;
  std::string m_nobodysHash;
};

}  // namespace cloudservice

#endif  // SERVICE_AUTH_OPERATORS_H_
