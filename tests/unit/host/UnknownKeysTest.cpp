// SPDX-License-Identifier: Apache-2.0
#include "HostTest.h"
#include "host/config/ConfigKeys.h"
#include "host/device/DeviceKeys.h"
#include "host/util/UnknownKeys.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

using UnknownKeysTest = HostTest;

host::JsonRef Json(const char* text) { return host::JsonRef(json_loads(text, 0, nullptr)); }

// The unknown keys of a device.
std::vector<std::string> Unknown(const char* text) {
  return host::UnknownDeviceKeys(Json(text).get());
}

}  // namespace

TEST_F(UnknownKeysTest, Unknown_key_is_named_with_the_one_that_it_is_like) {
  EXPECT_THAT(
      host::UnknownKeys(Json(R"({"Url": 1, "url": 2, "UserMail": 3, "Remark": 4, "Ur": 5})").get(),
                        {"Url", "UserEmail"}),
      ElementsAre(R"("url" (is "Url" meant?))", R"("UserMail" (is "UserEmail" meant?))",
                  R"("Remark")", R"("Ur" (is "Url" meant?))"));
  EXPECT_THAT(host::UnknownKeys(Json("[1]").get(), {"Url"}), IsEmpty());
}

TEST_F(UnknownKeysTest, Nearest_of_several_is_meant) {
  EXPECT_THAT(host::UnknownKeys(Json(R"({"arg2Typ": 1, "xxxxx": 1})").get(),
                                {"arg1Type", "arg2Type", "arg2", "yyyyy"}),
              ElementsAre(R"("arg2Typ" (is "arg2Type" meant?))", R"("xxxxx")"));
}

TEST_F(UnknownKeysTest, Device_is_searched_to_its_rules) {
  EXPECT_THAT(
      Unknown(R"({
    "Lable": "", "Points": [{"Id": 1, "Source": {"Type": "file", "Scal": 1}}, {"id": 1}],
    "Events": [{"Gdd": 1, "When": {"Pont": 1, "above": 2}}]})"),
      ElementsAre(R"("Lable" (is "Label" meant?))", R"("id" (is "Id" meant?) of "Points"[1])",
                  R"("Gdd" (is "GddId" meant?) of "Events"[0])",
                  R"("Pont" (is "Point" meant?) in "When" of "Events"[0])",
                  R"("above" (is "Above" meant?) in "When" of "Events"[0])",
                  R"("Scal" (is "Scale" meant?) in "Source" of "Points"[0])"));
}

TEST_F(UnknownKeysTest, Device_with_all_keys_has_no_unknown_one) {
  EXPECT_THAT(Unknown(R"({
    "VelocityId": 0, "ProductSequenceId": "1", "Label": "", "PollSeconds": 1,
    "Points": [{"Id": 1, "Name": "", "Value": "", "Unit": "", "Decimals": 0, "Modules": 1,
                "Report": 1, "Scale": 1, "States": {},
                "Source": {"Type": "file", "Path": "/", "Scale": 1}},
               {"Source": {"Type": "snmp", "Of a module": 1}}],
    "Sources": {"a": {"Of a module": 1}},
    "Events": [{"Source": {"Of a module": 1}, "GddId": 1, "Text": "", "Modules": 1, "State": "", "When": {
                "Point": 1, "Above": 1, "Below": 1, "Equals": 1, "NotEquals": 1, "Missing": true,
                "Hysteresis": 1, "State": ""}}]})"),
              IsEmpty());
}

TEST_F(UnknownKeysTest, Configuration_file_costs_one_line_until_its_keys_change) {
  constexpr char kFile[] = "/cloud.json";
  Write(kFile, R"({"Remark": 1, "Urll": "x"})");
  host::ConfigStore store(In(kFile), host::CloudKeys());
  store.Reload();
  EXPECT_EQ(LogCount("4 Host " + In(kFile) +
                     ": keys that are not known are not used: \"Remark\", "
                     "\"Urll\" (is \"Url\" meant?)"),
            1);
  Write(kFile, R"({"Remark": 1})");
  store.Reload();
  EXPECT_EQ(LogCount("are not used: "), 2);
}

TEST_F(UnknownKeysTest, Device_file_costs_one_line) {
  Write("/device.json", R"({"lable": "", "Points": [{"Id": 1, "nam": ""}]})");
  host::LoadDeviceModel(In("/device.json"));
  EXPECT_EQ(LogCount("4 Host " + In("/device.json") +
                     ": keys that are not known are not used: \"lable\" (is \"Label\" meant?), "
                     "\"nam\" (is \"Name\" meant?) of \"Points\"[0]"),
            1);
  EXPECT_EQ(LogCount(" Host "), 1);
}
