// SPDX-License-Identifier: Apache-2.0
// Managers and their heartbeats.
#include "service/store/Shown.h"
#include "service/store/postgresql/PostgresTransaction.h"

namespace cloudservice::postgresql {

namespace {

const Sql kManager(
    "SELECT uuid, name, document, registered, heartbeat.count, heartbeat.last, "
    "heartbeat.interval, account.id, address FROM manager "
    "JOIN manager_document ON manager_document.manager = key "
    "JOIN heartbeat ON heartbeat.manager = key "
    "LEFT JOIN account ON account.id = manager.account WHERE uuid = $1");
const Sql kAddManager(
    "INSERT INTO manager "
    "(uuid, name, token_hash, registered, account, changed, label, documents, bytes) "
    "VALUES ($1, $2, $3, $4, $5, $4, '', 0, 0) RETURNING key");
const Sql kAddHeart(
    "INSERT INTO heartbeat (manager, address, late_at, offline_at, next_at) "
    "VALUES ($1, $2, $3, $4, $3)");
// With its document and its heartbeats.
const Sql kDeleteManager(
    "DELETE FROM manager WHERE uuid = $1 RETURNING key, faults, alarms, warnings, "
    "(SELECT count(*) FROM chassis WHERE manager = key), "
    "(SELECT state FROM heartbeat WHERE manager = key)");
const Sql kAddRemoval("INSERT INTO removal (kind, key) VALUES (1, $1)");
const Sql kPutManagerDocument(
    "WITH old AS (SELECT octet_length(document) AS size FROM manager_document WHERE manager = $1), "
    "new AS (INSERT INTO manager_document (manager, document) VALUES ($1, $2) "
    "ON CONFLICT (manager) DO UPDATE SET document = excluded.document "
    "RETURNING octet_length(document) AS size) "
    "UPDATE manager SET documents = documents + (old.size IS NULL)::int, "
    "bytes = bytes + new.size - coalesce(old.size, 0) FROM new LEFT JOIN old ON true "
    "WHERE key = $1 AND old.size IS DISTINCT FROM new.size");
const Sql kChangeShown(
    "UPDATE manager SET label = left(coalesce(nullif($2, ''), name), 200), model = $3, "
    "serial = $4, firmware = $5, changed = $6 WHERE key = $1");

}  // namespace

void PostgresTransaction::PutDocument(std::int64_t key, const std::string& document,
                                      std::int64_t changed) {
  Defer(kPutManagerDocument, {key, document});
  const Shown shown = ShownOf(document);
  Defer(kChangeShown, {key, shown.name, shown.model, shown.serial, shown.firmware, changed});
}

bool PostgresTransaction::AddManager(const ManagerRecord& manager, const std::string& tokenHash) {
  const bool known = RemoveManager(manager.uuid);
  const DueTimes due = DueTimesOf(manager.registered, std::nullopt, std::nullopt);
  const std::int64_t key =
      Run(kAddManager, {manager.uuid, manager.name, tokenHash, manager.registered, manager.account})
          .First()
          .Number(0);
  m_owned[manager.uuid] = key;
  Defer(kAddHeart, {key, manager.address, due.late, due.offline});
  PutDocument(key, manager.document, manager.registered);
  TotalsChange change;
  change.managers = 1;
  ChangeTotals(change);
  NoteAppliance(manager.uuid);
  return known;
}

std::optional<ManagerRecord> PostgresTransaction::FindManager(const std::string& uuid) {
  const Result result = Run(kManager, {uuid});
  if (result.Empty()) return std::nullopt;
  const Row row = result.First();
  ManagerRecord manager;
  manager.uuid = row.Text(0);
  manager.name = row.Text(1);
  manager.document = row.Text(2);
  manager.registered = row.Number(3);
  manager.heartbeat = {row.Number(4), row.OptionalNumber(5), row.OptionalNumber(6)};
  manager.account = row.OptionalNumber(7);
  manager.address = row.Text(8);
  return manager;
}

void PostgresTransaction::SetManagerDocument(const std::string& uuid, const std::string& document,
                                             const Readings& readings) {
  PutDocument(Owned(uuid), document, readings.time);
  AddReadings(readings);
  NoteDocument(uuid, {DocumentName::Kind::kManager, uuid});
  NoteAppliance(uuid);
}

void PostgresTransaction::DeleteManager(const std::string& uuid) { RemoveManager(uuid); }

bool PostgresTransaction::RemoveManager(const std::string& uuid) {
  m_owned.erase(uuid);
  const Result gone = Run(kDeleteManager, {uuid});
  if (gone.Empty()) return false;
  const Row row = gone.First();
  Defer(kAddRemoval, {row.Number(0)});
  TotalsChange change;
  change.managers = -1;
  change.chassis = -row.Number(4);
  for (int i = 0; i < 3; ++i) {
    const auto severity = static_cast<std::size_t>(i);
    change.alarms.at(severity) = -row.Number(1 + i);
    change.alarmed.at(severity) = row.Number(1 + i) > 0 ? -1 : 0;
  }
  const auto found = static_cast<State>(row.Number(5));
  change.foundLate = found == State::kLate ? -1 : 0;
  change.foundOffline = found == State::kOffline ? -1 : 0;
  ChangeTotals(change);
  NoteGone(uuid);
  return true;
}

std::int64_t PostgresTransaction::AddHeartbeat(const std::string& uuid, std::int64_t when,
                                               std::int64_t interval, const std::string& address) {
  Known* const manager = FindKnown(uuid);
  if (manager == nullptr) return 0;
  m_batch.AddHeartbeat(manager->key, when, interval, address);
  ++m_writes;
  const bool isSteady = manager->found == State::kAlive && manager->lateAt > when &&
                        manager->interval == interval &&
                        (address.empty() || manager->address == address);
  if (isSteady) {
    m_changes.push_back({Change::What::kHeartbeat, uuid, when, {}});
  } else {
    NoteAppliance(uuid);
  }
  manager->interval = interval;
  manager->lateAt = DueTimesOf(when, when, interval).late;
  if (!address.empty()) manager->address = address;
  if (manager->found != State::kAlive) {
    m_batch.TakeFound(manager->found);
    manager->found = State::kAlive;
    m_totalsChanged = true;
  }
  return ++manager->beats;
}

}  // namespace cloudservice::postgresql
