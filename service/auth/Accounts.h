// SPDX-License-Identifier: Apache-2.0
#ifndef SERVICE_AUTH_ACCOUNTS_H_
#define SERVICE_AUTH_ACCOUNTS_H_

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "service/auth/FailureLimit.h"
#include "service/store/Store.h"
#include "service/util/Clock.h"

namespace cloudservice {

// Keys of one account.
constexpr std::size_t kMaxKeys = 8;

// Whether a registration is let in.
struct Admission {
  std::optional<std::int64_t> account;  // none: the address or the key is wrong, or `wait` is not 0
  std::int64_t wait = 0;                // seconds until this sender is looked at again
};

// Who may register appliances. Every operation throws DatabaseError. One thread.
class Accounts {
 public:
  // `steady` never goes back. The store outlives it.
  Accounts(Store& store, Clock clock, Clock steady);

  // Whether there is a key at all.
  bool Any();

  // Judges an e-mail address and a key that came from `peer`. Blocks for a slow hash, as
  // long whether or not the address is known.
  Admission Admit(const std::string& peer, const std::string& email, const std::string& key);

  // Lets this address register with this key from now on, beside the keys that it has, or in their
  // place. False when that was so before. Throws std::runtime_error that says what is wrong with
  // them, or that there are too many keys.
  bool Add(const std::string& email, const std::string& key, bool replace = false);

 private:
  // An account with the hashes of its keys.
  struct Registered {
    std::optional<AccountRecord> account;
    std::vector<std::string> hashes;
  };

  Registered Find(const std::string& email);
  static std::string HashOf(const std::string& key, const std::vector<std::string>& others);
  bool Matches(const std::string& email, const std::string& key, std::int64_t& account);

  Store& m_store;
  const Clock m_clock;
  FailureLimit m_limit;
  std::string m_nobodysHash;
};

}  // namespace cloudservice

#endif  // SERVICE_AUTH_ACCOUNTS_H_
