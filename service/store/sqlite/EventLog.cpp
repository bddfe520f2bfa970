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

// A part of the log, newest first; a condition that is null lets everything through. The order of
// arrival and that of the times differ only where the clock was set back.
std::string LogSql(const std::string& part, const std::string& order) {
  return "SELECT id, chassis, message_id, severity, document, received, kind, "
         "kind = 0 AND NOT open FROM (SELECT *, " +
         kStillOpen +
         " AS open FROM event WHERE manager = (SELECT id FROM manager WHERE uuid = ?1) AND " +
         part +
         ") WHERE (?2 IS NULL OR kind = ?2) AND (?3 IS NULL OR lower(severity) = lower(?3)) "
         "ORDER BY " +
         order + " LIMIT ?4";
}

// The events that came before an event.
const Sql kLog(LogSql("id < ?5", "id DESC"));
// The events from a time on and before a place.
const Sql kLogOfTime(LogSql("received >= ?5 AND (received, id) < (?6, ?7)",
                            "received DESC, id DESC"));
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

// An event's place in the order of times: when it was received, and its identifier.
using LogPlace = std::pair<std::int64_t, std::int64_t>;

// The place before which the filter's events stand; none when there are no such events.
std::optional<LogPlace> EndOf(Database& database, const LogFilter& filter) {
  const LogPlace until = {filter.until.value_or(Bounds::max()), 0};
  if (!filter.before) return until;
  Statement select(database, kReceived);
  select.Bind(filter.manager).Bind(*filter.before);
  if (!select.Step()) return std::nullopt;
  return std::min(until, LogPlace(select.Number(0), *filter.before));
}

}  // namespace

std::vector<LoggedEvent> SqliteTransaction::ListLog(const LogFilter& filter) {
  const bool timed = filter.since || filter.until;
  Statement select(m_database, timed ? kLogOfTime : kLog);
  std::optional<std::int64_t> kind;
  if (filter.kind) kind = static_cast<std::int64_t>(*filter.kind);
  select.Bind(filter.manager).Bind(kind).Bind(filter.severity).Bind(filter.limit);
  if (timed) {
    const std::optional<LogPlace> end = EndOf(m_database, filter);
    if (!end) return {};
    select.Bind(filter.since.value_or(Bounds::min())).Bind(end->first).Bind(end->second);
  } else {
    select.Bind(filter.before.value_or(Bounds::max()));
  }
  std::vector<LoggedEvent> log;
  while (select.Step()) {
    LoggedEvent entry;
    entry.event = {select.Number(0), filter.manager,
                   select.Text(1),   select.Text(2),
                   select.Text(3),   select.Text(4),
                   select.Number(5), static_cast<EventKind>(select.Number(6))};
    entry.cleared = select.Number(7) != 0;
    log.push_back(std::move(entry));
  }
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
