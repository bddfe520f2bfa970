#include "service/owners/Accounts.h"

#include <algorithm>
#include <stdexcept>
#include <utility>

#include "service/Secret.h"

namespace cloudservice {

namespace {

constexpr std::size_t kMaxText = 254;

// Both stand in the query of a request as they are.
void Check(const std::string& what, const std::string& text) {
  if (text.empty() || text.size() > kMaxText) {
    throw std::runtime_error(what + " has to have 1 to " + std::to_string(kMaxText) + " bytes");
  }
  const bool blank = std::any_of(text.begin(), text.end(), [](char c) {
    return static_cast<unsigned char>(c) <= 0x20 || c == 0x7f || c == '#';
  });
  if (blank) throw std::runtime_error(what + " has a blank, a control character or a # in it");
}

}  // namespace

Accounts::Accounts(Store& store, Clock clock, Clock steady)
    : m_store(store), m_clock(std::move(clock)), m_limit(std::move(steady)) {}

bool Accounts::Any() { return m_store.HasAccounts(); }

Admission Accounts::Admit(const std::string& peer, const std::string& email,
                          const std::string& key) {
  Admission admission;
  admission.wait = m_limit.Wait(peer);
  if (admission.wait > 0) return admission;
  std::int64_t account = 0;
  if (Matches(email, key, account)) {
    admission.account = account;
  } else {
    m_limit.Fail(peer);
  }
  return admission;
}

bool Accounts::Matches(const std::string& email, const std::string& key, std::int64_t& account) {
  const std::optional<AccountRecord> found = m_store.FindAccount(email);
  if (!found) {
    // As slow as a wrong key, so that the time does not tell which addresses there are.
    if (m_nobodys_hash.empty()) m_nobodys_hash = HashPassword("");
    MatchesPassword(key, m_nobodys_hash);
    return false;
  }
  account = found->id;
  const std::vector<std::string> hashes = m_store.ListRegistrationKeys(found->id);
  return std::any_of(hashes.begin(), hashes.end(),
                     [&](const std::string& hash) { return MatchesPassword(key, hash); });
}

bool Accounts::Add(const std::string& email, const std::string& key, bool replace) {
  Check("the e-mail address", email);
  Check("the registration key", key);
  if (key.find("&registration_key=") != std::string::npos) {
    throw std::runtime_error("the registration key has \"&registration_key=\" in it");
  }
  std::int64_t account = 0;
  if (!replace && Matches(email, key, account)) return false;
  const std::optional<AccountRecord> known = m_store.FindAccount(email);
  if (!replace && known && known->keys >= static_cast<std::int64_t>(kMaxKeys)) {
    throw std::runtime_error(email + " has " + std::to_string(kMaxKeys) +
                             " keys already; account add --replace puts a new one in their place");
  }
  m_store.AddRegistrationKey(email, HashPassword(key), replace, m_clock());
  return true;
}

}  // namespace cloudservice
