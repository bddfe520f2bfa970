#include "service/store/Store.h"

namespace cloudservice {

void Store::Check() {
  Statement(m_database, "SELECT count(*) FROM (SELECT 1 FROM manager LIMIT 1)").Run();
}

Holdings Store::CountHoldings(std::int64_t now) {
  Statement select(m_database,
                   "SELECT count(*), "
                   "coalesce(sum(heartbeat_last IS NULL), 0), "
                   "coalesce(sum(heartbeat_last + 3 * heartbeat_interval <= ?), 0), "
                   "(SELECT count(*) FROM chassis), "
                   "(SELECT count(*) FROM alarm WHERE closed IS NULL), "
                   "(SELECT page_count * page_size FROM pragma_page_count, pragma_page_size) "
                   "FROM manager");
  select.Bind(now);
  select.Step();
  Holdings held;
  held.managers = select.Number(0);
  held.silent = select.Number(1);
  held.offline = select.Number(2);
  held.chassis = select.Number(3);
  held.open_alarms = select.Number(4);
  held.bytes = select.Number(5);
  return held;
}

}  // namespace cloudservice
