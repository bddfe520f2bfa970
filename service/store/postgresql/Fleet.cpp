// SPDX-License-Identifier: Apache-2.0
// The list of all appliances, in every order and by every filter.
#include <algorithm>
#include <limits>
#include <utility>

#include "service/store/FleetOrders.h"
#include "service/store/postgresql/PostgresTransaction.h"
#include "service/util/Text.h"

namespace cloudservice::postgresql {

namespace {

const std::string kRecord =
    "SELECT uuid, label, model, serial, firmware, registered, heartbeat.count, heartbeat.last, "
    "heartbeat.interval, address, changed, faults, alarms, warnings, account.email, "
    "(SELECT id FROM chassis WHERE chassis.manager = key ORDER BY number LIMIT 1) ";
const std::string kFleet =
    "FROM manager JOIN heartbeat ON heartbeat.manager = key "
    "LEFT JOIN account ON account.id = manager.account ";
const Sql kAppliance(kRecord + kFleet + "WHERE uuid = $1");

// Whether the appliance has an open alarm of the severity; true also when the severity is null.
std::string Alarmed(const std::string& severity) {
  return "(" + severity + "::smallint IS NULL OR CASE " + severity +
         " WHEN 0 THEN faults WHEN 1 THEN alarms ELSE warnings END > 0) ";
}

// The columns as one text that is folded like a word of Words, one of whose words cannot reach
// from one column into the next.
std::string FoldedTexts(const std::string& columns) {
  return "translate(lower(concat_ws(' ', " + columns +
         ") COLLATE \"und-x-icu\"), U&'\\03C2\\0307', U&'\\03C3') COLLATE \"C\"";
}
const std::string kSought =
    FoldedTexts("label, uuid, model, serial, firmware, address, account.email");

// The appliances that pass a FleetFilter: $1 to $4 are the bounds of the times of its state, and
// the states that were found last are where an index finds the late ones.
const std::string kPassingFilter =
    "WHERE late_at >= $1 AND late_at <= $2 AND offline_at >= $3 "
    "AND offline_at <= $4 AND (state > 0 OR (state = 0 AND next_at <= $2)) AND " +
    Alarmed("$5") + "AND ($6::text[] IS NULL OR NOT EXISTS (SELECT FROM unnest($6::text[]) word " +
    "WHERE strpos(" + kSought + ", word) = 0)) ";
constexpr int kFilterValues = 6;

std::string Rowed(const Columns& names) { return "(" + Joined(names) + ")"; }

// As many parameters as there are names, from number `first` on: "($7, $8)".
std::string Parameters(const Columns& names, std::size_t first) {
  Columns parameters;
  for (std::size_t i = 0; i < names.size(); ++i) {
    parameters.push_back("$" + std::to_string(first + i));
  }
  return Rowed(parameters);
}

std::string Select(const std::string& condition, const std::string& order) {
  return kRecord + kFleet + kPassingFilter + condition + "ORDER BY " + order +
         " LIMIT $7 OFFSET $8";
}

// The statements for one order: by `columns`, and where these are equal by `ties`, which ascend.
// The appliances after a place are first its equals in `columns` with greater ties (`equals`), and
// then those behind them in `columns` (`others`). Each of the two is one stretch of an index, but
// for the order of the last heartbeat, which has none. They are planned each time: whether an index
// leads to few appliances depends on the filter.
struct Order {
  Order(const Columns& columns, const Columns& ties, bool down)
      : Order(columns, ties, down ? " < " : " > ",
              Joined(columns, down ? " DESC" : "") + ", " + Joined(ties)) {}

  const Sql whole;
  const Sql equals;
  const Sql others;

 private:
  static constexpr std::size_t kFirst = kFilterValues + 3;  // behind the limit and the offset

