// SPDX-License-Identifier: Apache-2.0
// The poster thread: set-up, rhythm and heartbeat.
#include <algorithm>
#include <stdexcept>

#include "CoreTest.h"

namespace device_core {

using testing::Each;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

class PosterTest : public CoreTest {
 protected:
  size_t Heartbeats() const { return service.requests("POST", kHeartbeatPath).size(); }
  size_t Sleeps(uint64_t microseconds) const {
    const auto& all = platform.sleeps.microseconds;
    return static_cast<size_t>(std::count(all.begin(), all.end(), microseconds));
  }
};

TEST_F(PosterTest, Ends_when_the_manager_has_no_identifier) {
  Start();
  platform.cloud.fails["GetUUID"] = 5;
  void* result = this;
  EXPECT_TRUE(platform.threads.Run(0, &result));
  EXPECT_EQ(result, nullptr);
  EXPECT_THAT(Lines(), ElementsAre("3 CloudPoster: Failed to get the manager instance (5)"));
  EXPECT_THAT(platform.sleeps.microseconds, IsEmpty());
  EXPECT_THAT(service.requests(), IsEmpty());
  EXPECT_TRUE(mgr->IsRunning());
}

TEST_F(PosterTest, Begins_again_after_what_ended_it_early) {
  int asked = 0;
  platform.cloud.onCall = [&](const std::string& operation) {
    if (operation == "GetUUID" && ++asked <= 2) throw std::bad_alloc();
  };
  RunPoster(21);
  EXPECT_GE(asked, 3);
  EXPECT_EQ(Heartbeats(), 1u);
  const std::string ended = "3 CloudPoster: an operation ended early: std::bad_alloc";
  EXPECT_THAT(Lines(4), ElementsAre(ended, ended));
}

TEST_F(PosterTest, Does_not_begin_again_when_the_manager_has_stopped) {
  Start();
  platform.cloud.onCall = [&](const std::string& operation) {
    if (operation != "GetUUID") return;
    mgr->Stop();
    throw std::bad_alloc();
  };
  EXPECT_TRUE(platform.threads.Run(0));
  EXPECT_THAT(platform.sleeps.microseconds, IsEmpty());
}

TEST_F(PosterTest, Sleeps_two_seconds_after_the_map_then_five_before_each_pass) {
  RunPoster(3);
  EXPECT_THAT(platform.sleeps.microseconds, ElementsAre(kTwoSeconds, kPass, kPass, kPass));
  EXPECT_THAT(service.requests(), IsEmpty());
  EXPECT_TRUE(Lines(4).empty());
}

TEST_F(PosterTest, Without_a_chassis_asks_every_two_seconds_and_never_beats) {
  platform.cloud.chassis.clear();
  Start();
  int asked = 0;
  platform.cloud.onCall = [&](const std::string& operation) {
    if (operation == "GetNumCfgChassis") ++asked;
    EXPECT_NE(operation, "GetConfiguredChassis");
  };
  platform.sleeps.hook = [&](uint64_t) {
    if (platform.sleeps.microseconds.size() == 200) mgr->Stop();
  };
  EXPECT_TRUE(platform.threads.Run(0));
  EXPECT_THAT(platform.sleeps.microseconds, SizeIs(200));
  EXPECT_THAT(platform.sleeps.microseconds, Each(kTwoSeconds));
  EXPECT_EQ(asked, 200);
  EXPECT_THAT(service.requests(), IsEmpty());
}

TEST_F(PosterTest, Does_not_wait_for_a_chassis_when_it_is_not_running) {
  Start();
  mgr->Stop();
  platform.sleeps.microseconds.clear();
  EXPECT_TRUE(platform.threads.Run(0));
  EXPECT_THAT(platform.sleeps.microseconds, IsEmpty());
}

TEST_F(PosterTest, Stopped_in_the_wait_after_the_map_makes_no_pass) {
  Start();
  platform.sleeps.hook = [&](uint64_t) { mgr->Stop(); };
  EXPECT_TRUE(platform.threads.Run(0));
  EXPECT_THAT(platform.sleeps.microseconds, ElementsAre(kTwoSeconds));
}

TEST_F(PosterTest, Goes_on_when_a_chassis_has_come) {
  platform.cloud.chassis.clear();
  Start();
  platform.sleeps.hook = [&](uint64_t) {
    const size_t sleeps = platform.sleeps.microseconds.size();
    if (sleeps == 3) platform.cloud.chassis["17"] = 0;
    if (sleeps == 6) mgr->Stop();
  };
  EXPECT_TRUE(platform.threads.Run(0));
  EXPECT_THAT(platform.sleeps.microseconds,
              ElementsAre(kTwoSeconds, kTwoSeconds, kTwoSeconds, kTwoSeconds, kPass, kPass));
}

TEST_F(PosterTest, Waits_while_the_count_says_none) {
  platform.cloud.numChassis = 0;
  Start();
  platform.sleeps.hook = [&](uint64_t) {
    if (platform.sleeps.microseconds.size() == 5) mgr->Stop();
  };
  EXPECT_TRUE(platform.threads.Run(0));
  EXPECT_THAT(platform.sleeps.microseconds, Each(kTwoSeconds));
}

TEST_F(PosterTest, Waits_while_the_count_cannot_be_read) {
  platform.cloud.fails["GetNumCfgChassis"] = 3;
  Start();
  platform.sleeps.hook = [&](uint64_t) {
    if (platform.sleeps.microseconds.size() == 5) mgr->Stop();
  };
  EXPECT_TRUE(platform.threads.Run(0));
  EXPECT_THAT(platform.sleeps.microseconds, Each(kTwoSeconds));
}

TEST_F(PosterTest, Goes_on_with_an_empty_list_when_the_count_says_otherwise) {
  platform.cloud.chassis.clear();
  platform.cloud.numChassis = 1;
  Raise(4711);
  RunPoster(1);
  EXPECT_THAT(Lines(3), ElementsAre("3 CloudPoster: Failed to find chassis instance for velid: 0"));
}

TEST_F(PosterTest, Beats_after_the_19th_pass) {
  inPass[19] = [&] { EXPECT_EQ(Heartbeats(), 0u); };
  inPass[20] = [&] { EXPECT_EQ(Heartbeats(), 1u); };
  RunPoster(20);
  EXPECT_EQ(passes, 20);
  EXPECT_EQ(Heartbeats(), 1u);
  EXPECT_EQ(Sleeps(kTwoSeconds), 1u);
}

TEST_F(PosterTest, Beats_after_every_19th_pass) {
  inPass[38] = [&] { EXPECT_EQ(Heartbeats(), 1u); };
  inPass[39] = [&] { EXPECT_EQ(Heartbeats(), 2u); };
  inPass[58] = [&] { EXPECT_EQ(Heartbeats(), 3u); };
  RunPoster(58);
  EXPECT_EQ(Heartbeats(), 3u);
  EXPECT_EQ(Sleeps(kTwoSeconds), 1u);
}

TEST_F(PosterTest, Stopped_in_the_19th_pass_still_beats_once) {
  RunPoster(19);
  EXPECT_EQ(passes, 19);
  EXPECT_EQ(Heartbeats(), 1u);
}

TEST_F(PosterTest, Stopped_in_the_18th_pass_does_not_beat) {
  RunPoster(18);
  EXPECT_EQ(passes, 18);
  EXPECT_EQ(Heartbeats(), 0u);
}

TEST_F(PosterTest, Makes_the_pass_in_which_it_is_stopped) {
  inPass[2] = [&] { Raise(4711); };
  RunPoster(2);
  EXPECT_THAT(service.requests("POST", kEventsPath), SizeIs(1));
}

TEST_F(PosterTest, Posts_the_whole_batch_in_which_it_is_stopped) {
  inPass[2] = [&] {
    Raise(4711);
    Raise(4712);
  };
  fakes::curl().onPerform = [&](fakes::Transfer&) { mgr->Stop(); };
  RunPoster(3);
  EXPECT_THAT(service.requests("POST", kEventsPath), SizeIs(2));
}

TEST_F(PosterTest, Goes_on_after_a_failed_heartbeat) {
  service.fails("POST", kHeartbeatPath, CURLE_COULDNT_CONNECT);
  RunPoster(39);
  EXPECT_EQ(Heartbeats(), 2u);
}

TEST_F(PosterTest, Takes_what_a_heartbeat_throws_as_that_heartbeat_failed) {
  fakes::curl().onPerform = [](fakes::Transfer&) { throw std::runtime_error("transfer"); };
  RunPoster(39);
  EXPECT_EQ(passes, 39);
  EXPECT_EQ(fakes::curl().transfers.size(), 2u);
  EXPECT_THAT(Lines(4), Each("3 CloudPoster: an operation ended early: transfer"));
  EXPECT_EQ(Lines(4).size(), 2u);
  EXPECT_EQ(platform.mutexes.Held(), 0);
}

TEST_F(PosterTest, Reads_the_identifier_once_a_life) {
  inPass[1] = [&] {
    platform.cloud.uuid = "second";
    Raise(4711);
  };
  RunPoster(1);
  EXPECT_THAT(service.requests("POST", kEventsPath), SizeIs(1));
}

TEST_F(PosterTest, A_pass_with_nothing_to_do_says_nothing) {
  RunPoster(19);
  EXPECT_THAT(Lines(),
              ElementsAre(HasSubstr("TimeOfDayCancelCB")));  // of the stop, nothing of the thread
}

}  // namespace device_core
