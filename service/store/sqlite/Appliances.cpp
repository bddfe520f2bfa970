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
    "(SELECT id FROM chassis WHERE chassis.manager = manager.id ORDER BY number LIMIT 1) "
    "FROM manager LEFT JOIN account ON account.id = manager.account WHERE manager.uuid = ?");

// Those that were found late or offline since, and those of which their times say it.
const Sql kDue(
    "SELECT iif(offline_at <= ?3, offline_at, late_at) AS time, uuid FROM manager "
    "WHERE state > 0 AND (went_at, uuid) >= (?1, ?2) AND went_at <= ?3 "
    "UNION SELECT iif(offline_at <= ?3, offline_at, late_at) AS time, uuid FROM manager "
    "WHERE state IN (0, 1) AND next_at <= ?3 AND late_at <= ?3 AND (time, uuid) >= (?1, ?2) "
    "ORDER BY time, uuid LIMIT ?4");

const std::string kManagerDocuments =
    "SELECT uuid, document, changed, 0 FROM manager "
    "JOIN manager_document ON manager = manager.id WHERE uuid = ?1";
const std::string kChassisDocuments =
    "SELECT id, document, changed, number FROM chassis "
    "WHERE manager = (SELECT id FROM manager WHERE uuid = ?1)";
// Those of a removed chassis stay for a while, and are not seen.
const std::string kResourceDocuments =
    "SELECT path, document, changed, 0 FROM resource "
    "WHERE manager = (SELECT id FROM manager WHERE uuid = ?1) "
    "AND (chassis IS NULL OR EXISTS (SELECT 1 FROM chassis WHERE number = resource.chassis))";
const Sql kPageOfManager(kManagerDocuments + " LIMIT ?2");
const Sql kPageOfChassis(kChassisDocuments + " AND number > ?3 ORDER BY number LIMIT ?2");
const Sql kPageOfResources(kResourceDocuments + " AND path >= ?3 ORDER BY path LIMIT ?2");
const Sql kOneOfManager(kManagerDocuments + " AND uuid = ?2");
const Sql kOneOfChassis(kChassisDocuments + " AND id = ?2");
const Sql kOneOfResources(kResourceDocuments + " AND path = ?2");

const std::string kMemberOf =
    "SELECT id, path, name FROM member WHERE manager = (SELECT id FROM manager WHERE uuid = ?) "
    "AND (chassis IS NULL OR EXISTS (SELECT 1 FROM chassis WHERE number = member.chassis)) AND ";
const Sql kMembers(kMemberOf + "(path, name) >= (?, ?) ORDER BY path, name LIMIT ?");
const Sql kMembersOfPath(kMemberOf + "path = ? AND name >= ? ORDER BY name LIMIT ?");
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

const Sql& PageOf(Kind kind) {
  if (kind == Kind::kManager) return kPageOfManager;
  return kind == Kind::kChassis ? kPageOfChassis : kPageOfResources;
}

const Sql& OneOf(Kind kind) {
  if (kind == Kind::kManager) return kOneOfManager;
  return kind == Kind::kChassis ? kOneOfChassis : kOneOfResources;
}

DocumentRecord ReadDocument(Kind kind, const Statement& select) {
  return {{kind, select.Text(0)}, select.Text(1), select.Number(2), select.Number(3)};
}

}  // namespace

std::optional<ApplianceRecord> SqliteTransaction::FindAppliance(const std::string& uuid) {
  Statement select(m_database, kAppliance);
  select.Bind(uuid);
  if (!select.Step()) return std::nullopt;
  return ReadAppliance(select);
}

std::vector<DueAppliance> SqliteTransaction::ListDue(std::int64_t from, std::int64_t to,
                                                     const ListPage<DueAppliance>& page) {
  Statement select(m_database, kDue);
  select.Bind(page.after ? page.after->time : from + 1);
  select.Bind(page.after ? FirstText(page.after->uuid) : std::string());
  select.Bind(to).Bind(page.limit);
  std::vector<DueAppliance> due;
  while (select.Step()) due.push_back({select.Number(0), select.Text(1)});
  return due;
}

void SqliteTransaction::ListDocumentsOf(Kind kind, const std::string& manager,
                                        const ListPage<DocumentPlace>& page,
                                        std::vector<DocumentRecord>& documents) {
  const auto listed = static_cast<std::int64_t>(documents.size());
  const bool within = page.after && page.after->kind == kind;
  // There is no second document of the manager itself.
  if (kind == Kind::kManager && within) return;
  Statement select(m_database, PageOf(kind));
  select.Bind(manager).Bind(page.limit - listed);
  if (kind == Kind::kChassis) select.Bind(within ? page.after->number : 0);
  if (kind == Kind::kResource) select.Bind(within ? FirstText(page.after->path) : std::string());
  while (select.Step()) documents.push_back(ReadDocument(kind, select));
}

std::vector<DocumentRecord> SqliteTransaction::ListDocuments(const std::string& manager,
                                                             const ListPage<DocumentPlace>& page) {
  std::vector<DocumentRecord> documents;
  for (const Kind kind : {Kind::kManager, Kind::kChassis, Kind::kResource}) {
    if (!page.after || kind >= page.after->kind) ListDocumentsOf(kind, manager, page, documents);
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
                                                         const std::optional<std::string>& path,
                                                         const ListPage<MemberPlace>& page) {
  Statement select(m_database, path ? kMembersOfPath : kMembers);
  select.Bind(manager);
  select.Bind(path ? *path : page.after ? page.after->path : std::string());
  select.Bind(page.after ? FirstText(page.after->name) : std::string()).Bind(page.limit);
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
