// SPDX-License-Identifier: Apache-2.0
// The thread that pumps the engine's notifications.
#include <stdexcept>

#include "CoreTest.h"

namespace device_core {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr char kGivenUp[] =
    "3 ChangeOfCheckerThread: Stopping event and cov processing for the Cloud Client --- restart "
    "of Cloud Client required";

// Always says that more is pending.
class Busy : public Engine {
 public:
  int covsLeft = 0;

  int DispatchEvents() override {
    ++eventDispatches;
    if (onDispatchEvents) onDispatchEvents();
    return -1;
  }
  int DispatchCovs() override {
    ++covDispatches;
    return covsLeft-- > 0 ? 1 : 0;
  }
};

class CheckerTest : public CoreTest {
 protected:
  void SetUp() override {
    CoreTest::SetUp();
    Start();
  }
};

TEST_F(CheckerTest, Returns_at_once_when_the_manager_is_not_running) {
  mgr->Stop();
  platform.sleeps.microseconds.clear();
  void* result = this;
  EXPECT_TRUE(platform.threads.Run(1, &result));
  EXPECT_EQ(result, nullptr);
  EXPECT_EQ(engine.eventDispatches, 0);
  EXPECT_EQ(engine.covDispatches, 0);
  EXPECT_THAT(platform.sleeps.microseconds, IsEmpty());
}

TEST_F(CheckerTest, Dispatches_every_half_second_until_the_stop) {
  RunStartedChecker(3);
  EXPECT_EQ(engine.eventDispatches, 3);
  EXPECT_EQ(engine.covDispatches, 3);
  EXPECT_THAT(platform.sleeps.microseconds, ElementsAre(500000, 500000, 500000));
  EXPECT_TRUE(Lines(4).empty());
}

TEST_F(CheckerTest, Ends_a_pass_that_meets_the_stop_with_its_sleep) {
  engine.onDispatchEvents = [&] { mgr->Stop(); };
  EXPECT_TRUE(platform.threads.Run(1, nullptr));
  EXPECT_EQ(engine.eventDispatches, 1);
  EXPECT_EQ(engine.covDispatches, 1);
  EXPECT_THAT(platform.sleeps.microseconds, ElementsAre(500000));
}

TEST_F(CheckerTest, Delivers_events_then_changes_into_the_queues) {
  mgr->RegisterForDeviceDataChange(1);
  engine.Notifies(4711, 0, 3);
  engine.Notifies(4712, 1, 3);
  for (uint32_t point = 1; point <= 30; ++point) engine.Changes(point, "1");
  engine.onDispatchCovs = [&] { EXPECT_EQ(mgr->GetEventList().size(), 2u); };
  RunStartedChecker(1);
  EXPECT_EQ(mgr->GetEventList().size(), 2u);
  ASSERT_EQ(mgr->GetCovList().size(), 30u);
  EXPECT_EQ(mgr->GetCovList().front().pointId, 1u);
  EXPECT_EQ(mgr->GetCovList().back().pointId, 30u);
  EXPECT_EQ(engine.eventDispatches, 2);
  EXPECT_EQ(engine.covDispatches, 30);
}

TEST_F(CheckerTest, Dispatches_at_most_21_events_a_pass) {
  Busy busy;
  mgr->SetPldProxy(&busy);
  RunStartedChecker(2);
  EXPECT_EQ(busy.eventDispatches, 42);
  EXPECT_EQ(busy.covDispatches, 2);
}

TEST_F(CheckerTest, Leaves_the_22nd_event_to_the_next_pass) {
  mgr->RegisterForDeviceDataChange(1);
  for (uint32_t gdd = 1; gdd <= 22; ++gdd) engine.Notifies(gdd, 0, 3);
  RunStartedChecker(1);
  EXPECT_EQ(mgr->GetEventList().size(), 21u);
}

TEST_F(CheckerTest, Dispatches_changes_without_a_bound) {
  Busy busy;
  busy.covsLeft = 5000;
  mgr->SetPldProxy(&busy);
  RunStartedChecker(1);
  EXPECT_EQ(busy.covDispatches, 5001);
}

TEST_F(CheckerTest, Gives_up_in_the_321st_pass_without_a_proxy) {
  mgr->SetPldProxy(nullptr);
  RunStartedChecker(1000);
  EXPECT_EQ(platform.sleeps.microseconds.size(), 320u);
  EXPECT_THAT(Lines(), ElementsAre(kGivenUp));
  EXPECT_TRUE(mgr->IsRunning());
  mgr->Stop();
}

TEST_F(CheckerTest, Goes_on_when_the_proxy_comes_back_after_320_passes) {
  mgr->SetPldProxy(nullptr);
  int sleeps = 0;
  platform.sleeps.hook = [&](uint64_t) {
    ++sleeps;
    if (sleeps == 320) mgr->SetPldProxy(&engine);
    if (sleeps == 321) mgr->SetPldProxy(nullptr);
  };
  platform.threads.Run(1);
  // One pass with the proxy: the count begins anew.
  EXPECT_EQ(sleeps, 320 + 1 + 320);
  EXPECT_EQ(engine.eventDispatches, 1);
  EXPECT_THAT(Lines(), ElementsAre(kGivenUp));
  mgr->Stop();
}

TEST_F(CheckerTest, Counts_on_over_a_restart_without_a_proxy) {
  mgr->SetPldProxy(nullptr);
  RunStartedChecker(1000);
  mgr->Stop();
  Start();
  void* result = this;
  EXPECT_TRUE(platform.threads.Run(3, &result));
  EXPECT_THAT(platform.sleeps.microseconds, IsEmpty());
  EXPECT_THAT(Lines(), ElementsAre(kGivenUp));
  mgr->Stop();
}

TEST_F(CheckerTest, Takes_what_a_pass_throws_as_that_pass_failed) {
  engine.onDispatchEvents = [&] {
    if (engine.eventDispatches == 1) throw std::runtime_error("engine");
  };
  RunStartedChecker(2);
  EXPECT_EQ(engine.eventDispatches, 2);
  EXPECT_EQ(engine.covDispatches, 1);
  EXPECT_THAT(Lines(4), ElementsAre("3 ChangeOfCheckerThread: an operation ended early: engine"));
}

}  // namespace device_core
