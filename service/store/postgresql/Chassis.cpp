// SPDX-License-Identifier: Apache-2.0
// Chassis.
#include "service/store/postgresql/PostgresTransaction.h"

namespace cloudservice::postgresql {

namespace {

// What the manager keeps changes with each document.
const Sql kAddChassis(
    "WITH new AS (INSERT INTO chassis (id, manager, document, created, changed) "
    "VALUES ($1, $2, $3, $4, $4) RETURNING octet_length(document) AS size) "
    "UPDATE manager SET documents = documents + 1, bytes = bytes + new.size FROM new "
    "WHERE key = $2");
const std::string kOfUuid =
    "FROM chassis JOIN manager ON manager.key = chassis.manager WHERE manager.uuid = $1 ";
const std::string kWhole = "SELECT id, uuid, document, created, number " + kOfUuid;
const Sql kChassisById(kWhole + "AND id = $2");
const Sql kChassisAfter(kWhole + "AND number > $2 ORDER BY number LIMIT $3");
const Sql kNamesAfter("SELECT id, number " + kOfUuid + "AND number > $2 ORDER BY number LIMIT $3");
const Sql kOwnerOfChassis(
    "SELECT uuid FROM chassis JOIN manager ON manager.key = chassis.manager WHERE id = $1");
const Sql kChangeChassis(
    "WITH old AS (SELECT octet_length(document) AS size FROM chassis WHERE id = $1), "
    "new AS (UPDATE chassis SET document = $2, changed = $3 WHERE id = $1 "
    "RETURNING manager, octet_length(document) AS size) "
    "UPDATE manager SET bytes = bytes + new.size - old.size FROM old, new "
    "WHERE key = new.manager AND old.size <> new.size");

const Sql kDropResources(
    "WITH gone AS (DELETE FROM resource WHERE chassis = $1 AND manager = $2 "
    "RETURNING octet_length(document) AS size), "
    "less AS (SELECT count(*) AS number, coalesce(sum(size), 0) AS size FROM gone) "
    "UPDATE manager SET documents = documents - number, bytes = bytes - size FROM less "
    "WHERE key = $2");
// The readings are found through the members only, and go step by step.
const Sql kDropMembers(
    "WITH gone AS (DELETE FROM member WHERE chassis = $1 RETURNING id) "
    "INSERT INTO removal (kind, key) SELECT 2, id FROM gone");
// With its alarms.
const Sql kDropChassis(
    "WITH gone AS (DELETE FROM chassis WHERE id = $1 "
    "RETURNING manager, octet_length(document) AS size) "
    "UPDATE manager SET documents = documents - 1, bytes = bytes - gone.size FROM gone "
    "WHERE key = gone.manager");
const Sql kCountAlarmsAnew(
    "WITH old AS (SELECT key, faults, alarms, warnings FROM manager WHERE key = $1) "
    "UPDATE manager SET faults = now.faults, alarms = now.alarms, warnings = now.warnings "
    "FROM old, (SELECT count(*) FILTER (WHERE rank = 0) AS faults, "
    "count(*) FILTER (WHERE rank = 1) AS alarms, count(*) FILTER (WHERE rank = 2) AS warnings "
    "FROM alarm WHERE manager = $1 AND closed IS NULL) AS now WHERE manager.key = old.key "
    "RETURNING manager.faults - old.faults, manager.alarms - old.alarms, "
    "manager.warnings - old.warnings, (manager.faults > 0)::int - (old.faults > 0)::int, "
    "(manager.alarms > 0)::int - (old.alarms > 0)::int, "
    "(manager.warnings > 0)::int - (old.warnings > 0)::int");

ChassisRecord ReadChassis(const Row& row) {
  return {row.Text(0), row.Text(1), row.Text(2), row.Number(3), row.Number(4)};
}

}  // namespace

void PostgresTransaction::AddChassis(const ChassisRecord& chassis) {
  Run(kAddChassis, {chassis.id, Owned(chassis.manager), chassis.document, chassis.created});
  TotalsChange change;
  change.chassis = 1;
  ChangeTotals(change);
  NoteDocument(chassis.manager, {DocumentName::Kind::kChassis, chassis.id});
  NoteAppliance(chassis.manager);
}

std::optional<ChassisRecord> PostgresTransaction::FindChassis(const std::string& manager,
                                                              const std::string& id) {
  const Result result = Run(kChassisById, {manager, id});
  if (result.Empty()) return std::nullopt;
  return ReadChassis(result.First());
}

std::vector<ChassisRecord> PostgresTransaction::ListChassisRecords(
    const std::string& manager, const ListPage<std::int64_t>& page) {
  std::vector<ChassisRecord> list;
  const Result result = Run(kChassisAfter, {manager, page.after.value_or(0), page.limit});
  for (const Row row : result) list.push_back(ReadChassis(row));
  return list;
}

std::vector<ChassisName> PostgresTransaction::ListChassis(const std::string& manager,
                                                          const ListPage<std::int64_t>& page) {
  std::vector<ChassisName> list;
  const Result result = Run(kNamesAfter, {manager, page.after.value_or(0), page.limit});
  for (const Row row : result) list.push_back({row.Text(0), row.Number(1)});
  return list;
}

void PostgresTransaction::SetChassisDocument(const std::string& id, const std::string& document,
                                             const Readings& readings) {
  Owned(readings.manager);
  Defer(kChangeChassis, {id, document, readings.time});
  AddReadings(readings);
  NoteDocument(readings.manager, {DocumentName::Kind::kChassis, id});
}

void PostgresTransaction::DeleteChassis(const std::string& id) {
  const Result owner = Run(kOwnerOfChassis, {id});
  if (owner.Empty()) return;
  const std::string manager = owner.First().Text(0);
  const std::int64_t key = Owned(manager);
  Defer(kDropResources, {id, key});
  Defer(kDropMembers, {id});
  Defer(kDropChassis, {id});
  const Result counted = Run(kCountAlarmsAnew, {key});
  const Row row = counted.First();
  ChangeTotals({0,
                -1,
                {row.Number(0), row.Number(1), row.Number(2)},
                {row.Number(3), row.Number(4), row.Number(5)}});
  NoteDocument(manager, {DocumentName::Kind::kChassis, id});
  NoteAppliance(manager);
}

}  // namespace cloudservice::postgresql
