// SPDX-License-Identifier: Apache-2.0
#include <limits>
#include <map>
#include <regex>
#include <set>

#include "HostTest.h"
#include "host/config/ConfigKeys.h"
#include "host/config/ConfigObjects.h"
#include "platform/config/CfgCloud.h"
#include "platform/config/LxAppCfg.h"
#include "platform/config/LxCfgSysInfo.h"

using cfg_cloud::CfgCloud;
using cfg_cloud::CfgCloudChassis;
using cfg_sysinfo::LxCfgSysInfo;
using orv_cfgserver::LxAppCfgFactory;

namespace {

class CfgCloudTest : public HostTest {
 protected:
  static CfgCloud& Cloud() {
    return dynamic_cast<CfgCloud&>(
        *LxAppCfgFactory::GetInstance()->GetCfg(CfgCloud::CONFIGURATION_SET));
  }
  static LxCfgSysInfo& SysInfo() {
    return dynamic_cast<LxCfgSysInfo&>(
        *LxAppCfgFactory::GetInstance()->GetCfg(LxCfgSysInfo::CONFIGURATION_SET));
  }
  static std::map<std::string, CfgCloudChassis> Chassis() {
    std::map<std::string, CfgCloudChassis> chassis = {{"stale", CfgCloudChassis(9)}};
    EXPECT_EQ(Cloud().GetConfiguredChassis(chassis), 0);
    return chassis;
  }
};

}  // namespace

TEST_F(CfgCloudTest, Factory_knows_its_sets_only) {
  EXPECT_EQ(&Cloud(), &Cloud());
  EXPECT_EQ(&SysInfo(), &SysInfo());
  EXPECT_EQ(LxAppCfgFactory::GetInstance()->GetCfg("other"), nullptr);
}

TEST_F(CfgCloudTest, Values_come_from_the_file) {
  Write(kCloudFile,
        R"({"Enabled": true, "Url": "https://s", "UserEmail": "e@x", "RegistrationKey": "k",
                   "UnitName": "n", "UUID": "u", "XAuthToken": "t"})");
  bool enabled = false;
  EXPECT_EQ(Cloud().GetEnableState(enabled), 0);
  EXPECT_TRUE(enabled);
  std::string text;
  EXPECT_EQ(Cloud().GetUrl(text), 0);
  EXPECT_EQ(text, "https://s");
  EXPECT_EQ(Cloud().GetUserEmail(text), 0);
  EXPECT_EQ(text, "e@x");
  EXPECT_EQ(Cloud().GetKey(text), 0);
  EXPECT_EQ(text, "k");
  EXPECT_EQ(Cloud().GetUnitName(text), 0);
  EXPECT_EQ(text, "n");
  EXPECT_EQ(Cloud().GetUUID(text), 0);
  EXPECT_EQ(text, "u");
  EXPECT_EQ(Cloud().GetXAuthToken(text), 0);
  EXPECT_EQ(text, "t");
  EXPECT_TRUE(Cloud().IsFullyConfigured());
}

TEST_F(CfgCloudTest, Every_value_of_a_registration_is_needed) {
  const std::vector<std::string> keys = {"Url", "UserEmail", "RegistrationKey", "UUID", "UnitName"};
  for (const std::string& left : keys) {
    std::string text = "{\"XAuthToken\": \"\"";
    for (const std::string& key : keys) {
      if (key != left) text += ", \"" + key + "\": \"x\"";
    }
    Write(kCloudFile, text + "}");
    host::ConfigStore store(In(kCloudFile), host::CloudKeys());
    EXPECT_FALSE(host::CloudOn(store)->IsFullyConfigured()) << left;
  }
}

TEST_F(CfgCloudTest, Setters_reach_storage_with_save) {
  EXPECT_EQ(Cloud().SetUnitName("n"), 0);
  EXPECT_EQ(Cloud().SetUUID("u"), 0);
  EXPECT_EQ(Cloud().SetXAuthToken("t"), 0);
  EXPECT_FALSE(Exists(kCloudFile));
  EXPECT_TRUE(Cloud().Save());
  EXPECT_EQ(Read(kCloudFile),
            "{\n  \"UnitName\": \"n\",\n  \"UUID\": \"u\",\n  \"XAuthToken\": \"t\"\n}\n");
}

TEST_F(CfgCloudTest, Texts_that_cannot_be_stored_are_refused) {
  EXPECT_NE(Cloud().SetXAuthToken("\xfe"), 0);
  EXPECT_NE(Cloud().SetUnitName("\xfe"), 0);
  EXPECT_NE(Cloud().SetUUID("\xfe"), 0);
  EXPECT_NE(Cloud().AddChassis("", 0), 0);
}

