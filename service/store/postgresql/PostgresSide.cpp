// SPDX-License-Identifier: Apache-2.0
// A database on a server as the source or the destination of a copy.
#include "service/store/postgresql/PostgresSide.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <utility>

#include "service/store/Backends.h"
#include "service/store/postgresql/Days.h"
#include "service/store/postgresql/Schema.h"
#include "service/store/postgresql/Sharing.h"

namespace cloudservice::postgresql {

namespace {

constexpr Sql::Plan kEachTime = Sql::Plan::kEachTime;

// The server may sort a day's events, or look for what is missing, for a long time.
constexpr std::chrono::hours kPatience(24);

const Sql kIdentity(
    "SELECT (SELECT system_identifier FROM pg_control_system())::text, oid::bigint "
    "FROM pg_database WHERE datname = current_database()",
    kEachTime);
// The lock goes first: the transaction sees the state of its first look. Nobody changes the tables
// until its end.
constexpr const char* kBeginReading =
    "SET lock_timeout = '10s'; BEGIN ISOLATION LEVEL REPEATABLE READ READ ONLY; "
    "LOCK TABLE account, registration_key, operator, removal, manager, manager_document, "
    "heartbeat, chassis, resource, event, alarm, silence, member, reading, message IN SHARE MODE";
const Sql kBeginLooking("BEGIN ISOLATION LEVEL REPEATABLE READ READ ONLY", kEachTime);
const Sql kBeginSide("BEGIN", kEachTime);
const Sql kCommitSide("COMMIT", kEachTime);
const Sql kRollbackSide("ROLLBACK", kEachTime);

const Sql kReadNotes("SELECT name, value FROM copy_note", kEachTime);
const Sql kPutNote(
    "INSERT INTO copy_note (name, value) VALUES ($1, $2) ON CONFLICT (name) "
    "DO UPDATE SET value = excluded.value",
    kEachTime);
// Followed by the day; the value is the first number that has it.
const std::string kNoteOfDay = "events of day ";

const Sql kCloseCursor("CLOSE copied", kEachTime);
// A document may be large.
const Sql kFetchDocuments("FETCH 50 FROM copied", kEachTime);
const Sql kFetch("FETCH 2500 FROM copied", kEachTime);
const Sql kNextDay("SELECT min(day) FROM (" + kPartitions + ") AS days WHERE day > $2", kEachTime);
// The service's role may neither make a table nor set the numbers that are given.
const Sql kOwnsTables(
    "SELECT pg_has_role(relowner, 'USAGE') FROM pg_class "
    "WHERE oid = 'manager'::regclass",
    kEachTime);
const Sql kAnyParted("SELECT 1 FROM event WHERE day >= 0 LIMIT 1", kEachTime);
const Sql kMakeCopiedDay("SELECT make_day($1, $2)", kEachTime);

bool Has(const CopiedTable& table, const std::string& column) {
  return std::any_of(table.columns.begin(), table.columns.end(),
                     [&](const CopiedColumn& one) { return one.name == column; });
}

// How a table is kept here. What the condition leaves out was removed.
struct Kept {
  enum class Parts { kOne, kEvents, kReadings };

  Kept(const std::string& table, const std::string& key, const std::string& columns,
       const std::string& from, const std::string& condition, const std::string& statement,
       Parts parted = Parts::kOne)
      : count("SELECT count(*) FROM " + table, kEachTime),
        open("DECLARE copied NO SCROLL CURSOR FOR SELECT " + columns + " FROM " + from + " WHERE " +
                 After(key, parted) + condition + " ORDER BY " + key,
             kEachTime),
        put(With(CopiedTableOf(table)) + statement, kEachTime),
        parts(parted),
        keys(key.find(',') == std::string::npos ? 1 : 2) {}
  Kept(const Kept&) = delete;
  Kept& operator=(const Kept&) = delete;

  const Sql count;
  const Sql open;  // of the rows behind the number $1, or, in a partition, of the day $1 behind $2
  const Sql put;
  const Parts parts;
  const int keys;  // how many columns the key has

