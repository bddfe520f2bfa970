// SPDX-License-Identifier: Apache-2.0
// The work step: enabling and disabling.
#include "AppTest.h"
#include "device/DeviceMgr.h"

namespace cloudclient {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;

const char kEnabled[] = "5 DoWork: cloudclient is now ENABLED";
const char kDisabled[] = "5 DoWork: cloudclient is now DISABLED";
const char kNotice[] = "5 DoWork: cloudclient is running but DISABLED";
const char kPause[] = "sleep 5000000";

class WorkStepTest : public AppTest {
 protected:
  void SetUp() override {
    AppTest::SetUp();
    ServiceHasRoot();
    LookUpIsAnswered(200, "{}");
    service.answers("DELETE", kManagerPath, 204);
    cloud.chassis["c-1"] = 3;
  }

  // The steps of one work step.
  std::vector<std::string> Work() {
    CloudClient& app = App();
    steps().Forget();
    app.DoWork();
    return steps().All();
  }

  const std::vector<std::string> m_connecting = {
      kEnabled,
      "DeviceMgr::InitDeviceDataPaths(3, proxy)",
      "GET /redfish/v1",
      std::string("GET ") + kLookUpPath,
      "DeviceMgr::SyncChassisAlarms(3, c-1)",
      "DeviceMgr::RegisterForDeviceDataChange(3)",
      "DeviceMgr::Start",
      "5 DoWork: cloudclient is now registered for device changes",
      kPause};
  const std::vector<std::string> m_disconnecting = {
      std::string("DELETE ") + kManagerPath,
      "cloud.SetXAuthToken",
      "cloud.RemoveAllChassis",
      "cloud.Save",
      "5 DoWork: Cloud Client is unregistered from the Cloud Service",
      "DeviceMgr::Stop",
      kDisabled,
      kPause};
};

TEST_F(WorkStepTest, Enabling_connects_and_starts_the_device_manager_in_order) {
  EXPECT_EQ(Work(), m_connecting);
  EXPECT_TRUE(DeviceMgr::GetInstance()->IsRunning());
}

TEST_F(WorkStepTest, A_connected_appliance_only_waits) {
  Work();
  EXPECT_THAT(Work(), ElementsAre(kPause));
  EXPECT_THAT(Work(), ElementsAre(kPause));
}

TEST_F(WorkStepTest, Without_a_proxy_the_appliance_connects_all_the_same) {
  fakes::platform().framework.hasProxy = false;
  Work();
  EXPECT_THAT(steps().All(), Contains("DeviceMgr::InitDeviceDataPaths(3, no proxy)"));
  EXPECT_THAT(steps().All(), Contains("DeviceMgr::Start"));
}

TEST_F(WorkStepTest, Disabled_from_the_start_is_noticed_once) {
  cloud.enabled = false;
  EXPECT_THAT(Work(), ElementsAre(kNotice, kPause));
  EXPECT_THAT(Work(), ElementsAre(kPause));
  EXPECT_THAT(Work(), ElementsAre(kPause));
}

TEST_F(WorkStepTest, Disabling_unregisters_and_stops_the_device_manager_in_order) {
  Work();
  cloud.enabled = false;
  EXPECT_EQ(Work(), m_disconnecting);
  EXPECT_FALSE(DeviceMgr::GetInstance()->IsRunning());
}

TEST_F(WorkStepTest, Disabled_again_is_noticed_once_after_the_disabling) {
  Work();
  cloud.enabled = false;
  Work();
  EXPECT_THAT(Work(), ElementsAre(kNotice, kPause));
  EXPECT_THAT(Work(), ElementsAre(kPause));
}

TEST_F(WorkStepTest, A_notice_given_before_enabling_does_not_silence_the_next) {
  cloud.enabled = false;
  Work();
  cloud.enabled = true;
  Work();
  cloud.enabled = false;
  Work();
  EXPECT_THAT(Work(), ElementsAre(kNotice, kPause));
}

TEST_F(WorkStepTest, A_refused_unregistration_is_reported_and_disables_all_the_same) {
  Work();
  cloud.enabled = false;
  service.answers("DELETE", kManagerPath, 500);
  EXPECT_THAT(Work(), ElementsAre(std::string("DELETE ") + kManagerPath,
                                  "3 Unregister: Failed to delete manager (t-1)",
                                  "cloud.SetXAuthToken", "cloud.RemoveAllChassis", "cloud.Save",
                                  "3 DoWork: Failed to unregister(3)", "DeviceMgr::Stop", kDisabled,
                                  kPause));
  EXPECT_THAT(Work(), ElementsAre(kNotice, kPause));
}

TEST_F(WorkStepTest, An_unregistration_without_a_token_is_reported_with_its_code) {
  Work();
  cloud.enabled = false;
  cloud.fails["GetXAuthToken"] = 1;
  EXPECT_THAT(Work(), ElementsAre("3 Unregister: Failed to delete resource: missing xauthtoken",
                                  "3 DoWork: Failed to unregister(2)", "DeviceMgr::Stop", kDisabled,
                                  kPause));
}

TEST_F(WorkStepTest, An_unreadable_enable_state_disables) {
  Work();
  cloud.fails["GetEnableState"] = 2;
  const auto all = Work();
  EXPECT_EQ(all.front(), "3 IsEnabled: Failed to get cloud client enable state (2");
  EXPECT_THAT(all, Contains(kDisabled));
}

TEST_F(WorkStepTest, An_invalid_configuration_connects_nothing_and_is_not_tried_again) {
  sysInfo.sysName = "Uninitialized";
  EXPECT_THAT(Work(), ElementsAre(kEnabled,
                                  "3 HasValidConfiguration: Kyros System Name is 'Uninitialized' "
                                  "which is not a valid Cloud Client UnitName",
                                  kPause));
  sysInfo.sysName = "unit-1";
  EXPECT_THAT(Work(), ElementsAre(kPause));
  EXPECT_THAT(service.lines(), IsEmpty());
  EXPECT_FALSE(DeviceMgr::GetInstance()->IsRunning());
}

TEST_F(WorkStepTest, A_UUID_that_cannot_be_stored_connects_nothing) {
  cloud.uuid = "";
  cloud.fails["SetUUID"] = 1;
  EXPECT_THAT(Work(), ElementsAre(kEnabled, "cloud.SetUUID", kPause));
}

TEST_F(WorkStepTest, A_registration_that_fails_still_starts_the_device_manager) {
  LookUpIsAnswered(403);
  const auto all = Work();
  EXPECT_THAT(all,
              Contains("3 ConnectWithCloudService: Cloud Client failed to register(3) with the "
                       "Cloud Service"));
  EXPECT_THAT(all, Contains("DeviceMgr::Start"));
}

TEST_F(WorkStepTest, Disabling_after_an_invalid_configuration_unregisters) {
  sysInfo.sysName = "Uninitialized";
  Work();
  cloud.enabled = false;
  EXPECT_EQ(Work(), m_disconnecting);
}

TEST_F(WorkStepTest, A_service_that_is_down_is_not_tried_again_and_the_device_manager_starts) {
  service.isDown();
  EXPECT_THAT(
      Work(),
      ElementsAre(kEnabled, "DeviceMgr::InitDeviceDataPaths(3, proxy)", "GET /redfish/v1",
                  "3 ConnectWithCloudService: Cloud Service is not available at this time(8)",
                  "DeviceMgr::RegisterForDeviceDataChange(3)", "DeviceMgr::Start",
                  "5 DoWork: cloudclient is now registered for device changes", kPause));
  service.isDown(CURLE_OK);
  EXPECT_THAT(Work(), ElementsAre(kPause));
}

TEST_F(WorkStepTest, Enabling_again_sets_everything_up_again) {
  Work();
  cloud.enabled = false;
  Work();
  cloud.enabled = true;
  cloud.token = "t-3";
  cloud.chassis["c-1"] = 3;
  EXPECT_EQ(Work(), m_connecting);
}

TEST_F(WorkStepTest, Enabling_again_takes_the_device_that_is_managed_then) {
  Work();
  cloud.enabled = false;
  Work();
  cloud.enabled = true;
  fakes::platform().framework.managedVelId = 7;
  const auto all = Work();
  EXPECT_THAT(all, Contains("DeviceMgr::InitDeviceDataPaths(7, proxy)"));
  EXPECT_THAT(all, Contains("DeviceMgr::RegisterForDeviceDataChange(7)"));
}

TEST_F(WorkStepTest, Each_step_asks_once_whether_it_is_enabled) {
  App();
  const auto inner = cloud.onCall;
  int asked = 0;
  cloud.onCall = [&](const std::string& operation) {
    if (operation == "GetEnableState") ++asked;
    inner(operation);
  };
  // Enabling, enabled, disabling, disabled with and without the notice.
  for (const bool enabled : {true, true, false, false, false}) {
    cloud.enabled = enabled;
    asked = 0;
    Work();
    EXPECT_EQ(asked, 1);
  }
}

TEST_F(WorkStepTest, The_base_work_step_is_not_called) {
  Work();
  EXPECT_THAT(fakes::platform().framework.calls, Not(Contains("LxBaseApp::DoWork")));
}

TEST_F(WorkStepTest, The_unit_name_is_taken_over_before_anything_connects) {
  sysInfo.sysName = "unit-2";
  const auto all = Work();
  ASSERT_GE(all.size(), 4);
  EXPECT_EQ(all[0], kEnabled);
  EXPECT_EQ(all[1], "cloud.SetUnitName");
  EXPECT_EQ(all[2], "cloud.Save");
  EXPECT_EQ(all[3], "DeviceMgr::InitDeviceDataPaths(3, proxy)");
}

}  // namespace
}  // namespace cloudclient
