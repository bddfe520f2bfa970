// SPDX-License-Identifier: Apache-2.0
// What is checked and completed before a connection.
#include "AppTest.h"

namespace cloudclient {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

typedef AppTest ConfigurationTest;

TEST_F(ConfigurationTest, A_complete_configuration_is_left_alone) {
  EXPECT_EQ(FreshApp().HasValidConfiguration(), 0);
  EXPECT_THAT(steps().All(), IsEmpty());
}

TEST_F(ConfigurationTest, Unit_name_follows_the_system_name) {
  sysInfo.sysName = "unit-2";
  EXPECT_EQ(FreshApp().HasValidConfiguration(), 0);
  EXPECT_EQ(cloud.unitName, "unit-2");
  EXPECT_THAT(steps().All(), ElementsAre("cloud.SetUnitName", "cloud.Save"));
}

TEST_F(ConfigurationTest, Names_that_differ_in_length_or_case_differ) {
  CloudClient& app = FreshApp();
  for (const char* name : {"unit-1 ", "unit-", "Unit-1", ""}) {
    sysInfo.sysName = name;
    cloud.unitName = "unit-1";
    EXPECT_EQ(app.HasValidConfiguration(), 0);
    EXPECT_EQ(cloud.unitName, name);
  }
}

TEST_F(ConfigurationTest, Names_are_compared_beyond_a_NUL) {
  sysInfo.sysName = std::string("unit\0a", 6);
  cloud.unitName = std::string("unit\0b", 6);
  EXPECT_EQ(FreshApp().HasValidConfiguration(), 0);
  EXPECT_EQ(cloud.unitName, sysInfo.sysName);
}

TEST_F(ConfigurationTest, An_empty_unit_name_takes_the_system_name) {
  cloud.unitName = "";
  EXPECT_EQ(FreshApp().HasValidConfiguration(), 0);
  EXPECT_EQ(cloud.unitName, "unit-1");
}

TEST_F(ConfigurationTest, A_failed_save_of_the_unit_name_is_not_looked_at) {
  sysInfo.sysName = "unit-2";
  cloud.fails["Save"] = 1;
  EXPECT_EQ(FreshApp().HasValidConfiguration(), 0);
  EXPECT_THAT(steps().All(), ElementsAre("cloud.SetUnitName", "cloud.Save"));
}

TEST_F(ConfigurationTest, An_unreadable_unit_name_is_kAppNotConfigured) {
  cloud.fails["GetUnitName"] = 1;
  sysInfo.sysName = "unit-2";
  EXPECT_EQ(FreshApp().HasValidConfiguration(), 1);
  EXPECT_THAT(steps().All(),
              ElementsAre("3 HasValidConfiguration: Cloud Client configuration invalid/missing"));
}

TEST_F(ConfigurationTest,
       An_unreadable_unit_name_is_kAppNotConfigured_whatever_the_system_name_is) {
  cloud.fails["GetUnitName"] = 1;
  sysInfo.sysName = "Uninitialized";
  EXPECT_EQ(FreshApp().HasValidConfiguration(), 1);
  sysInfo.fails["GetSysName"] = 1;
  EXPECT_EQ(FreshApp().HasValidConfiguration(), 1);
  EXPECT_THAT(steps().All(),
              ElementsAre("3 HasValidConfiguration: Cloud Client configuration invalid/missing"));
}

TEST_F(ConfigurationTest, An_unreadable_system_name_is_kAppNoUnitName) {
  sysInfo.fails["GetSysName"] = 1;
  EXPECT_EQ(FreshApp().HasValidConfiguration(), 6);
  EXPECT_THAT(steps().All(),
              ElementsAre("3 HasValidConfiguration: Could not validate cloud config"));
}

const char kUninitialized[] =
    "3 HasValidConfiguration: Kyros System Name is 'Uninitialized' which is not a valid Cloud "
    "Client UnitName";

TEST_F(ConfigurationTest, A_system_that_was_never_named_is_kAppNoUnitName) {
  sysInfo.sysName = "Uninitialized";
  EXPECT_EQ(FreshApp().HasValidConfiguration(), 6);
  EXPECT_EQ(cloud.unitName, "unit-1");
  EXPECT_THAT(steps().All(), ElementsAre(kUninitialized));
}

TEST_F(ConfigurationTest,
       A_system_that_was_never_named_is_kAppNoUnitName_even_when_the_unit_is_called_so) {
  sysInfo.sysName = cloud.unitName = "Uninitialized";
  EXPECT_EQ(FreshApp().HasValidConfiguration(), 6);
  EXPECT_THAT(steps().All(), ElementsAre(kUninitialized));
}

TEST_F(ConfigurationTest, Only_exactly_this_name_means_never_named) {
  CloudClient& app = FreshApp();
  for (const char* name : {"uninitialized", "Uninitialized ", "Uninitialize"}) {
    sysInfo.sysName = name;
    EXPECT_EQ(app.HasValidConfiguration(), 0);
    EXPECT_EQ(cloud.unitName, name);
  }
}

TEST_F(ConfigurationTest, A_unit_name_that_cannot_be_stored_is_kAppNoUnitName) {
  sysInfo.sysName = "unit-2";
  cloud.fails["SetUnitName"] = 1;
  EXPECT_EQ(FreshApp().HasValidConfiguration(), 6);
  EXPECT_THAT(steps().All(),
              ElementsAre("cloud.SetUnitName",
                          "3 HasValidConfiguration: Cloud Client requires Kyros System Name to be "
                          "initialized"));
}

TEST_F(ConfigurationTest, An_empty_UUID_is_handed_on_empty_and_saved) {
  cloud.uuid = "";
  EXPECT_EQ(FreshApp().HasValidConfiguration(), 0);
  EXPECT_THAT(fakes::platform().configCalls, ElementsAre("SetUUID()", "Save()"));
}

TEST_F(ConfigurationTest, An_unreadable_UUID_is_handed_on_empty_and_saved) {
  cloud.fails["GetUUID"] = 1;
  EXPECT_EQ(FreshApp().HasValidConfiguration(), 0);
  EXPECT_THAT(fakes::platform().configCalls, ElementsAre("SetUUID()", "Save()"));
}

TEST_F(ConfigurationTest, A_failed_save_of_the_UUID_is_not_looked_at) {
  cloud.uuid = "";
  cloud.fails["Save"] = 1;
  EXPECT_EQ(FreshApp().HasValidConfiguration(), 0);
  EXPECT_THAT(steps().All(), ElementsAre("cloud.SetUUID", "cloud.Save"));
}

TEST_F(ConfigurationTest, A_UUID_that_cannot_be_stored_is_kAppUuidNotStored) {
  cloud.uuid = "";
  cloud.fails["SetUUID"] = 1;
  EXPECT_EQ(FreshApp().HasValidConfiguration(), 5);
  EXPECT_THAT(steps().All(), ElementsAre("cloud.SetUUID"));
}

TEST_F(ConfigurationTest, The_UUID_is_completed_whatever_the_unit_name_came_to) {
  CloudClient& app = FreshApp();
  cloud.uuid = "";
  cloud.fails["GetUnitName"] = 1;
  EXPECT_EQ(app.HasValidConfiguration(), 1);
  cloud.uuid = "";
  cloud.fails.clear();
  sysInfo.fails["GetSysName"] = 1;
  EXPECT_EQ(app.HasValidConfiguration(), 6);
  cloud.uuid = "";
  sysInfo.fails.clear();
  sysInfo.sysName = "Uninitialized";
  EXPECT_EQ(app.HasValidConfiguration(), 6);
  EXPECT_THAT(fakes::platform().configCalls,
              ElementsAre("SetUUID()", "Save()", "SetUUID()", "Save()", "SetUUID()", "Save()"));
}

TEST_F(ConfigurationTest, A_UUID_that_cannot_be_stored_overrides_every_earlier_result) {
  CloudClient& app = FreshApp();
  cloud.uuid = "";
  cloud.fails = {{"GetUnitName", 1}, {"SetUUID", 1}};
  EXPECT_EQ(app.HasValidConfiguration(), 5);
  cloud.fails = {{"SetUUID", 1}};
  sysInfo.sysName = "Uninitialized";
  EXPECT_EQ(app.HasValidConfiguration(), 5);
}

TEST_F(ConfigurationTest, Unit_name_and_UUID_are_each_saved) {
  sysInfo.sysName = "unit-2";
  cloud.uuid = "";
  EXPECT_EQ(FreshApp().HasValidConfiguration(), 0);
  EXPECT_THAT(fakes::platform().configCalls,
              ElementsAre("SetUnitName(unit-2)", "Save()", "SetUUID()", "Save()"));
}

}  // namespace
}  // namespace cloudclient