 private:
  static std::string After(const std::string& key, Parts parts) {
    switch (parts) {
      case Parts::kOne:
        break;
      case Parts::kEvents:
        return "day = $1 AND id > $2 ";
      case Parts::kReadings:
        return "time >= $1::bigint * 86400 AND time < ($1::bigint + 1) * 86400 AND id > $2 ";
    }
    if (key.find(',') == std::string::npos) return key + " > $1 ";
    return "(" + key + ") > ($1, $2) ";
  }
  // The rows, as "new".
  static std::string With(const CopiedTable& table) {
    std::string arrays;
    for (std::size_t i = 0; i < table.columns.size(); ++i) {
      const bool number = table.columns[i].type == CopiedColumn::Type::kNumber;
      arrays +=
          (i == 0 ? "$" : ", $") + std::to_string(i + 1) + (number ? "::bigint[]" : "::text[]");
    }
    return "WITH new AS (SELECT * FROM unnest(" + arrays + ") AS sent (" + ColumnsOf(table) + ")) ";
  }
};

std::string AsIs(const std::string& table) { return ColumnsOf(CopiedTableOf(table)); }
std::string PutAsIs(const std::string& table) {
  return "INSERT INTO " + table + " (" + AsIs(table) + ") SELECT " + AsIs(table) + " FROM new";
}
std::string OfManager(const std::string& table) {
  return "AND EXISTS (SELECT 1 FROM manager WHERE manager.key = " + table + ".manager) ";
}
// A table that has the columns that are copied.
struct KeptAsIs : Kept {
  KeptAsIs(const std::string& table, const std::string& key, const std::string& condition)
      : Kept(table, key, AsIs(table), table, condition, PutAsIs(table)) {}
};

const KeptAsIs kKeptAccount("account", "id", "");
const KeptAsIs kKeptKey("registration_key", "id", "");
const KeptAsIs kKeptOperator("operator", "id", "");
const Kept kKeptRemoval("removal", "key", "key", "removal", "AND kind = 0 ",
                        "INSERT INTO removal (kind, key) SELECT 0, account FROM new");
const Kept kKeptManager(
    "manager", "key",
    "key, uuid, name, token_hash, registered, account, changed, label, model, serial, firmware, "
    "faults, alarms, warnings, heartbeat.count, heartbeat.last, heartbeat.interval, late_at, "
    "offline_at, address, document",
    "manager JOIN manager_document ON manager_document.manager = key "
    "JOIN heartbeat ON heartbeat.manager = key",
    "",
    ", documents AS (INSERT INTO manager_document (manager, document) "
    "SELECT key, document FROM new), "
    "hearts AS (INSERT INTO heartbeat (manager, count, last, interval, late_at, offline_at, "
    "next_at, silent, address) SELECT key, heartbeats, last_heartbeat, heartbeat_interval, "
    "late_at, "
    "offline_at, late_at, last_heartbeat IS NULL, address FROM new) "
    "INSERT INTO manager (key, uuid, name, token_hash, registered, account, changed, label, "
    "model, serial, firmware, faults, alarms, warnings) SELECT key, uuid, name, token_hash, "
    "registered, account, changed, label, model, serial, firmware, faults, alarms, warnings "
    "FROM new");
const KeptAsIs kKeptChassis("chassis", "number", OfManager("chassis"));
const KeptAsIs kKeptResource("resource", "manager, path", OfManager("resource"));
// "open" is the day of the partition by then.
const Kept kKeptEvent(
    "event", "id",
    "id, manager, chassis, message_id, severity, document, received, kind, "
    "EXISTS (SELECT 1 FROM alarm WHERE alarm.event = event.id AND closed IS NULL)::int",
    "event", OfManager("event"),
    ", added AS (INSERT INTO event (id, day, manager, chassis, message_id, severity, document, "
    "received, kind) SELECT id, open, manager, chassis, message_id, severity, document, received, "
    "kind FROM new) "
    "INSERT INTO event_count (manager, day, count) SELECT manager, open, count(*) FROM new "
    "WHERE open >= 0 GROUP BY manager, open ORDER BY manager, open ON CONFLICT (manager, day) "
    "DO UPDATE SET count = event_count.count + excluded.count",
    Kept::Parts::kEvents);
const KeptAsIs kKeptAlarm("alarm", "id", OfManager("alarm"));
const KeptAsIs kKeptSilence("silence", "id", OfManager("silence"));
const KeptAsIs kKeptMember(
    "member", "id",
    OfManager("member") + "AND EXISTS (SELECT 1 FROM reading WHERE reading.member = member.id) ");
const Kept kKeptReading(
    "reading", "id", AsIs("reading"), "reading",
    "AND EXISTS (SELECT 1 FROM member JOIN manager ON manager.key = member.manager "
    "WHERE member.id = reading.member) ",
    PutAsIs("reading"), Kept::Parts::kReadings);
const KeptAsIs kKeptMessage("message", "id", OfManager("message"));

const Kept& KeptOf(const CopiedTable& table) {
  // In the order of CopiedTables().
  static const std::array<const Kept*, 13> all = {
      &kKeptAccount, &kKeptKey,      &kKeptOperator, &kKeptRemoval, &kKeptManager,
      &kKeptChassis, &kKeptResource, &kKeptEvent,    &kKeptAlarm,   &kKeptSilence,
      &kKeptMember,  &kKeptReading,  &kKeptMessage};
  return *all.at(table.number);
}

// The sequence that gives the numbers of a table.
struct Sequence {
  Sequence(const std::string& table, const std::string& sequence)
      : name(table),
        last("SELECT CASE WHEN is_called THEN last_value ELSE 0 END FROM " + sequence, kEachTime),
        set("SELECT setval('" + sequence + "', $1::bigint) FROM " + sequence +
                " WHERE $1::bigint > CASE WHEN is_called THEN last_value ELSE 0 END",
            kEachTime) {}
  Sequence(const Sequence&) = delete;
  Sequence& operator=(const Sequence&) = delete;

