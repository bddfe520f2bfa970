#include <limits>

#include "service/store/Store.h"

namespace cloudservice {

namespace {

// As numbers of EventKind. The same words that open and close alarms.
const std::string kKind =
    "CASE WHEN event.message_id = '258' THEN 1 "
    "WHEN lower(event.severity) NOT IN ('message', 'cleared', 'ok') THEN 0 "
    "WHEN event.message_id LIKE 'Zarvel.GDD.%' THEN 2 ELSE 3 END";

// Whether an alarm that this event opened or changed is open.
const std::string kStillOpen =
    "EXISTS (SELECT 1 FROM alarm WHERE alarm.chassis = event.chassis "
    "AND alarm.message_id = event.message_id AND alarm.closed IS NULL "
    "AND alarm.opening <= event.id)";

// Newest first, before an event; conditions that are null let everything through.
const Sql kLog(
    "SELECT id, manager, chassis, message_id, severity, document, received, kind, "
    "kind = 0 AND NOT open FROM (SELECT *, " +
    kKind + " AS kind, " + kStillOpen +
    " AS open FROM event WHERE manager = ?1 AND id < ?2) "
    "WHERE (?3 IS NULL OR kind = ?3) AND (?4 IS NULL OR lower(severity) = lower(?4)) "
    "AND (?5 IS NULL OR received >= ?5) AND (?6 IS NULL OR received < ?6) "
    "ORDER BY id DESC LIMIT ?7");

const Sql kOpenAlarms(
    "SELECT alarm.id, alarm.event, alarm.chassis, alarm.message_id, alarm.severity, "
    "event.document, alarm.opened FROM chassis "
    "CROSS JOIN alarm ON alarm.chassis = chassis.id AND alarm.closed IS NULL "
    "CROSS JOIN event ON event.id = alarm.event "
    "WHERE chassis.manager = ? ORDER BY alarm.id DESC");

}  // namespace

std::vector<LoggedEvent> Store::ListLog(const LogFilter& filter) {
  constexpr std::int64_t kNewest = std::numeric_limits<std::int64_t>::max();
  Statement select(m_database, kLog);
  std::optional<std::int64_t> kind;
  if (filter.kind) kind = static_cast<std::int64_t>(*filter.kind);
  select.Bind(filter.manager)
      .Bind(filter.before.value_or(kNewest))
      .Bind(kind)
      .Bind(filter.severity);
  select.Bind(filter.since).Bind(filter.until).Bind(filter.limit);
  std::vector<LoggedEvent> log;
  while (select.Step()) {
    LoggedEvent entry;
    entry.event = {select.Number(0), select.Text(1), select.Text(2),  select.Text(3),
                   select.Text(4),   select.Text(5), select.Number(6)};
    entry.kind = static_cast<EventKind>(select.Number(7));
    entry.cleared = select.Number(8) != 0;
    log.push_back(std::move(entry));
  }
  return log;
}

std::vector<AlarmRecord> Store::ListOpenAlarms(const std::string& manager) {
  Statement select(m_database, kOpenAlarms);
  select.Bind(manager);
  std::vector<AlarmRecord> alarms;
  while (select.Step()) {
    alarms.push_back({select.Number(0), select.Number(1), select.Text(2), select.Text(3),
                      select.Text(4), select.Text(5), select.Number(6)});
  }
  return alarms;
}

}  // namespace cloudservice
