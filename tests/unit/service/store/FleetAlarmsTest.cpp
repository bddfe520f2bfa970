// SPDX-License-Identifier: Apache-2.0
// The alarms and the events of the whole fleet.
#include <algorithm>
#include <functional>
#include <string>
#include <tuple>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "StoreTest.h"

namespace cloudservice {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;
using testing::SizeIs;

constexpr std::int64_t kOpened = 100000;
using Kind = AlarmName::Kind;

class FleetAlarmsTest : public StoreTest {
 protected:
  void Add(const std::string& uuid) {
    store->AddManager({uuid, "name of " + uuid, "{}", kOpened, {}}, "token " + uuid);
    store->AddChassis({"c" + uuid, uuid, "{}", kOpened});
    store->AddHeartbeat(uuid, kOpened, 60, "");
  }
  void Raise(const std::string& uuid, const std::string& alarm, const std::string& severity,
             std::int64_t time) {
    store->AddEvent({0, uuid, "c" + uuid, alarm, severity, "{\"a\": \"" + alarm + "\"}", time},
                    alarm);
  }
  void Clear(const std::string& uuid, const std::string& alarm, std::int64_t time) {
    store->AddEvent({0, uuid, "c" + uuid, "258", "OK", "{}", time}, alarm);
  }

  // All that pass the filter, read in pages of `limit`.
  std::vector<FleetAlarm> List(AlarmFilter filter, std::int64_t limit = 100) {
    filter.limit = limit;
    std::vector<FleetAlarm> all;
    for (;;) {
      const std::vector<FleetAlarm> page = store->ListAlarms(filter);
      EXPECT_LE(page.size(), static_cast<std::size_t>(limit));
      all.insert(all.end(), page.begin(), page.end());
      if (page.size() < static_cast<std::size_t>(limit)) return all;
      filter.after = PlaceOf(page.back());
    }
  }
  std::vector<FleetAlarm> Open() { return List({}); }
  std::vector<FleetAlarm> Ended() {
    AlarmFilter filter;
    filter.open = false;
    return List(filter);
  }

  static std::string Text(const FleetAlarm& alarm) {
    return std::string(alarm.name.kind == Kind::kAlarm ? "a" : "s") +
           std::to_string(alarm.name.id) + " " + alarm.manager;
  }
  static std::vector<std::string> Texts(const std::vector<FleetAlarm>& alarms) {
    std::vector<std::string> texts;
    for (const FleetAlarm& alarm : alarms) texts.push_back(Text(alarm));
    return texts;
  }

  // Alarms and silences of many times, some of them the same; every third has ended.
  void Fill() {
    const std::vector<std::string> severities = {"Fault", "Alarm", "Warning"};
    for (int i = 0; i < 4; ++i) Add("u" + std::to_string(i));
    for (int i = 0; i < 24; ++i) {
      const std::string uuid = "u" + std::to_string(i % 4);
      Raise(uuid, std::to_string(i), severities[(i / 2) % 3], kOpened + 120 + i % 5);
      if (i % 3 == 0) Clear(uuid, std::to_string(i), kOpened + 200 + i % 2);
    }
    store->Settle(kOpened + 120, 99);
    store->AddHeartbeat("u1", kOpened + 201, 60, "");
    store->AddHeartbeat("u2", kOpened + 130, 20, "");
    store->Settle(kOpened + 200, 99);
    for (const FleetAlarm& alarm : Open()) {
      if (alarm.opened % 2 == 0) store->Acknowledge(alarm.name, Acknowledgement{1, "olga", ""});
    }
  }

