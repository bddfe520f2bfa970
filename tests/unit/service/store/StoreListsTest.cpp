// SPDX-License-Identifier: Apache-2.0
// What lists of the store show: the fleet, its counts, and the log of an appliance.
#include <algorithm>
#include <array>
#include <map>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "StoreTest.h"

namespace cloudservice {
namespace {

using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;

// A store with manager "u" and its chassis "c" and "d".
class FleetTest : public StoreTest {
 protected:
  FleetTest() {
    store->AddManager({"u", "n", "{}", 1000, {}}, "hash");
    store->AddChassis({"c", "u", "{}", 1});
    store->AddChassis({"d", "u", "{}", 1});
  }
  void Raise(const std::string& chassis, const std::string& alarm, const std::string& severity) {
    store->AddEvent({0, "u", chassis, alarm, severity, "{}", 1}, alarm);
  }
  void Clear(const std::string& chassis, const std::string& alarm) {
    store->AddEvent({0, "u", chassis, "258", "OK", "{}", 1}, alarm);
  }
  // Those of the manager, which have to be those of all.
  AlarmCounts Alarms() {
    EXPECT_EQ(store->CountTotals().alarms, store->FindAppliance("u")->alarms);
    return store->FindAppliance("u")->alarms;
  }
  std::vector<std::string> Listed(const FleetFilter& filter) {
    std::vector<std::string> uuids;
    for (const ApplianceRecord& one : store->ListAppliances(filter)) uuids.push_back(one.uuid);
    return uuids;
  }

  // The list in pages of this size, each behind the end of the one before.
  std::vector<std::string> Followed(FleetFilter filter, std::int64_t size) {
    filter.limit = size;
    std::vector<std::string> uuids;
    for (;;) {
      const std::vector<ApplianceRecord> page = store->ListAppliances(filter);
      if (page.empty()) return uuids;
      for (const ApplianceRecord& one : page) uuids.push_back(one.uuid);
      filter.after = PlaceOf(page.back(), filter);
    }
  }

  void ExpectPagesOfWhole(FleetFilter filter) {
    filter.limit = 99;
    const std::vector<std::string> whole = Listed(filter);
    EXPECT_GT(whole.size(), 2u);
    EXPECT_EQ(whole.size(), static_cast<std::size_t>(store->CountAppliances(filter)));
    for (const std::int64_t size : {1, 3, 7}) EXPECT_EQ(Followed(filter, size), whole);
    for (filter.offset = 0; filter.offset < 9; ++filter.offset) {
      filter.limit = 2;
      const std::size_t first = std::min(whole.size(), static_cast<std::size_t>(filter.offset));
      const std::size_t end = std::min(whole.size(), first + 2);
      EXPECT_EQ(Listed(filter), std::vector<std::string>(whole.data() + first, whole.data() + end));
    }
  }

