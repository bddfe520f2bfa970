// SPDX-License-Identifier: Apache-2.0
// The states of the fleet, found before and not, against what each appliance's times say.
#include <algorithm>
#include <map>
#include <random>
#include <set>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "StoreTest.h"

namespace cloudservice {
namespace {

using testing::ElementsAreArray;

constexpr std::int64_t kBegin = 100000;

class SettleTest : public StoreTest {
 protected:
  void Add(const std::string& uuid) {
    m_all.insert(uuid);
    store->AddManager({uuid, uuid, "{}", m_now, {}}, uuid + std::to_string(++m_tokens));
    store->AddChassis({"c" + std::to_string(m_tokens), uuid, "{}", m_now});
    if (m_tokens % 3 != 0) return;
    store->AddEvent({0, uuid, "c" + std::to_string(m_tokens), "1", "Fault", "{}", m_now}, "1");
  }

  // The times of all appliances, as their records say.
  std::map<std::string, DueTimes> Times() {
    std::map<std::string, DueTimes> times;
    for (const std::string& uuid : m_all) {
      const auto one = store->FindAppliance(uuid);
      times[uuid] = DueTimesOf(one->registered, one->heartbeat.last, one->heartbeat.interval);
    }
    return times;
  }

  void ExpectStates() {
    StateCounts all = {};
    StateCounts faulty = {};
    std::map<State, std::vector<std::string>> listed;
    for (const auto& [uuid, times] : Times()) {
      const State state = StateAt(m_now, times);
      ++all.at(static_cast<std::size_t>(state));
      listed[state].push_back(uuid);
      if (store->FindAppliance(uuid)->alarms[0] > 0) ++faulty.at(static_cast<std::size_t>(state));
    }
    EXPECT_EQ(store->CountStates(m_now), all);
    FleetFilter filter;
    filter.now = m_now;
    filter.limit = 99;
    for (const State state : {State::kAlive, State::kLate, State::kOffline}) {
      filter.state = state;
      filter.severity.reset();
      std::vector<std::string> uuids;
      for (const ApplianceRecord& one : store->ListAppliances(filter)) uuids.push_back(one.uuid);
      EXPECT_THAT(uuids, ElementsAreArray(listed[state]));
      filter.severity = Severity::kFault;
      EXPECT_EQ(store->CountAppliances(filter), faulty.at(static_cast<std::size_t>(state)));
    }
  }

  void ExpectDue(std::int64_t from) {
    std::vector<std::string> expected;
    std::vector<std::pair<std::int64_t, std::string>> due;
    for (const auto& [uuid, times] : Times()) {
      const std::int64_t time = times.offline <= m_now ? times.offline : times.late;
      if (time > from && time <= m_now) due.emplace_back(time, uuid);
    }
    std::sort(due.begin(), due.end());
    for (const auto& [time, uuid] : due) expected.push_back(std::to_string(time) + " " + uuid);
    std::vector<std::string> listed;
    for (const DueAppliance& one : store.All(&Transaction::ListDue, from, m_now)) {
      listed.push_back(std::to_string(one.time) + " " + one.uuid);
    }
    EXPECT_THAT(listed, ElementsAreArray(expected));
  }

  void SettleAll() {
    while (store->Settle(m_now, 3) == 3) {
    }
  }

  TestStore store{file};
  std::set<std::string> m_all;
  std::int64_t m_now = kBegin;
  int m_tokens = 0;
};

TEST_F(SettleTest, States_found_before_are_those_that_the_times_say) {
  std::mt19937 random(4711);  // NOLINT(cert-msc32-c,cert-msc51-cpp): the same walk each time
  const auto below = [&](unsigned bound) { return random() % bound; };
  const auto some = [&] { return "m" + std::to_string(below(12)); };
  std::int64_t looked = m_now;
  for (int step = 0; step < 300 && !HasFailure(); ++step) {
    SCOPED_TRACE("step " + std::to_string(step));
    const std::string uuid = some();
    const bool known = m_all.count(uuid) > 0;
    switch (below(8)) {
      case 0:
        Add(uuid);
        break;
      case 1:
        if (m_all.erase(uuid) > 0) store->DeleteManager(uuid);
        break;
      case 2:
        SettleAll();
        break;
      case 3:
        store->Settle(m_now, 1);
        break;
      case 4:
        m_now += below(60);
        break;
      default:
        if (known) store->AddHeartbeat(uuid, m_now, 5 + below(40), "");
        break;
    }
    ExpectStates();
    ExpectDue(looked);
    if (below(3) == 0) looked = m_now;
  }
}

TEST_F(SettleTest, Settles_each_once_in_steps) {
  for (const char* uuid : {"a", "b", "c"}) Add(uuid);
  EXPECT_EQ(store->Settle(m_now, 9), 0);
  store->AddHeartbeat("a", m_now + 100, 60, "");
  m_now += 240;
  EXPECT_EQ(store->Settle(m_now, 2), 2) << "late, and alive for longer than it was known to be";
  EXPECT_EQ(store->Settle(m_now, 2), 1);
  EXPECT_EQ(store->Settle(m_now, 2), 0);
  m_now += 120;
  EXPECT_EQ(store->Settle(m_now, 9), 3);
  EXPECT_EQ(store->Settle(m_now + 1000000, 9), 0) << "offline until a heartbeat comes";
  ExpectStates();
  store->AddHeartbeat("b", m_now, 60, "");
  ExpectStates();
}

TEST_F(SettleTest, Clock_that_was_set_back_is_followed) {
  for (const char* uuid : {"a", "b"}) Add(uuid);
  const std::int64_t before = m_now;
  m_now += 1000;
  store->AddHeartbeat("a", m_now, 60, "");
  SettleAll();
  m_now = before;
  EXPECT_EQ(store->ClampHeartbeats(m_now, 9), 1);
  SettleAll();
  ExpectStates();
  ExpectDue(before - 1);
}

TEST_F(SettleTest, What_a_clock_that_was_ahead_found_late_is_counted_back) {
  for (const char* uuid : {"a", "b"}) Add(uuid);
  const std::int64_t before = m_now;
  m_now += 1000;
  store->AddHeartbeat("a", m_now, 60, "");
  store->AddHeartbeat("b", m_now, 300, "");
  m_now += 700;
  SettleAll();
  ExpectStates();
  m_now = before;
  EXPECT_EQ(store->ClampHeartbeats(m_now, 9), 2);
  ExpectStates();
  m_now += 1000;
  SettleAll();
  ExpectStates();
}

TEST_F(SettleTest, Registered_anew_is_alive) {
  Add("a");
  m_now += 1000;
  SettleAll();
  Add("a");
  ExpectStates();
  ExpectDue(0);
}

}  // namespace
}  // namespace cloudservice