  const std::string name;
  const Sql last;
  const Sql set;
};
const std::array<Sequence, 11> kSequences = {{{"account", "account_id_seq"},
                                              {"registration_key", "registration_key_id_seq"},
                                              {"operator", "operator_id_seq"},
                                              {"manager", "manager_key_seq"},
                                              {"chassis", "chassis_number_seq"},
                                              {"event", "event_id"},
                                              {"alarm", "alarm_id_seq"},
                                              {"silence", "silence_id_seq"},
                                              {"member", "member_id_seq"},
                                              {"reading", "reading_id"},
                                              {"message", "message_id_seq"}}};
const Sql kLastChangeCopied("SELECT coalesce(max(id), 0) FROM change", kEachTime);

// A silence that is open ends with the next heartbeat where the state is known.
constexpr const char* kFinishCopy =
    "BEGIN; UPDATE heartbeat SET state = 3 - rank, went_at = coalesce(silence.offline, opened) "
    "FROM silence WHERE silence.manager = heartbeat.manager AND closed IS NULL; "
    "DELETE FROM total; "
    "INSERT INTO total SELECT count(*), (SELECT count(*) FROM chassis), coalesce(sum(faults), 0), "
    "coalesce(sum(alarms), 0), coalesce(sum(warnings), 0), count(*) FILTER (WHERE faults > 0), "
    "count(*) FILTER (WHERE alarms > 0), count(*) FILTER (WHERE warnings > 0), "
    "count(*) FILTER (WHERE state = 1), count(*) FILTER (WHERE state = 2) "
    "FROM manager JOIN heartbeat ON heartbeat.manager = key; "
    "DROP TABLE copy_note; COMMIT";

CopiedRow RowOf(const CopiedTable& table, const Row& row) {
  CopiedRow copied(table.columns.size());
  for (std::size_t i = 0; i < copied.size(); ++i) {
    const int column = static_cast<int>(i);
    if (row.IsNull(column)) continue;
    if (table.columns[i].type == CopiedColumn::Type::kText) {
      copied[i] = row.Text(column);
    } else {
      copied[i] = row.Number(column);
    }
  }
  return copied;
}

// An array for each column.
Values ArraysOf(const CopiedTable& table, const std::vector<CopiedRow>& rows) {
  Values values;
  for (std::size_t i = 0; i < table.columns.size(); ++i) {
    ArrayLiteral array;
    for (const CopiedRow& row : rows) {
      if (const auto* number = std::get_if<std::int64_t>(&row[i])) {
        array.Add(*number);
      } else if (const auto* text = std::get_if<std::string>(&row[i])) {
        array.Add(*text);
      } else {
        array.AddNull();
      }
    }
    values.emplace_back(std::move(array));
  }
  return values;
}

std::int64_t& NumberIn(const CopiedTable& table, CopiedRow& row, const char* column) {
  return std::get<std::int64_t>(row[PlaceOf(table, column)]);
}

std::int64_t NumberIn(const CopiedTable& table, const CopiedRow& row, const char* column) {
  return std::get<std::int64_t>(row[PlaceOf(table, column)]);
}

// Whether the server refuses the rows for what they are.
bool IsAboutRows(const ServerError& error) {
  for (const char* kind : {"22", "23", "54"}) {
    if (error.State().rfind(kind, 0) == 0) return true;
  }
  return false;
}

}  // namespace

PostgresSide::PostgresSide(const std::string& url, std::chrono::milliseconds wait)
    : m_name(ShownUrl(url)), m_wait(wait), m_connection(url, kPatience) {}

std::string PostgresSide::Identity() {
  const Result result = m_connection.Run(kIdentity);
  return "server " + result.First().Text(0) + " " + result.First().Text(1);
}

void PostgresSide::BeginReading() {
  TakeDatabase(m_connection, m_name, m_wait);
  if (!HasSchema(m_connection, m_name)) throw DatabaseError(m_name + " is empty");
  UpgradeSchema(m_connection, m_name);
  m_connection.Execute(kBeginReading);
  m_inTransaction = true;
}

void PostgresSide::BeginWriting() {
  TakeDatabase(m_connection, m_name, m_wait);
  const bool goesOn = UpgradeForCopy(m_connection, m_name);
  if (!m_connection.Run(kOwnsTables).First().Truth(0)) {
    throw DatabaseError("only the owner of the tables of " + m_name + " can copy into it");
  }
  if (goesOn) {
    m_parted = !m_connection.Run(kAnyParted).Empty();
    for (const auto& [name, value] : Noted()) {
      if (name.rfind(kNoteOfDay, 0) != 0) continue;
      m_days.Restore(std::stoll(value), std::stoll(name.substr(kNoteOfDay.size())));
    }
  } else {
    for (const CopiedTable& table : CopiedTables()) {
      if (Count(table) > 0) throw DatabaseError(NotEmpty(m_name));
    }
    m_connection.Execute(kMakeCopyNotes);
  }
  // What is lost when the server breaks down is copied again: the notes say how far it got.
  m_connection.Execute("SET synchronous_commit = off");
}

std::int64_t PostgresSide::Count(const CopiedTable& table) {
  return m_connection.Run(KeptOf(table).count).First().Number(0);
}

CopySide::Rows PostgresSide::Next(const CopiedTable& table, const std::string& place) {
  if (m_reading.table != &table || m_reading.place != place) Seek(table, place);
  Rows some;
  std::size_t bytes = 0;
  while (m_reading.open && some.rows.size() < kCopiedRowsAtOnce && bytes < kCopiedBytesAtOnce) {
    bytes += Fetch(some.rows);
  }
  some.place = m_reading.place;
  return some;
}

void PostgresSide::Seek(const CopiedTable& table, const std::string& place) {
  if (!m_inTransaction) m_connection.Run(kBeginLooking);
  m_inTransaction = true;
  Close();
  m_reading = {&table, place, 0, false};
  char* rest = nullptr;
  const std::int64_t first = std::strtoll(place.c_str(), &rest, 10);
  const std::string second = *rest == ' ' ? rest + 1 : "";
  const Kept& kept = KeptOf(table);
  if (kept.parts != Kept::Parts::kOne) {
    const bool fromStart = place.empty();
    const bool events = kept.parts == Kept::Parts::kEvents;
    const std::optional<std::int64_t> start = events ? std::optional(kKeptDay) : NextDay(kKeptDay);
    return OpenPartition(fromStart ? start : first, std::strtoll(second.c_str(), nullptr, 10));
  }
  Values key = {first};
  if (kept.keys == 2) key.emplace_back(second);
  m_connection.Run(kept.open, key);
  m_reading.open = true;
}

std::optional<std::int64_t> PostgresSide::NextDay(std::int64_t after) {
  return m_connection.Run(kNextDay, {m_reading.table->name, after}).First().OptionalNumber(0);
}

void PostgresSide::OpenPartition(std::optional<std::int64_t> day, std::int64_t after) {
  if (!day) return;
  m_reading.day = *day;
  m_connection.Run(KeptOf(*m_reading.table).open, {*day, after});
  m_reading.open = true;
}

void PostgresSide::Close() {
  if (std::exchange(m_reading.open, false)) m_connection.Run(kCloseCursor);
}

std::size_t PostgresSide::Fetch(std::vector<CopiedRow>& rows) {
  const CopiedTable& table = *m_reading.table;
  const Result result = m_connection.Run(Has(table, "document") ? kFetchDocuments : kFetch);
  std::size_t bytes = 0;
  for (const Row row : result) {
    rows.push_back(RowOf(table, row));
    bytes += BytesOf(rows.back());
  }
  if (!result.Empty()) {
    m_reading.place = PlaceOf(rows.back());
    return bytes;
  }
  Close();
  if (KeptOf(table).parts != Kept::Parts::kOne) OpenPartition(NextDay(m_reading.day), 0);
  return 0;
}

// The day of the partition and the number in it, or the key.
std::string PostgresSide::PlaceOf(const CopiedRow& row) const {
  const Kept& kept = KeptOf(*m_reading.table);
  const std::string number = std::to_string(std::get<std::int64_t>(row[0]));
  if (kept.parts != Kept::Parts::kOne) return std::to_string(m_reading.day) + " " + number;
  return kept.keys == 1 ? number : number + " " + std::get<std::string>(row[1]);
}

CopySide::Numbers PostgresSide::LastNumbers() {
  Numbers numbers;
  for (const Sequence& sequence : kSequences) {
    numbers[sequence.name] = m_connection.Run(sequence.last).First().Number(0);
  }
  numbers["change"] = m_connection.Run(kLastChangeCopied).First().Number(0);
  return numbers;
}

CopySide::Notes PostgresSide::Noted() {
  Notes notes;
  const Result result = m_connection.Run(kReadNotes);
  for (const Row row : result) notes[row.Text(0)] = row.Text(1);
  return notes;
}

void PostgresSide::Arrange(const CopiedTable& table, CopiedRow& row) {
  if (table.name == "event") {
    std::int64_t& number = NumberIn(table, row, "id");
    const std::int64_t former = number;
    if (m_days.Add(former, NumberIn(table, row, "received"))) {
      const std::int64_t day = DayOfEvent(m_days.NumberOf(former));
      m_newDays[kNoteOfDay + std::to_string(day)] = std::to_string(former);
    }
    number = m_days.NumberOf(former);
    // The oldest stand apart as long as they are of open alarms, as retention leaves them: else
    // each of them might need a partition to itself.
    std::int64_t& open = NumberIn(table, row, "open");
    m_parted = m_parted || open == 0;
    open = m_parted ? DayOfEvent(number) : kKeptDay;
  }
  const auto arrange = [&](const char* column) {
    std::int64_t& number = NumberIn(table, row, column);
    number = m_days.NumberOf(number);
  };
  if (table.name == "alarm") {
    arrange("event");
    arrange("opening");
  }
  if (table.name == "message") arrange("event");
}

void PostgresSide::Put(const CopiedTable& table, const std::vector<CopiedRow>& rows,
                       const Notes& notes) {
  Notes all = notes;
  all.insert(m_newDays.begin(), m_newDays.end());
  try {
    Send(table, rows, all, kCommitSide);
  } catch (const ServerError& error) {
    if (IsAboutRows(error)) FailFor(table, rows);
    throw;
  }
  m_newDays.clear();
}

void PostgresSide::Send(const CopiedTable& table, const std::vector<CopiedRow>& rows,
                        const Notes& notes, const Sql& end) {
  try {
    m_connection.Defer(kBeginSide);
    MakeDays(table, rows);
    if (!rows.empty()) m_connection.Defer(KeptOf(table).put, ArraysOf(table, rows));
    for (const auto& [name, value] : notes) m_connection.Defer(kPutNote, {name, value});
    m_connection.Run(end);
  } catch (const ServerError&) {
    m_made.clear();
    m_connection.Run(kRollbackSide);
    throw;
  }
}

void PostgresSide::MakeDays(const CopiedTable& table, const std::vector<CopiedRow>& rows) {
  const Kept::Parts parts = KeptOf(table).parts;
  if (parts == Kept::Parts::kOne) return;
  for (const CopiedRow& row : rows) {
    MakeDay(table.name, parts == Kept::Parts::kEvents ? NumberIn(table, row, "open")
                                                      : DayOf(NumberIn(table, row, "time")));
  }
}

void PostgresSide::MakeDay(const std::string& table, std::int64_t day) {
  if (day == kKeptDay || !m_made.insert({table, day}).second) return;
  m_connection.Defer(kMakeCopiedDay, {table, day});
}

bool PostgresSide::IsRefused(const CopiedTable& table, const std::vector<CopiedRow>& rows) {
  try {
    Send(table, rows, {}, kRollbackSide);
    m_made.clear();
    return false;
  } catch (const ServerError& error) {
    if (IsAboutRows(error)) return true;
    throw;
  }
}

void PostgresSide::FailFor(const CopiedTable& table, std::vector<CopiedRow> rows) {
  while (rows.size() > 1) {
    const auto middle = rows.begin() + static_cast<std::ptrdiff_t>(rows.size() / 2);
    const std::vector<CopiedRow> half(rows.begin(), middle);
    rows = IsRefused(table, half) ? half : std::vector<CopiedRow>(middle, rows.end());
  }
  try {
    Send(table, rows, {}, kRollbackSide);
  } catch (const ServerError& error) {
    throw DatabaseError("cannot keep " + NameOf(table, rows.front()) + " in " + m_name + ": " +
                        error.what());
  }
  throw DatabaseError("cannot keep all of " + table.name + " in " + m_name);
}

void PostgresSide::Finish(const Numbers& source) {
  Close();
  if (std::exchange(m_inTransaction, false)) m_connection.Run(kCommitSide);
  for (const Sequence& sequence : kSequences) {
    std::int64_t number = source.at(sequence.name);
    if (sequence.name == "event") {
      number = m_days.NumberOf(number);
      // The next events may have this day, if the clock was ahead.
      if (DayOfEvent(number) > 0) MakeDay("event", DayOfEvent(number));
    }
    m_connection.Run(sequence.set, {number});
  }
  // For plans that fit what has come; the server would do it some time.
  m_connection.Execute("ANALYZE");
  m_connection.Execute("RESET synchronous_commit");
  m_connection.Execute(kFinishCopy);
}

}  // namespace cloudservice::postgresql

namespace cloudservice {

std::unique_ptr<CopySide> OpenPostgresSide(const std::string& url) {
  return std::make_unique<postgresql::PostgresSide>(url);
}

}  // namespace cloudservice
