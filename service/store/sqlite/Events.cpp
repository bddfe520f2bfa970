// SPDX-License-Identifier: Apache-2.0
// Events, and what they do to alarms.
#include "service/store/sqlite/SqliteTransaction.h"

namespace cloudservice {

namespace {

const Sql kAddEvent(
    "INSERT INTO event (manager, chassis, message_id, severity, document, received, kind) "
    "VALUES ((SELECT id FROM manager WHERE uuid = ?), ?, ?, ?, ?, ?, ?)");
const Sql kEventById(
    "SELECT id, chassis, message_id, severity, document, received, kind "
    "FROM event WHERE id = ? AND manager = (SELECT id FROM manager WHERE uuid = ?)");

const Sql kOpenAlarm(
    "SELECT alarm.id, severity FROM chassis CROSS JOIN alarm ON chassis = number "
    "WHERE chassis.id = ? AND message_id = ? AND closed IS NULL");
const Sql kAddAlarm(
    "INSERT INTO alarm (manager, chassis, message_id, severity, rank, event, opened, opening) "
    "VALUES ((SELECT manager FROM chassis WHERE id = ?1), "
    "(SELECT number FROM chassis WHERE id = ?1), ?2, ?3, ?4, ?5, ?6, ?5)");
// Nobody looks after an alarm that has become worse.
const Sql kChangeAlarm(
    "UPDATE alarm SET severity = ?1, rank = ?2, event = ?3, "
    "acknowledged = CASE WHEN ?2 >= rank THEN acknowledged END WHERE id = ?4");
const Sql kCloseAlarm("UPDATE alarm SET closed = ? WHERE id = ?");
const Sql kAddToAlarmCounts(
    "UPDATE manager SET faults = faults + ?, alarms = alarms + ?, warnings = warnings + ? "
    "WHERE uuid = ?");

const Sql kCountEvents("SELECT events FROM manager WHERE uuid = ?");
const Sql kCounts("SELECT day_events, events FROM manager WHERE uuid = ?");
const Sql kEventPage(
    "SELECT id FROM event WHERE manager = (SELECT id FROM manager WHERE uuid = ?) AND id > ? "
    "ORDER BY id LIMIT ? OFFSET ?");
const std::string kOwnEvents =
    "SELECT id FROM event WHERE manager = (SELECT id FROM manager WHERE uuid = ?1) "
    "AND (?3 IS NULL OR severity = ?3) AND id > ?4 ";
const Sql kOfAll(kOwnEvents + "ORDER BY id LIMIT ?5");
const Sql kOfChassis(kOwnEvents + "AND chassis = ?2 ORDER BY id LIMIT ?5");
// Searches from the alarms, since most events have no alarm. Those of a removed chassis stay for a
// while, and are not seen.
const std::string kOfAlarms =
    "SELECT event.id FROM alarm CROSS JOIN chassis ON number = alarm.chassis "
    "CROSS JOIN event ON event.id = alarm.event "
    "WHERE alarm.manager = (SELECT id FROM manager WHERE uuid = ?1) "
    "AND (?2 IS NULL OR chassis.id = ?2) AND (?3 IS NULL OR event.severity = ?3) "
    "AND alarm.event > ?4 AND (closed IS NULL) = ";
const Sql kOfOpenAlarms(kOfAlarms + "1 ORDER BY alarm.event LIMIT ?5");
const Sql kOfClosedAlarms(kOfAlarms + "0 ORDER BY alarm.event LIMIT ?5");

const Sql& Listing(const EventFilter& filter) {
  if (filter.cleared) return *filter.cleared ? kOfClosedAlarms : kOfOpenAlarms;
  return filter.chassis ? kOfChassis : kOfAll;
}

std::int64_t RankOf(const std::string& severity) {
  return static_cast<std::int64_t>(SeverityOf(severity));
}

std::vector<std::int64_t> Identifiers(Statement& select) {
  std::vector<std::int64_t> ids;
  while (select.Step()) ids.push_back(select.Number(0));
  return ids;
}

}  // namespace

StoredEvent SqliteTransaction::AddEvent(const EventRecord& event, const std::string& alarm) {
  const EventKind kind = KindOf(event.messageId, event.severity);
  Statement(m_database, kAddEvent)
      .Bind(event.manager)
      .Bind(event.chassis)
      .Bind(event.messageId)
      .Bind(event.severity)
      .Bind(event.document)
      .Bind(event.received)
      .Bind(static_cast<std::int64_t>(kind))
      .Run();
  StoredEvent stored;
  stored.id = m_database.LastInsertId();
  Statement counts(m_database, kCounts);
  if (counts.Bind(event.manager).Step()) {
    stored.today = counts.Number(0);
    stored.kept = counts.Number(1);
  }
  if (kind == EventKind::kAlarm) stored.outcome = RaiseAlarm(event, stored.id, alarm);
  if (kind == EventKind::kClear) stored.outcome = ClearAlarm(event, alarm);
  Note({Change::What::kEvent, event.manager, stored.id, {}});
  if (stored.outcome != AlarmOutcome::kNone) NoteAppliance(event.manager);
  return stored;
}

std::optional<SqliteTransaction::OpenAlarm> SqliteTransaction::FindOpenAlarm(
    const std::string& chassis, const std::string& alarm) {
  Statement open(m_database, kOpenAlarm);
  open.Bind(chassis).Bind(alarm);
  if (!open.Step()) return std::nullopt;
  return OpenAlarm{open.Number(0), open.Text(1)};
}

AlarmOutcome SqliteTransaction::RaiseAlarm(const EventRecord& event, std::int64_t id,
                                           const std::string& alarm) {
  const std::optional<OpenAlarm> open = FindOpenAlarm(event.chassis, alarm);
  CountAlarms(event.manager, open ? &open->severity : nullptr, &event.severity);
  if (!open) {
    Statement(m_database, kAddAlarm)
        .Bind(event.chassis)
        .Bind(alarm)
        .Bind(event.severity)
        .Bind(RankOf(event.severity))
        .Bind(id)
        .Bind(event.received)
        .Run();
    return AlarmOutcome::kOpened;
  }
  Statement(m_database, kChangeAlarm)
      .Bind(event.severity)
      .Bind(RankOf(event.severity))
      .Bind(id)
      .Bind(open->id)
      .Run();
  return open->severity == event.severity ? AlarmOutcome::kRepeated : AlarmOutcome::kChanged;
}

AlarmOutcome SqliteTransaction::ClearAlarm(const EventRecord& event, const std::string& alarm) {
  const std::optional<OpenAlarm> open = FindOpenAlarm(event.chassis, alarm);
  if (!open) return AlarmOutcome::kNotOpen;
  CountAlarms(event.manager, &open->severity, nullptr);
  Statement(m_database, kCloseAlarm).Bind(event.received).Bind(open->id).Run();
  return AlarmOutcome::kClosed;
}

void SqliteTransaction::CountAlarms(const std::string& manager, const std::string* gone,
                                    const std::string* come) {
  AlarmCounts more = {};
  if (gone != nullptr) --more.at(static_cast<std::size_t>(RankOf(*gone)));
  if (come != nullptr) ++more.at(static_cast<std::size_t>(RankOf(*come)));
  if (more == AlarmCounts{}) return;
  Statement(m_database, kAddToAlarmCounts)
      .Bind(more[0])
      .Bind(more[1])
      .Bind(more[2])
      .Bind(manager)
      .Run();
}

std::optional<EventRecord> SqliteTransaction::FindEvent(const std::string& manager,
                                                        std::int64_t id) {
  Statement select(m_database, kEventById);
  select.Bind(id).Bind(manager);
  if (!select.Step()) return std::nullopt;
  EventRecord event;
  event.id = select.Number(0);
  event.manager = manager;
  event.chassis = select.Text(1);
  event.messageId = select.Text(2);
  event.severity = select.Text(3);
  event.document = select.Text(4);
  event.received = select.Number(5);
  event.kind = static_cast<EventKind>(select.Number(6));
  return event;
}

std::vector<std::int64_t> SqliteTransaction::ListEvents(const EventFilter& filter,
                                                        const ListPage<std::int64_t>& page) {
  Statement select(m_database, Listing(filter));
  select.Bind(filter.manager).Bind(filter.chassis).Bind(filter.severity);
  select.Bind(page.after.value_or(0)).Bind(page.limit);
  return Identifiers(select);
}

std::int64_t SqliteTransaction::CountEvents(const std::string& manager) {
  Statement select(m_database, kCountEvents);
  select.Bind(manager);
  return select.Step() ? select.Number(0) : 0;
}

std::vector<std::int64_t> SqliteTransaction::ListEventPage(const EventPage& page) {
  Statement select(m_database, kEventPage);
  select.Bind(page.manager).Bind(page.after).Bind(page.limit).Bind(page.skip);
  return Identifiers(select);
}

}  // namespace cloudservice
