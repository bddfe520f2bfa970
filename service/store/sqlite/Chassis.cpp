// SPDX-License-Identifier: Apache-2.0
// Chassis.
#include "service/store/sqlite/SqliteTransaction.h"

namespace cloudservice {

namespace {

const Sql kAddChassis(
    "INSERT INTO chassis (id, manager, document, created, changed) VALUES (?, ?, ?, ?, ?)");
const Sql kChassisById(
    "SELECT id, manager, document, created, rowid FROM chassis WHERE id = ? AND manager = ?");
const Sql kHasChassis("SELECT 1 FROM chassis WHERE id = ? AND manager = ?");
const std::string kBehind = "FROM chassis WHERE manager = ? AND rowid > ? ORDER BY rowid LIMIT ?";
const Sql kChassisRecords("SELECT id, manager, document, created, rowid " + kBehind);
const Sql kChassisNames("SELECT id, rowid " + kBehind);
const Sql kOwnerOfChassis("SELECT manager FROM chassis WHERE id = ?");
const Sql kChangeChassis("UPDATE chassis SET document = ?, changed = ? WHERE id = ?");
const Sql kDeleteChassis("DELETE FROM chassis WHERE id = ?");
const Sql kCountAlarmsAnew(
    "UPDATE manager SET (faults, alarms, warnings) = ("
    "SELECT coalesce(sum(rank = 0), 0), coalesce(sum(rank = 1), 0), coalesce(sum(rank = 2), 0) "
    "FROM chassis CROSS JOIN alarm ON alarm.chassis = chassis.id AND alarm.closed IS NULL "
    "WHERE chassis.manager = manager.uuid) WHERE uuid = ?");

ChassisRecord ReadChassis(const Statement& select) {
  return {select.Text(0), select.Text(1), select.Text(2), select.Number(3), select.Number(4)};
}

}  // namespace

void SqliteTransaction::AddChassis(const ChassisRecord& chassis) {
  Statement(m_database, kAddChassis)
      .Bind(chassis.id)
      .Bind(chassis.manager)
      .Bind(chassis.document)
      .Bind(chassis.created)
      .Bind(chassis.created)
      .Run();
  NoteDocument(chassis.manager, {DocumentName::Kind::kChassis, chassis.id});
  NoteAppliance(chassis.manager);
}

bool SqliteTransaction::HasChassis(const std::string& manager, const std::string& id) {
  Statement select(m_database, kHasChassis);
  return select.Bind(id).Bind(manager).Step();
}

std::optional<ChassisRecord> SqliteTransaction::FindChassis(const std::string& manager,
                                                            const std::string& id) {
  Statement select(m_database, kChassisById);
  select.Bind(id).Bind(manager);
  if (!select.Step()) return std::nullopt;
  return ReadChassis(select);
}

std::vector<ChassisRecord> SqliteTransaction::ListChassisRecords(
    const std::string& manager, const ListPage<std::int64_t>& page) {
  Statement select(m_database, kChassisRecords);
  select.Bind(manager).Bind(page.after.value_or(0)).Bind(page.limit);
  std::vector<ChassisRecord> list;
  while (select.Step()) list.push_back(ReadChassis(select));
  return list;
}

std::vector<ChassisName> SqliteTransaction::ListChassis(const std::string& manager,
                                                        const ListPage<std::int64_t>& page) {
  Statement select(m_database, kChassisNames);
  select.Bind(manager).Bind(page.after.value_or(0)).Bind(page.limit);
  std::vector<ChassisName> list;
  while (select.Step()) list.push_back({select.Text(0), select.Number(1)});
  return list;
}

void SqliteTransaction::SetChassisDocument(const std::string& id, const std::string& document,
                                           const Readings& readings) {
  Statement(m_database, kChangeChassis).Bind(document).Bind(readings.time).Bind(id).Run();
  AddReadings(readings);
  NoteDocument(readings.manager, {DocumentName::Kind::kChassis, id});
}

void SqliteTransaction::DeleteChassis(const std::string& id) {
  Statement owner(m_database, kOwnerOfChassis);
  owner.Bind(id);
  if (!owner.Step()) return;
  const std::string manager = owner.Text(0);
  Statement(m_database, kDeleteChassis).Bind(id).Run();
  Statement(m_database, kCountAlarmsAnew).Bind(manager).Run();
  NoteDocument(manager, {DocumentName::Kind::kChassis, id});
  NoteAppliance(manager);
}

}  // namespace cloudservice