TEST_F(CfgCloudTest, Empty_uuid_becomes_a_fresh_one_of_version_4) {
  const std::regex shape("[0-9a-f]{8}-[0-9a-f]{4}-4[0-9a-f]{3}-[89ab][0-9a-f]{3}-[0-9a-f]{12}");
  std::set<std::string> seen;
  for (int i = 0; i < 50; ++i) {
    ASSERT_EQ(Cloud().SetUUID(""), 0);
    std::string uuid;
    Cloud().GetUUID(uuid);
    EXPECT_TRUE(std::regex_match(uuid, shape)) << uuid;
    seen.insert(uuid);
  }
  EXPECT_EQ(seen.size(), 50u);
}

TEST_F(CfgCloudTest, Chassis_list_is_kept) {
  EXPECT_EQ(Cloud().AddChassis("b", 7), 0);
  EXPECT_EQ(Cloud().AddChassis("a", 0), 0);
  unsigned int count = 0;
  EXPECT_EQ(Cloud().GetNumCfgChassis(count), 0);
  EXPECT_EQ(count, 2u);
  const auto chassis = Chassis();
  ASSERT_EQ(chassis.size(), 2u);
  int velId = -1;
  EXPECT_EQ(chassis.at("b").GetVelocityInstance(velId), 0);
  EXPECT_EQ(velId, 7);

  EXPECT_EQ(Cloud().RemoveChassis("b"), 0);
  EXPECT_EQ(Cloud().RemoveChassis("nobody"), 0);
  EXPECT_EQ(Chassis().size(), 1u);
  EXPECT_EQ(Cloud().RemoveAllChassis(), 0);
  EXPECT_EQ(Cloud().GetNumCfgChassis(count), 0);
  EXPECT_EQ(count, 0u);
}

TEST_F(CfgCloudTest, Loading_reads_the_list_from_storage) {
  EXPECT_EQ(Cloud().LoadAllChassis(), 0);
  Write(kCloudFile, R"({"Chassis": {"x": {"VelocityInstance": 4}}})");
  EXPECT_EQ(Chassis().size(), 0u);
  EXPECT_EQ(Cloud().LoadAllChassis(), 0);
  EXPECT_EQ(Chassis().size(), 1u);
  Write(kCloudFile, "{");
  EXPECT_NE(Cloud().LoadAllChassis(), 0);
  EXPECT_EQ(Chassis().size(), 1u);
}

TEST_F(CfgCloudTest, Chassis_without_a_usable_instance_answers_failure) {
  Write(kCloudFile, R"({"Chassis": {"a": {}, "b": {"VelocityInstance": "1"}, "c": 5,
                   "d": {"VelocityInstance": 4294967296}, "e": {"VelocityInstance": -1}}})");
  const auto chassis = Chassis();
  ASSERT_EQ(chassis.size(), 5u);
  for (const char* id : {"a", "b", "c", "d"}) {
    int velId = 77;
    EXPECT_NE(chassis.at(id).GetVelocityInstance(velId), 0) << id;
    EXPECT_EQ(velId, 77) << id;
  }
  int velId = 77;
  EXPECT_EQ(chassis.at("e").GetVelocityInstance(velId), 0);
  EXPECT_EQ(velId, -1);
}

TEST_F(CfgCloudTest, Chassis_entries_are_values) {
  CfgCloudChassis one(5);
  CfgCloudChassis copy(one);
  CfgCloudChassis assigned;
  assigned = copy;
  one = CfgCloudChassis();
  int velId = 0;
  EXPECT_NE(one.GetVelocityInstance(velId), 0);
  EXPECT_EQ(assigned.GetVelocityInstance(velId), 0);
  EXPECT_EQ(velId, 5);
}

TEST_F(CfgCloudTest, System_name_is_uninitialized_until_somebody_gave_it_one) {
  std::string name;
  EXPECT_EQ(SysInfo().GetSysName(name), 0);
  EXPECT_EQ(name, "Uninitialized");
  Write("/etc/cloudclient/sysinfo.json", R"({"SysName": ""})");
  host::SysInfoStore().Reload();
  EXPECT_EQ(SysInfo().GetSysName(name), 0);
  EXPECT_EQ(name, "Uninitialized");
  Write("/etc/cloudclient/sysinfo.json", R"({"SysName": "Rack 7"})");
  host::SysInfoStore().Reload();
  EXPECT_EQ(SysInfo().GetSysName(name), 0);
  EXPECT_EQ(name, "Rack 7");
}

TEST_F(CfgCloudTest, System_information_saves_like_the_cloud_section) {
  Write("/etc/cloudclient/sysinfo.json", R"({"SysName": "a", "More": 1})");
  EXPECT_TRUE(SysInfo().Save());
  EXPECT_EQ(Read("/etc/cloudclient/sysinfo.json"), "{\n  \"SysName\": \"a\",\n  \"More\": 1\n}\n");
}
