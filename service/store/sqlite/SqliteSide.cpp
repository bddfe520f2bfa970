// SPDX-License-Identifier: Apache-2.0
// A database file as the source or the destination of a copy.
#include "service/store/sqlite/SqliteSide.h"

#include <sys/stat.h>

#include <cstdlib>
#include <memory>

#include "service/store/Backends.h"
#include "service/store/sqlite/Schema.h"

namespace cloudservice {

namespace {

constexpr const char* kLargeCache = "PRAGMA cache_size = -65536";  // KiB
constexpr const char* kDropCopyNotes = "DROP TABLE copy_note";

const Sql kPutNote(
    "INSERT INTO copy_note (name, value) VALUES (?, ?) ON CONFLICT (name) "
    "DO UPDATE SET value = excluded.value");
const Sql kNotes("SELECT name, value FROM copy_note");

// How a table is kept here.
struct Kept {
  // The key orders the rows. The select list is that of the table's columns; what the condition
  // leaves out was removed.
  Kept(const std::string& name, const std::string& key, const std::string& columns,
       const std::string& from, const std::string& condition)
      : count("SELECT count(*) FROM " + name),
        next("SELECT " + columns + ", " + key + " FROM " + from + " WHERE " + key + " > ? " +
             condition + "ORDER BY " + key) {}
  Kept(const Kept&) = delete;
  Kept& operator=(const Kept&) = delete;

