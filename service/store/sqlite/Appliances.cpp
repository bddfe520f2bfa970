// SPDX-License-Identifier: Apache-2.0
// Appliances as operators see them, one by one.
#include "service/store/sqlite/SqliteTransaction.h"

namespace cloudservice {

namespace {

const Sql kAppliance(
    "SELECT manager.uuid, manager.name, manager.registered, manager.heartbeat_count, "
    "manager.heartbeat_last, manager.heartbeat_interval, manager.account, manager.address, "
    "manager.changed, manager.label, manager.model, manager.serial, manager.firmware, "
    "manager.faults, manager.alarms, manager.warnings, account.email, "
    "(SELECT id FROM chassis WHERE chassis.manager = manager.uuid ORDER BY rowid LIMIT 1) "
    "FROM manager LEFT JOIN account ON account.id = manager.account WHERE manager.uuid = ?");

// Searches the time of being late and that of being offline apart, so that each search has its
// index.
const Sql kDue(
    "SELECT uuid FROM manager WHERE late_at > ?1 AND late_at <= ?2 UNION "
    "SELECT uuid FROM manager WHERE offline_at > ?1 AND offline_at <= ?2");

const std::string kManagerDocuments =
    "SELECT uuid, document, changed FROM manager "
    "JOIN manager_document ON manager_document.manager = uuid WHERE uuid = ?1";
const std::string kChassisDocuments =
    "SELECT id, document, changed FROM chassis WHERE manager = ?1";
const std::string kResourceDocuments =
    "SELECT path, document, changed FROM resource WHERE manager = ?1";
const Sql kAllOfManager(kManagerDocuments);
const Sql kAllOfChassis(kChassisDocuments + " ORDER BY rowid");
const Sql kAllOfResources(kResourceDocuments + " ORDER BY path");
const Sql kOneOfManager(kManagerDocuments + " AND uuid = ?2");
const Sql kOneOfChassis(kChassisDocuments + " AND id = ?2");
const Sql kOneOfResources(kResourceDocuments + " AND path = ?2");

const Sql kChassis(
    "SELECT id, manager, document, created FROM chassis WHERE manager = ? ORDER BY rowid");
const Sql kMembers("SELECT id, path, name FROM member WHERE manager = ? ORDER BY path, name");
const Sql kMembersOfPath(
    "SELECT id, path, name FROM member WHERE manager = ? AND path = ? ORDER BY path, name");
const Sql kHistory(
    "SELECT time, value FROM reading "
    "WHERE member = ? AND time >= ? AND time < ? ORDER BY time, id");

ApplianceRecord ReadAppliance(const Statement& select) {
  ApplianceRecord appliance;
  appliance.uuid = select.Text(0);
  appliance.registered = select.Number(2);
  appliance.heartbeat.count = select.Number(3);
  appliance.heartbeat.last = select.OptionalNumber(4);
  appliance.heartbeat.interval = select.OptionalNumber(5);
  appliance.address = select.Text(7);
  appliance.changed = select.Number(8);
  appliance.shown = {select.Text(9), select.OptionalText(10), select.OptionalText(11),
                     select.OptionalText(12)};
  appliance.alarms = {select.Number(13), select.Number(14), select.Number(15)};
  appliance.email = select.OptionalText(16);
  appliance.chassis = select.OptionalText(17);
  return appliance;
}

using Kind = DocumentName::Kind;

const Sql& AllOf(Kind kind) {
  if (kind == Kind::kManager) return kAllOfManager;
  return kind == Kind::kChassis ? kAllOfChassis : kAllOfResources;
}

const Sql& OneOf(Kind kind) {
  if (kind == Kind::kManager) return kOneOfManager;
  return kind == Kind::kChassis ? kOneOfChassis : kOneOfResources;
}

DocumentRecord ReadDocument(Kind kind, const Statement& select) {
  return {{kind, select.Text(0)}, select.Text(1), select.Number(2)};
}

}  // namespace

std::optional<ApplianceRecord> SqliteTransaction::FindAppliance(const std::string& uuid) {
  Statement select(m_database, kAppliance);
  select.Bind(uuid);
  if (!select.Step()) return std::nullopt;
  return ReadAppliance(select);
}

std::vector<std::string> SqliteTransaction::ListDue(std::int64_t from, std::int64_t to) {
  Statement select(m_database, kDue);
  select.Bind(from).Bind(to);
  std::vector<std::string> uuids;
  while (select.Step()) uuids.push_back(select.Text(0));
  return uuids;
}

std::vector<ChassisRecord> SqliteTransaction::ListChassisRecords(const std::string& manager) {
  Statement select(m_database, kChassis);
  select.Bind(manager);
  std::vector<ChassisRecord> list;
  while (select.Step()) {
    list.push_back({select.Text(0), select.Text(1), select.Text(2), select.Number(3)});
  }
  return list;
}

std::vector<DocumentRecord> SqliteTransaction::ListDocuments(const std::string& manager) {
  std::vector<DocumentRecord> documents;
  for (const Kind kind : {Kind::kManager, Kind::kChassis, Kind::kResource}) {
    Statement select(m_database, AllOf(kind));
    select.Bind(manager);
    while (select.Step()) documents.push_back(ReadDocument(kind, select));
  }
  return documents;
}

std::optional<DocumentRecord> SqliteTransaction::FindDocument(const std::string& manager,
                                                              const DocumentName& name) {
  Statement select(m_database, OneOf(name.kind));
  select.Bind(manager).Bind(name.name);
  if (!select.Step()) return std::nullopt;
  return ReadDocument(name.kind, select);
}

std::vector<MemberRecord> SqliteTransaction::ListMembers(const std::string& manager,
                                                         const std::optional<std::string>& path) {
  Statement select(m_database, path ? kMembersOfPath : kMembers);
  select.Bind(manager);
  if (path) select.Bind(*path);
  std::vector<MemberRecord> members;
  while (select.Step()) members.push_back({select.Number(0), select.Text(1), select.Text(2)});
  return members;
}

void SqliteTransaction::ReadHistory(
    std::int64_t member, std::int64_t since, std::int64_t until,
    const std::function<void(std::int64_t time, const std::string& value)>& take) {
  Statement select(m_database, kHistory);
  select.Bind(member).Bind(since).Bind(until);
  while (select.Step()) take(select.Number(0), select.Text(1));
}

}  // namespace cloudservice
