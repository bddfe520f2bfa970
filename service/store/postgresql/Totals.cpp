// SPDX-License-Identifier: Apache-2.0
// Counts over the whole database.
#include "service/store/postgresql/PostgresTransaction.h"

namespace cloudservice::postgresql {

namespace {

const Sql kTotals(
    "SELECT coalesce(sum(managers), 0), coalesce(sum(chassis), 0), coalesce(sum(faults), 0), "
    "coalesce(sum(alarms), 0), coalesce(sum(warnings), 0), coalesce(sum(faulty), 0), "
    "coalesce(sum(alarmed), 0), coalesce(sum(warned), 0), coalesce(sum(late), 0), "
    "coalesce(sum(offline), 0) FROM total");
const Sql kSilent("SELECT count(*) FROM heartbeat WHERE silent");
const Sql kBytes("SELECT pg_database_size(current_database())");

}  // namespace

Totals PostgresTransaction::CountTotals() {
  const Result result = Run(kTotals);
  const Row row = result.First();
  Totals totals;
  totals.managers = row.Number(0);
  totals.chassis = row.Number(1);
  totals.alarms = {row.Number(2), row.Number(3), row.Number(4)};
  totals.alarmed = {row.Number(5), row.Number(6), row.Number(7)};
  totals.foundLate = row.Number(8);
  totals.foundOffline = row.Number(9);
  return totals;
}

std::int64_t PostgresTransaction::CountSilent() { return Run(kSilent).First().Number(0); }

std::int64_t PostgresTransaction::CountBytes() { return Run(kBytes).First().Number(0); }

// The server's log is of all its databases.
std::int64_t PostgresTransaction::CountLogBytes() { return 0; }

}  // namespace cloudservice::postgresql