  Order(const Columns& columns, const Columns& ties, const std::string& behind,
        const std::string& order)
      : whole(Select("", order), Sql::Plan::kEachTime),
        equals(Select("AND " + Rowed(columns) + " = " + Parameters(columns, kFirst) + " AND " +
                          Rowed(ties) + " > " + Parameters(ties, kFirst + columns.size()) + " ",
                      Joined(ties)),
               Sql::Plan::kEachTime),
        others(Select("AND " + Rowed(columns) + behind + Parameters(columns, kFirst) + " ", order),
               Sql::Plan::kEachTime) {}
};

const FleetOrders<Order> kOrders("sorted", "heard");

const Sql kCountPassing("SELECT count(*) " + kFleet + kPassingFilter, Sql::Plan::kEachTime);

// Those whose state may be another by now than the one that was found last.
const std::string kUnsettled = "state IN (0, 1) AND next_at <= $1";

// How many appliances with an alarm of the severity are late or offline, and how many offline:
// those that were found so and stay so for now, and those of which their times say it.
std::string OverdueWithAlarm() {
  const std::string count = "(SELECT count(*) FROM heartbeat JOIN manager ON key = manager WHERE " +
                            Alarmed("$2") + "AND ";
  const std::string due = kUnsettled + " AND ";
  return "SELECT " + count + "state IN (1, 2) AND next_at > $1) + " + count + due +
         "late_at <= $1), " + count + "state = 2 AND next_at > $1) + " + count + due +
         "offline_at <= $1)";
}
const Sql kOverdueWithAlarm(OverdueWithAlarm(), Sql::Plan::kEachTime);

// What the counts of the states that were found last do not tell: how many of those found late are
// offline by now, and how many of the unsettled are late or offline, and how many offline.
const Sql kDue(
    "SELECT count(*) FILTER (WHERE state = 1), count(*) FILTER (WHERE late_at <= $1), "
    "count(*) FILTER (WHERE offline_at <= $1) FROM heartbeat WHERE " +
        kUnsettled,
    Sql::Plan::kEachTime);

// An appliance that is offline stays so until a heartbeat comes.
const Sql kSettle(
    "WITH due AS (SELECT manager, state FROM heartbeat WHERE " + kUnsettled +
        " UNION ALL SELECT manager, state FROM heartbeat WHERE state > 0 AND went_at > $1 "
        "LIMIT $2), settled AS (UPDATE heartbeat SET "
        "state = CASE WHEN offline_at <= $1 THEN 2 WHEN late_at <= $1 THEN 1 ELSE 0 END, "
        "next_at = CASE WHEN offline_at <= $1 THEN 9223372036854775807 "
        "WHEN late_at <= $1 THEN offline_at ELSE late_at END, "
        "went_at = CASE WHEN offline_at <= $1 THEN offline_at WHEN late_at <= $1 THEN late_at "
        "ELSE 0 END FROM due WHERE heartbeat.manager = due.manager "
        "RETURNING due.state AS before, heartbeat.state) "
        "SELECT count(*), count(*) FILTER (WHERE state = 1) - count(*) FILTER (WHERE before = 1), "
        "count(*) FILTER (WHERE state = 2) - count(*) FILTER (WHERE before = 2) FROM settled",
    Sql::Plan::kEachTime);

Values FilterOf(const FleetFilter& filter) {
  using Times = std::numeric_limits<std::int64_t>;
  std::int64_t late[] = {Times::min(), Times::max()};
  std::int64_t offline[] = {Times::min(), Times::max()};
  if (filter.state == State::kAlive) late[0] = filter.now + 1;
  if (filter.state == State::kLate || filter.state == State::kOffline) late[1] = filter.now;
  if (filter.state == State::kLate) offline[0] = filter.now + 1;
  if (filter.state == State::kOffline) offline[1] = filter.now;
  std::optional<std::int64_t> severity;
  if (filter.severity) severity = static_cast<std::int64_t>(*filter.severity);
  std::optional<std::vector<std::string>> words;
  if (!filter.words.AreNone()) words = filter.words.All();
  return {late[0], late[1], offline[0], offline[1], severity, words};
}

void AddColumns(Values& values, const FleetFilter& filter) {
  if (filter.sort == FleetFilter::Sort::kName) values.emplace_back(Lower(filter.after->label));
  for (const std::int64_t rank : filter.after->ranks) values.emplace_back(rank);
}

void AddTies(Values& values, const FleetFilter& filter) {
  if (filter.sort != FleetFilter::Sort::kName) values.emplace_back(Lower(filter.after->label));
  values.emplace_back(filter.after->uuid);
}

ApplianceRecord ReadAppliance(const Row& row) {
  ApplianceRecord appliance;
  appliance.uuid = row.Text(0);
  appliance.shown = {row.Text(1), row.OptionalText(2), row.OptionalText(3), row.OptionalText(4)};
  appliance.registered = row.Number(5);
  appliance.heartbeat = {row.Number(6), row.OptionalNumber(7), row.OptionalNumber(8)};
  appliance.address = row.Text(9);
  appliance.changed = row.Number(10);
  appliance.alarms = {row.Number(11), row.Number(12), row.Number(13)};
  appliance.email = row.OptionalText(14);
  appliance.chassis = row.OptionalText(15);
  return appliance;
}

void Take(const Result& result, std::vector<ApplianceRecord>& appliances) {
  for (const Row row : result) appliances.push_back(ReadAppliance(row));
}

}  // namespace

std::optional<ApplianceRecord> PostgresTransaction::FindAppliance(const std::string& uuid) {
  const Result result = Run(kAppliance, {uuid});
  if (result.Empty()) return std::nullopt;
  return ReadAppliance(result.First());
}

// Lists along the index of the order, where it has one.
std::vector<ApplianceRecord> PostgresTransaction::ListInOrder(const FleetFilter& filter) {
  const Order& order = kOrders.Of(filter);
  std::vector<ApplianceRecord> appliances;
  Values values = FilterOf(filter);
  values.emplace_back(filter.limit);
  values.emplace_back(filter.after ? std::int64_t{0} : filter.offset);
  if (!filter.after) {
    Take(Run(order.whole, values), appliances);
    return appliances;
  }
  Values others = values;
  AddColumns(values, filter);
  AddTies(values, filter);
  Take(Run(order.equals, values), appliances);
  const std::int64_t left = filter.limit - static_cast<std::int64_t>(appliances.size());
  if (left <= 0) return appliances;
  others.at(kFilterValues) = Value(left);
  AddColumns(others, filter);
  Take(Run(order.others, others), appliances);
  return appliances;
}

// Joins three lists by name, one for each state: an index has the states that were found last, and
// they change with the clock.
std::vector<ApplianceRecord> PostgresTransaction::ListByState(const FleetFilter& filter) {
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
  std::vector<ApplianceRecord> appliances;
  for (; state != states.end() && part.limit > 0; ++state, part.after.reset()) {
    if (filter.state && *filter.state != *state) continue;
    part.state = *state;
    const std::int64_t skipped = part.offset > 0 ? std::min(part.offset, CountAppliances(part)) : 0;
    for (ApplianceRecord& one : ListInOrder(part)) appliances.push_back(std::move(one));
    part.offset -= skipped;
    part.limit = filter.limit - static_cast<std::int64_t>(appliances.size());
  }
  return appliances;
}

std::vector<ApplianceRecord> PostgresTransaction::ListAppliances(const FleetFilter& filter) {
  return filter.sort == FleetFilter::Sort::kState ? ListByState(filter) : ListInOrder(filter);
}

std::int64_t PostgresTransaction::CountAppliances(const FleetFilter& filter) {
  if (filter.words.AreNone()) {
    const StateCounts states =
        filter.severity ? CountStates(filter.now, *filter.severity) : CountStates(filter.now);
    return filter.state ? states.at(static_cast<std::size_t>(*filter.state))
                        : states[0] + states[1] + states[2];
  }
  return Run(kCountPassing, FilterOf(filter)).First().Number(0);
}

std::int64_t PostgresTransaction::Settle(std::int64_t now, std::int64_t most) {
  return CountFound(Run(kSettle, {now, most}));
}

std::int64_t PostgresTransaction::CountFound(const Result& found) {
  const Row row = found.First();
  TotalsChange change;
  change.foundLate = row.Number(1);
  change.foundOffline = row.Number(2);
  if (change.foundLate != 0 || change.foundOffline != 0) ChangeTotals(change);
  return row.Number(0);
}

StateCounts PostgresTransaction::CountStates(std::int64_t now) {
  const Result due = Run(kDue, {now});
  const Row row = due.First();
  return StatesOf(CountTotals(), {row.Number(0), row.Number(1), row.Number(2)});
}

StateCounts PostgresTransaction::CountStates(std::int64_t now, Severity severity) {
  const std::int64_t all = CountTotals().alarmed.at(static_cast<std::size_t>(severity));
  const Result result = Run(kOverdueWithAlarm, {now, static_cast<std::int64_t>(severity)});
  const std::int64_t overdue = result.First().Number(0);
  const std::int64_t offline = result.First().Number(1);
  return {all - overdue, overdue - offline, offline};
}

}  // namespace cloudservice::postgresql
