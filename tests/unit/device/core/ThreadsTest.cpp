// SPDX-License-Identifier: Apache-2.0
// The manager with real threads.
#include <time.h>

#include <atomic>
#include <limits>
#include <thread>

#include "CoreTest.h"

namespace device_core {

using cloudclient::DeviceMgr;

class RealThreadsTest : public CoreTest {
 protected:
  void SetUp() override {
    CoreTest::SetUp();
    platform.threads.mode = fakes::Threads::Mode::kReal;
    platform.sleeps.limit = std::numeric_limits<size_t>::max();
    platform.sleeps.hook = [](uint64_t) { Pause(); };
    service.answers("GET", "/redfish/v1/Oem/Quorvan:Events?*", 200, "[]");
    const auto answer = fakes::curl().respond;
    fakes::curl().respond = [this, answer](const fakes::Transfer& transfer) {
      const fakes::Response response = answer(transfer);
      const bool event = transfer.url.find("Quorvan") != std::string::npos;
      if (transfer.Method() == "GET") ++lists;
      if (transfer.Method() == "POST") ++(event ? events : heartbeats);
      return response;
    };
    patch().onCov = [this] { ++covs; };
    mgr->RegisterForDeviceDataChange(0);
  }

  static void Pause() {
    const struct timespec moment = {0, 200000};
    nanosleep(&moment, nullptr);
  }

  // Waits for something to be seen; how long is bounded far above what it takes.
  template <typename Seen>
  static void Await(const Seen& seen) {
    for (int i = 0; i < 100000 && !seen(); ++i) Pause();
    EXPECT_TRUE(seen());
  }

  // The poster is through with everything that came before.
  void AwaitAnotherHeartbeat() const {
    const int before = heartbeats;
    Await([this, before] { return heartbeats >= before + 2; });
  }

  std::atomic<int> events{0};
  std::atomic<int> heartbeats{0};
  std::atomic<int> lists{0};
  std::atomic<int> covs{0};
};

TEST_F(RealThreadsTest, Carry_what_the_device_notifies_to_the_service) {
  for (uint16_t gdd = 1; gdd <= 40; ++gdd) {
    engine.HasModules(gdd, 1);
    engine.Notifies(gdd, 0, 3);
    engine.Changes(gdd, "21.5");
  }
  mgr->Start();
  Await([this] { return events == 40 && covs > 0 && heartbeats >= 2; });
  mgr->Stop();
  EXPECT_EQ(platform.threads.joined.size(), 2u);
  EXPECT_EQ(platform.mutexes.Held(), 0);
}

// One after the other: the tracker, which has no lock, is used by one thread at a time here.
TEST_F(RealThreadsTest, Serve_the_daily_alarm_and_a_reconciliation) {
  std::atomic<bool> raise{false};
  engine.HasModules(7, 2);
  engine.HasActive(7, 1, 4);
  engine.onDispatchEvents = [&] {
    if (raise.exchange(false)) engine.Notifies(7, 1, 0);
  };
  mgr->Start();
  std::thread timer([this] { platform.timer.Expire(1); });
  timer.join();
  Await([this] { return lists == 3 && events == 1; });
  AwaitAnotherHeartbeat();
  mgr->SyncChassisAlarms(0, "17");
  EXPECT_EQ(lists, 6);
  EXPECT_EQ(events, 2);
  raise = true;
  Await([this] { return events == 3; });
  AwaitAnotherHeartbeat();
  mgr->Stop();
  EXPECT_FALSE(mgr->IsSyncInProgress());
  EXPECT_EQ(platform.mutexes.Held(), 0);
}

TEST_F(RealThreadsTest, Are_ended_by_the_destructor) {
  engine.Notifies(4711, 0, 3);
  mgr->Start();
  Await([this] { return events == 1; });
  delete mgr;
  const int beats = heartbeats;
  Pause();
  EXPECT_EQ(heartbeats, beats);
  EXPECT_EQ(platform.threads.joined.size(), 2u);
}

TEST_F(RealThreadsTest, End_for_good_without_a_proxy) {
  mgr->SetPldProxy(nullptr);
  mgr->Start();
  Await([] {
    const fakes::RecordLock lock(fakes::RecordMutex());
    return !Lines(3).empty();
  });
  mgr->Stop();
  EXPECT_EQ(Lines(3).size(), 1u);
}

}  // namespace device_core
