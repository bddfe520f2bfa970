// SPDX-License-Identifier: Apache-2.0
// Changes of configuration: a new system name renames the unit and unregisters the appliance.
#include "AppTest.h"

namespace cloudclient {
namespace {

using cfg_sysinfo::LxCfgSysInfo;
using fakes::ConfigEvent;
using testing::ElementsAre;
using testing::IsEmpty;

class ConfigEventTest : public AppTest {
 protected:
  void SetUp() override {
    AppTest::SetUp();
    sysInfo.sysName = "unit-2";
    service.answers("DELETE", kManagerPath, 204);
  }

  void ExpectNothingHappened() {
    EXPECT_EQ(cloud.unitName, "unit-1");
    EXPECT_THAT(steps().All(), IsEmpty());
    EXPECT_THAT(service.lines(), IsEmpty());
    EXPECT_THAT(fakes::platform().framework.calls, IsEmpty());
  }

  const std::string m_set = LxCfgSysInfo::CONFIGURATION_SET;
  const std::string m_section = LxCfgSysInfo::CFG_SECTION_INFO;
  const std::string m_key = LxCfgSysInfo::CFG_KEY_INFO_SYS_NAME;
  const std::vector<std::string> m_unregistration = {
      "cloud.SetUnitName",
      "cloud.Save",
      "5 HandleCfgEvent: unit name unit-1 has been unregistered from the cloud service.",
      std::string("DELETE ") + kManagerPath,
      "cloud.SetXAuthToken",
      "cloud.RemoveAllChassis",
      "cloud.Save"};
};

TEST_F(ConfigEventTest, A_new_system_name_renames_the_unit_and_then_unregisters_it) {
  CloudClient& app = FreshApp();
  app.HandleCfgEvent(ConfigEvent());
  EXPECT_EQ(cloud.unitName, "unit-2");
  EXPECT_EQ(cloud.token, "");
  EXPECT_EQ(steps().All(), m_unregistration);
}

TEST_F(ConfigEventTest, The_base_is_not_called) {
  FreshApp().HandleCfgEvent(ConfigEvent());
  EXPECT_THAT(fakes::platform().framework.calls, IsEmpty());
}

TEST_F(ConfigEventTest, A_renamed_unit_is_not_registered_again) {
  CloudClient& app = FreshApp();
  ServiceHasRoot();
  LookUpIsAnswered(200, "{}");
  app.DoWork();
  app.HandleCfgEvent(ConfigEvent());
  steps().Forget();
  app.DoWork();
  EXPECT_THAT(steps().All(), ElementsAre("sleep 5000000"));
}

TEST_F(ConfigEventTest, Another_set_changes_nothing) {
  CloudClient& app = FreshApp();
  app.HandleCfgEvent(ConfigEvent("cloud", m_section, {m_key}));
  app.HandleCfgEvent(ConfigEvent(m_set + " ", m_section, {m_key}));
  app.HandleCfgEvent(ConfigEvent("", m_section, {m_key}));
  ExpectNothingHappened();
}

TEST_F(ConfigEventTest, Another_section_changes_nothing) {
  CloudClient& app = FreshApp();
  app.HandleCfgEvent(ConfigEvent(m_set, "Other", {m_key}));
  app.HandleCfgEvent(ConfigEvent(m_set, m_section + "s", {m_key}));
  app.HandleCfgEvent(ConfigEvent(m_set, "", {m_key}));
  ExpectNothingHappened();
}

TEST_F(ConfigEventTest, Other_keys_change_nothing) {
  CloudClient& app = FreshApp();
  app.HandleCfgEvent(ConfigEvent(m_set, m_section, {"Location", m_key + "s", ""}));
  app.HandleCfgEvent(ConfigEvent(m_set, m_section, {}));
  ExpectNothingHappened();
}

TEST_F(ConfigEventTest, The_name_is_found_among_other_keys) {
  FreshApp().HandleCfgEvent(ConfigEvent(m_set, m_section, {"Location", m_key, "Contact"}));
  EXPECT_EQ(steps().All(), m_unregistration);
}

// Deliberate: old and new name are not compared.
TEST_F(ConfigEventTest, A_name_that_stayed_the_same_unregisters_too) {
  sysInfo.sysName = "unit-1";
  FreshApp().HandleCfgEvent(ConfigEvent());
  EXPECT_EQ(steps().All(), m_unregistration);
}

// Deliberate: the name of a system that was never named is not refused here.
TEST_F(ConfigEventTest, The_name_Uninitialized_is_taken_over) {
  sysInfo.sysName = "Uninitialized";
  FreshApp().HandleCfgEvent(ConfigEvent());
  EXPECT_EQ(cloud.unitName, "Uninitialized");
  EXPECT_EQ(steps().All(), m_unregistration);
}

TEST_F(ConfigEventTest, A_disabled_appliance_is_renamed_and_not_unregistered) {
  cloud.enabled = false;
  FreshApp().HandleCfgEvent(ConfigEvent());
  EXPECT_EQ(cloud.unitName, "unit-2");
  EXPECT_THAT(steps().All(), ElementsAre("cloud.SetUnitName", "cloud.Save"));
}

TEST_F(ConfigEventTest, An_unreadable_enable_state_counts_as_disabled) {
  cloud.fails["GetEnableState"] = 4;
  FreshApp().HandleCfgEvent(ConfigEvent());
  EXPECT_THAT(steps().All(),
              ElementsAre("cloud.SetUnitName", "cloud.Save",
                          "3 IsEnabled: Failed to get cloud client enable state (4"));
}

TEST_F(ConfigEventTest, A_unit_without_an_old_name_is_not_unregistered) {
  cloud.unitName = "";
  FreshApp().HandleCfgEvent(ConfigEvent());
  EXPECT_EQ(cloud.unitName, "unit-2");
  EXPECT_THAT(steps().All(), ElementsAre("cloud.SetUnitName", "cloud.Save"));
}

TEST_F(ConfigEventTest, The_enable_state_is_asked_before_the_old_name_is_looked_at) {
  cloud.unitName = "";
  cloud.fails["GetEnableState"] = 4;
  FreshApp().HandleCfgEvent(ConfigEvent());
  EXPECT_EQ(steps().All().back(), "3 IsEnabled: Failed to get cloud client enable state (4");
}

TEST_F(ConfigEventTest, An_unreadable_old_name_counts_as_empty) {
  cloud.fails["GetUnitName"] = 9;
  FreshApp().HandleCfgEvent(ConfigEvent());
  EXPECT_THAT(steps().All(), ElementsAre("3 HandleCfgEvent: Failed (CfgError: 9) to get unit name",
                                         "cloud.SetUnitName", "cloud.Save"));
}

TEST_F(ConfigEventTest, An_unreadable_system_name_ends_the_handling) {
  sysInfo.fails["GetSysName"] = -2;
  FreshApp().HandleCfgEvent(ConfigEvent(m_set, m_section, {m_key, m_key}));
  EXPECT_THAT(steps().All(),
              ElementsAre("3 HandleCfgEvent: Failed(CfgError: -2) to get system name"));
}

TEST_F(ConfigEventTest, Of_two_unreadable_names_the_system_name_ends_the_handling) {
  sysInfo.fails["GetSysName"] = -2;
  cloud.fails["GetUnitName"] = 9;
  FreshApp().HandleCfgEvent(ConfigEvent());
  EXPECT_THAT(steps().All(),
              ElementsAre("3 HandleCfgEvent: Failed(CfgError: -2) to get system name"));
}

TEST_F(ConfigEventTest, A_name_that_cannot_be_stored_goes_on_with_the_next_key) {
  cloud.fails["SetUnitName"] = 6;
  FreshApp().HandleCfgEvent(ConfigEvent(m_set, m_section, {m_key, m_key}));
  const std::string message = "3 HandleCfgEvent: Failed (CfgError: 6) to set unit name (unit-2)";
  EXPECT_THAT(steps().All(),
              ElementsAre("cloud.SetUnitName", message, "cloud.SetUnitName", message));
}

TEST_F(ConfigEventTest, A_failed_save_goes_on_with_the_next_key) {
  cloud.fails["Save"] = 1;
  FreshApp().HandleCfgEvent(ConfigEvent(m_set, m_section, {m_key, m_key}));
  const std::string message = "3 HandleCfgEvent: Failed to save configuration";
  EXPECT_THAT(steps().All(), ElementsAre("cloud.SetUnitName", "cloud.Save", message,
                                         "cloud.SetUnitName", "cloud.Save", message));
  EXPECT_THAT(service.lines(), IsEmpty());
}

TEST_F(ConfigEventTest, A_failed_unregistration_is_announced_as_done_all_the_same) {
  service.answers("DELETE", kManagerPath, 500);
  FreshApp().HandleCfgEvent(ConfigEvent());
  EXPECT_THAT(steps().All(),
              ElementsAre("cloud.SetUnitName", "cloud.Save",
                          "5 HandleCfgEvent: unit name unit-1 has been unregistered from the cloud "
                          "service.",
                          std::string("DELETE ") + kManagerPath,
                          "3 Unregister: Failed to delete manager (t-1)", "cloud.SetXAuthToken",
                          "cloud.RemoveAllChassis", "cloud.Save"));
}

TEST_F(ConfigEventTest, Each_mention_of_the_name_is_handled) {
  FreshApp().HandleCfgEvent(ConfigEvent(m_set, m_section, {m_key, m_key}));
  EXPECT_EQ(service.lines().size(), 2);
}

}  // namespace
}  // namespace cloudclient
