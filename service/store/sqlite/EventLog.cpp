// SPDX-License-Identifier: Apache-2.0
// The log of events, and the open alarms.
#include <algorithm>
#include <limits>
#include <utility>

#include "service/store/sqlite/SqliteTransaction.h"

namespace cloudservice {

namespace {

// Whether an alarm that the event opened or changed is still open.
const std::string kStillOpen =
    "EXISTS (SELECT 1 FROM chassis CROSS JOIN alarm ON alarm.chassis = number "
    "WHERE chassis.id = event.chassis AND chassis.manager = event.manager "
    "AND alarm.message_id = event.message_id AND alarm.closed IS NULL "
    "AND alarm.opening <= event.id)";

// A part of a log, newest first, of the columns of `events`; a condition that is null lets
// everything through. The order of arrival and that of the times differ only where the clock was
// set back.
std::string LogSql(const std::string& events, const std::string& part, const std::string& order,
                   const std::string& more = "") {
  return "SELECT id, chassis, message_id, severity, document, received, kind, "
         "kind = 0 AND NOT open" +
         more + " FROM (SELECT event.*, " + kStillOpen + " AS open" + more + " FROM " + events +
         part +
         ") WHERE (?2 IS NULL OR kind = ?2) AND (?3 IS NULL OR lower(severity) = lower(?3)) "
         "ORDER BY " +
         order + " LIMIT ?4";
}

const std::string kOfManager =
    "event WHERE manager = (SELECT id FROM manager WHERE uuid = ?1) AND ";
const std::string kInTime = "received >= ?5 AND (received, id) < (?6, ?7)";
const std::string kByTime = "received DESC, id DESC";

// The events that came before an event.
const Sql kLog(LogSql(kOfManager, "id < ?5", "id DESC"));
// The events from a time on and before a place.
const Sql kLogOfTime(LogSql(kOfManager, kInTime, kByTime));
// The same of all appliances.
const Sql kFleetLog(LogSql("event CROSS JOIN manager ON manager.id = event.manager WHERE ",
                           "?1 IS NULL AND received >= ?5 AND (received, event.id) < (?6, ?7)",
                           kByTime, ", uuid, label"));
// The time at which the event came or, if it was removed, the last event before it.
const Sql kReceived(
    "SELECT received FROM event WHERE manager = (SELECT id FROM manager WHERE uuid = ?) "
    "AND id <= ? ORDER BY id DESC LIMIT 1");

const Sql kOpenAlarms(
    "SELECT alarm.id, alarm.event, chassis.id, alarm.message_id, alarm.severity, "
    "event.document, alarm.opened FROM alarm CROSS JOIN chassis ON number = alarm.chassis "
    "CROSS JOIN event ON event.id = alarm.event "
    "WHERE alarm.manager = (SELECT id FROM manager WHERE uuid = ?) AND alarm.closed IS NULL "
    "AND alarm.id < ? ORDER BY alarm.id DESC LIMIT ?");

using Bounds = std::numeric_limits<std::int64_t>;

std::optional<std::int64_t> NumberOf(const std::optional<EventKind>& kind) {
  if (!kind) return std::nullopt;
  return static_cast<std::int64_t>(*kind);
}

LoggedEvent EventIn(Statement& select, const std::string& manager) {
  LoggedEvent entry;
  entry.event = {
      select.Number(0), manager,        select.Text(1),   select.Text(2),
      select.Text(3),   select.Text(4), select.Number(5), static_cast<EventKind>(select.Number(6))};
  entry.cleared = select.Number(7) != 0;
  return entry;
}

// The place before which the filter's events stand; none when there are no such events.
std::optional<EventPlace> EndOf(Database& database, const LogFilter& filter) {
  const EventPlace until = {filter.until.value_or(Bounds::max()), 0};
  if (!filter.before) return until;
  Statement select(database, kReceived);
  select.Bind(filter.manager).Bind(*filter.before);
  if (!select.Step()) return std::nullopt;
  return std::min(until, EventPlace{select.Number(0), *filter.before});
}

}  // namespace

std::vector<LoggedEvent> SqliteTransaction::ListLog(const LogFilter& filter) {
  const bool timed = filter.since || filter.until;
  Statement select(m_database, timed ? kLogOfTime : kLog);
  select.Bind(filter.manager).Bind(NumberOf(filter.kind)).Bind(filter.severity);
  select.Bind(filter.limit);
  if (timed) {
    const std::optional<EventPlace> end = EndOf(m_database, filter);
    if (!end) return {};
    select.Bind(filter.since.value_or(Bounds::min())).Bind(end->received).Bind(end->id);
  } else {
    select.Bind(filter.before.value_or(Bounds::max()));
  }
  std::vector<LoggedEvent> log;
  while (select.Step()) log.push_back(EventIn(select, filter.manager));
  return log;
}

std::vector<FleetEvent> SqliteTransaction::ListFleetLog(const FleetLogFilter& filter) {
  EventPlace end = {filter.until.value_or(Bounds::max()), 0};
  if (filter.before) end = std::min(end, *filter.before);
  Statement select(m_database, kFleetLog);
  select.BindNull().Bind(NumberOf(filter.kind)).Bind(filter.severity).Bind(filter.limit);
  select.Bind(filter.since.value_or(Bounds::min())).Bind(end.received).Bind(end.id);
  std::vector<FleetEvent> log;
  while (select.Step()) log.push_back({EventIn(select, select.Text(8)), select.Text(9)});
  return log;
}

std::vector<AlarmRecord> SqliteTransaction::ListOpenAlarms(const std::string& manager,
                                                           const ListPage<std::int64_t>& page) {
  Statement select(m_database, kOpenAlarms);
  select.Bind(manager).Bind(page.after.value_or(Bounds::max())).Bind(page.limit);
  std::vector<AlarmRecord> alarms;
  while (select.Step()) {
    alarms.push_back({select.Number(0), select.Number(1), select.Text(2), select.Text(3),
                      select.Text(4), select.Text(5), select.Number(6)});
  }
  return alarms;
}

}  // namespace cloudservice
