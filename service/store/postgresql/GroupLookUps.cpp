// SPDX-License-Identifier: Apache-2.0
// What units of work look up by keys: one key at a time, or those of many units of work at once.
#include "service/store/postgresql/PostgresTransaction.h"

namespace cloudservice::postgresql {

namespace {

// Arrays are selected, as in all frequent statements: the server would see how short they are, and
// plan anew for each run.
const std::string kAskedManagers =
    "SELECT uuid, name, account, key, documents, bytes, heartbeat.count, token_hash, "
    "heartbeat.state, heartbeat.interval, late_at, address FROM manager "
    "JOIN heartbeat ON heartbeat.manager = key WHERE ";
// A token ends with the account that it was given for.
const Sql kSenders(
    kAskedManagers +
    "token_hash = ANY ((SELECT $1::text[])::text[]) "
    "AND (account IS NULL OR EXISTS (SELECT 1 FROM account WHERE id = manager.account))");
const Sql kManagerByUuid(kAskedManagers + "uuid = $1");
const Sql kAskedChassis(
    "SELECT uuid, id FROM unnest((SELECT $1::text[]), (SELECT $2::text[])) AS asked (owner, "
    "chassis) "
    "JOIN chassis ON id = asked.chassis "
    "JOIN manager ON key = chassis.manager AND uuid = asked.owner");
const Sql kAskedResources(
    "SELECT uuid, resource.path, chassis, document, resource.changed "
    "FROM unnest((SELECT $1::text[]), (SELECT $2::text[])) AS asked (owner, path) JOIN manager ON "
    "uuid = asked.owner "
    "JOIN resource ON resource.manager = key AND resource.path = asked.path");

// The first and the second of all pairs.
Values InColumns(const std::vector<std::pair<std::string, std::string>>& pairs) {
  std::vector<std::string> first;
  std::vector<std::string> second;
  for (const auto& [one, other] : pairs) {
    first.push_back(one);
    second.push_back(other);
  }
  return {first, second};
}

// Of all keys that wait is known then that there is nothing.
template <typename Key, typename Found>
std::vector<Key> TakeWaiting(Asked<Key, Found>& asked) {
  for (const Key& key : asked.waiting) asked.known[key] = std::nullopt;
  return std::exchange(asked.waiting, {});
}

}  // namespace

void PostgresTransaction::BeginNext() {
  m_shared = true;
  m_writesBefore = m_writes;
}

void PostgresTransaction::Forget() {
  m_managers.clear();
  m_senders = {};
  m_chassis = {};
  m_resources = {};
}

template <typename Key, typename Found>
std::optional<Found> PostgresTransaction::Ask(Asked<Key, Found>& asked, const Key& key) {
  const auto known = asked.known.find(key);
  if (known != asked.known.end()) return known->second;
  asked.waiting.push_back(key);
  if (m_shared && !HasWritten()) throw AskedLater();
  LookUp(asked);
  std::optional<Found> found = asked.known.at(key);
  // A unit of work by itself may ask for very many, each once.
  if (!m_shared) asked.known.clear();
  return found;
}

void PostgresTransaction::LookUpAsked() {
  if (!m_senders.waiting.empty()) LookUp(m_senders);
  if (!m_chassis.waiting.empty()) LookUp(m_chassis);
  if (!m_resources.waiting.empty()) LookUp(m_resources);
}

// What waits and could matter is known where the transaction is shared.
Result PostgresTransaction::LookUp(const Sql& sql, const Values& values) {
  if (!m_shared) return Run(sql, values);
  Begin();
  return m_connection.Run(sql, values);
}

PostgresTransaction::Known* PostgresTransaction::Keep(const Row& row) {
  const std::string uuid = row.Text(0);
  Known manager;
  manager.key = row.Number(3);
  manager.sender = {uuid, row.Text(1), row.OptionalNumber(2)};
  manager.beats = row.Number(6);
  manager.found = static_cast<State>(row.Number(8));
  manager.interval = row.OptionalNumber(9);
  manager.lateAt = row.Number(10);
  manager.address = row.Text(11);
  if (!row.IsNull(4)) manager.usage = {row.Number(4), row.Number(5)};
  return &m_managers.emplace(uuid, std::move(manager)).first->second;
}

void PostgresTransaction::LookUp(Asked<std::string, SenderRecord>& asked) {
  const Result result = LookUp(kSenders, {TakeWaiting(asked)});
  for (const Row row : result) asked.known[row.Text(7)] = Keep(row)->sender;
}

void PostgresTransaction::LookUp(Asked<InManager, bool>& asked) {
  const Result result = LookUp(kAskedChassis, InColumns(TakeWaiting(asked)));
  for (const Row row : result) asked.known[{row.Text(0), row.Text(1)}] = true;
}

void PostgresTransaction::LookUp(Asked<InManager, ResourceRecord>& asked) {
  const Result result = LookUp(kAskedResources, InColumns(TakeWaiting(asked)));
  for (const Row row : result) {
    const std::string manager = row.Text(0);
    const std::string path = row.Text(1);
    asked.known[{manager, path}] =
        ResourceRecord{path, manager, row.OptionalText(2), row.Text(3), row.Number(4)};
  }
}

PostgresTransaction::Known* PostgresTransaction::FindKnown(const std::string& uuid) {
  const auto known = m_managers.find(uuid);
  if (known != m_managers.end()) return &known->second;
  const Result result = LookUp(kManagerByUuid, {uuid});
  return result.Empty() ? nullptr : Keep(result.First());
}

std::optional<SenderRecord> PostgresTransaction::FindSender(const std::string& tokenHash) {
  return Ask(m_senders, tokenHash);
}

bool PostgresTransaction::HasChassis(const std::string& manager, const std::string& id) {
  return Ask(m_chassis, {manager, id}).has_value();
}

std::optional<ResourceRecord> PostgresTransaction::FindResource(const std::string& manager,
                                                                const std::string& path) {
  return Ask(m_resources, {manager, path});
}

}  // namespace cloudservice::postgresql
