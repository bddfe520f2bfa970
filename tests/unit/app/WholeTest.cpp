// SPDX-License-Identifier: Apache-2.0
// The application with the real device manager: what its start and its end do to threads, alarm and
// notifications.
#include "AppTest.h"
#include "base/Policy.h"
#include "device/DeviceMgr.h"

// `main` of the program.
int CloudClientMain(int argc, char** argv);

namespace cloudclient {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;

class WholeTest : public AppTest {
 protected:
  void SetUp() override {
    AppTest::SetUp();
    ServiceHasRoot();
    LookUpIsAnswered(200, "{}");
    service.answers("DELETE", kManagerPath, 204);
    cloud.chassis["c-1"] = 3;
  }

  // One work step.
  void Work(bool enabled) {
    cloud.enabled = enabled;
    App().DoWork();
  }

  static int Run() {
    std::string name = "cloudclient";
    char* argv[] = {name.data(), nullptr};
    return CloudClientMain(1, argv);
  }
};

TEST_F(WholeTest, Enabling_registers_for_the_managed_device_and_starts_the_threads) {
  fakes::platform().framework.managedVelId = 7;
  Work(true);
  ASSERT_EQ(fakes::platform().proxy.eventRegistrations.size(), 1);
  EXPECT_EQ(fakes::platform().proxy.eventRegistrations[0].velId, 7);
  ASSERT_EQ(fakes::platform().proxy.covRegistrations.size(), 1);
  EXPECT_EQ(fakes::platform().proxy.covRegistrations[0].velId, 7);
  EXPECT_EQ(fakes::platform().threads.created.size(), 2);
  EXPECT_THAT(fakes::platform().threads.joined, IsEmpty());
}

TEST_F(WholeTest, Disabling_ends_both_threads) {
  Work(true);
  Work(false);
  EXPECT_EQ(fakes::platform().threads.joined.size(), 2);
}

TEST_F(WholeTest, Disabling_what_never_connected_ends_no_thread) {
  sysInfo.sysName = "Uninitialized";
  Work(true);
  Work(false);
  EXPECT_THAT(fakes::platform().threads.joined, IsEmpty());
}

TEST_F(WholeTest, Enabling_again_registers_and_starts_again) {
  Work(true);
  Work(false);
  cloud.token = "t-3";
  Work(true);
  EXPECT_EQ(fakes::platform().proxy.eventRegistrations.size(), 2);
  EXPECT_EQ(fakes::platform().proxy.covRegistrations.size(), 2);
  EXPECT_EQ(fakes::platform().threads.created.size(), 4);
}

TEST_F(WholeTest, A_second_stop_joins_no_thread_again) {
  Work(true);
  Work(false);
  ASSERT_EQ(fakes::platform().threads.joined.size(), 2);
  sysInfo.sysName = "Uninitialized";
  Work(true);
  Work(false);
  EXPECT_EQ(fakes::platform().threads.joined.size(), 2);
  Drop();
  EXPECT_EQ(fakes::platform().threads.joined.size(), 2);
}

TEST_F(WholeTest, Each_life_of_the_threads_is_joined_once) {
  for (int i = 0; i < 3; ++i) {
    Work(true);
    Work(false);
  }
  ASSERT_EQ(fakes::platform().threads.created.size(), 6);
  for (const fakes::Thread& thread : fakes::platform().threads.created) EXPECT_EQ(thread.joins, 1);
}

TEST_F(WholeTest, A_registration_anew_begins_another_life_of_the_threads) {
  Policy policy;
  policy.registration.firstRetrySeconds = 5;
  policy.registration.mostRetrySeconds = 300;
  UsePolicy(policy);
  service.isDown();
  Work(true);
  service.isDown(CURLE_OK);
  LookUpIsAnswered(403);
  ServiceRegisters();
  Work(true);
  ASSERT_EQ(fakes::platform().threads.created.size(), 4);
  EXPECT_THAT(fakes::platform().threads.joined,
              ElementsAre(fakes::platform().threads.created[0].handle,
                          fakes::platform().threads.created[1].handle));
  EXPECT_EQ(fakes::platform().timer.waiting.size(), 1);
  EXPECT_EQ(fakes::platform().proxy.eventRegistrations.size(), 1);
  EXPECT_TRUE(DeviceMgr::IsAlarmSyncRequested());
}

TEST_F(WholeTest, Stopping_leaves_the_threads_alone) {
  Work(true);
  App().OnStop();
  EXPECT_THAT(fakes::platform().threads.joined, IsEmpty());
}

TEST_F(WholeTest, An_application_that_goes_while_enabled_ends_its_threads_and_alarm_once) {
  Work(true);
  ASSERT_EQ(fakes::platform().threads.created.size(), 2);
  ASSERT_EQ(fakes::platform().timer.waiting.size(), 1);
  Drop();
  EXPECT_EQ(fakes::platform().threads.created[0].joins, 1);
  EXPECT_EQ(fakes::platform().threads.created[1].joins, 1);
  EXPECT_THAT(fakes::platform().timer.waiting, IsEmpty());
  EXPECT_EQ(fakes::curl().globalCleanups, 1);
  EXPECT_EQ(fakes::curl().liveHandles, 0);
}

TEST_F(WholeTest, A_run_works_until_it_is_stopped) {
  cloud.chassis.clear();
  cloud.enabled = false;
  fakes::platform().sleeps.hook = [](uint64_t) {
    auto& sleeps = fakes::platform().sleeps.microseconds;
    if (sleeps.size() == 2) fakes::platform().cloud.enabled = true;
    if (sleeps.size() == 5) fakes::platform().framework.stop = true;
  };
  EXPECT_EQ(Run(), 0);
  // Two waits for enablement, and the threads' start within the first of two work steps.
  EXPECT_THAT(fakes::platform().sleeps.microseconds,
              ElementsAre(5000000, 5000000, 2000000, 5000000, 5000000));
  EXPECT_EQ(fakes::platform().threads.joined.size(), 2);
  EXPECT_EQ(fakes::platform().framework.calls.back(), "LxBaseProxyApp::OnStop");
}

TEST_F(WholeTest, What_leaves_the_run_ends_the_threads) {
  cloud.chassis.clear();
  int sleeps = 0;
  fakes::platform().sleeps.hook = [&sleeps](uint64_t) {
    if (++sleeps == 2) throw fakes::Leave();  // the end of the first work step
  };
  EXPECT_THROW(Run(), fakes::Leave);
  EXPECT_THAT(fakes::platform().framework.calls, Not(testing::Contains("LxBaseProxyApp::OnStop")));
  EXPECT_EQ(fakes::platform().threads.joined.size(), 2);
  EXPECT_EQ(fakes::curl().globalCleanups, 1);
}

}  // namespace
}  // namespace cloudclient
