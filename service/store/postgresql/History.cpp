// SPDX-License-Identifier: Apache-2.0
// Histories of numbers.
#include "service/store/postgresql/PostgresTransaction.h"

namespace cloudservice::postgresql {

namespace {

// Members that the document does not have yet, as long as there is room for them.
const Sql kAddMembers(
    "INSERT INTO member (manager, chassis, path, name) "
    "SELECT $1, $2, $3, name FROM unnest($4::text[]) WITH ORDINALITY AS new (name, place) "
    "WHERE NOT EXISTS (SELECT 1 FROM member WHERE manager = $1 AND path = $3 "
    "AND member.name = new.name) ORDER BY place "
    "LIMIT greatest(0, $5 - (SELECT count(*) FROM member WHERE manager = $1 AND path = $3))");
// Stores the readings of one PATCH, all but those that need not be stored: the last one has the
// same value and is of the same hour.
const Sql kAddReadings(
    "WITH new AS (UPDATE member SET last_time = $3, last_value = sent.value "
    "FROM unnest($4::text[], $5::text[]) AS sent (name, value) "
    "WHERE manager = $1 AND path = $2 AND member.name = sent.name "
    "AND (last_value IS DISTINCT FROM sent.value OR last_time / 3600 <> $3 / 3600) "
    "RETURNING id, last_value) "
    "INSERT INTO reading (member, time, value) SELECT id, $3, last_value FROM new");
// How many of the numbers have a member.
const Sql kCountKnown(
    "SELECT count(*) FROM member WHERE manager = $1 AND path = $2 AND name = ANY ($3::text[])");

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
  std::vector<std::string> names;
  std::vector<std::string> values;
  for (const NumberRecord& number : readings.numbers) {
    names.push_back(number.member);
    values.push_back(number.value);
  }
  const std::int64_t key = Owned(readings.manager);
  m_days.Ensure("reading", DayOf(readings.time));
  const auto count = static_cast<std::int64_t>(names.size());
  if (Run(kCountKnown, {key, readings.path, names}).First().Number(0) < count) {
    Defer(kAddMembers, {key, readings.chassis, readings.path, names, kMaxHistoryMembers});
  }
  Run(kAddReadings, {key, readings.path, readings.time, names, values});
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
