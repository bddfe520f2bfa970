// SPDX-License-Identifier: Apache-2.0
// Making, starting and ending the application.
#include "AppTest.h"
#include "device/DeviceMgr.h"

namespace cloudclient {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;

typedef AppTest LifeCycleTest;

const char kWaiting[] = "5 OnStart: Cloud Client is running but DISABLED";

TEST_F(LifeCycleTest, Making_loads_the_chassis_then_sets_the_device_manager_and_libcurl_up) {
  CloudClient& app = App();
  EXPECT_EQ(fakes::platform().framework.name, "cloudclient");
  EXPECT_EQ(LxBaseKyrosApp::GetInstance(), &app);
  EXPECT_THAT(steps().All(),
              ElementsAre("cloud.LoadAllChassis", "DeviceMgr::SetPldProxy", "curl_global_init"));
  EXPECT_THAT(fakes::curl().globalInits, ElementsAre(CURL_GLOBAL_ALL));
  EXPECT_EQ(CURL_GLOBAL_ALL, 3);
  EXPECT_EQ(DeviceMgr::GetInstance()->GetPldProxy(), &fakes::platform().proxy);
  EXPECT_THAT(service.lines(), IsEmpty());
}

TEST_F(LifeCycleTest, The_device_manager_posts_through_the_transport_of_the_application) {
  CloudClient& app = App();
  const auto* const client =
      reinterpret_cast<const char*>(DeviceMgr::GetInstance()->GetHttpsClient());
  const auto* const begin = reinterpret_cast<const char*>(&app);
  EXPECT_GE(client, begin);
  EXPECT_LE(client + sizeof(HttpsClient), begin + sizeof app);
}

TEST_F(LifeCycleTest, Making_without_a_proxy_goes_on) {
  fakes::platform().framework.hasProxy = false;
  App();
  EXPECT_EQ(DeviceMgr::GetInstance()->GetPldProxy(), nullptr);
  EXPECT_EQ(fakes::curl().globalInits.size(), 1);
}

TEST_F(LifeCycleTest, An_unreadable_chassis_list_is_reported_and_making_goes_on) {
  cloud.fails["LoadAllChassis"] = 5;
  App();
  EXPECT_THAT(steps().All(),
              ElementsAre("cloud.LoadAllChassis",
                          "3 CloudClient: Failed to load chassis info from configuration",
                          "DeviceMgr::SetPldProxy", "curl_global_init"));
  App().OnStart();
  EXPECT_THAT(fakes::platform().framework.calls, Contains("LxBaseKyrosApp::OnRunning"));
}

TEST_F(LifeCycleTest, A_failed_start_of_libcurl_is_reported_and_leaves_the_application_unready) {
  fakes::curl().globalInitCode = CURLE_FAILED_INIT;
  cloud.enabled = false;
  CloudClient& app = App();
  EXPECT_EQ(app.OnStart(), 0);
  EXPECT_THAT(steps().All(),
              ElementsAre("cloud.LoadAllChassis", "DeviceMgr::SetPldProxy", "curl_global_init",
                          "3 CloudClient: Failed to initialize curl 2",
                          "3 OnStart: CloudClient m_ready=false"));
  EXPECT_THAT(fakes::platform().framework.calls, ElementsAre("LxBaseProxyApp::OnStart"));
}

TEST_F(LifeCycleTest, An_unready_application_still_works_and_nothing_sets_it_up_again) {
  fakes::curl().globalInitCode = CURLE_FAILED_INIT;
  CloudClient& app = FreshApp();
  app.DoWork();
  EXPECT_THAT(service.lines(), IsEmpty());
  EXPECT_EQ(fakes::curl().globalInits.size(), 1);
  EXPECT_THAT(
      steps().All(),
      Contains("3 ConnectWithCloudService: Cloud Service is not available at this time(8)"));
  EXPECT_THAT(steps().All(), Contains("DeviceMgr::Start"));
}

TEST_F(LifeCycleTest, Starting_enabled_announces_that_it_runs_and_does_not_wait) {
  CloudClient& app = FreshApp();
  EXPECT_EQ(app.OnStart(), 0);
  EXPECT_THAT(fakes::platform().framework.calls,
              ElementsAre("LxBaseProxyApp::OnStart", "LxBaseKyrosApp::OnRunning"));
  EXPECT_THAT(steps().All(), IsEmpty());
}

TEST_F(LifeCycleTest, Starting_when_a_stop_was_requested_returns_at_once) {
  fakes::platform().framework.stop = true;
  cloud.enabled = false;
  CloudClient& app = FreshApp();
  EXPECT_EQ(app.OnStart(), 0);
  EXPECT_THAT(fakes::platform().framework.calls, ElementsAre("LxBaseProxyApp::OnStart"));
  EXPECT_THAT(steps().All(), IsEmpty());
}

TEST_F(LifeCycleTest, A_stop_goes_before_the_message_of_an_unready_application) {
  fakes::platform().framework.stop = true;
  fakes::curl().globalInitCode = CURLE_FAILED_INIT;
  CloudClient& app = FreshApp();
  EXPECT_EQ(app.OnStart(), 0);
  EXPECT_THAT(steps().All(), IsEmpty());
}

TEST_F(LifeCycleTest, Starting_disabled_says_so_once_and_polls_every_5_seconds_until_enabled) {
  cloud.enabled = false;
  CloudClient& app = FreshApp();
  fakes::platform().sleeps.hook = [this](uint64_t duration) {
    steps().Add("sleep " + std::to_string(duration));
    if (fakes::platform().sleeps.microseconds.size() == 3) cloud.enabled = true;
  };
  EXPECT_EQ(app.OnStart(), 0);
  EXPECT_THAT(steps().All(),
              ElementsAre(kWaiting, "sleep 5000000", "sleep 5000000", "sleep 5000000"));
  EXPECT_THAT(fakes::platform().framework.calls,
              ElementsAre("LxBaseProxyApp::OnStart", "LxBaseKyrosApp::OnRunning"));
}

TEST_F(LifeCycleTest, A_stop_ends_the_wait_for_enablement) {
  cloud.enabled = false;
  CloudClient& app = FreshApp();
  fakes::platform().sleeps.hook = [](uint64_t duration) {
    steps().Add("sleep " + std::to_string(duration));
    fakes::platform().framework.stop = true;
  };
  EXPECT_EQ(app.OnStart(), 0);
  EXPECT_THAT(steps().All(), ElementsAre(kWaiting, "sleep 5000000"));
}

TEST_F(LifeCycleTest, The_application_announces_that_it_runs_before_it_waits) {
  cloud.enabled = false;
  CloudClient& app = FreshApp();
  fakes::platform().sleeps.hook = [](uint64_t) {
    EXPECT_THAT(fakes::platform().framework.calls, Contains("LxBaseKyrosApp::OnRunning"));
    fakes::platform().framework.stop = true;
  };
  app.OnStart();
  EXPECT_EQ(fakes::platform().sleeps.microseconds.size(), 1);
}

TEST_F(LifeCycleTest, An_unreadable_enable_state_is_reported_at_each_poll_and_counts_as_disabled) {
  cloud.fails["GetEnableState"] = 7;
  CloudClient& app = FreshApp();
  fakes::platform().sleeps.hook = [this](uint64_t) { cloud.fails.clear(); };
  EXPECT_EQ(app.OnStart(), 0);
  EXPECT_THAT(steps().All(),
              ElementsAre("3 IsEnabled: Failed to get cloud client enable state (7", kWaiting));
}

TEST_F(LifeCycleTest, Enable_state_is_what_configuration_says) {
  CloudClient& app = FreshApp();
  EXPECT_TRUE(app.IsEnabled());
  cloud.enabled = false;
  EXPECT_FALSE(app.IsEnabled());
  EXPECT_THAT(steps().All(), IsEmpty());
}

TEST_F(LifeCycleTest, Enable_state_that_a_failed_call_left_is_taken_as_it_stands) {
  CloudClient& app = FreshApp();
  cloud.fails["GetEnableState"] = 3;
  EXPECT_FALSE(app.IsEnabled());
  cloud.writesEnabledOnFailure = true;
  EXPECT_TRUE(app.IsEnabled());
  EXPECT_THAT(steps().All(),
              ElementsAre("3 IsEnabled: Failed to get cloud client enable state (3",
                          "3 IsEnabled: Failed to get cloud client enable state (3"));
}

TEST_F(LifeCycleTest, Stopping_only_forwards_to_the_base) {
  CloudClient& app = FreshApp();
  app.DoWork();
  steps().Forget();
  fakes::platform().framework.calls.clear();
  app.OnStop();
  EXPECT_THAT(fakes::platform().framework.calls, ElementsAre("LxBaseProxyApp::OnStop"));
  EXPECT_THAT(steps().All(), IsEmpty());
  EXPECT_TRUE(DeviceMgr::GetInstance()->IsRunning());
}

TEST_F(LifeCycleTest, The_device_manager_goes_before_the_transport) {
  FreshApp();
  Drop();
  EXPECT_THAT(steps().All(), ElementsAre("DeviceMgr goes", "curl_global_cleanup"));
  EXPECT_EQ(fakes::curl().globalCleanups, 1);
}

TEST_F(LifeCycleTest, An_unready_application_goes_as_any_other) {
  fakes::curl().globalInitCode = CURLE_FAILED_INIT;
  FreshApp();
  Drop();
  EXPECT_THAT(steps().All(), ElementsAre("DeviceMgr goes", "curl_global_cleanup"));
}

}  // namespace
}  // namespace cloudclient
