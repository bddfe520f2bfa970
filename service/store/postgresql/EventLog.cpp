// SPDX-License-Identifier: Apache-2.0
// The log of events, and the open alarms.
#include <algorithm>
#include <limits>
#include <map>

#include "service/store/postgresql/PostgresTransaction.h"
#include "service/util/Text.h"

namespace cloudservice::postgresql {

namespace {

// A part of a log, newest first, of the columns of `events`; a condition that is null lets
// everything through. An event is not cleared while an alarm that it opened or changed is open. The
// order of arrival and that of the times differ only where the clock was set back.
std::string LogSql(const std::string& events, const std::string& part, const std::string& order,
                   const std::string& more = "") {
  return "SELECT id, chassis, message_id, severity, document, received, kind, "
         "kind = 0 AND NOT EXISTS (SELECT 1 FROM alarm WHERE alarm.chassis = event.chassis "
         "AND alarm.message_id = event.message_id AND closed IS NULL AND opening <= event.id)" +
         more + " FROM " + events +
         "AND ($2::smallint IS NULL OR kind = $2) AND ($3::text IS NULL OR lower(severity) = $3) "
         "AND " +
         part + " ORDER BY " + order + " LIMIT $4";
}
const std::string kOfManager = "event WHERE manager = (SELECT key FROM manager WHERE uuid = $1) ";
// No event is in the partition of a day before its own.
const std::string kInTime =
    "received >= $5 AND (received, id) < ($6, $7) AND (day = -1 OR day >= $5 / 86400)";
const std::string kByTime = "received DESC, id DESC";

// The events that came before an event and are in the partitions of some days.
const Sql kLog(LogSql(kOfManager, "id < $5 AND day >= $6 AND day <= $7", "id DESC"),
               Sql::Plan::kEachTime);
// The events from a time on and before a place.
const Sql kLogOfTime(LogSql(kOfManager, kInTime, kByTime), Sql::Plan::kEachTime);
// The same of all appliances.
const Sql kFleetLog(LogSql("event JOIN manager ON key = event.manager WHERE $1::text IS NULL ",
                           kInTime, kByTime, ", uuid, label"),
                    Sql::Plan::kEachTime);
const Sql kNewestDay("SELECT last_value >> 32 FROM event_id");

const Sql kOpenAlarms(
    "SELECT id, event, chassis, message_id, severity, opened, manager FROM alarm "
    "WHERE manager = (SELECT key FROM manager WHERE uuid = $1) AND closed IS NULL AND id < $2 "
    "ORDER BY id DESC LIMIT $3");
const Sql kDocuments(
    "SELECT id, document FROM event WHERE manager = $1 AND id = ANY ($2::bigint[]) "
    "AND day = ANY ($3::integer[])",
    Sql::Plan::kEachTime);

using Bounds = std::numeric_limits<std::int64_t>;

template <typename Filter>
Values FilterOf(const std::optional<std::string>& manager, const Filter& filter,
                std::int64_t limit) {
  std::optional<std::int64_t> kind;
  if (filter.kind) kind = static_cast<std::int64_t>(*filter.kind);
  std::optional<std::string> severity;
  if (filter.severity) severity = Lower(*filter.severity);
  return {manager, kind, severity, limit};
}

Values And(Values values, const Values& more) {
  values.insert(values.end(), more.begin(), more.end());
  return values;
}

LoggedEvent EventIn(const Row& row, const std::string& manager) {
  LoggedEvent entry;
  entry.event = {row.Number(0), manager,     row.Text(1),   row.Text(2),
                 row.Text(3),   row.Text(4), row.Number(5), static_cast<EventKind>(row.Number(6))};
  entry.cleared = row.Truth(7);
  return entry;
}

void Take(const LogFilter& filter, const Result& result, std::vector<LoggedEvent>& log) {
  for (const Row row : result) log.push_back(EventIn(row, filter.manager));
}

}  // namespace

// Looks into the newest partitions first, and into more of them at each step: what is asked for is
// mostly in few.
std::vector<LoggedEvent> PostgresTransaction::ListArrived(const LogFilter& filter) {
  const std::int64_t before = filter.before.value_or(Bounds::max());
  std::int64_t last = std::min(Run(kNewestDay).First().Number(0), DayOfEvent(before));
  std::vector<LoggedEvent> log;
  for (std::int64_t span = 1; last >= kKeptDay; span *= 4) {
    const std::int64_t missing = filter.limit - static_cast<std::int64_t>(log.size());
    if (missing <= 0) break;
    // Those that were kept are older than all others, and come last.
    const std::int64_t first =
        last == kKeptDay ? kKeptDay : std::max<std::int64_t>(0, last - span + 1);
    Take(filter, Run(kLog, And(FilterOf(filter.manager, filter, missing), {before, first, last})),
         log);
    last = first - 1;
  }
  return log;
}

std::vector<LoggedEvent> PostgresTransaction::ListLog(const LogFilter& filter) {
  if (!filter.since && !filter.until) return ListArrived(filter);
  EventPlace end = {filter.until.value_or(Bounds::max()), 0};
  if (filter.before) {
    // The place of that event or, if it was removed, of the last one before it.
    LogFilter place;
    place.manager = filter.manager;
    place.before = *filter.before + 1;
    place.limit = 1;
    const std::vector<LoggedEvent> found = ListArrived(place);
    if (found.empty()) return {};
    end = std::min(end, {found.front().event.received, *filter.before});
  }
  std::vector<LoggedEvent> log;
  Take(filter,
       Run(kLogOfTime, And(FilterOf(filter.manager, filter, filter.limit),
                           {filter.since.value_or(0), end.received, end.id})),
       log);
  return log;
}

std::vector<FleetEvent> PostgresTransaction::ListFleetLog(const FleetLogFilter& filter) {
  EventPlace end = {filter.until.value_or(Bounds::max()), 0};
  if (filter.before) end = std::min(end, *filter.before);
  const Result found = Run(kFleetLog, And(FilterOf(std::nullopt, filter, filter.limit),
                                          {filter.since.value_or(0), end.received, end.id}));
  std::vector<FleetEvent> log;
  for (const Row row : found) log.push_back({EventIn(row, row.Text(8)), row.Text(9)});
  return log;
}

std::vector<AlarmRecord> PostgresTransaction::ListOpenAlarms(const std::string& manager,
                                                             const ListPage<std::int64_t>& page) {
  const Result open = Run(kOpenAlarms, {manager, page.after.value_or(Bounds::max()), page.limit});
  if (open.Empty()) return {};
  std::vector<AlarmRecord> alarms;
  std::vector<std::int64_t> events;
  std::vector<std::int64_t> days = {kKeptDay};
  for (const Row row : open) {
    alarms.push_back(
        {row.Number(0), row.Number(1), row.Text(2), row.Text(3), row.Text(4), "", row.Number(5)});
    events.push_back(row.Number(1));
    days.push_back(DayOfEvent(row.Number(1)));
  }
  std::map<std::int64_t, std::string> documents;
  const Result found = Run(kDocuments, {open.First().Number(6), events, days});
  for (const Row row : found) documents[row.Number(0)] = row.Text(1);
  for (AlarmRecord& alarm : alarms) alarm.document = documents[alarm.event];
  return alarms;
}

}  // namespace cloudservice::postgresql
