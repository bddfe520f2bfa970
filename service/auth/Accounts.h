// SPDX-License-Identifier: Apache-2.0
#ifndef SERVICE_AUTH_ACCOUNTS_H_
#define SERVICE_AUTH_ACCOUNTS_H_

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "service/auth/FailureLimit.h"
#include "service/auth/KnownWrong.h"
#include "service/store/Store.h"
#include "service/util/Clock.h"

namespace cloudservice {

// How many keys one account may have.
constexpr std::size_t kMaxKeys = 8;

// The result of checking a registration's address and key.
struct Admission {
  std::optional<std::int64_t> account;  // none: the address or the key is wrong, or `wait` is not 0
  std::int64_t wait = 0;  // seconds until the next key of this sender is checked; 0: it was checked
};

// The accounts: who may register appliances. Every operation throws DatabaseError. Any thread may
// call the operations.
class Accounts {
 public:
  // The store outlives this object.
  Accounts(Store& store, Clock clock);

  // Whether any account has a key.
  bool Any();

  // Checks an e-mail address and a key that came from the sender `peer`. Blocks for a slow hash, as
  // long for an address without an account as for one with an account; does not block while the
  // sender has to wait, or when the same key was wrong before.
  Admission Admit(const std::string& peer, const std::string& email, const std::string& key);

  // Adds a key to the account with this address, and makes the account when there is none. With
  // `replace` the key replaces all keys of the account. False when the account has this key
  // already. Blocks for slow hashes. Throws std::runtime_error that says what is wrong with the
  // address or the key, or that the account has too many keys.
  bool Add(const std::string& email, const std::string& key, bool replace = false);

 private:
  // An account with the hashes of its keys.
  struct Registered {
    std::optional<AccountRecord> account;
    std::vector<std::string> hashes;
  };

  Registered Find(const std::string& email);
  static std::string HashOf(const std::string& key, const std::vector<std::string>& others);
  // The account that the key belongs to, if any.
  std::optional<std::int64_t> Match(const Registered& known, const std::string& key);

  Store& m_store;
  const Clock m_clock;
  FailureLimit m_limit;
  KnownWrong m_wrong;
};

}  // namespace cloudservice

#endif  // SERVICE_AUTH_ACCOUNTS_H_
