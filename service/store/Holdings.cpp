// SPDX-License-Identifier: Apache-2.0
#include "service/store/Store.h"

namespace cloudservice {

namespace {

const Sql kAny("SELECT 1 FROM manager ORDER BY uuid LIMIT 1");
const Sql kTotals(
    "SELECT count(*), coalesce(sum(faults), 0), coalesce(sum(alarms), 0), "
    "coalesce(sum(warnings), 0), (SELECT count(*) FROM chassis), coalesce(sum(faults > 0), 0), "
    "coalesce(sum(alarms > 0), 0), coalesce(sum(warnings > 0), 0) FROM manager");
const Sql kSilentAndOffline(
    "SELECT (SELECT count(*) FROM manager WHERE heard_at < 0), "
    "(SELECT count(*) FROM manager WHERE offline_at <= ? AND heartbeat_last IS NOT NULL), "
    "(SELECT page_count * page_size FROM pragma_page_count, pragma_page_size)");

}  // namespace

void Store::Check() {
  if (m_database.ChangeFailed()) throw DatabaseError("the last change is not on the disk");
  Statement(m_database, kAny).Run();
}

const Totals& Store::CountTotals() {
  const std::int64_t foreign = ForeignChanges();
  if (m_totals && m_totalsForeign == foreign) return *m_totals;
  Statement select(m_database, kTotals);
  select.Step();
  Totals totals;
  totals.managers = select.Number(0);
  totals.alarms = {select.Number(1), select.Number(2), select.Number(3)};
  totals.chassis = select.Number(4);
  totals.alarmed = {select.Number(5), select.Number(6), select.Number(7)};
  m_totalsForeign = foreign;
  return m_totals.emplace(totals);
}

Holdings Store::CountHoldings(std::int64_t now) {
  Holdings held;
  held.totals = CountTotals();
  Statement select(m_database, kSilentAndOffline);
  select.Bind(now);
  select.Step();
  held.silent = select.Number(0);
  held.offline = select.Number(1);
  held.bytes = select.Number(2);
  return held;
}

}  // namespace cloudservice
