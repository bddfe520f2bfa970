// SPDX-License-Identifier: Apache-2.0
// Histories of numbers.
#include "service/store/postgresql/PostgresTransaction.h"

namespace cloudservice::postgresql {

namespace {

const std::string kMemberOf = "= (SELECT key FROM manager WHERE uuid = $1) ";
const Sql kNames("SELECT name FROM member WHERE manager " + kMemberOf +
                     "AND path = $2 AND name >= $3 AND EXISTS "
                     "(SELECT 1 FROM reading WHERE reading.member = member.id AND time >= $4) "
                     "ORDER BY name LIMIT $5",
                 Sql::Plan::kEachTime);
const Sql kValues(
    "SELECT id, time, value FROM reading WHERE member = (SELECT id FROM member WHERE manager " +
        kMemberOf + "AND path = $2 AND name = $3) AND id > $4 AND time >= $5 ORDER BY id LIMIT $6",
    Sql::Plan::kEachTime);
const Sql kHistory(
    "SELECT time, value, id FROM reading WHERE member = $1 "
    "AND time >= $2 AND time < $3 AND (time, id) > ($4, $5) ORDER BY time, id LIMIT $6",
    Sql::Plan::kEachTime);

}  // namespace

void PostgresTransaction::AddReadings(const Readings& readings) {
  if (readings.numbers.empty()) return;
  const std::int64_t key = Owned(readings.manager);
  m_days.Ensure("reading", DayOf(readings.time));
  m_batch.AddReadings(key, readings);
  ++m_writes;
}

std::vector<std::string> PostgresTransaction::ListHistoryMembers(
    const std::string& manager, const std::string& path, std::int64_t since,
    const ListPage<std::string>& page) {
  std::vector<std::string> names;
  const Result result = Run(kNames, {manager, path, FirstText(page.after), since, page.limit});
  for (const Row row : result) names.push_back(row.Text(0));
  return names;
}

std::vector<HistoryValue> PostgresTransaction::ListHistory(const HistoryFilter& filter) {
  const Result result = Run(kValues, {filter.manager, filter.path, filter.member, filter.after,
                                      filter.since, filter.limit});
  std::vector<HistoryValue> values;
  for (const Row row : result) values.push_back({row.Number(0), row.Number(1), row.Text(2)});
  return values;
}

// In pieces, since a result is whole before its first row is there.
void PostgresTransaction::ReadHistory(
    std::int64_t member, std::int64_t since, std::int64_t until,
    const std::function<void(std::int64_t time, const std::string& value)>& take) {
  constexpr std::int64_t kAtOnce = 5000;
  std::int64_t time = since;
  std::int64_t id = -1;
  for (;;) {
    const Result result = Run(kHistory, {member, time, until, time, id, kAtOnce});
    for (const Row row : result) take(row.Number(0), row.Text(1));
    if (result.Rows() < kAtOnce) return;
    const Row last = result.At(result.Rows() - 1);
    time = last.Number(0);
    id = last.Number(2);
  }
}

}  // namespace cloudservice::postgresql
