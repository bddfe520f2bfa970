// SPDX-License-Identifier: Apache-2.0
// Events, and what they do to alarms.
#include "service/store/postgresql/PostgresTransaction.h"

namespace cloudservice::postgresql {

namespace {

const Sql kAddEvent(
    "WITH new AS (INSERT INTO event "
    "(id, day, manager, chassis, message_id, severity, document, received, kind) "
    "SELECT id, id >> 32, $2, $3, $4, $5, $6, $7, $8 FROM next_event($1) AS id RETURNING id, day) "
    "INSERT INTO event_count (manager, day, count) SELECT $2, day, 1 FROM new "
    "ON CONFLICT (manager, day) DO UPDATE SET count = event_count.count + 1 "
    "RETURNING (SELECT id FROM new), count, before");
const Sql kCountBefore(
    "UPDATE event_count SET before = (SELECT coalesce(sum(count), 0) FROM event_count "
    "WHERE manager = $1 AND day <> $2) + (SELECT count(*) FROM event WHERE manager = $1 AND day = "
    "-1) "
    "WHERE manager = $1 AND day = $2 RETURNING before");
const std::string kOfOwner = "manager = (SELECT key FROM manager WHERE uuid = $1) ";
const Sql kEventById(
    "SELECT chassis, message_id, severity, document, received, kind FROM event WHERE " + kOfOwner +
        "AND id = $2 AND day IN (-1, $2 >> 32)",
    Sql::Plan::kEachTime);

const Sql kOpenAlarm(
    "SELECT id, severity FROM alarm WHERE chassis = $1 AND message_id = $2 AND closed IS NULL");
const Sql kAddAlarm(
    "INSERT INTO alarm (manager, chassis, message_id, severity, rank, event, opened, opening) "
    "VALUES ($1, $2, $3, $4, $5, $6, $7, $6)");
// Nobody looks after an alarm that has become worse.
const Sql kChangeAlarm(
    "UPDATE alarm SET severity = $2, rank = $3, event = $4, "
    "acknowledged = CASE WHEN $3 >= rank THEN acknowledged END WHERE id = $1");
const Sql kCloseAlarm("UPDATE alarm SET closed = $2 WHERE id = $1");
const Sql kAddToAlarmCounts(
    "UPDATE manager SET faults = faults + $2, alarms = alarms + $3, warnings = warnings + $4 "
    "WHERE key = $1 RETURNING faults, alarms, warnings");

const Sql kCountEvents("SELECT (SELECT coalesce(sum(count), 0) FROM event_count WHERE " + kOfOwner +
                       ") + (SELECT count(*) FROM event WHERE " + kOfOwner + "AND day = -1)");
const std::string kNextEvents =
    "SELECT id FROM event WHERE " + kOfOwner + "AND id > $2 AND (day = -1 OR day >= $2 >> 32) ";
const Sql kEventPage(kNextEvents + "ORDER BY id LIMIT $3 OFFSET $4", Sql::Plan::kEachTime);
const std::string kPassingEvent =
    "AND ($3::text IS NULL OR chassis = $3) "
    "AND ($4::text IS NULL OR severity = $4) ";
const Sql kPassingEvents(kNextEvents + kPassingEvent + "ORDER BY id LIMIT $5",
                         Sql::Plan::kEachTime);
// Searches from the alarms, since most events have no alarm. An alarm has the severity of its
// event.
const std::string kPassingAlarms =
    "SELECT event FROM alarm WHERE " + kOfOwner + "AND event > $2 " + kPassingEvent + "AND closed ";
const Sql kOfOpenAlarms(kPassingAlarms + "IS NULL ORDER BY event LIMIT $5");
const Sql kOfClosedAlarms(kPassingAlarms + "IS NOT NULL ORDER BY event LIMIT $5");

const Sql& Listing(const EventFilter& filter) {
  if (!filter.cleared) return kPassingEvents;
  return *filter.cleared ? kOfClosedAlarms : kOfOpenAlarms;
}

std::int64_t RankOf(const std::string& severity) {
  return static_cast<std::int64_t>(SeverityOf(severity));
}

std::vector<std::int64_t> Identifiers(const Result& result) {
  std::vector<std::int64_t> ids;
  for (const Row row : result) ids.push_back(row.Number(0));
  return ids;
}

}  // namespace

StoredEvent PostgresTransaction::AddEvent(const EventRecord& event, const std::string& alarm) {
  const EventKind kind = KindOf(event.messageId, event.severity);
  const std::int64_t manager = Owned(event.manager);
  // Before the identifier is given, whose day is then this one or a later one that was used
  // already.
  m_days.Ensure("event", DayOf(event.received));
  const Result added = Run(
      kAddEvent, {DayOf(event.received), manager, event.chassis, event.messageId, event.severity,
                  event.document, event.received, static_cast<std::int64_t>(kind)});
  const Row row = added.First();
  StoredEvent stored;
  stored.id = row.Number(0);
  const std::int64_t day = DayOfEvent(stored.id);
  if (day == DayOf(event.received)) stored.today = row.Number(1);
  stored.kept = row.Number(1) + (row.IsNull(2) ? Run(kCountBefore, {manager, day}).First().Number(0)
                                               : row.Number(2));
  if (kind == EventKind::kAlarm) stored.outcome = RaiseAlarm(manager, event, stored.id, alarm);
  if (kind == EventKind::kClear) stored.outcome = ClearAlarm(manager, event, alarm);
  m_changes.push_back({Change::What::kEvent, event.manager, stored.id, {}});
  if (stored.outcome != AlarmOutcome::kNone) NoteAppliance(event.manager);
  return stored;
}

std::optional<PostgresTransaction::OpenAlarm> PostgresTransaction::FindOpenAlarm(
    const std::string& chassis, const std::string& alarm) {
  const Result open = Run(kOpenAlarm, {chassis, alarm});
  if (open.Empty()) return std::nullopt;
  return OpenAlarm{open.First().Number(0), open.First().Text(1)};
}

AlarmOutcome PostgresTransaction::RaiseAlarm(std::int64_t manager, const EventRecord& event,
                                             std::int64_t id, const std::string& alarm) {
  const std::optional<OpenAlarm> open = FindOpenAlarm(event.chassis, alarm);
  const std::int64_t rank = RankOf(event.severity);
  if (!open) {
    // Run, not deferred: there may be no such chassis.
    Run(kAddAlarm, {manager, event.chassis, alarm, event.severity, rank, id, event.received});
    CountAlarms(manager, nullptr, &event.severity);
    return AlarmOutcome::kOpened;
  }
  Defer(kChangeAlarm, {open->id, event.severity, rank, id});
  CountAlarms(manager, &open->severity, &event.severity);
  return open->severity == event.severity ? AlarmOutcome::kRepeated : AlarmOutcome::kChanged;
}

AlarmOutcome PostgresTransaction::ClearAlarm(std::int64_t manager, const EventRecord& event,
                                             const std::string& alarm) {
  const std::optional<OpenAlarm> open = FindOpenAlarm(event.chassis, alarm);
  if (!open) return AlarmOutcome::kNotOpen;
  Defer(kCloseAlarm, {open->id, event.received});
  CountAlarms(manager, &open->severity, nullptr);
  return AlarmOutcome::kClosed;
}

void PostgresTransaction::CountAlarms(std::int64_t manager, const std::string* gone,
                                      const std::string* come) {
  TotalsChange change;
  AlarmCounts& more = change.alarms;
  if (gone != nullptr) --more.at(static_cast<std::size_t>(RankOf(*gone)));
  if (come != nullptr) ++more.at(static_cast<std::size_t>(RankOf(*come)));
  if (more == AlarmCounts{}) return;
  const Result counted = Run(kAddToAlarmCounts, {manager, more[0], more[1], more[2]});
  for (std::size_t i = 0; i < more.size(); ++i) {
    const std::int64_t now = counted.First().Number(static_cast<int>(i));
    const std::int64_t before = now - more.at(i);
    change.alarmed.at(i) = (now > 0 ? 1 : 0) - (before > 0 ? 1 : 0);
  }
  ChangeTotals(change);
}

std::optional<EventRecord> PostgresTransaction::FindEvent(const std::string& manager,
                                                          std::int64_t id) {
  const Result result = Run(kEventById, {manager, id});
  if (result.Empty()) return std::nullopt;
  const Row row = result.First();
  return EventRecord{
      id,          manager,     row.Text(0),   row.Text(1),
      row.Text(2), row.Text(3), row.Number(4), static_cast<EventKind>(row.Number(5))};
}

std::vector<std::int64_t> PostgresTransaction::ListEvents(const EventFilter& filter,
                                                          const ListPage<std::int64_t>& page) {
  return Identifiers(Run(Listing(filter), {filter.manager, page.after.value_or(0), filter.chassis,
                                           filter.severity, page.limit}));
}

std::int64_t PostgresTransaction::CountEvents(const std::string& manager) {
  return Run(kCountEvents, {manager}).First().Number(0);
}

std::vector<std::int64_t> PostgresTransaction::ListEventPage(const EventPage& page) {
  return Identifiers(Run(kEventPage, {page.manager, page.after, page.limit, page.skip}));
}

}  // namespace cloudservice::postgresql
