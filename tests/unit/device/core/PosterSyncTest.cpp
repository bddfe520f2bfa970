// SPDX-License-Identifier: Apache-2.0
// The poster thread's way with the daily synchronisation.
#include <new>
#include <stdexcept>

#include "CoreTest.h"

namespace device_core {

using cloudclient::DeviceMgr;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

constexpr char kAnyList[] = "/redfish/v1/Oem/Quorvan:Events?*";

class PosterSyncTest : public CoreTest {
 protected:
  void SetUp() override {
    CoreTest::SetUp();
    service.answers("GET", kAnyList, 200, "[]");
  }

  void RequestInPass(int pass) {
    inPass[pass] = [] { DeviceMgr::SetAlarmSyncRequested(true); };
  }

  static std::string Sent(int velId, const std::string& chassisId) {
    return "SendAllResourcesToCloud(" + std::to_string(velId) + ", " + chassisId + ", " + kUuid +
           ", https)";
  }

  // Lists read of the service's events.
  size_t ListsRead() const { return service.requests("GET", kAnyList).size(); }
};

TEST_F(PosterSyncTest, Is_not_made_unless_it_is_requested) {
  RunPoster(18);
  EXPECT_THAT(patch().calls, IsEmpty());
  EXPECT_THAT(service.requests(), IsEmpty());
}

TEST_F(PosterSyncTest, Serves_every_configured_chassis_in_the_order_of_its_keys) {
  platform.cloud.chassis = {{"b", 2}, {"a", 4}, {"c", 0}};
  RequestInPass(1);
  inPass[2] = [] { EXPECT_FALSE(DeviceMgr::IsAlarmSyncRequested()); };
  RunPoster(4);
  EXPECT_THAT(patch().calls, ElementsAre(Sent(4, "a"), Sent(2, "b"), Sent(0, "c")));
  EXPECT_THAT(engine.activeEventsAsked, ElementsAre(4, 2, 0, 4, 2, 0, 4, 2, 0));
  EXPECT_EQ(ListsRead(), 3u * 3 * 3);  // each call synchronises them all, three lists a chassis
  EXPECT_THAT(Lines(4), IsEmpty());
}

TEST_F(PosterSyncTest, Counts_a_chassis_without_a_device_as_that_of_device_0) {
  platform.cloud.chassis = {{"a", 4}, {"b", std::nullopt}};
  RequestInPass(1);
  RunPoster(1);
  EXPECT_THAT(patch().calls, ElementsAre(Sent(4, "a"), Sent(0, "b")));
}

TEST_F(PosterSyncTest, Serves_all_chassis_also_when_it_is_stopped_at_the_first) {
  platform.cloud.chassis = {{"a", 4}, {"b", 2}};
  RequestInPass(1);
  patch().onCall = [&] { mgr->Stop(); };
  RunPoster(3);
  EXPECT_THAT(patch().calls, ElementsAre(Sent(4, "a"), Sent(2, "b")));
}

TEST_F(PosterSyncTest, Reads_the_chassis_afresh) {
  RequestInPass(1);
  const auto request = inPass[1];
  inPass[1] = [&, request] {
    platform.cloud.chassis = {{"18", 7}};
    request();
  };
  RunPoster(1);
  EXPECT_THAT(patch().calls, ElementsAre(Sent(7, "18")));
}

TEST_F(PosterSyncTest, With_no_chassis_left_only_clears_the_request) {
  inPass[1] = [&] {
    platform.cloud.chassis.clear();
    DeviceMgr::SetAlarmSyncRequested(true);
  };
  RunPoster(1);
  EXPECT_FALSE(DeviceMgr::IsAlarmSyncRequested());
  EXPECT_THAT(patch().calls, IsEmpty());
  EXPECT_THAT(service.requests(), IsEmpty());
}

TEST_F(PosterSyncTest, Clears_the_request_at_its_end) {
  RequestInPass(1);
  fakes::curl().onPerform = [](fakes::Transfer&) {
    EXPECT_TRUE(DeviceMgr::IsAlarmSyncRequested());
    DeviceMgr::SetAlarmSyncRequested(true);
  };
  RunPoster(3);
  EXPECT_FALSE(DeviceMgr::IsAlarmSyncRequested());
  EXPECT_THAT(patch().calls, SizeIs(1));
}

TEST_F(PosterSyncTest, Is_made_again_when_it_is_requested_again) {
  RequestInPass(1);
  RequestInPass(3);
  RunPoster(3);
  EXPECT_THAT(patch().calls, SizeIs(2));
}

TEST_F(PosterSyncTest, Comes_after_the_events_of_its_pass) {
  inPass[1] = [&] {
    Raise(4711);
    DeviceMgr::SetAlarmSyncRequested(true);
  };
  RunPoster(1);
  const std::vector<std::string> lines = service.lines();
  ASSERT_THAT(lines, SizeIs(4));
  EXPECT_EQ(lines[0], std::string("POST ") + kEventsPath);
}

TEST_F(PosterSyncTest, A_request_that_raises_fails_its_call_and_the_thread_goes_on) {
  platform.cloud.chassis = {{"17", 0}, {"18", 1}};
  int listsAsked = 0;
  fakes::curl().onPerform = [&](fakes::Transfer& transfer) {
    if (transfer.Method() != "GET") return;
    ++listsAsked;
    throw std::bad_alloc();
  };
  RequestInPass(1);
  inPass[2] = [&] {
    EXPECT_FALSE(DeviceMgr::IsAlarmSyncRequested());
    Raise(4711);
  };
  RunPoster(19);
  EXPECT_THAT(patch().calls, ElementsAre(Sent(0, "17"), Sent(1, "18")));
  EXPECT_EQ(listsAsked, 2);  // each call ended in its first
  EXPECT_THAT(service.requests("POST", kEventsPath), SizeIs(1));
  EXPECT_THAT(service.requests("POST", kHeartbeatPath), SizeIs(1));
  const std::string ended = "3 CloudPoster: an operation ended early: std::bad_alloc";
  EXPECT_THAT(Lines(4), testing::Contains(ended).Times(2));
  EXPECT_EQ(platform.mutexes.Held(), 0);
  EXPECT_EQ(fakes::curl().liveHandles, 0);
}

TEST_F(PosterSyncTest, What_the_engine_throws_leaves_no_synchronisation_in_progress) {
  engine.onGetActiveEvents = [&] {
    EXPECT_TRUE(mgr->IsSyncInProgress());
    throw std::runtime_error("engine");
  };
  RequestInPass(1);
  inPass[2] = [&] {
    EXPECT_FALSE(mgr->IsSyncInProgress());
    Raise(4711);
  };
  RunPoster(2);
  EXPECT_THAT(service.requests("POST", kEventsPath), SizeIs(1));
}

}  // namespace device_core
