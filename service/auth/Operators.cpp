// SPDX-License-Identifier: Apache-2.0
// Who may look at all appliances: passwords, tokens, sessions.
#include "service/auth/Operators.h"

#include <strings.h>

#include <algorithm>
#include <cstdlib>
#include <stdexcept>
#include <utility>

#include "service/util/Secret.h"

namespace cloudservice {

namespace {

constexpr std::size_t kTokenBytes = 32;
constexpr std::size_t kMaxName = 64;
constexpr std::size_t kMinPassword = 8;
constexpr std::size_t kMaxPassword = 1024;
// How old the noted last use of a session may be: not each request needs the disk.
constexpr std::int64_t kNoteSeconds = 60;

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

// The name and the password of an authorization of the scheme Basic.
std::optional<std::pair<std::string, std::string>> NameAndPassword(
    const std::string& authorization) {
  const auto basic = After("Basic", authorization);
  const auto text = basic ? DecodeBase64(*basic) : std::nullopt;
  const std::size_t colon = text ? text->find(':') : std::string::npos;
  if (colon == std::string::npos) return std::nullopt;
  return std::make_pair(text->substr(0, colon), text->substr(colon + 1));
}

}  // namespace

Operators::Operators(Store& store, Clock clock)
    : m_store(store),
      m_clock(std::move(clock)),
      m_limit(store, m_clock),
      m_salt(RandomHex(kTokenBytes)) {}

bool Operators::Any() {
  return m_store.Read([](Transaction& store) {
    return !store.ListOperators({std::nullopt, 1}).empty();
  });
}

Identity Operators::Identify(const std::string& peer, const Credentials& credentials) {
  if (!credentials.authorization.empty()) return IdentifyByHeader(peer, credentials.authorization);
  const std::optional<Signed> found = FindSigned(credentials.session);
  if (!found) return {};
  if (found->note) {
    const std::string hash = Sha256Hex(credentials.session);
    const std::int64_t now = m_clock();
    m_store.Write([&](Transaction& store) { store.UseSession(hash, now); });
  }
  return {found->person.id, found->person.name, 0};
}

std::optional<OperatorRecord> Operators::Find(std::int64_t person) {
  return m_store.Read([&](Transaction& store) { return store.FindOperator(person); });
}

bool Operators::Holds(std::int64_t person, const std::string& session) {
  return session.empty() ? Find(person).has_value() : FindSigned(session).has_value();
}

Identity Operators::IdentifyByHeader(const std::string& peer, const std::string& authorization) {
  if (const auto token = After("Bearer", authorization)) {
    const auto person = m_store.Read(
        [&](Transaction& store) { return store.FindOperatorByToken(Sha256Hex(*token)); });
    if (!person) return {};
    return {person->id, person->name, 0};
  }
  const auto pair = NameAndPassword(authorization);
  if (!pair) return {};
  return Check(peer, pair->first, pair->second);
}

Identity Operators::Check(const std::string& peer, const std::string& name,
                          const std::string& password) {
  const std::optional<OperatorRecord> person =
      m_store.Read([&](Transaction& store) { return store.FindOperator(name); });
  const bool able = person && person->passwordHash;
  const std::string state = able ? *person->passwordHash : "";
  if (m_wrong.Knows(name, password, state)) return {};
  Identity identity;
  identity.wait = m_limit.Wait(peer, name);
  if (identity.wait > 0) return identity;
  if (able && IsVerified(*person, password)) return {person->id, person->name, 0};
  if (able && MatchesPassword(password, *person->passwordHash)) {
    const std::lock_guard<std::mutex> guard(m_mutex);
    m_verified[person->id] = {*person->passwordHash, Sha256Hex(m_salt + password)};
    return {person->id, person->name, 0};
  }
  if (!able) CheckNobody(password);
  m_wrong.Add(name, password, state);
  m_limit.Fail(peer, name);
  return identity;
}

bool Operators::IsVerified(const OperatorRecord& person, const std::string& password) const {
  const std::string hash = Sha256Hex(m_salt + password);
  const std::lock_guard<std::mutex> guard(m_mutex);
  const auto seen = m_verified.find(person.id);
  return seen != m_verified.end() && seen->second.hash == *person.passwordHash &&
         EqualSecrets(seen->second.password, hash);
}

// An unknown name takes as long as a wrong password, so that the time does not tell which names
// exist.
void Operators::CheckNobody(const std::string& password) {
  MatchesPassword(password, NobodysHash());
}

bool Operators::IsSlow(const std::string& authorization) const {
  const auto pair = NameAndPassword(authorization);
  if (!pair) return false;
  const std::string hash = Sha256Hex(m_salt + pair->second);
  const std::lock_guard<std::mutex> guard(m_mutex);
  return std::none_of(m_verified.begin(), m_verified.end(),
                      [&](const auto& known) { return EqualSecrets(known.second.password, hash); });
}

std::string Operators::Begin(std::int64_t person) {
  std::string session = RandomHex(kTokenBytes);
  const std::string hash = Sha256Hex(session);
  const std::int64_t now = m_clock();
  m_store.Write([&](Transaction& store) { store.AddSession(hash, person, now, kMaxSessions); });
  return session;
}

void Operators::End(const std::string& session) {
  if (session.empty()) return;
  const std::string hash = Sha256Hex(session);
  m_store.Write([&](Transaction& store) { store.EndSession(hash); });
}

std::optional<Operators::Signed> Operators::FindSigned(const std::string& session) {
  if (session.empty()) return std::nullopt;
  const std::string hash = Sha256Hex(session);
  const std::int64_t now = m_clock();
  return m_store.Read([&](Transaction& store) -> std::optional<Signed> {
    const std::optional<SessionRecord> found = store.FindSession(hash);
    if (!found || now - found->used >= kSessionSeconds) return std::nullopt;
    const std::optional<OperatorRecord> person = store.FindOperator(found->person);
    if (!person) return std::nullopt;
    return Signed{*person, std::abs(now - found->used) >= kNoteSeconds};
  });
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
