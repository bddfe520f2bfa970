#include <array>

#include "service/store/Store.h"

namespace cloudservice {

namespace {

// The number of the appliance's State at the time ?1.
const std::string kState =
    "(CASE WHEN offline_at <= ?1 THEN 2 WHEN late_at <= ?1 THEN 1 ELSE 0 END)";

// What a FleetFilter lets through. The text is in lower case.
const std::string kWished =
    "FROM manager WHERE (?2 IS NULL OR " + kState +
    " = ?2) AND (?3 IS NULL OR CASE ?3 WHEN 0 THEN faults WHEN 1 THEN alarms ELSE warnings END > 0)"
    " AND (?4 IS NULL OR instr(lower(label), ?4) OR instr(lower(uuid), ?4) OR "
    "instr(lower(model), ?4) OR instr(lower(serial), ?4) OR instr(lower(firmware), ?4) OR "
    "instr(lower(nullif(address, '')), ?4) OR "
    "instr(lower((SELECT email FROM account WHERE account.id = manager.account)), ?4)) ";

std::string Ordered(const std::string& order) {
  return "SELECT uuid " + kWished + "ORDER BY " + order +
         "label COLLATE NOCASE, uuid LIMIT ?5 OFFSET ?6";
}

const Sql kCountWished("SELECT count(*) " + kWished);
// In the order of FleetFilter::Sort, each ascending and descending; equals by their names.
const std::array<std::array<Sql, 2>, 5> kLists = {{
    {Sql(Ordered("")),
     Sql("SELECT uuid " + kWished + "ORDER BY label COLLATE NOCASE DESC, uuid LIMIT ?5 OFFSET ?6")},
    {Sql(Ordered(kState + ", ")), Sql(Ordered(kState + " DESC, "))},
    {Sql(Ordered("faults, alarms, warnings, ")),
     Sql(Ordered("faults DESC, alarms DESC, warnings DESC, "))},
    {Sql(Ordered("heartbeat_last, ")), Sql(Ordered("heartbeat_last DESC, "))},
    {Sql(Ordered("registered, ")), Sql(Ordered("registered DESC, "))},
}};

const Sql kStates(
    "SELECT (SELECT count(*) FROM manager WHERE late_at <= ?1), "
    "(SELECT count(*) FROM manager WHERE offline_at <= ?1)");

template <typename T>
std::optional<std::int64_t> NumberOf(const std::optional<T>& word) {
  if (!word) return std::nullopt;
  return static_cast<std::int64_t>(*word);
}

void BindWish(Statement& select, const FleetFilter& filter) {
  select.Bind(filter.now).Bind(NumberOf(filter.state)).Bind(NumberOf(filter.severity));
  select.Bind(filter.text);
}

}  // namespace

std::vector<ApplianceRecord> Store::ListAppliances(const FleetFilter& filter) {
  const auto& directions = kLists.at(static_cast<std::size_t>(filter.sort));
  Statement select(m_database, directions.at(filter.descending ? 1 : 0));
  BindWish(select, filter);
  select.Bind(filter.limit).Bind(filter.offset);
  std::vector<ApplianceRecord> appliances;
  // One by one: for the order alone no row needs more than its uuid.
  while (select.Step()) {
    if (auto appliance = FindAppliance(select.Text(0))) appliances.push_back(*std::move(appliance));
  }
  return appliances;
}

std::int64_t Store::CountAppliances(const FleetFilter& filter) {
  if (!filter.severity && !filter.text) {
    const StateCounts states = CountStates(filter.now);
    return filter.state ? states.at(static_cast<std::size_t>(*filter.state))
                        : states[0] + states[1] + states[2];
  }
  Statement select(m_database, kCountWished);
  BindWish(select, filter);
  return select.Step() ? select.Number(0) : 0;
}

StateCounts Store::CountStates(std::int64_t now) {
  Statement select(m_database, kStates);
  select.Bind(now);
  select.Step();
  const std::int64_t overdue = select.Number(0);
  const std::int64_t offline = select.Number(1);
  return {CountTotals().managers - overdue, overdue - offline, offline};
}

}  // namespace cloudservice
