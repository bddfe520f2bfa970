// SPDX-License-Identifier: Apache-2.0
// Histories of numbers, and the removal of old readings and events.
#include <limits>
#include <set>

#include "service/store/sqlite/SqliteTransaction.h"

namespace cloudservice {

namespace {

constexpr std::int64_t kHour = 3600;

const Sql kLast("SELECT time, value FROM reading WHERE member = ? ORDER BY id DESC LIMIT 1");
const Sql kMember("SELECT id FROM member WHERE manager = ? AND path = ? AND name = ?");
const Sql kAddMember(
    "INSERT INTO member (manager, chassis, path, name) "
    "SELECT ?1, (SELECT number FROM chassis WHERE id = ?2), ?3, ?4 "
    "WHERE (SELECT count(*) FROM member WHERE manager = ?1 AND path = ?3) < ?5");
const Sql kAddReading("INSERT INTO reading (member, time, value) VALUES (?, ?, ?)");
// Those of a removed chassis stay for a while, and are not seen.
const std::string kSeenNumber =
    "AND (chassis IS NULL OR EXISTS (SELECT 1 FROM chassis WHERE number = member.chassis)) ";
const Sql kNames(
    "SELECT name FROM member WHERE manager = (SELECT id FROM manager WHERE uuid = ?) "
    "AND path = ? AND name >= ? " +
    kSeenNumber +
    "AND EXISTS (SELECT 1 FROM reading WHERE reading.member = member.id AND time >= ?) "
    "ORDER BY name LIMIT ?");
const Sql kValues(
    "SELECT reading.id, time, value FROM reading "
    "WHERE member = (SELECT id FROM member WHERE path = ? AND name = ? " +
    kSeenNumber +
    "AND manager = (SELECT id FROM manager WHERE uuid = ?)) "
    "AND reading.id > ? AND time >= ? ORDER BY reading.id LIMIT ?");

// Looks at all: once in a while that costs less than an index that each heartbeat changes.
const Sql kClamp(
    "UPDATE manager SET heartbeat_last = ?1, late_at = late_at - heartbeat_last + ?1, "
    "offline_at = offline_at - heartbeat_last + ?1, state = 0, "
    "next_at = late_at - heartbeat_last + ?1 WHERE id IN "
    "(SELECT id FROM manager WHERE heard_at > ?1 LIMIT ?2)");
const Sql kDropReadings(
    "DELETE FROM reading WHERE id IN (SELECT id FROM reading WHERE time < ? LIMIT ?) "
    "RETURNING member");
const Sql kDropMember(
    "DELETE FROM member WHERE id = ? AND NOT EXISTS "
    "(SELECT 1 FROM reading WHERE reading.member = member.id)");
const Sql kDropSilences(
    "DELETE FROM silence WHERE id IN (SELECT id FROM silence WHERE closed < ? LIMIT ?)");
// The last event of a step that begins behind a place: the nth from there that is old.
const Sql kLastOfStep(
    "SELECT received, id FROM event WHERE (received, id) > (?, ?) AND received < ? "
    "ORDER BY received, id LIMIT 1 OFFSET ?");
const Sql kDropEvents(
    "DELETE FROM event WHERE id IN (SELECT id FROM event WHERE (received, id) > (?, ?) "
    "AND (received, id) <= (?, ?)) AND NOT EXISTS "
    "(SELECT 1 FROM alarm WHERE alarm.event = event.id AND closed IS NULL)");

// Whether a reading need not be stored: the last one has the same value and is of the same hour.
bool IsKnown(Database& database, std::int64_t member, std::int64_t time, const std::string& value) {
  Statement last(database, kLast);
  last.Bind(member);
  return last.Step() && last.Text(1) == value && last.Number(0) / kHour == time / kHour;
}

}  // namespace

std::optional<std::int64_t> SqliteTransaction::MemberId(std::int64_t manager,
                                                        const Readings& readings,
                                                        const std::string& name) {
  Statement known(m_database, kMember);
  known.Bind(manager).Bind(readings.path).Bind(name);
  if (known.Step()) return known.Number(0);
  Statement add(m_database, kAddMember);
  add.Bind(manager).Bind(readings.chassis).Bind(readings.path).Bind(name);
  add.Bind(kMaxHistoryMembers).Run();
  if (m_database.Changes() == 0) return std::nullopt;
  return m_database.LastInsertId();
}

void SqliteTransaction::AddReadings(const Readings& readings) {
  if (readings.numbers.empty()) return;
  const std::int64_t manager = ManagerNumber(readings.manager);
  for (const NumberRecord& number : readings.numbers) {
    const std::optional<std::int64_t> member = MemberId(manager, readings, number.member);
    if (!member || IsKnown(m_database, *member, readings.time, number.value)) continue;
    Statement(m_database, kAddReading).Bind(*member).Bind(readings.time).Bind(number.value).Run();
  }
}

std::vector<std::string> SqliteTransaction::ListHistoryMembers(const std::string& manager,
                                                               const std::string& path,
                                                               std::int64_t since,
                                                               const ListPage<std::string>& page) {
  Statement select(m_database, kNames);
  select.Bind(manager).Bind(path).Bind(FirstText(page.after)).Bind(since).Bind(page.limit);
  std::vector<std::string> names;
  while (select.Step()) names.push_back(select.Text(0));
  return names;
}

std::vector<HistoryValue> SqliteTransaction::ListHistory(const HistoryFilter& filter) {
  Statement select(m_database, kValues);
  select.Bind(filter.path).Bind(filter.member).Bind(filter.manager);
  select.Bind(filter.after).Bind(filter.since).Bind(filter.limit);
  std::vector<HistoryValue> values;
  while (select.Step()) {
    values.push_back({select.Number(0), select.Number(1), select.Text(2)});
  }
  return values;
}

std::int64_t SqliteTransaction::ClampHeartbeats(std::int64_t now, std::int64_t most) {
  Statement(m_database, kClamp).Bind(now).Bind(most).Run();
  return m_database.Changes();
}

OldLeft SqliteTransaction::RemoveOld(const OldRows& old) {
  const bool moreReadings = RemoveOldReadings(old.readings, old.most);
  Statement(m_database, kDropSilences).Bind(old.events).Bind(old.most).Run();
  const bool moreSilences = m_database.Changes() == old.most;
  OldLeft left = RemoveOldEvents(old);
  left.more |= moreReadings || moreSilences;
  return left;
}

bool SqliteTransaction::RemoveOldReadings(std::int64_t before, std::int64_t most) {
  std::int64_t gone = 0;
  std::set<std::int64_t> members;
  Statement old(m_database, kDropReadings);
  for (old.Bind(before).Bind(most); old.Step(); ++gone) members.insert(old.Number(0));
  for (const std::int64_t member : members) Statement(m_database, kDropMember).Bind(member).Run();
  return gone == most;
}

OldLeft SqliteTransaction::RemoveOldEvents(const OldRows& old) {
  OldLeft left;
  EventPlace last = {old.events - 1, std::numeric_limits<std::int64_t>::max()};
  Statement step(m_database, kLastOfStep);
  step.Bind(old.after.received).Bind(old.after.id).Bind(old.events).Bind(old.most - 1);
  if (step.Step()) {
    last = {step.Number(0), step.Number(1)};
    left = {true, last};
  }
  Statement drop(m_database, kDropEvents);
  drop.Bind(old.after.received).Bind(old.after.id).Bind(last.received).Bind(last.id).Run();
  return left;
}

}  // namespace cloudservice
