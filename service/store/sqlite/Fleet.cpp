// SPDX-License-Identifier: Apache-2.0
// The list of all appliances, in every order and by every filter.
#include <algorithm>
#include <utility>

#include "service/store/FleetOrders.h"
#include "service/store/sqlite/SqliteTransaction.h"

namespace cloudservice {

namespace {

// The number of the appliance's State at the time ?1.
const std::string kState =
    "(CASE WHEN offline_at <= ?1 THEN 2 WHEN late_at <= ?1 THEN 1 ELSE 0 END)";

// Whether the appliance has an open alarm of the severity; true also when the severity is null.
std::string Alarmed(const std::string& severity) {
  return "(" + severity + " IS NULL OR CASE " + severity +
         " WHEN 0 THEN faults WHEN 1 THEN alarms ELSE warnings END > 0)";
}

// The appliances that pass a FleetFilter.
const std::string kFiltered =
    "FROM manager WHERE (?2 IS NULL OR " + kState + " = ?2) AND " + Alarmed("?3") +
    " AND (?4 IS NULL OR are_words_in(?4, label, uuid, model, serial, firmware, address, "
    "(SELECT email FROM account WHERE account.id = manager.account))) ";

std::string Row(const Columns& names) { return "(" + Joined(names) + ")"; }

// As many parameters as there are names: "(?, ?)".
std::string Values(const Columns& names) { return Row(Columns(names.size(), "?")); }

std::string Uuids(const std::string& condition, const std::string& order) {
  return "SELECT uuid " + kFiltered + condition + " ORDER BY " + order + " LIMIT ?";
}

// The statements for one order: by `columns`, and where these are equal by `ties`, which ascend.
// The appliances after a place are first its equals in `columns` with greater ties (`equals`), and
// then those behind them in `columns` (`others`). Each of the two is one stretch of an index, but
// for the order of the last heartbeat, which has none.
struct Order {
  Order(const Columns& columns, const Columns& ties, bool down)
      : Order(columns, ties, down ? " < " : " > ",
              Joined(columns, down ? " DESC" : "") + ", " + Joined(ties)) {}

  const Sql whole;
  const Sql equals;
  const Sql others;

