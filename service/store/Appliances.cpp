// SPDX-License-Identifier: Apache-2.0
#include "service/store/Store.h"

namespace cloudservice {

namespace {

const Sql kAppliance(
    "SELECT manager.uuid, manager.name, manager.registered, manager.heartbeat_count, "
    "manager.heartbeat_last, manager.heartbeat_interval, manager.account, manager.address, "
    "manager.changed, manager.label, manager.model, manager.serial, manager.firmware, "
    "manager.faults, manager.alarms, manager.warnings, account.email, "
    "(SELECT id FROM chassis WHERE chassis.manager = manager.uuid ORDER BY rowid LIMIT 1) "
    "FROM manager LEFT JOIN account ON account.id = manager.account WHERE manager.uuid = ?");

// An appliance, once for each time that it may come due at.
const Sql kDue(
    "SELECT uuid FROM manager WHERE late_at > ?1 AND late_at <= ?2 UNION "
    "SELECT uuid FROM manager WHERE offline_at > ?1 AND offline_at <= ?2");

// Paths of what has a row of its own, not one in `resource`.
const std::string kDocuments =
    "SELECT path, document, changed FROM ("
    "SELECT '/redfish/v1/Managers/' || uuid AS path, document, changed FROM manager "
    "JOIN manager_document ON manager_document.manager = uuid WHERE uuid = ?1 UNION ALL "
    "SELECT '/redfish/v1/Chassis/' || id, document, changed FROM chassis WHERE manager = ?1 "
    "UNION ALL SELECT path, document, changed FROM resource WHERE manager = ?1) ";
const Sql kAllDocuments(kDocuments + "ORDER BY path");
const Sql kDocument(kDocuments + "WHERE path = ?2");

const Sql kChassis(
    "SELECT id, manager, document, created FROM chassis WHERE manager = ? ORDER BY rowid");
const Sql kMembers("SELECT id, path, name FROM member WHERE manager = ? ORDER BY path, name");
const Sql kMembersOfPath(
    "SELECT id, path, name FROM member WHERE manager = ? AND path = ? ORDER BY path, name");
const Sql kHistory(
    "SELECT time, value FROM reading "
    "WHERE member = ? AND time >= ? AND time < ? ORDER BY time, id");
const Sql kDataVersion("PRAGMA data_version");

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

DocumentRecord ReadDocument(const Statement& select) {
  return {select.Text(0), select.Text(1), select.Number(2)};
}

}  // namespace

std::optional<ApplianceRecord> Store::FindAppliance(const std::string& uuid) {
  Statement select(m_database, kAppliance);
  select.Bind(uuid);
  if (!select.Step()) return std::nullopt;
  return ReadAppliance(select);
}

std::vector<std::string> Store::ListDue(std::int64_t from, std::int64_t to) {
  Statement select(m_database, kDue);
  select.Bind(from).Bind(to);
  std::vector<std::string> uuids;
  while (select.Step()) uuids.push_back(select.Text(0));
  return uuids;
}

std::vector<ChassisRecord> Store::ListChassisRecords(const std::string& manager) {
  Statement select(m_database, kChassis);
  select.Bind(manager);
  std::vector<ChassisRecord> list;
  while (select.Step()) {
    list.push_back({select.Text(0), select.Text(1), select.Text(2), select.Number(3)});
  }
  return list;
}

std::vector<DocumentRecord> Store::ListDocuments(const std::string& manager) {
  Statement select(m_database, kAllDocuments);
  select.Bind(manager);
  std::vector<DocumentRecord> documents;
  while (select.Step()) documents.push_back(ReadDocument(select));
  return documents;
}

std::optional<DocumentRecord> Store::FindDocument(const std::string& manager,
                                                  const std::string& path) {
  Statement select(m_database, kDocument);
  select.Bind(manager).Bind(path);
  if (!select.Step()) return std::nullopt;
  return ReadDocument(select);
}

std::vector<MemberRecord> Store::ListMembers(const std::string& manager,
                                             const std::optional<std::string>& path) {
  Statement select(m_database, path ? kMembersOfPath : kMembers);
  select.Bind(manager);
  if (path) select.Bind(*path);
  std::vector<MemberRecord> members;
  while (select.Step()) members.push_back({select.Number(0), select.Text(1), select.Text(2)});
  return members;
}

void Store::ReadHistory(
    std::int64_t member, std::int64_t since, std::int64_t until,
    const std::function<void(std::int64_t time, const std::string& value)>& take) {
  Statement select(m_database, kHistory);
  select.Bind(member).Bind(since).Bind(until);
  while (select.Step()) take(select.Number(0), select.Text(1));
}

std::int64_t Store::ForeignChanges() {
  Statement select(m_database, kDataVersion);
  return select.Step() ? select.Number(0) : 0;
}

}  // namespace cloudservice