  TestStore store{file};
};

TEST_F(FleetAlarmsTest, Worst_is_first_and_of_these_the_newest) {
  Fill();
  std::vector<FleetAlarm> open = Open();
  ASSERT_THAT(open, SizeIs(16 + 3));
  const std::vector<std::string> listed = Texts(open);
  std::sort(open.begin(), open.end(), [](const FleetAlarm& one, const FleetAlarm& other) {
    const auto key = [](const FleetAlarm& alarm) {
      return std::make_tuple(alarm.severity, -alarm.opened, alarm.name.kind, -alarm.name.id);
    };
    return key(one) < key(other);
  });
  EXPECT_THAT(Texts(open), ElementsAreArray(listed));
}

TEST_F(FleetAlarmsTest, Of_those_that_have_ended_the_last_is_first) {
  Fill();
  std::vector<FleetAlarm> ended = Ended();
  ASSERT_THAT(ended, SizeIs(8 + 2));
  const std::vector<std::string> listed = Texts(ended);
  std::sort(ended.begin(), ended.end(), [](const FleetAlarm& one, const FleetAlarm& other) {
    const auto key = [](const FleetAlarm& alarm) {
      return std::make_tuple(-*alarm.closed, alarm.name.kind, -alarm.name.id);
    };
    return key(one) < key(other);
  });
  EXPECT_THAT(Texts(ended), ElementsAreArray(listed));
}

TEST_F(FleetAlarmsTest, Each_filter_leaves_in_what_it_says_in_pages_of_every_size) {
  Fill();
  struct Case {
    std::function<void(AlarmFilter& filter)> set;
    std::function<bool(const FleetAlarm& alarm)> passes;
  };
  std::vector<Case> cases = {{[](auto&) {}, [](auto&) { return true; }}};
  for (const Severity severity : {Severity::kFault, Severity::kAlarm, Severity::kWarning}) {
    cases.push_back({[=](AlarmFilter& filter) { filter.severity = severity; },
                     [=](const FleetAlarm& alarm) { return alarm.severity == severity; }});
  }
  for (const bool yes : {false, true}) {
    cases.push_back({[=](AlarmFilter& filter) { filter.acknowledged = yes; },
                     [=](const FleetAlarm& alarm) { return !alarm.acknowledged == !yes; }});
  }
  for (const Kind kind : {Kind::kAlarm, Kind::kSilence}) {
    cases.push_back({[=](AlarmFilter& filter) { filter.kind = kind; },
                     [=](const FleetAlarm& alarm) { return alarm.name.kind == kind; }});
  }
  cases.push_back({[](AlarmFilter& filter) { filter.manager = "u1"; },
                   [](const FleetAlarm& alarm) { return alarm.manager == "u1"; }});
  for (const bool open : {true, false}) {
    for (const Case& one : cases) {
      AlarmFilter filter;
      filter.open = open;
      std::vector<std::string> expected;
      for (const FleetAlarm& alarm : List(filter)) {
        if (one.passes(alarm)) expected.push_back(Text(alarm));
      }
      EXPECT_TRUE(!open || !expected.empty());
      one.set(filter);
      for (const std::int64_t limit : {1, 2, 3, 100}) {
        EXPECT_THAT(Texts(List(filter, limit)), ElementsAreArray(expected)) << limit;
      }
    }
  }
}

TEST_F(FleetAlarmsTest, Alarm_tells_what_its_last_event_says) {
  Add("u");
  Raise("u", "7", "Warning", kOpened + 1);
  Raise("u", "7", "Fault", kOpened + 5);
  const FleetAlarm alarm = Open().at(0);
  EXPECT_EQ(alarm.label, "name of u");
  EXPECT_EQ(alarm.severity, Severity::kFault);
  EXPECT_EQ(alarm.opened, kOpened + 1);
  EXPECT_EQ(alarm.closed, std::nullopt);
  EXPECT_EQ(alarm.chassis, "cu");
  EXPECT_EQ(alarm.messageId, "7");
  EXPECT_EQ(alarm.document, R"({"a": "7"})");
  EXPECT_EQ(store->FindEvent("u", alarm.event)->received, kOpened + 5);
  EXPECT_EQ(alarm.offline, std::nullopt);
  Clear("u", "7", kOpened + 9);
  EXPECT_THAT(Open(), IsEmpty());
  EXPECT_EQ(Ended().at(0).closed, kOpened + 9);
}

TEST_F(FleetAlarmsTest, Silence_is_a_warning_and_an_alarm_once_the_appliance_is_offline) {
  Add("u");
  store->Settle(kOpened + 119, 9);
  EXPECT_THAT(Open(), IsEmpty());
  store->Settle(kOpened + 125, 9);
  const FleetAlarm late = Open().at(0);
  EXPECT_EQ(late.name.kind, Kind::kSilence);
  EXPECT_EQ(late.severity, Severity::kWarning);
  EXPECT_EQ(late.manager, "u");
  EXPECT_EQ(late.label, "name of u");
  EXPECT_EQ(late.opened, kOpened + 120);
  EXPECT_EQ(late.offline, std::nullopt);
  EXPECT_TRUE(store->Acknowledge(late.name, Acknowledgement{kOpened + 130, "olga", "call"}));
  store->Settle(kOpened + 190, 9);
  const FleetAlarm offline = Open().at(0);
  EXPECT_EQ(offline.name.id, late.name.id);
  EXPECT_EQ(offline.severity, Severity::kAlarm);
  EXPECT_EQ(offline.opened, kOpened + 120);
  EXPECT_EQ(offline.offline, kOpened + 180);
  EXPECT_FALSE(offline.acknowledged) << "it has become worse";
  store->AddHeartbeat("u", kOpened + 300, 60, "");
  EXPECT_THAT(Open(), IsEmpty());
  const FleetAlarm ended = Ended().at(0);
  EXPECT_EQ(ended.name.id, late.name.id);
  EXPECT_EQ(ended.closed, kOpened + 300);
  EXPECT_EQ(ended.offline, kOpened + 180);
  store->Settle(kOpened + 9999, 9);
  EXPECT_THAT(Ended(), SizeIs(1));
  const FleetAlarm next = Open().at(0);
  EXPECT_GT(next.name.id, late.name.id);
  EXPECT_EQ(next.opened, kOpened + 420);
  EXPECT_EQ(next.offline, kOpened + 480);
  EXPECT_EQ(next.severity, Severity::kAlarm);
}

TEST_F(FleetAlarmsTest, Silence_that_ends_by_a_clock_that_was_set_back_ends_when_it_began) {
  Add("u");
  store->Settle(kOpened + 125, 9);
  store->AddHeartbeat("u", kOpened - 500, 60, "");
  EXPECT_EQ(Ended().at(0).closed, kOpened + 120);
}

TEST_F(FleetAlarmsTest, Appliance_that_was_never_heard_is_silent_too) {
  store->AddManager({"u", "n", "{}", kOpened, {}}, "token");
  store->Settle(kOpened + 360, 9);
  EXPECT_EQ(Open().at(0).opened, kOpened + 240);
  EXPECT_EQ(Open().at(0).offline, kOpened + 360);
}

TEST_F(FleetAlarmsTest, Silence_is_no_event_of_the_appliance) {
  Add("u");
  store->Settle(kOpened + 999, 9);
  ASSERT_THAT(Open(), SizeIs(1));
  EXPECT_EQ(store->CountEvents("u"), 0);
  EXPECT_THAT(store.All(&Transaction::ListOpenAlarms, "u"), IsEmpty());
  EXPECT_EQ(store->FindAppliance("u")->alarms, AlarmCounts{});
}

TEST_F(FleetAlarmsTest, Acknowledgement_is_kept_until_it_is_taken_back) {
  Add("u");
  Raise("u", "7", "Alarm", kOpened + 1);
  const AlarmName name = Open().at(0).name;
  EXPECT_FALSE(Open().at(0).acknowledged);
  EXPECT_TRUE(store->Acknowledge(name, Acknowledgement{kOpened + 2, "olga", "on my way"}));
  EXPECT_TRUE(store->Acknowledge(name, Acknowledgement{kOpened + 3, "otto", ""}));
  const Acknowledgement word = *Open().at(0).acknowledged;
  EXPECT_EQ(word.time, kOpened + 3);
  EXPECT_EQ(word.by, "otto");
  EXPECT_EQ(word.note, "");
  EXPECT_TRUE(store->Acknowledge(name, std::nullopt));
  EXPECT_FALSE(Open().at(0).acknowledged);
}

TEST_F(FleetAlarmsTest, Acknowledgement_ends_where_the_alarm_becomes_worse) {
  Add("u");
  Raise("u", "7", "Alarm", kOpened + 1);
  const AlarmName name = Open().at(0).name;
  store->Acknowledge(name, Acknowledgement{kOpened + 2, "olga", ""});
  Raise("u", "7", "Alarm", kOpened + 3);
  Raise("u", "7", "Warning", kOpened + 4);
  EXPECT_TRUE(Open().at(0).acknowledged);
  Raise("u", "7", "Fault", kOpened + 5);
  EXPECT_FALSE(Open().at(0).acknowledged);
}

TEST_F(FleetAlarmsTest, Only_what_is_open_is_acknowledged) {
  Add("u");
  Raise("u", "7", "Alarm", kOpened + 1);
  const FleetAlarm alarm = Open().at(0);
  const Acknowledgement word = {kOpened + 2, "olga", "note"};
  EXPECT_FALSE(store->Acknowledge({Kind::kAlarm, alarm.name.id + 1}, word));
  EXPECT_FALSE(store->Acknowledge({Kind::kSilence, alarm.name.id}, word));
  store->Acknowledge(alarm.name, word);
  Clear("u", "7", kOpened + 3);
  EXPECT_FALSE(store->Acknowledge(alarm.name, std::nullopt));
  EXPECT_EQ(Ended().at(0).acknowledged->note, "note");
  Raise("u", "7", "Alarm", kOpened + 4);
  EXPECT_FALSE(Open().at(0).acknowledged) << "it is another one";
  const AlarmName next = Open().at(0).name;
  store->DeleteManager("u");
  EXPECT_FALSE(store->Acknowledge(next, word));
}

TEST_F(FleetAlarmsTest, Alarm_of_a_removed_chassis_is_gone_at_once) {
  Add("u");
  Raise("u", "7", "Alarm", kOpened + 1);
  const AlarmName name = Open().at(0).name;
  store->DeleteChassis("cu");
  EXPECT_THAT(Open(), IsEmpty());
  EXPECT_FALSE(store->Acknowledge(name, Acknowledgement{}));
}

TEST_F(FleetAlarmsTest, Acknowledgement_is_told_as_a_change_of_the_appliance) {
  Add("u");
  Raise("u", "7", "Alarm", kOpened + 1);
  const std::int64_t before = store->LastChange();
  store->Acknowledge(Open().at(0).name, Acknowledgement{kOpened + 2, "olga", ""});
  const auto changes = store->ListChanges({before, 9});
  ASSERT_THAT(changes, SizeIs(1));
  EXPECT_EQ(changes[0].change.what, Change::What::kAppliance);
  EXPECT_EQ(changes[0].change.manager, "u");
}

TEST_F(FleetAlarmsTest, Silences_of_a_removed_appliance_are_gone_at_once_and_their_rows_later) {
  Add("u");
  Add("v");
  store->Settle(kOpened + 125, 9);
  store->AddHeartbeat("u", kOpened + 130, 60, "");
  store->Settle(kOpened + 999, 9);
  store->DeleteManager("u");
  EXPECT_THAT(Texts(Open()), ElementsAre("s2 v"));
  EXPECT_THAT(Ended(), IsEmpty());
  EXPECT_EQ(store.Count("silence"), 3);
  while (store->RemoveNext(1) != Left::kNothing) {
  }
  EXPECT_EQ(store.Count("silence"), 1);
}

TEST_F(FleetAlarmsTest, Silences_that_ended_before_the_events_that_are_kept_are_removed) {
  for (const char* uuid : {"u", "v", "w"}) Add(uuid);
  store->Settle(kOpened + 125, 9);
  store->AddHeartbeat("u", kOpened + 130, 60, "");
  store->AddHeartbeat("v", kOpened + 131, 60, "");
  OldRows old;
  old.events = kOpened + 131;
  old.most = 1;
  EXPECT_TRUE(store->RemoveOld(old).more);
  EXPECT_FALSE(store->RemoveOld(old).more);
  EXPECT_THAT(Ended(), SizeIs(1));
  EXPECT_EQ(Ended().at(0).manager, "v");
  EXPECT_THAT(Open(), SizeIs(1));
}

class FleetLogTest : public FleetAlarmsTest {
 protected:
  FleetLogTest() {
    for (const char* uuid : {"u", "v"}) Add(uuid);
    Raise("u", "7", "Fault", kOpened + 1);
    Raise("v", "8", "Warning", kOpened + 3);
    Clear("u", "7", kOpened + 3);
    Raise("v", "9", "warning", kOpened + 2);  // the clock was set back
  }
  std::vector<std::string> List(FleetLogFilter filter, std::int64_t limit) {
    filter.limit = limit;
    std::vector<std::string> all;
    for (;;) {
      const std::vector<FleetEvent> page = store->ListFleetLog(filter);
      for (const FleetEvent& one : page) {
        const EventRecord& event = one.entry.event;
        all.push_back(event.manager + " " + event.messageId + (one.entry.cleared ? " over" : ""));
        EXPECT_EQ(one.label, "name of " + event.manager);
        filter.before = EventPlace{event.received, event.id};
      }
      if (page.size() < static_cast<std::size_t>(limit)) return all;
    }
  }
};

TEST_F(FleetLogTest, Newest_is_first_in_pages_of_every_size) {
  for (const std::int64_t limit : {1, 2, 3, 9}) {
    EXPECT_THAT(List({}, limit), ElementsAre("u 258", "v 8", "v 9", "u 7 over")) << limit;
  }
}

TEST_F(FleetLogTest, Each_filter_leaves_in_what_it_says) {
  FleetLogFilter filter;
  filter.severity = "WARNING";
  EXPECT_THAT(List(filter, 9), ElementsAre("v 8", "v 9"));
  filter = {};
  filter.kind = EventKind::kClear;
  EXPECT_THAT(List(filter, 9), ElementsAre("u 258"));
  filter = {};
  filter.since = kOpened + 2;
  EXPECT_THAT(List(filter, 9), ElementsAre("u 258", "v 8", "v 9"));
  filter.until = kOpened + 3;
  EXPECT_THAT(List(filter, 9), ElementsAre("v 9"));
}

TEST_F(FleetLogTest, Events_of_a_removed_appliance_are_not_in_it) {
  store->DeleteManager("v");
  EXPECT_THAT(List({}, 9), ElementsAre("u 258", "u 7 over"));
}

}  // namespace
}  // namespace cloudservice
