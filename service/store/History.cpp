#include "service/store/Store.h"

namespace cloudservice {

namespace {

constexpr std::int64_t kHour = 3600;

// Whether a value adds nothing to what is there: the same as the last one, within the same hour.
bool IsKnown(Database& database, std::int64_t member, std::int64_t time, const std::string& value) {
  Statement last(database,
                 "SELECT time, value FROM reading WHERE member = ? ORDER BY id DESC LIMIT 1");
  last.Bind(member);
  return last.Step() && last.Text(1) == value && last.Number(0) / kHour == time / kHour;
}

}  // namespace

std::optional<std::int64_t> Store::MemberId(const Readings& readings, const std::string& name) {
  Statement known(m_database, "SELECT id FROM member WHERE path = ? AND name = ?");
  known.Bind(readings.path).Bind(name);
  if (known.Step()) return known.Number(0);
  Statement add(m_database,
                "INSERT INTO member (manager, chassis, path, name) SELECT ?, ?, ?, ? "
                "WHERE (SELECT count(*) FROM member WHERE path = ?) < ?");
  add.Bind(readings.manager).Bind(readings.chassis).Bind(readings.path).Bind(name);
  add.Bind(readings.path).Bind(kMaxHistoryMembers).Run();
  if (m_database.Changes() == 0) return std::nullopt;
  return m_database.LastInsertId();
}

void Store::AddReadings(const Readings& readings) {
  for (const NumberRecord& number : readings.numbers) {
    const std::optional<std::int64_t> member = MemberId(readings, number.member);
    if (!member || IsKnown(m_database, *member, readings.time, number.value)) continue;
    Statement(m_database, "INSERT INTO reading (member, time, value) VALUES (?, ?, ?)")
        .Bind(*member)
        .Bind(readings.time)
        .Bind(number.value)
        .Run();
  }
}

std::vector<std::string> Store::ListHistoryMembers(const std::string& manager,
                                                   const std::string& path, std::int64_t since) {
  Statement select(m_database,
                   "SELECT name FROM member WHERE manager = ? AND path = ? AND EXISTS "
                   "(SELECT 1 FROM reading WHERE reading.member = member.id AND time >= ?) "
                   "ORDER BY name");
  select.Bind(manager).Bind(path).Bind(since);
  std::vector<std::string> names;
  while (select.Step()) names.push_back(select.Text(0));
  return names;
}

std::vector<HistoryValue> Store::ListHistory(const HistoryFilter& filter) {
  Statement select(m_database,
                   "SELECT reading.id, time, value FROM reading "
                   "WHERE member = (SELECT id FROM member WHERE path = ? AND name = ? AND "
                   "manager = ?) AND reading.id > ? AND time >= ? ORDER BY reading.id LIMIT ?");
  select.Bind(filter.path).Bind(filter.member).Bind(filter.manager);
  select.Bind(filter.after).Bind(filter.since).Bind(filter.limit);
  std::vector<HistoryValue> values;
  while (select.Step()) {
    values.push_back({select.Number(0), select.Number(1), select.Text(2)});
  }
  return values;
}

std::int64_t Store::TakeBackHeartbeats(std::int64_t now) {
  Statement(m_database, "UPDATE manager SET heartbeat_last = ?1 WHERE heartbeat_last > ?1")
      .Bind(now)
      .Run();
  return m_database.Changes();
}

std::int64_t Store::RemoveOld(std::int64_t readings, std::int64_t events) {
  Transaction transaction(m_database);
  Statement(m_database, "DELETE FROM reading WHERE time < ?").Bind(readings).Run();
  std::int64_t removed = m_database.Changes();
  Statement(m_database,
            "DELETE FROM member WHERE NOT EXISTS "
            "(SELECT 1 FROM reading WHERE reading.member = member.id)")
      .Run();
  Statement(m_database,
            "DELETE FROM event WHERE received < ? AND NOT EXISTS "
            "(SELECT 1 FROM alarm WHERE alarm.event = event.id AND closed IS NULL)")
      .Bind(events)
      .Run();
  removed += m_database.Changes();
  transaction.Commit();
  return removed;
}

}  // namespace cloudservice
