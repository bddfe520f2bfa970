// SPDX-License-Identifier: Apache-2.0
// Removing what removed managers, chassis and accounts have left, step by step.
#include <array>

#include "service/store/postgresql/PostgresTransaction.h"

namespace cloudservice::postgresql {

namespace {

// One process does it at a time: the others would only wait for the rows that it removes.
const Sql kLockRemoval("SELECT pg_try_advisory_xact_lock('removal'::regclass::oid::bigint)");
const Sql kNextRest("SELECT kind, key FROM removal ORDER BY kind, key LIMIT 1");
const Sql kDone("DELETE FROM removal WHERE kind = $1 AND key = $2");

const Sql kSomeOfAccount("SELECT uuid FROM manager WHERE account = $1 ORDER BY key LIMIT $2");

std::string DropSome(const std::string& table, const std::string& key) {
  return "DELETE FROM " + table + " WHERE manager = $1 AND " + key + " IN (SELECT " + key +
         " FROM " + table + " WHERE manager = $1 LIMIT $2)";
}
// What refers to a row goes before it.
const Sql kRemoveAlarms(DropSome("alarm", "id"));
const Sql kRemoveSilences(DropSome("silence", "id"));
const Sql kRemoveEvents(DropSome("event", "id"), Sql::Plan::kEachTime);
const Sql kRemoveCounts(DropSome("event_count", "day"));
const Sql kRemoveMessages(DropSome("message", "id"));
const Sql kRemoveResources(DropSome("resource", "path"));
const Sql kRemoveChassis(DropSome("chassis", "number"));
const Sql kRemoveMembers("WITH gone AS (" + DropSome("member", "id") +
                         " RETURNING id) INSERT INTO removal (kind, key) SELECT 2, id FROM gone");
const std::array<const Sql*, 8> kPartsOfManager = {
    &kRemoveAlarms, &kRemoveSilences,  &kRemoveEvents,  &kRemoveMessages,
    &kRemoveCounts, &kRemoveResources, &kRemoveChassis, &kRemoveMembers};

const Sql kRemoveReadings(
    "DELETE FROM reading WHERE member = $1 "
    "AND id IN (SELECT id FROM reading WHERE member = $1 LIMIT $2)",
    Sql::Plan::kEachTime);

// A manager stands in many indexes, and leaves a row for its rest.
constexpr std::int64_t kRowsOfManager = 4;

}  // namespace

std::int64_t PostgresTransaction::RemoveRest(Rest kind, std::int64_t key, std::int64_t most) {
  std::int64_t count = 0;
  switch (kind) {
    case Rest::kManagersOfAccount: {
      const Result some = Run(kSomeOfAccount, {key, (most + kRowsOfManager - 1) / kRowsOfManager});
      for (const Row row : some) RemoveManager(row.Text(0));
      count = some.Rows() * kRowsOfManager;
      break;
    }
    case Rest::kManager:
      for (const Sql* part : kPartsOfManager) {
        if (count < most) count += Run(*part, {key, most - count}).Changed();
      }
      break;
    case Rest::kMember:
      count = Run(kRemoveReadings, {key, most}).Changed();
      break;
  }
  if (count >= most) return count;
  Run(kDone, {static_cast<std::int64_t>(kind), key});
  return count + 1;
}

Left PostgresTransaction::RemoveNext(std::int64_t most) {
  if (!Run(kLockRemoval).First().Truth(0)) return Left::kNothing;
  for (std::int64_t count = 0;;) {
    const Result next = Run(kNextRest);
    if (next.Empty()) return Left::kNothing;
    const auto kind = static_cast<Rest>(next.First().Number(0));
    if (count >= most) return kind == Rest::kManagersOfAccount ? Left::kManagers : Left::kRows;
    count += RemoveRest(kind, next.First().Number(1), most - count);
  }
}

}  // namespace cloudservice::postgresql
