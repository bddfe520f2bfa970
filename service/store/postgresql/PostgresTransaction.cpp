// SPDX-License-Identifier: Apache-2.0
// The begin and the end of a unit of work, and its changes for listeners.
#include "service/store/postgresql/PostgresTransaction.h"

namespace cloudservice::postgresql {

namespace {

// Every unit of work sees one state, and of two that change the same row the later one begins anew.
// The stricter level would also count neighbours in an index as a conflict: with heartbeats of
// 50,000 appliances on 16 connections it ran 29 of 10,000 again, where this one ran none; what it
// would add Own() does.
const Sql kBeginRead("BEGIN ISOLATION LEVEL REPEATABLE READ READ ONLY", Sql::Plan::kEachTime);
const Sql kBeginWrite("BEGIN ISOLATION LEVEL REPEATABLE READ", Sql::Plan::kEachTime);
const Sql kCommit("COMMIT", Sql::Plan::kEachTime);
// A commit that waits for a standby cannot be undone any more: after the time for a statement the
// server would answer as if the standby had it.
const Sql kNoTimeLimit("SET LOCAL statement_timeout = 0", Sql::Plan::kEachTime);
const Sql kRollback("ROLLBACK", Sql::Plan::kEachTime);

const std::string kSize = "SELECT octet_length(document) AS size FROM ";
const Sql kCountUsage("UPDATE manager SET (documents, bytes) = (SELECT count(*), sum(size) FROM (" +
                      kSize + "manager_document WHERE manager = $1 UNION ALL " + kSize +
                      "chassis WHERE manager = $1 UNION ALL " + kSize +
                      "resource WHERE manager = $1) AS kept) "
                      "WHERE key = $1 RETURNING documents, bytes");

const Sql kAddTotals("INSERT INTO total VALUES ($1, $2, $3, $4, $5, $6, $7, $8, $9, $10)");

}  // namespace

PostgresTransaction::PostgresTransaction(Connection& connection, Days& days, Mode mode)
    : m_connection(connection), m_days(days), m_mode(mode) {}

PostgresTransaction::~PostgresTransaction() {
  if (!m_begun || !m_connection.IsOpen()) return;
  try {
    m_connection.Run(kRollback);
  } catch (const DatabaseError&) {
    // The server undoes what a broken connection has begun.
  }
}

void PostgresTransaction::Begin() {
  if (m_begun) return;
  m_begun = true;
  m_connection.Defer(m_mode == Mode::kWrite ? kBeginWrite : kBeginRead);
}

void PostgresTransaction::Prepare(const Sql& sql) {
  Begin();
  WriteBatch();
  if (sql.IsQuery()) return;
  ++m_writes;
  Forget();
}

Result PostgresTransaction::Run(const Sql& sql, const Values& values) {
  Prepare(sql);
  return m_connection.Run(sql, values);
}

void PostgresTransaction::Defer(const Sql& sql, const Values& values) {
  Prepare(sql);
  m_connection.Defer(sql, values);
}

void PostgresTransaction::WriteBatch() {
  if (!m_batch.Empty()) m_batch.Write(m_connection);
}

void PostgresTransaction::Commit() {
  if (!m_begun) return;
  WriteBatch();
  KeepChanges();
  if (m_mode == Mode::kWrite) m_connection.Defer(kNoTimeLimit);
  const std::string tag = m_connection.Run(kCommit).Tag();
  m_begun = false;
  // The server answers so when a statement of the transaction had failed.
  if (tag != "COMMIT") throw DatabaseError("the change was undone");
}

std::optional<std::int64_t> PostgresTransaction::Own(const std::string& uuid) {
  const auto owned = m_owned.find(uuid);
  if (owned != m_owned.end()) return owned->second;
  const Known* const manager = FindKnown(uuid);
  if (manager == nullptr) return std::nullopt;
  m_batch.Own(manager->key);
  ++m_writes;
  return m_owned[uuid] = manager->key;
}

std::int64_t PostgresTransaction::Owned(const std::string& uuid) {
  const std::optional<std::int64_t> key = Own(uuid);
  if (!key) throw DatabaseError("there is no manager " + uuid);
  return *key;
}

// The manager is this unit of work's own from then on: nobody else changes meanwhile what it keeps.
Usage PostgresTransaction::FindUsage(const std::string& manager) {
  const std::int64_t key = Owned(manager);
  const Known* known = FindKnown(manager);
  if (known != nullptr && known->usage) return *known->usage;
  WriteBatch();
  m_managers.erase(manager);
  known = FindKnown(manager);
  if (known != nullptr && known->usage) return *known->usage;
  const Result counted = Run(kCountUsage, {key});
  return {counted.First().Number(0), counted.First().Number(1)};
}

void PostgresTransaction::ChangeTotals(const TotalsChange& change) {
  m_totalsChanged = true;
  Defer(kAddTotals, {change.managers, change.chassis, change.alarms[0], change.alarms[1],
                     change.alarms[2], change.alarmed[0], change.alarmed[1], change.alarmed[2],
                     change.foundLate, change.foundOffline});
}

void PostgresTransaction::NoteAppliance(const std::string& uuid) {
  m_changes.push_back({Change::What::kAppliance, uuid, 0, {}});
}

void PostgresTransaction::NoteGone(const std::string& uuid) {
  m_changes.push_back({Change::What::kGone, uuid, 0, {}});
}

void PostgresTransaction::NoteDocument(const std::string& manager, const DocumentName& document) {
  m_changes.push_back({Change::What::kDocument, manager, 0, document});
}

}  // namespace cloudservice::postgresql
