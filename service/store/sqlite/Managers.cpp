// SPDX-License-Identifier: Apache-2.0
// Managers and their heartbeats.
#include "service/store/Shown.h"
#include "service/store/sqlite/SqliteTransaction.h"

namespace cloudservice {

namespace {

const Sql kManager(
    "SELECT uuid, name, document, registered, heartbeat_count, heartbeat_last, heartbeat_interval, "
    "account.id, address FROM manager JOIN manager_document ON manager = manager.id "
    "LEFT JOIN account ON account.id = account WHERE uuid = ?");
// A token ends with the account that it was given for.
const Sql kSender(
    "SELECT uuid, name, account FROM manager WHERE token_hash = ? "
    "AND (account IS NULL OR EXISTS (SELECT 1 FROM account WHERE id = manager.account))");
const Sql kNumber("SELECT id FROM manager WHERE uuid = ?");
const Sql kAddManager(
    "INSERT INTO manager (uuid, name, token_hash, registered, account, address, changed, late_at, "
    "offline_at, next_at, documents, bytes) VALUES (?, ?, ?, ?, ?, ?, ?, ?8, ?, ?8, 0, 0)");
const Sql kTakeManager("DELETE FROM manager WHERE id = ?");
const Sql kLeaveRest("INSERT INTO removal (manager) VALUES (?)");
const Sql kSomeOfAccount("SELECT uuid FROM manager WHERE account = ? LIMIT ?");
const Sql kPutManagerDocument(
    "INSERT INTO manager_document (manager, document) "
    "VALUES ((SELECT id FROM manager WHERE uuid = ?), ?) ON CONFLICT (manager) "
    "DO UPDATE SET document = excluded.document");
const Sql kChangeShown(
    "UPDATE manager SET label = substr(coalesce(nullif(?, ''), name), 1, 200), model = ?, "
    "serial = ?, firmware = ?, changed = ? WHERE uuid = ?");
const Sql kAddHeartbeat(
    "UPDATE manager SET heartbeat_count = heartbeat_count + 1, heartbeat_last = ?, "
    "heartbeat_interval = ?, late_at = ?, offline_at = ?, address = coalesce(nullif(?, ''), "
    "address) "
    "WHERE uuid = ? RETURNING heartbeat_count, state > 0 OR next_at > late_at");
// Whether the appliance is alive at the time, and the heartbeat tells nothing else that is new.
const Sql kIsSteady(
    "SELECT 1 FROM manager WHERE uuid = ?1 AND state = 0 AND late_at > ?2 "
    "AND heartbeat_interval = ?3 "
    "AND (?4 = '' OR address = ?4)");
// Of a state that is no longer so, or of an interval that has become shorter.
const Sql kIsAlive("UPDATE manager SET state = 0, next_at = late_at WHERE uuid = ?");

// Stores a manager's document and the values that lists show of it. Called inside a transaction.
void PutDocument(Database& database, const std::string& uuid, const std::string& document,
                 std::int64_t changed) {
  Statement(database, kPutManagerDocument).Bind(uuid).Bind(document).Run();
  const Shown shown = ShownOf(document);
  Statement(database, kChangeShown)
      .Bind(shown.name)
      .Bind(shown.model)
      .Bind(shown.serial)
      .Bind(shown.firmware)
      .Bind(changed)
      .Bind(uuid)
      .Run();
}

}  // namespace

bool SqliteTransaction::AddManager(const ManagerRecord& manager, const std::string& tokenHash) {
  const bool known = TakeManager(manager.uuid);
  const DueTimes due = DueTimesOf(manager.registered, std::nullopt, std::nullopt);
  Statement(m_database, kAddManager)
      .Bind(manager.uuid)
      .Bind(manager.name)
      .Bind(tokenHash)
      .Bind(manager.registered)
      .Bind(manager.account)
      .Bind(manager.address)
      .Bind(manager.registered)
      .Bind(due.late)
      .Bind(due.offline)
      .Run();
  PutDocument(m_database, manager.uuid, manager.document, manager.registered);
  NoteAppliance(manager.uuid);
  return known;
}

std::int64_t SqliteTransaction::ManagerNumber(const std::string& manager) {
  Statement select(m_database, kNumber);
  select.Bind(manager);
  if (!select.Step()) throw DatabaseError("there is no manager " + manager);
  return select.Number(0);
}

bool SqliteTransaction::TakeManager(const std::string& uuid) {
  Statement select(m_database, kNumber);
  select.Bind(uuid);
  if (!select.Step()) return false;
  const std::int64_t number = select.Number(0);
  Statement(m_database, kTakeManager).Bind(number).Run();
  Statement(m_database, kLeaveRest).Bind(number).Run();
  NoteGone(uuid);
  return true;
}

std::int64_t SqliteTransaction::TakeManagers(std::int64_t account, std::int64_t most) {
  std::vector<std::string> uuids;
  Statement select(m_database, kSomeOfAccount);
  select.Bind(account).Bind(most);
  while (select.Step()) uuids.push_back(select.Text(0));
  for (const std::string& uuid : uuids) TakeManager(uuid);
  return static_cast<std::int64_t>(uuids.size());
}

std::optional<ManagerRecord> SqliteTransaction::FindManager(const std::string& uuid) {
  Statement select(m_database, kManager);
  select.Bind(uuid);
  if (!select.Step()) return std::nullopt;
  ManagerRecord manager;
  manager.uuid = select.Text(0);
  manager.name = select.Text(1);
  manager.document = select.Text(2);
  manager.registered = select.Number(3);
  manager.heartbeat.count = select.Number(4);
  manager.heartbeat.last = select.OptionalNumber(5);
  manager.heartbeat.interval = select.OptionalNumber(6);
  manager.account = select.OptionalNumber(7);
  manager.address = select.Text(8);
  return manager;
}

std::optional<SenderRecord> SqliteTransaction::FindSender(const std::string& tokenHash) {
  Statement select(m_database, kSender);
  select.Bind(tokenHash);
  if (!select.Step()) return std::nullopt;
  return SenderRecord{select.Text(0), select.Text(1), select.OptionalNumber(2)};
}

void SqliteTransaction::SetManagerDocument(const std::string& uuid, const std::string& document,
                                           const Readings& readings) {
  PutDocument(m_database, uuid, document, readings.time);
  AddReadings(readings);
  NoteDocument(uuid, {DocumentName::Kind::kManager, uuid});
  NoteAppliance(uuid);
}

void SqliteTransaction::DeleteManager(const std::string& uuid) { TakeManager(uuid); }

std::int64_t SqliteTransaction::AddHeartbeat(const std::string& uuid, std::int64_t when,
                                             std::int64_t interval, const std::string& address) {
  Statement steady(m_database, kIsSteady);
  const bool isSteady = steady.Bind(uuid).Bind(when).Bind(interval).Bind(address).Step();
  const DueTimes due = DueTimesOf(when, when, interval);
  Statement update(m_database, kAddHeartbeat);
  update.Bind(when).Bind(interval).Bind(due.late).Bind(due.offline).Bind(address).Bind(uuid);
  if (!update.Step()) return 0;
  const std::int64_t count = update.Number(0);
  if (update.Number(1) != 0) Statement(m_database, kIsAlive).Bind(uuid).Run();
  if (isSteady) {
    Note({Change::What::kHeartbeat, uuid, when, {}});
  } else {
    NoteAppliance(uuid);
  }
  return count;
}

}  // namespace cloudservice
