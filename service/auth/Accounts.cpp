// SPDX-License-Identifier: Apache-2.0
// Who may register appliances, by address and key.
#include "service/auth/Accounts.h"

#include <algorithm>
#include <stdexcept>
#include <utility>

#include "service/util/Secret.h"

namespace cloudservice {

namespace {

constexpr std::size_t kMaxText = 254;

// Refuses an address or a key that cannot stand in the query of a request as it is.
void Check(const std::string& what, const std::string& text) {
  if (text.empty() || text.size() > kMaxText) {
    throw std::runtime_error(what + " has to have 1 to " + std::to_string(kMaxText) + " bytes");
  }
  const bool blank = std::any_of(text.begin(), text.end(), [](char c) {
    return static_cast<unsigned char>(c) <= 0x20 || c == 0x7f || c == '#';
  });
  if (blank) throw std::runtime_error(what + " has a blank, a control character or a # in it");
}

// Whether two hashes have the same cost and the same salt: all but their last pieces are the same.
bool HaveOneSalt(const std::string& a, const std::string& b) {
  const std::size_t length = a.rfind('$');
  return length != std::string::npos && a.compare(0, length + 1, b, 0, length + 1) == 0;
}

// Changes when keys are added or removed.
std::string StateOf(const std::vector<std::string>& hashes) {
  std::string all;
  for (const std::string& hash : hashes) all += hash + "\n";
  return Sha256Hex(all);
}

}  // namespace

Accounts::Accounts(Store& store, Clock clock)
    : m_store(store), m_clock(std::move(clock)), m_limit(store, m_clock) {}

bool Accounts::Any() {
  return m_store.Read([](Transaction& store) { return store.HasAccounts(); });
}

Accounts::Registered Accounts::Find(const std::string& email) {
  return m_store.Read([&](Transaction& store) {
    Registered known;
    known.account = store.FindAccount(email);
    if (known.account) known.hashes = store.ListRegistrationKeys(known.account->id);
    return known;
  });
}

Admission Accounts::Admit(const std::string& peer, const std::string& email,
                          const std::string& key) {
  const Registered known = Find(email);
  const std::string state = StateOf(known.hashes);
  if (m_wrong.Knows(email, key, state)) return {};
  Admission admission;
  admission.wait = m_limit.Wait(peer, email);
  if (admission.wait > 0) return admission;
  admission.account = Match(known, key);
  if (admission.account) return admission;
  m_wrong.Add(email, key, state);
  m_limit.Fail(peer, email);
  return admission;
}

// Makes one slow hash for known and unknown addresses alike, so that the time does not tell which
// addresses have accounts.
std::optional<std::int64_t> Accounts::Match(const Registered& known, const std::string& key) {
  const std::vector<std::string>& hashes = known.hashes;
  const std::string like = hashes.empty() ? NobodysHash() : hashes.front();
  const std::optional<std::string> same = HashPasswordLike(key, like);
  const bool matches = std::any_of(hashes.begin(), hashes.end(), [&](const std::string& hash) {
    // Two keys that were added at the same moment may have salts of their own.
    return HaveOneSalt(hash, like) ? same && EqualSecrets(*same, hash) : MatchesPassword(key, hash);
  });
  if (!known.account || !matches) return std::nullopt;
  return known.account->id;
}

// The hash of a key, with the salt of the account's other keys: one slow hash then serves all of
// them.
std::string Accounts::HashOf(const std::string& key, const std::vector<std::string>& others) {
  const auto same = others.empty() ? std::nullopt : HashPasswordLike(key, others.front());
  return same ? *same : HashPassword(key);
}

bool Accounts::Add(const std::string& email, const std::string& key, bool replace) {
  Check("the e-mail address", email);
  Check("the registration key", key);
  if (key.find("&registration_key=") != std::string::npos) {
    throw std::runtime_error("the registration key has \"&registration_key=\" in it");
  }
  const Registered before = Find(email);
  if (!replace && Match(before, key)) return false;
  // Slow, and therefore before the transaction.
  const std::string hash = HashOf(key, before.hashes);
  const std::int64_t now = m_clock();
  m_store.Write([&](Transaction& store) {
    const std::optional<AccountRecord> known = store.FindAccount(email);
    if (!replace && known && known->keys >= static_cast<std::int64_t>(kMaxKeys)) {
      throw std::runtime_error(
          email + " has " + std::to_string(kMaxKeys) +
          " keys already; account add --replace puts a new one in their place");
    }
    store.AddRegistrationKey(email, hash, replace, now);
  });
  return true;
}

}  // namespace cloudservice