  const Sql count;
  const Sql next;
};

// A statement that keeps a row, whose columns it selects from "new".
std::string Putting(const std::string& table, const std::string& statement) {
  const CopiedTable& copied = CopiedTableOf(table);
  std::string values;
  for (std::size_t i = 0; i < copied.columns.size(); ++i) values += i == 0 ? "?" : ", ?";
  return "WITH new (" + ColumnsOf(copied) + ") AS (VALUES (" + values + ")) " + statement;
}
std::string PuttingAsIs(const std::string& table) {
  const std::string columns = ColumnsOf(CopiedTableOf(table));
  return Putting(table,
                 "INSERT INTO " + table + " (" + columns + ") SELECT " + columns + " FROM new");
}

std::string OfManager(const std::string& table) {
  return "AND EXISTS (SELECT 1 FROM manager WHERE manager.id = " + table + ".manager) ";
}
std::string OfChassis(const std::string& table) {
  return "AND (" + table +
         ".chassis IS NULL OR EXISTS (SELECT 1 FROM chassis WHERE number = " + table +
         ".chassis)) ";
}
std::string ChassisIdOf(const std::string& table) {
  return "(SELECT chassis.id FROM chassis WHERE number = " + table + ".chassis)";
}
const std::string kNewChassis = "(SELECT number FROM chassis WHERE chassis.id = new.chassis)";
std::string LastReading(const std::string& column) {
  return "(SELECT " + column +
         " FROM reading WHERE reading.member = member.id ORDER BY reading.id DESC LIMIT 1)";
}

std::string AsIs(const std::string& table) { return ColumnsOf(CopiedTableOf(table)); }

const Kept kKeptAccount("account", "id", AsIs("account"), "account", "");
const Kept kKeptKey("registration_key", "id", AsIs("registration_key"), "registration_key", "");
const Kept kKeptOperator("operator", "id", AsIs("operator"), "operator", "");
const Kept kKeptRemoval("removal", "id", AsIs("removal"), "removal", "AND account IS NOT NULL ");
const Kept kKeptManager(
    "manager", "manager.id",
    "manager.id, uuid, name, token_hash, registered, account, changed, label, model, serial, "
    "firmware, faults, alarms, warnings, heartbeat_count, heartbeat_last, heartbeat_interval, "
    "late_at, offline_at, coalesce(address, ''), document",
    "manager CROSS JOIN manager_document ON manager_document.manager = manager.id", "");
const Kept kKeptChassis("chassis", "number", AsIs("chassis"), "chassis", OfManager("chassis"));
const Kept kKeptResource("resource", "id",
                         "manager, path, " + ChassisIdOf("resource") + ", document, changed",
                         "resource", OfManager("resource") + OfChassis("resource"));
const Kept kKeptEvent(
    "event", "id",
    "id, manager, chassis, message_id, severity, document, received, kind, "
    "EXISTS (SELECT 1 FROM alarm WHERE alarm.event = event.id AND closed IS NULL)",
    "event", OfManager("event"));
const Kept kKeptAlarm("alarm", "alarm.id",
                      "alarm.id, alarm.manager, chassis.id, message_id, severity, rank, event, "
                      "opening, opened, closed, acknowledged, acknowledged_by, note",
                      "alarm CROSS JOIN chassis ON number = alarm.chassis", OfManager("alarm"));
const Kept kKeptSilence("silence", "id", AsIs("silence"), "silence", OfManager("silence"));
const Kept kKeptMember("member", "id",
                       "id, manager, " + ChassisIdOf("member") + ", path, name, " +
                           LastReading("time") + ", " + LastReading("value"),
                       "member",
                       OfManager("member") + OfChassis("member") +
                           "AND EXISTS (SELECT 1 FROM reading WHERE reading.member = member.id) ");
const Kept kKeptReading("reading", "id", AsIs("reading"), "reading",
                        "AND EXISTS (SELECT 1 FROM member WHERE member.id = reading.member " +
                            OfManager("member") + OfChassis("member") + ") ");
const Kept kKeptMessage("message", "id", AsIs("message"), "message", OfManager("message"));

const Sql kCopyAccount(PuttingAsIs("account"));
const Sql kCopyKey(PuttingAsIs("registration_key"));
const Sql kCopyOperator(PuttingAsIs("operator"));
const Sql kCopyRemoval(PuttingAsIs("removal"));
const Sql kCopyManager(Putting(
    "manager",
    "INSERT INTO manager (id, uuid, name, token_hash, registered, account, changed, label, model, "
    "serial, firmware, faults, alarms, warnings, heartbeat_count, heartbeat_last, "
    "heartbeat_interval, late_at, offline_at, next_at, address) "
    "SELECT key, uuid, name, token_hash, registered, account, changed, label, model, serial, "
    "firmware, faults, alarms, warnings, heartbeats, last_heartbeat, heartbeat_interval, late_at, "
    "offline_at, late_at, address FROM new"));
const Sql kCopyDocument(Putting(
    "manager", "INSERT INTO manager_document (manager, document) SELECT key, document FROM new"));
const Sql kCopyChassis(PuttingAsIs("chassis"));
const Sql kCopyResource(
    Putting("resource",
            "INSERT INTO resource (manager, path, chassis, document, changed) SELECT manager, "
            "path, " +
                kNewChassis + ", document, changed FROM new"));
const Sql kCopyEvent(
    Putting("event",
            "INSERT INTO event (id, manager, chassis, message_id, severity, document, received, "
            "kind) SELECT id, manager, chassis, message_id, severity, document, received, kind "
            "FROM new"));
const Sql kCopyAlarm(
    Putting("alarm",
            "INSERT INTO alarm (id, manager, chassis, message_id, severity, rank, event, opening, "
            "opened, closed, acknowledged, acknowledged_by, note) SELECT id, manager, " +
                kNewChassis +
                ", message_id, severity, rank, event, opening, opened, closed, acknowledged, "
                "acknowledged_by, note FROM new"));
const Sql kCopySilence(PuttingAsIs("silence"));
const Sql kCopyMember(
    Putting("member", "INSERT INTO member (id, manager, chassis, path, name) SELECT id, manager, " +
                          kNewChassis + ", path, name FROM new"));
const Sql kCopyReading(PuttingAsIs("reading"));
const Sql kCopyMessage(PuttingAsIs("message"));

// In the order of CopiedTables().
struct Way {
  const char* table;
  const Kept& kept;
  std::vector<const Sql*> put;
};
const std::vector<Way>& Ways() {
  static const std::vector<Way> ways = {
      {"account", kKeptAccount, {&kCopyAccount}},
      {"registration_key", kKeptKey, {&kCopyKey}},
      {"operator", kKeptOperator, {&kCopyOperator}},
      {"removal", kKeptRemoval, {&kCopyRemoval}},
      {"manager", kKeptManager, {&kCopyManager, &kCopyDocument}},
      {"chassis", kKeptChassis, {&kCopyChassis}},
      {"resource", kKeptResource, {&kCopyResource}},
      {"event", kKeptEvent, {&kCopyEvent}},
      {"alarm", kKeptAlarm, {&kCopyAlarm}},
      {"silence", kKeptSilence, {&kCopySilence}},
      {"member", kKeptMember, {&kCopyMember}},
      {"reading", kKeptReading, {&kCopyReading}},
      {"message", kKeptMessage, {&kCopyMessage}},
  };
  return ways;
}

// The tables whose numbers are never given twice, and three more whose last number counts.
const Sql kLastNumbers(
    "SELECT name, seq FROM sqlite_sequence "
    "UNION ALL SELECT 'member', (SELECT coalesce(max(id), 0) FROM member) "
    "UNION ALL SELECT 'message', (SELECT coalesce(max(id), 0) FROM message) "
    "UNION ALL SELECT 'change', (SELECT coalesce(max(id), 0) FROM change)");
const Sql kRaiseNumber("UPDATE sqlite_sequence SET seq = max(seq, ?1) WHERE name = ?2");
const Sql kAddNumber(
    "INSERT INTO sqlite_sequence (name, seq) SELECT ?2, ?1 FROM sqlite_schema "
    "WHERE type = 'table' AND name = ?2 AND sql LIKE '%AUTOINCREMENT%' "
    "AND NOT EXISTS (SELECT 1 FROM sqlite_sequence WHERE name = ?2)");
// Changes are not carried, and a reader of the live stream that has read some of the source has to
// load everything afresh: no identifier that it may know is given again.
const Sql kBeginChanges(
    "INSERT INTO change (id, what, manager, event, kind, name) VALUES (? + 1, ?, '', 0, 0, '')");
const Sql kCountTotals(
    "UPDATE total SET (faults, alarms, warnings, with_fault, with_alarm, with_warning) = ("
    "SELECT coalesce(sum(faults), 0), coalesce(sum(alarms), 0), coalesce(sum(warnings), 0), "
    "coalesce(sum(faults > 0), 0), coalesce(sum(alarms > 0), 0), coalesce(sum(warnings > 0), 0) "
    "FROM manager)");

// A silence that is open ends with the next heartbeat where the state is known.
const Sql kFindSilent(
    "UPDATE manager SET state = 3 - rank, went_at = coalesce(offline, opened) "
    "FROM silence WHERE silence.manager = manager.id AND closed IS NULL");

CopiedRow RowOf(const CopiedTable& table, const Statement& statement) {
  CopiedRow row(table.columns.size());
  for (std::size_t i = 0; i < row.size(); ++i) {
    const int column = static_cast<int>(i);
    if (statement.IsNull(column)) continue;
    if (table.columns[i].type == CopiedColumn::Type::kText) {
      row[i] = statement.Text(column);
    } else {
      row[i] = statement.Number(column);
    }
  }
  return row;
}

void Bind(Statement& statement, const CopiedValue& value) {
  if (const auto* number = std::get_if<std::int64_t>(&value)) {
    statement.Bind(*number);
  } else if (const auto* text = std::get_if<std::string>(&value)) {
    statement.Bind(*text);
  } else {
    statement.BindNull();
  }
}

}  // namespace

SqliteSide::SqliteSide(const std::string& file, MissingFile missing)
    : m_file(file), m_database(file, missing) {
  m_database.Execute(kLargeCache);
}

std::string SqliteSide::Identity() {
  struct stat file = {};
  if (stat(m_file.c_str(), &file) != 0) throw DatabaseError("cannot find " + m_file);
  return "file " + std::to_string(file.st_dev) + " " + std::to_string(file.st_ino);
}

void SqliteSide::BeginReading() {
  m_lock = std::make_unique<DatabaseLock>(m_file);
  if (CheckedVersion(m_database, m_file) == 0) throw DatabaseError(m_file + " is empty");
  UpgradeSchema(m_database, m_file);
  m_reading = std::make_unique<DatabaseTransaction>(m_database);
}

void SqliteSide::BeginWriting() {
  m_lock = std::make_unique<DatabaseLock>(m_file);
  if (IsUnfinishedCopy(m_database, m_file)) return;
  UpgradeSchema(m_database, m_file);
  for (const CopiedTable& table : CopiedTables()) {
    if (Count(table) > 0) throw DatabaseError(NotEmpty(m_file));
  }
  m_database.Execute(kMakeCopyNotes);
}

std::int64_t SqliteSide::Count(const CopiedTable& table) {
  Statement count(m_database, Ways().at(table.number).kept.count);
  return count.Step() ? count.Number(0) : 0;
}

CopySide::Rows SqliteSide::Next(const CopiedTable& table, const std::string& place) {
  Statement next(m_database, Ways().at(table.number).kept.next);
  next.Bind(static_cast<std::int64_t>(std::strtoll(place.c_str(), nullptr, 10)));
  Rows some;
  std::size_t bytes = 0;
  std::int64_t last = 0;
  while (some.rows.size() < kCopiedRowsAtOnce && bytes < kCopiedBytesAtOnce && next.Step()) {
    some.rows.push_back(RowOf(table, next));
    bytes += BytesOf(some.rows.back());
    last = next.Number(static_cast<int>(table.columns.size()));
  }
  some.place = std::to_string(last);
  return some;
}

CopySide::Numbers SqliteSide::LastNumbers() {
  Numbers numbers;
  Statement select(m_database, kLastNumbers);
  while (select.Step()) numbers[select.Text(0)] = select.Number(1);
  return numbers;
}

CopySide::Notes SqliteSide::Noted() {
  Notes notes;
  Statement select(m_database, kNotes);
  while (select.Step()) notes[select.Text(0)] = select.Text(1);
  return notes;
}

void SqliteSide::Put(const CopiedTable& table, const std::vector<CopiedRow>& rows,
                     const Notes& notes) {
  DatabaseTransaction transaction(m_database);
  for (const CopiedRow& row : rows) Put(table, row);
  for (const auto& [name, value] : notes) {
    Statement(m_database, kPutNote).Bind(name).Bind(value).Run();
  }
  transaction.Commit();
  if (m_database.LogPages() >= Database::kLogPages) m_database.MoveLog();
}

void SqliteSide::Put(const CopiedTable& table, const CopiedRow& row) {
  try {
    for (const Sql* sql : Ways().at(table.number).put) {
      Statement put(m_database, *sql);
      for (const CopiedValue& value : row) Bind(put, value);
      put.Run();
    }
  } catch (const DatabaseError& error) {
    throw DatabaseError("cannot keep " + NameOf(table, row) + " in " + m_file + ": " +
                        error.what());
  }
}

void SqliteSide::Finish(const Numbers& source) {
  DatabaseTransaction transaction(m_database);
  for (const auto& [name, number] : source) {
    Statement(m_database, kRaiseNumber).Bind(number).Bind(name).Run();
    Statement(m_database, kAddNumber).Bind(number).Bind(name).Run();
  }
  Statement(m_database, kCountTotals).Run();
  Statement(m_database, kFindSilent).Run();
  Statement(m_database, kBeginChanges)
      .Bind(source.at("change"))
      .Bind(static_cast<std::int64_t>(Change::What::kAny))
      .Run();
  m_database.Execute(kDropCopyNotes);
  transaction.Commit();
}

std::unique_ptr<CopySide> OpenSqliteSide(const std::string& file, MissingFile missing) {
  return std::make_unique<SqliteSide>(file, missing);
}

}  // namespace cloudservice
