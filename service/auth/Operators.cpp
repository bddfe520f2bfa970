// SPDX-License-Identifier: Apache-2.0
// Who may look at all appliances: passwords, tokens, sessions.
#include "service/auth/Operators.h"

#include <strings.h>

#include <algorithm>
#include <stdexcept>
#include <utility>

#include "service/util/Secret.h"

namespace cloudservice {

namespace {

constexpr std::size_t kTokenBytes = 32;
constexpr std::size_t kMaxName = 64;
constexpr std::size_t kMinPassword = 8;
constexpr std::size_t kMaxPassword = 1024;

bool HasControl(const std::string& text) {
  return std::any_of(text.begin(), text.end(),
                     [](char c) { return static_cast<unsigned char>(c) < 0x20 || c == 0x7f; });
}

// The part of an Authorization header after the scheme; none when the header has another scheme.
std::optional<std::string> After(const std::string& scheme, const std::string& header) {
  if (header.size() <= scheme.size() || header[scheme.size()] != ' ' ||
      strncasecmp(header.c_str(), scheme.c_str(), scheme.size()) != 0) {
    return std::nullopt;
  }
  const std::size_t begin = header.find_first_not_of(' ', scheme.size());
  return begin == std::string::npos ? "" : header.substr(begin);
}

}  // namespace

Operators::Operators(Store& store, Clock clock, Clock steady)
    : m_store(store),
      m_clock(std::move(clock)),
      m_steady(steady),
      m_limit(std::move(steady)),
      m_salt(RandomHex(kTokenBytes)) {}

Identity Operators::Identify(const std::string& peer, const Credentials& credentials) {
  if (!credentials.authorization.empty()) return IdentifyByHeader(peer, credentials.authorization);
  const auto session = FindSession(credentials.session);
  if (session == m_sessions.end()) return {};
  const std::optional<OperatorRecord> person = Find(session->second.person);
  if (!person) {
    m_sessions.erase(session);
    return {};
  }
  session->second.used = m_steady();
  return {person->id, person->name, 0};
}

std::optional<OperatorRecord> Operators::Find(std::int64_t person) {
  return m_store.Read([&](Transaction& store) { return store.FindOperator(person); });
}

bool Operators::Holds(std::int64_t person, const std::string& session) {
  if (!Find(person)) return false;
  return session.empty() || FindSession(session) != m_sessions.end();
}

Identity Operators::IdentifyByHeader(const std::string& peer, const std::string& authorization) {
  if (const auto token = After("Bearer", authorization)) {
    const auto person = m_store.Read(
        [&](Transaction& store) { return store.FindOperatorByToken(Sha256Hex(*token)); });
    if (!person) return {};
    return {person->id, person->name, 0};
  }
  const auto basic = After("Basic", authorization);
  const auto pair = basic ? DecodeBase64(*basic) : std::nullopt;
  const std::size_t colon = pair ? pair->find(':') : std::string::npos;
  if (colon == std::string::npos) return {};
  return Check(peer, pair->substr(0, colon), pair->substr(colon + 1));
}

Identity Operators::Check(const std::string& peer, const std::string& name,
                          const std::string& password) {
  Identity identity;
  identity.wait = m_limit.Wait(peer);
  if (identity.wait > 0) return identity;
  const std::optional<OperatorRecord> person =
      m_store.Read([&](Transaction& store) { return store.FindOperator(name); });
  const bool able = person && person->passwordHash;
  if (able) {
    const auto seen = m_verified.find(person->id);
    if (seen != m_verified.end() && seen->second.hash == *person->passwordHash &&
        EqualSecrets(seen->second.password, Sha256Hex(m_salt + password))) {
      return {person->id, person->name, 0};
    }
  }
  if (able && MatchesPassword(password, *person->passwordHash)) {
    m_verified[person->id] = {*person->passwordHash, Sha256Hex(m_salt + password)};
    return {person->id, person->name, 0};
  }
  if (!able) {
    // An unknown name takes as long as a wrong password, so that the time does not tell which names
    // exist.
    if (m_nobodysHash.empty()) m_nobodysHash = HashPassword("");
    MatchesPassword(password, m_nobodysHash);
  }
  m_limit.Fail(peer);
  return identity;
}

std::string Operators::Begin(std::int64_t person) {
  if (m_sessions.size() >= kMaxSessions) {
    m_sessions.erase(std::min_element(
        m_sessions.begin(), m_sessions.end(),
        [](const auto& a, const auto& b) { return a.second.used < b.second.used; }));
  }
  std::string session = RandomHex(kTokenBytes);
  m_sessions[Sha256Hex(session)] = {person, m_steady()};
  return session;
}

void Operators::End(const std::string& session) { m_sessions.erase(Sha256Hex(session)); }

std::map<std::string, Operators::Session>::iterator Operators::FindSession(
    const std::string& session) {
  if (session.empty()) return m_sessions.end();
  const auto found = m_sessions.find(Sha256Hex(session));
  if (found == m_sessions.end()) return found;
  if (m_steady() - found->second.used < kSessionSeconds) return found;
  m_sessions.erase(found);
  return m_sessions.end();
}

void Operators::Add(OperatorRecord person) {
  if (person.name.empty() || person.name.size() > kMaxName || HasControl(person.name) ||
      person.name.find(':') != std::string::npos) {
    throw std::runtime_error("an operator's name has 1 to " + std::to_string(kMaxName) +
                             " bytes, no colon and no control characters");
  }
  person.created = m_clock();
  if (!m_store.Write([&](Transaction& store) { return store.AddOperator(person); })) {
    throw std::runtime_error("there is an operator " + person.name + " already");
  }
}

void Operators::AddWithPassword(const std::string& name, const std::string& password) {
  if (password.size() < kMinPassword || password.size() > kMaxPassword || HasControl(password)) {
    throw std::runtime_error("a password has " + std::to_string(kMinPassword) + " to " +
                             std::to_string(kMaxPassword) + " bytes and no control characters");
  }
  Add({0, name, HashPassword(password), std::nullopt, 0});
}

std::string Operators::AddWithToken(const std::string& name) {
  std::string token = RandomHex(kTokenBytes);
  Add({0, name, std::nullopt, Sha256Hex(token), 0});
  return token;
}

}  // namespace cloudservice
