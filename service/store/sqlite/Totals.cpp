// SPDX-License-Identifier: Apache-2.0
// Counts over the whole database.
#include <sqlite3.h>

#include <filesystem>
#include <string>
#include <system_error>

#include "service/store/sqlite/SqliteTransaction.h"

namespace cloudservice {

namespace {

const Sql kTotals(
    "SELECT managers, faults, alarms, warnings, chassis, with_fault, with_alarm, with_warning, "
    "late, offline FROM total WHERE id = 1");
const Sql kSilent("SELECT count(*) FROM manager WHERE heartbeat_last IS NULL");
const Sql kBytes("SELECT page_count * page_size FROM pragma_page_count, pragma_page_size");

}  // namespace

Totals SqliteTransaction::CountTotals() {
  Statement select(m_database, kTotals);
  select.Step();
  Totals totals;
  totals.managers = select.Number(0);
  totals.alarms = {select.Number(1), select.Number(2), select.Number(3)};
  totals.chassis = select.Number(4);
  totals.alarmed = {select.Number(5), select.Number(6), select.Number(7)};
  totals.foundLate = select.Number(8);
  totals.foundOffline = select.Number(9);
  return totals;
}

std::int64_t SqliteTransaction::CountSilent() {
  Statement select(m_database, kSilent);
  return select.Step() ? select.Number(0) : 0;
}

std::int64_t SqliteTransaction::CountBytes() {
  Statement select(m_database, kBytes);
  return select.Step() ? select.Number(0) : 0;
}

std::int64_t SqliteTransaction::CountLogBytes() {
  std::error_code missing;
  const std::string file = std::string(sqlite3_db_filename(m_database.Handle(), "main")) + "-wal";
  const auto bytes = std::filesystem::file_size(file, missing);
  return missing ? 0 : static_cast<std::int64_t>(bytes);
}

}  // namespace cloudservice