 private:
  Order(const Columns& columns, const Columns& ties, const std::string& behind,
        const std::string& order)
      : whole(Uuids("", order) + " OFFSET ?"),
        equals(Uuids("AND " + Row(columns) + " = " + Values(columns) + " AND " + Row(ties) + " > " +
                         Values(ties),
                     Joined(ties))),
        others(Uuids("AND " + Row(columns) + behind + Values(columns), order)) {}
};

const FleetOrders<Order> kOrders("label", "heard_at");

// Those whose state may be another by now than the one that was found last.
const std::string kUnsettled = "state IN (0, 1) AND next_at <= ?1";

// The appliances of one state, ordered by name. The plus keeps the search away from the index of
// names, of which much would have to be read to find few appliances.
const Sql kOfState(Uuids("AND (state = ?2 OR (" + kUnsettled + ")) AND (+label, +uuid) > (?, ?)",
                         "+label, +uuid") +
                   " OFFSET ?");

const Sql kCountFiltered("SELECT count(*) " + kFiltered);

// How many appliances are late or offline, and how many offline: those that were found so and stay
// so for now, and those of which their times say it.
std::string Overdue(const std::string& condition) {
  const std::string count = "(SELECT count(*) FROM manager WHERE ";
  const std::string found = " AND next_at > ?1 AND " + condition + ") + ";
  const std::string due = kUnsettled + " AND " + condition + " AND ";
  return "SELECT " + count + "state IN (1, 2)" + found + count + due + "late_at <= ?1), " + count +
         "state = 2" + found + count + due + "offline_at <= ?1)";
}
const Sql kOverdueAlarmed(Overdue(Alarmed("?2")));

// What the counts of the states that were found last do not tell: how many of those found late are
// offline by now, and how many of the unsettled are late or offline, and how many offline.
const Sql kDue(
    "SELECT (SELECT count(*) FROM manager WHERE state = 1 AND next_at <= ?1), "
    "(SELECT count(*) FROM manager WHERE " +
    kUnsettled +
    " AND late_at <= ?1), "
    "(SELECT count(*) FROM manager WHERE " +
    kUnsettled + " AND offline_at <= ?1)");

// An appliance that is offline stays so until a heartbeat comes.
const Sql kSettle(
    "UPDATE manager SET state = " + kState +
    ", next_at = CASE WHEN offline_at <= ?1 THEN 9223372036854775807 "
    "WHEN late_at <= ?1 THEN offline_at ELSE late_at END, "
    "went_at = CASE WHEN offline_at <= ?1 THEN offline_at WHEN late_at <= ?1 THEN late_at "
    "ELSE 0 END WHERE id IN (SELECT id FROM manager WHERE " +
    kUnsettled + " UNION ALL SELECT id FROM manager WHERE state > 0 AND went_at > ?1 LIMIT ?2)");

template <typename T>
std::optional<std::int64_t> NumberOf(const std::optional<T>& word) {
  if (!word) return std::nullopt;
  return static_cast<std::int64_t>(*word);
}

void BindFilter(Statement& select, const FleetFilter& filter) {
  select.Bind(filter.now).Bind(NumberOf(filter.state)).Bind(NumberOf(filter.severity));
  if (filter.words.AreNone()) {
    select.BindNull();
  } else {
    select.Bind(filter.words.Text());
  }
}

void BindColumns(Statement& select, const FleetFilter& filter) {
  if (filter.sort == FleetFilter::Sort::kName) select.Bind(filter.after->label);
  for (const std::int64_t rank : filter.after->ranks) select.Bind(rank);
}

void BindTies(Statement& select, const FleetFilter& filter) {
  if (filter.sort != FleetFilter::Sort::kName) select.Bind(filter.after->label);
  select.Bind(filter.after->uuid);
}

void TakeTexts(Statement& select, std::vector<std::string>& texts) {
  while (select.Step()) texts.push_back(select.Text(0));
}

// Lists along the index of the order, where it has one.
std::vector<std::string> ListInOrder(Database& database, const FleetFilter& filter) {
  const Order& order = kOrders.Of(filter);
  std::vector<std::string> uuids;
  if (!filter.after) {
    Statement whole(database, order.whole);
    BindFilter(whole, filter);
    whole.Bind(filter.limit).Bind(filter.offset);
    TakeTexts(whole, uuids);
    return uuids;
  }
  Statement equals(database, order.equals);
  BindFilter(equals, filter);
  BindColumns(equals, filter);
  BindTies(equals, filter);
  equals.Bind(filter.limit);
  TakeTexts(equals, uuids);
  Statement others(database, order.others);
  BindFilter(others, filter);
  BindColumns(others, filter);
  others.Bind(filter.limit - static_cast<std::int64_t>(uuids.size()));
  TakeTexts(others, uuids);
  return uuids;
}

std::vector<std::string> SearchState(Database& database, const FleetFilter& filter) {
  const FleetPlace place = filter.after.value_or(FleetPlace());
  Statement select(database, kOfState);
  BindFilter(select, filter);
  select.Bind(place.label).Bind(place.uuid).Bind(filter.limit).Bind(filter.offset);
  std::vector<std::string> uuids;
  TakeTexts(select, uuids);
  return uuids;
}

}  // namespace

// Takes the search that reads fewer rows.
std::vector<std::string> SqliteTransaction::ListOfState(const FleetFilter& filter) {
  const auto state = static_cast<std::size_t>(*filter.state);
  const bool few = 2 * CountStates(filter.now).at(state) < CountTotals().managers;
  return few ? SearchState(m_database, filter) : ListInOrder(m_database, filter);
}

// Joins three lists by name, one for each state: an index has the states that were found last, and
// they change with the clock.
std::vector<std::string> SqliteTransaction::ListByState(const FleetFilter& filter) {
  std::vector<State> states = {State::kAlive, State::kLate, State::kOffline};
  if (filter.descending) std::reverse(states.begin(), states.end());
  FleetFilter part = filter;
  part.sort = FleetFilter::Sort::kName;
  part.descending = false;
  auto state = states.begin();
  if (filter.after) {
    state = std::find(state, states.end(), static_cast<State>(filter.after->ranks.at(0)));
    part.after->ranks.clear();
    part.offset = 0;
  }
  std::vector<std::string> uuids;
  for (; state != states.end() && part.limit > 0; ++state, part.after.reset()) {
    if (filter.state && *filter.state != *state) continue;
    part.state = *state;
    const std::int64_t skipped = part.offset > 0 ? std::min(part.offset, CountAppliances(part)) : 0;
    for (std::string& uuid : ListOfState(part)) uuids.push_back(std::move(uuid));
    part.offset -= skipped;
    part.limit = filter.limit - static_cast<std::int64_t>(uuids.size());
  }
  return uuids;
}

std::vector<std::string> SqliteTransaction::ListUuids(const FleetFilter& filter) {
  using Sort = FleetFilter::Sort;
  if (filter.sort == Sort::kState) return ListByState(filter);
  const bool byName = filter.sort == Sort::kName && !filter.descending;
  return byName && filter.state ? ListOfState(filter) : ListInOrder(m_database, filter);
}

std::vector<ApplianceRecord> SqliteTransaction::ListAppliances(const FleetFilter& filter) {
  std::vector<ApplianceRecord> appliances;
  // The records are read one by one afterwards, since ordering rows needs their UUIDs only.
  for (const std::string& uuid : ListUuids(filter)) {
    if (auto appliance = FindAppliance(uuid)) appliances.push_back(*std::move(appliance));
  }
  return appliances;
}

std::int64_t SqliteTransaction::CountAppliances(const FleetFilter& filter) {
  if (filter.words.AreNone() && !filter.state) return CountAll(filter.severity);
  if (filter.words.AreNone()) {
    const StateCounts states =
        filter.severity ? CountStates(filter.now, *filter.severity) : CountStates(filter.now);
    return states.at(static_cast<std::size_t>(*filter.state));
  }
  Statement select(m_database, kCountFiltered);
  BindFilter(select, filter);
  return select.Step() ? select.Number(0) : 0;
}

StateCounts SqliteTransaction::CountStates(std::int64_t now) {
  Statement select(m_database, kDue);
  if (!select.Bind(now).Step()) return {};
  return StatesOf(CountTotals(), {select.Number(0), select.Number(1), select.Number(2)});
}

StateCounts SqliteTransaction::CountStates(std::int64_t now, Severity severity) {
  Statement select(m_database, kOverdueAlarmed);
  if (!select.Bind(now).Bind(static_cast<std::int64_t>(severity)).Step()) return {};
  const std::int64_t overdue = select.Number(0);
  const std::int64_t offline = select.Number(1);
  return {CountAll(severity) - overdue, overdue - offline, offline};
}

std::int64_t SqliteTransaction::Settle(std::int64_t now, std::int64_t most) {
  Statement(m_database, kSettle).Bind(now).Bind(most).Run();
  return m_database.Changes();
}

std::int64_t SqliteTransaction::CountAll(std::optional<Severity> severity) {
  const Totals totals = CountTotals();
  return severity ? totals.alarmed.at(static_cast<std::size_t>(*severity)) : totals.managers;
}

}  // namespace cloudservice
