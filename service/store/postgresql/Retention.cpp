// SPDX-License-Identifier: Apache-2.0
// The removal of what is old.
#include "service/store/postgresql/PostgresTransaction.h"

namespace cloudservice::postgresql {

namespace {

// Looks at all: once in a while that costs less than an index that each heartbeat changes.
const Sql kClamp(
    "WITH ahead AS (SELECT manager, state FROM heartbeat WHERE heard > $1 LIMIT $2), "
    "clamped AS (UPDATE heartbeat SET last = $1, late_at = late_at - last + $1, "
    "offline_at = offline_at - last + $1, state = 0, next_at = late_at - last + $1 "
    "FROM ahead WHERE heartbeat.manager = ahead.manager RETURNING ahead.state) "
    "SELECT count(*), -count(*) FILTER (WHERE state = 1), -count(*) FILTER (WHERE state = 2) "
    "FROM clamped",
    Sql::Plan::kEachTime);

// One process cleans up at a time.
const Sql kLockRetention("SELECT pg_try_advisory_xact_lock('removal'::regclass::oid::bigint)");
const Sql kDaysBefore("SELECT day FROM (" + kPartitions +
                      ") AS days WHERE day < $2 ORDER BY day LIMIT 1");
const Sql kNewestPartition("SELECT max(day) FROM (" + kPartitions + ") AS days");
const Sql kMakeNextDay("SELECT make_day($1, $2)");
const Sql kDropDay("SELECT drop_day($1, $2)");
const Sql kReadingsSince("SELECT 1 FROM reading WHERE time >= $1 LIMIT 1", Sql::Plan::kEachTime);
const Sql kEventsSince("SELECT 1 FROM event WHERE day >= $1 LIMIT 1", Sql::Plan::kEachTime);

const Sql kDropOldMembers(
    "DELETE FROM member WHERE id IN (SELECT id FROM member WHERE last_time < $1 "
    "AND NOT EXISTS (SELECT 1 FROM reading WHERE reading.member = member.id) LIMIT $2)",
    Sql::Plan::kEachTime);

const Sql kKeepEvents(
    "UPDATE event SET day = -1 WHERE day = $1 AND id IN (SELECT event FROM alarm "
    "WHERE closed IS NULL AND event >= $2 AND event < $3)",
    Sql::Plan::kEachTime);
const Sql kDropAlarmsOfDay(
    "DELETE FROM alarm WHERE event >= $1 AND event < $2 AND closed IS NOT NULL");
const Sql kDropCounts("DELETE FROM event_count WHERE day = $1");
// Those whose alarms are no longer open.
const Sql kDropKept(
    "DELETE FROM event WHERE day = -1 AND id IN (SELECT id FROM event WHERE day = -1 "
    "AND received < $1 AND NOT EXISTS (SELECT 1 FROM alarm "
    "WHERE alarm.event = event.id AND closed IS NULL) LIMIT $2) RETURNING id",
    Sql::Plan::kEachTime);
const Sql kDropAlarmsOf(
    "DELETE FROM alarm WHERE event = ANY ($1::bigint[]) AND closed IS NOT NULL");

const Sql kDropSilences(
    "DELETE FROM silence WHERE id IN (SELECT id FROM silence WHERE closed < $1 LIMIT $2)");

}  // namespace

std::int64_t PostgresTransaction::ClampHeartbeats(std::int64_t now, std::int64_t most) {
  return CountFound(Run(kClamp, {now, most}));
}

// Days go as a whole, and where the next step begins does not matter.
OldLeft PostgresTransaction::RemoveOld(const OldRows& old) {
  if (!Run(kLockRetention).First().Truth(0)) return {};
  MakeNextDay("reading");
  MakeNextDay("event");
  const bool moreReadings = RemoveOldReadings(old.readings, old.most);
  const bool moreEvents = RemoveOldEvents(old.events, old.most);
  const bool moreSilences = Run(kDropSilences, {old.events, old.most}).Changed() == old.most;
  return {moreReadings || moreEvents || moreSilences, {}};
}

// The day after the newest one that has rows.
void PostgresTransaction::MakeNextDay(const std::string& table) {
  const Result newest = Run(kNewestPartition, {table});
  if (newest.First().IsNull(0)) return;
  const std::int64_t day = newest.First().Number(0);
  const bool used = table == "event" ? !Run(kEventsSince, {day}).Empty()
                                     : !Run(kReadingsSince, {day * kSecondsOfDay}).Empty();
  if (used) Run(kMakeNextDay, {table, day + 1});
}

std::optional<std::int64_t> PostgresTransaction::OldestDay(const std::string& table,
                                                           std::int64_t before) {
  const Result oldest = Run(kDaysBefore, {table, DayOf(before)});
  if (oldest.Empty()) return std::nullopt;
  return oldest.First().Number(0);
}

bool PostgresTransaction::RemoveOldReadings(std::int64_t before, std::int64_t most) {
  const std::optional<std::int64_t> day = OldestDay("reading", before);
  if (day) {
    Run(kDropDay, {"reading", *day});
    return true;
  }
  return Run(kDropOldMembers, {before, most}).Changed() == most;
}

bool PostgresTransaction::RemoveOldEvents(std::int64_t before, std::int64_t most) {
  const std::optional<std::int64_t> day = OldestDay("event", before);
  if (day) {
    const std::int64_t first = *day << kEventBits;
    const std::int64_t next = (*day + 1) << kEventBits;
    Run(kKeepEvents, {*day, first, next});
    Run(kDropAlarmsOfDay, {first, next});
    Run(kDropCounts, {*day});
    Run(kDropDay, {"event", *day});
    return true;
  }
  const Result gone = Run(kDropKept, {before, most});
  std::vector<std::int64_t> ids;
  for (const Row row : gone) ids.push_back(row.Number(0));
  if (!ids.empty()) Run(kDropAlarmsOf, {ids});
  return static_cast<std::int64_t>(ids.size()) == most;
}

}  // namespace cloudservice::postgresql