  TestStore store{file};
};

// What holds of a store in a file alone: on PostgreSQL whole days go.
class SqliteFleetTest : public FleetTest {};

TEST_F(FleetTest, Open_alarms_are_counted_as_they_come_change_and_go) {
  EXPECT_EQ(Alarms(), AlarmCounts{});
  Raise("c", "1", "Fault");
  Raise("c", "2", "CRITICAL");
  Raise("d", "1", "warning");
  Raise("d", "2", "whatever");
  EXPECT_EQ(Alarms(), (AlarmCounts{2, 1, 1}));
  Raise("c", "1", "Warning");
  Raise("c", "2", "critical");
  EXPECT_EQ(Alarms(), (AlarmCounts{1, 1, 2}));
  Clear("d", "1");
  Clear("d", "1");
  EXPECT_EQ(Alarms(), (AlarmCounts{1, 1, 1}));
  store->DeleteChassis("c");
  EXPECT_EQ(Alarms(), (AlarmCounts{0, 1, 0}));
  store->AddManager({"u", "n", "{}", 1, {}}, "hash");
  EXPECT_EQ(Alarms(), AlarmCounts{});
}

TEST_F(FleetTest, Event_that_fails_counts_no_alarm) {
  EXPECT_THROW(Raise("none", "m", "Alarm"), DatabaseError);
  EXPECT_EQ(Alarms(), AlarmCounts{});
}

TEST_F(FleetTest, Totals_follow_what_this_and_other_processes_change) {
  EXPECT_EQ(store->CountTotals().managers, 1);
  EXPECT_EQ(store->CountTotals().chassis, 2);
  store->DeleteChassis("c");
  EXPECT_EQ(store->CountTotals().chassis, 1);
  store->AddChassis({"e", "u", "{}", 1});
  EXPECT_EQ(store->CountTotals().chassis, 2);
  store->AddRegistrationKey("a@b", "hash", false, 1);
  store->AddManager({"v", "n", "{}", 1, {}, store->FindAccount("a@b")->id}, "hash-2");
  EXPECT_EQ(store->CountTotals().managers, 2);
  store->DeleteAccount(store->FindAccount("a@b")->id, true);
  store->RemoveNext(99);
  EXPECT_EQ(store->CountTotals().managers, 1);
  TestStore(file)->DeleteManager("u");
  EXPECT_EQ(store->CountTotals().managers, 0);
  EXPECT_EQ(store->CountTotals().chassis, 0);
}

TEST_F(FleetTest, States_change_at_their_seconds) {
  EXPECT_EQ(store->CountStates(1239), (StateCounts{1, 0, 0}));
  EXPECT_EQ(store->CountStates(1240), (StateCounts{0, 1, 0}));
  EXPECT_EQ(store->CountStates(1359), (StateCounts{0, 1, 0}));
  EXPECT_EQ(store->CountStates(1360), (StateCounts{0, 0, 1}));
  store->AddHeartbeat("u", 2000, 10, "");
  EXPECT_EQ(store->CountStates(2019), (StateCounts{1, 0, 0}));
  EXPECT_EQ(store->CountStates(2020), (StateCounts{0, 1, 0}));
  EXPECT_EQ(store->CountStates(2030), (StateCounts{0, 0, 1}));
  const auto due = [&](std::int64_t from, std::int64_t to) {
    std::vector<std::int64_t> times;
    for (const DueAppliance& one : store.All(&Transaction::ListDue, from, to)) {
      EXPECT_EQ(one.uuid, "u");
      times.push_back(one.time);
    }
    return times;
  };
  EXPECT_THAT(due(2019, 2020), ElementsAre(2020));
  EXPECT_THAT(due(2020, 2029), IsEmpty());
  EXPECT_THAT(due(2019, 2030), ElementsAre(2030)) << "once, though it becomes late before";
}

TEST_F(FleetTest, States_are_counted_whichever_side_has_more) {
  Raise("c", "1", "Fault");
  for (int i = 0; i < 6; ++i) {
    const std::string uuid = "m" + std::to_string(i);
    store->AddManager({uuid, "n", "{}", 1000, {}}, uuid);
    // One after the other late from 2020 and offline from 2030 on.
    store->AddHeartbeat(uuid, 2000 + 100 * i, 10, "");
  }
  for (int gone = 0; gone <= 6; ++gone) {
    const std::int64_t begin = 1920 + 100 * gone;
    EXPECT_EQ(store->CountStates(begin + 10), (StateCounts{6 - gone, 0, 1 + gone})) << gone;
    if (gone < 6) {
      EXPECT_EQ(store->CountStates(begin + 105), (StateCounts{5 - gone, 1, 1 + gone})) << gone;
    }
  }
  FleetFilter faulty;
  faulty.severity = Severity::kFault;
  faulty.now = 1300;
  EXPECT_EQ(store->CountAppliances(faulty), 1);
  faulty.state = State::kLate;
  EXPECT_EQ(store->CountAppliances(faulty), 1);
  faulty.now = 1400;
  EXPECT_EQ(store->CountAppliances(faulty), 0);
}

TEST_F(FleetTest, Is_listed_in_every_order_with_equals_by_their_names) {
  store->AddManager({"v", "B", "{}", 1001, {}}, "2");
  store->AddManager({"w", "a", R"({"Name": "M"})", 1000, {}}, "3");
  store->AddManager({"x", "b", "{}", 1000, {}}, "4");
  store->AddHeartbeat("v", 1500, 10, "");
  Raise("c", "1", "Warning");
  FleetFilter all;
  all.now = 1520;
  all.limit = 9;
  const auto listed = [&](FleetFilter::Sort sort, bool descending) {
    all.sort = sort;
    all.descending = descending;
    return Listed(all);
  };
  using Sort = FleetFilter::Sort;
  EXPECT_THAT(listed(Sort::kName, false), ElementsAre("v", "x", "w", "u"));
  EXPECT_THAT(listed(Sort::kName, true), ElementsAre("u", "w", "v", "x"));
  EXPECT_THAT(listed(Sort::kState, false), ElementsAre("v", "x", "w", "u"));
  EXPECT_THAT(listed(Sort::kState, true), ElementsAre("x", "w", "u", "v"));
  EXPECT_THAT(listed(Sort::kAlarms, false), ElementsAre("v", "x", "w", "u"));
  EXPECT_THAT(listed(Sort::kAlarms, true), ElementsAre("u", "v", "x", "w"));
  EXPECT_THAT(listed(Sort::kHeartbeat, false), ElementsAre("x", "w", "u", "v"));
  EXPECT_THAT(listed(Sort::kHeartbeat, true), ElementsAre("v", "x", "w", "u"));
  EXPECT_THAT(listed(Sort::kRegistered, false), ElementsAre("x", "w", "u", "v"));
  EXPECT_THAT(listed(Sort::kRegistered, true), ElementsAre("v", "x", "w", "u"));
  all.offset = 1;
  all.limit = 2;
  EXPECT_THAT(listed(Sort::kName, false), ElementsAre("x", "w"));
  EXPECT_THAT(listed(Sort::kState, false), ElementsAre("x", "w"));
  EXPECT_THAT(listed(Sort::kState, true), ElementsAre("w", "u"));
  EXPECT_EQ(store->CountAppliances(all), 4);
}

constexpr std::array<FleetFilter::Sort, 5> kSorts = {
    FleetFilter::Sort::kName, FleetFilter::Sort::kState, FleetFilter::Sort::kAlarms,
    FleetFilter::Sort::kHeartbeat, FleetFilter::Sort::kRegistered};

TEST_F(FleetTest, Pages_that_follow_each_other_are_the_whole_list_in_every_order) {
  // Every column has equals, and so has the name; one has no heartbeat.
  for (int i = 0; i < 24; ++i) {
    const std::string number = std::to_string(i);
    const std::string uuid = (i < 10 ? "m0" : "m") + number;
    store->AddManager(
        {uuid, std::string(i % 2 == 0 ? "a" : "A") + std::to_string(i % 3), "{}", 1000 + i % 4, {}},
        number);
    if (i % 8 > 0) store->AddHeartbeat(uuid, 1500 + i % 3, 5 + 3 * (i % 5), "");
    store.Execute(("UPDATE manager SET faults = " + std::to_string(i % 2) +
                   ", warnings = " + std::to_string((i + 1) % 3) + " WHERE uuid = '" + uuid + "'")
                      .c_str());
  }
  for (const FleetFilter::Sort sort : kSorts) {
    for (const bool descending : {false, true}) {
      FleetFilter filter;
      filter.sort = sort;
      filter.descending = descending;
      filter.now = 1520;
      ExpectPagesOfWhole(filter);
      filter.state = State::kAlive;  // most of them
      ExpectPagesOfWhole(filter);
      filter.state = State::kLate;
      ExpectPagesOfWhole(filter);
      filter.severity = Severity::kWarning;
      ExpectPagesOfWhole(filter);
      filter.state.reset();
      filter.words = Words("m1");
      ExpectPagesOfWhole(filter);
    }
  }
}

TEST_F(FleetTest, Page_follows_a_place_whatever_came_or_went_there) {
  for (const char* uuid : {"p", "q", "r", "s"}) store->AddManager({uuid, uuid, "{}", 1, {}}, uuid);
  FleetFilter filter;
  filter.limit = 2;
  for (const FleetFilter::Sort sort : kSorts) {
    filter.sort = sort;
    filter.after = PlaceOf(*store->FindAppliance("q"), filter);
    const std::vector<std::string> behind = Listed(filter);
    EXPECT_EQ(behind.front(), "r");
  }
  filter.sort = FleetFilter::Sort::kName;
  filter.after = PlaceOf(*store->FindAppliance("q"), filter);
  store->DeleteManager("q");
  store->DeleteManager("p");
  store->AddManager({"o", "o", "{}", 1, {}}, "o");
  EXPECT_THAT(Listed(filter), ElementsAre("r", "s"));
}

TEST_F(FleetTest, Place_in_a_state_that_the_filter_leaves_out_is_passed) {
  for (const char* uuid : {"a", "z"}) store->AddManager({uuid, uuid, "{}", 1000, {}}, uuid);
  store->AddHeartbeat("a", 1500, 10, "");
  store->AddHeartbeat("z", 1500, 10, "");
  FleetFilter filter;
  filter.sort = FleetFilter::Sort::kState;
  filter.now = 1500;
  filter.limit = 9;
  filter.after = PlaceOf(*store->FindAppliance("z"), filter);
  EXPECT_THAT(Listed(filter), ElementsAre("u")) << "which is offline";
  filter.state = State::kOffline;
  EXPECT_THAT(Listed(filter), ElementsAre("u"));
  filter.state = State::kAlive;
  EXPECT_THAT(Listed(filter), IsEmpty());
}

TEST_F(FleetTest, Name_that_is_too_long_for_a_list_is_shown_in_part) {
  std::string name;
  for (int i = 0; i < 300; ++i) name += "\u00e9";
  store->AddManager({"v", name, "{}", 1000, {}}, "2");
  EXPECT_EQ(store->FindAppliance("v")->shown.name, name.substr(0, 400));
  EXPECT_EQ(store->FindManager("v")->name, name);
}

TEST_F(FleetTest, Events_are_counted_as_they_come_and_go) {
  EXPECT_EQ(store->CountEvents("u"), 0);
  Raise("c", "1", "Fault");
  store->AddManager({"v", "n", "{}", 1, {}}, "2");
  store->AddEvent({0, "v", "", "m", "OK", "{}", 1}, "");
  constexpr std::int64_t kDay = 86400;
  store->AddEvent({0, "v", "", "m", "OK", "{}", 9 * kDay}, "");
  EXPECT_EQ(store->CountEvents("u"), 1);
  EXPECT_EQ(store->CountEvents("v"), 2);
  while (store->RemoveOld({2 * kDay, 2 * kDay, 9}).more) {
  }
  EXPECT_EQ(store->CountEvents("u"), 1);
  EXPECT_EQ(store->CountEvents("v"), 1);
  store->AddManager({"v", "n", "{}", 1, {}}, "2");
  EXPECT_EQ(store->CountEvents("v"), 0);
}

// The log of manager "u" with events that were received at these times.
class EventLogTest : public FleetTest {
 protected:
  void Receive(const std::vector<std::int64_t>& times) {
    for (const std::int64_t time : times) {
      store->AddEvent({0, "u", "", "m", "OK", "{}", time}, "");
    }
  }
  static LogFilter Between(std::optional<std::int64_t> since, std::optional<std::int64_t> until) {
    LogFilter filter;
    filter.manager = "u";
    filter.since = since;
    filter.until = until;
    filter.limit = 99;
    return filter;
  }
  std::vector<std::int64_t> Logged(const LogFilter& filter) {
    std::vector<std::int64_t> ids;
    for (const LoggedEvent& entry : store->ListLog(filter)) ids.push_back(entry.event.id);
    return ids;
  }
};

TEST_F(EventLogTest, Stretch_of_time_begins_at_its_first_second_and_ends_before_its_last) {
  Receive({10, 20, 20, 30});
  EXPECT_THAT(Logged(Between({}, {})), ElementsAre(4, 3, 2, 1));
  EXPECT_THAT(Logged(Between(20, {})), ElementsAre(4, 3, 2));
  EXPECT_THAT(Logged(Between(21, {})), ElementsAre(4));
  EXPECT_THAT(Logged(Between({}, 20)), ElementsAre(1));
  EXPECT_THAT(Logged(Between({}, 21)), ElementsAre(3, 2, 1));
  EXPECT_THAT(Logged(Between(20, 30)), ElementsAre(3, 2));
  EXPECT_THAT(Logged(Between(30, 20)), IsEmpty());
  EXPECT_THAT(Logged(Between(31, {})), IsEmpty());
}

TEST_F(EventLogTest, Clock_that_was_set_back_loses_no_event_of_a_stretch_of_time) {
  Receive({100, 200, 50, 150, 60});
  EXPECT_THAT(Logged(Between({}, {})), ElementsAre(5, 4, 3, 2, 1)) << "in the order of arrival";
  EXPECT_THAT(Logged(Between(55, 160)), ElementsAre(4, 1, 5)) << "in that of the times";
  LogFilter page = Between(0, 500);
  page.limit = 2;
  std::vector<std::int64_t> seen;
  for (auto ids = Logged(page); !ids.empty(); ids = Logged(page)) {
    seen.insert(seen.end(), ids.begin(), ids.end());
    page.before = ids.back();
  }
  EXPECT_THAT(seen, ElementsAre(2, 4, 1, 5, 3));
}

TEST_F(EventLogTest, Page_of_a_stretch_of_time_follows_an_event_that_went) {
  Receive({10, 20, 20, 20, 30});
  LogFilter page = Between(5, {});
  page.before = 3;
  store.Execute("DELETE FROM event WHERE id = 3");
  EXPECT_THAT(Logged(page), ElementsAre(2, 1));
  page.before = 1;
  store.Execute("DELETE FROM event WHERE id = 1");
  EXPECT_THAT(Logged(page), IsEmpty());
}

TEST_F(FleetTest, Is_searched_by_words_in_any_order_and_any_case) {
  const auto add = [&](const char* uuid, const char* label) {
    store->AddManager({uuid, label, R"({"Model": "Kyros"})", 1000, {}}, uuid);
  };
  add("a", "Kühlraum ÖSTLICH 2");
  add("b", "Котельная №2");
  add("c", "ΔΡΌΜΟΣ");
  add("d", "İstanbul 100%");
  add("e", "rack_7 ky");
  FleetFilter filter;
  filter.limit = 9;
  const std::map<std::string, std::vector<std::string>> cases = {
      {"2 KÜHLRAUM", {"a"}},
      {"östlich kyros", {"a"}},
      {"КОТЕЛЬНАЯ 2", {"b"}},
      {"δρόμος", {"c"}},
      {"ΔΡΌΜΟΣ", {"c"}},
      {"istanbul", {"d"}},
      {"İSTANBUL kyros", {"d"}},
      {"100%", {"d"}},
      {"rack_7", {"e"}},
      {"rack%7", {}},
      {"rack 8", {}},
      {"kyros\\", {}},
      {"kykyros", {}},
      {"7 7 rack_7", {"e"}},
      {"{a,\"}", {}},
  };
  for (const auto& [text, found] : cases) {
    filter.words = Words(text);
    EXPECT_THAT(Listed(filter), ElementsAreArray(found)) << text;
    EXPECT_EQ(store->CountAppliances(filter), found.size()) << text;
  }
}

TEST_F(FleetTest, Is_filtered_by_state_severity_and_text) {
  store->AddRegistrationKey("Olga@b", "hash", false, 1);
  store->AddManager({"v",
                     "B",
                     R"({"Model": "Kyros", "SerialNumber": "S-7", "FirmwareVersion": "f"})",
                     1000,
                     {},
                     store->FindAccount("Olga@b")->id,
                     "192.0.2.7"},
                    "2");
  store->AddHeartbeat("v", 1500, 10, "");
  Raise("c", "1", "Warning");
  FleetFilter filter;
  filter.now = 1520;
  filter.limit = 9;
  for (const char* text : {"b", "kyros", "s-7", "f", "192.0.2.", "olga@", "v"}) {
    filter.words = Words(text);
    EXPECT_THAT(Listed(filter), ElementsAre("v")) << text;
    EXPECT_EQ(store->CountAppliances(filter), 1) << text;
  }
  filter.words = Words("hash");
  EXPECT_THAT(Listed(filter), IsEmpty());
  filter.words = {};
  filter.state = State::kLate;
  EXPECT_THAT(Listed(filter), ElementsAre("v"));
  EXPECT_EQ(store->CountAppliances(filter), 1);
  filter.state = State::kAlive;
  EXPECT_THAT(Listed(filter), IsEmpty());
  EXPECT_EQ(store->CountAppliances(filter), 0);
  filter.state.reset();
  filter.severity = Severity::kWarning;
  EXPECT_THAT(Listed(filter), ElementsAre("u"));
  EXPECT_EQ(store->CountAppliances(filter), 1);
  filter.severity = Severity::kFault;
  EXPECT_EQ(store->CountAppliances(filter), 0);
}

TEST_F(SqliteFleetTest, What_is_old_goes_in_steps) {
  for (int i = 0; i < 3; ++i) {
    const std::string member = std::to_string(i);
    store->PutResource({"/r", "u", "c", "{}", 1}, {"/r", "u", "c", 1, {{member, "1"}}});
    store->AddEvent({0, "u", "", "m", "OK", "{}", 1}, "");
  }
  Raise("c", "1", "Fault");
  OldLeft left = store->RemoveOld({2, 2, 2});
  EXPECT_TRUE(left.more);
  EXPECT_EQ(store->ListMembers("u", {}, {{}, 9}).size(), 1u);
  EXPECT_EQ(store->CountEvents("u"), 2);
  left = store->RemoveOld({2, 2, 2, left.after});
  EXPECT_TRUE(left.more) << "the event of the open alarm was looked at, too";
  EXPECT_EQ(store->ListMembers("u", {}, {{}, 9}).size(), 0u);
  EXPECT_EQ(store->CountEvents("u"), 1) << "which stands for the open alarm";
  EXPECT_FALSE(store->RemoveOld({2, 2, 2, left.after}).more);
}

TEST_F(SqliteFleetTest, Old_events_of_open_alarms_hold_no_step_up) {
  for (int i = 0; i < 5; ++i) Raise("c", std::to_string(i), "Fault");
  store->AddEvent({0, "u", "", "m", "OK", "{}", 1}, "");
  store->AddEvent({0, "u", "", "m", "OK", "{}", 2}, "");
  OldLeft left;
  for (int steps = 0; steps < 3; ++steps) {
    EXPECT_EQ(store->CountEvents("u"), 7) << "each looks at two";
    left = store->RemoveOld({2, 2, 2, left.after});
    EXPECT_TRUE(left.more);
  }
  EXPECT_EQ(store->CountEvents("u"), 6) << "the sixth, which no alarm keeps, is gone";
  left = store->RemoveOld({2, 2, 2, left.after});
  EXPECT_FALSE(left.more);
  EXPECT_EQ(store->CountEvents("u"), 6) << "the last one is not old";
  Clear("c", "0");
  EXPECT_FALSE(store->RemoveOld({1, 1, 9, left.after}).more);
  EXPECT_EQ(store->CountEvents("u"), 7);
  EXPECT_FALSE(store->RemoveOld({2, 2, 9, left.after}).more);
  EXPECT_EQ(store->CountEvents("u"), 5) << "the next round begins with the oldest";
}

TEST_F(FleetTest, Heartbeats_ahead_are_set_back_in_steps) {
  store->AddManager({"v", "n", "{}", 1000, {}}, "2");
  store->AddManager({"w", "n", "{}", 1000, {}}, "3");
  for (const char* uuid : {"u", "v", "w"}) store->AddHeartbeat(uuid, 5000, 10, "");
  store->AddHeartbeat("w", 2000, 10, "");
  EXPECT_EQ(store->ClampHeartbeats(2000, 1), 1);
  EXPECT_EQ(store->ClampHeartbeats(2000, 2), 1) << "that of w is of now";
  EXPECT_EQ(store->ClampHeartbeats(2000, 2), 0);
  for (const char* uuid : {"u", "v", "w"}) {
    EXPECT_EQ(store->FindAppliance(uuid)->heartbeat.last, 2000) << uuid;
  }
  FleetFilter late;
  late.limit = 9;
  late.state = State::kLate;
  late.now = 2021;
  EXPECT_THAT(Listed(late), ElementsAre("u", "v", "w")) << "when they are late moves with them";
}

}  // namespace
}  // namespace cloudservice
