// SPDX-License-Identifier: Apache-2.0
#include "ServiceTest.h"

namespace cloudservice {
namespace {

using testing::EndsWith;
using testing::StartsWith;

class ChassisTest : public ServiceTest {
 protected:
  std::string token = Token("u-1");
};

TEST_F(ChassisTest, Creation_answers_an_id_in_a_body_that_begins_with_its_brace) {
  const Response response = Ask("POST", "/redfish/v1/Chassis", token, R"({"ChassisType":"Rack"})");
  const Json chassis = Got(201, response);
  const std::string id = chassis.at("Id");
  EXPECT_THAT(response.body, StartsWith("{\""));
  EXPECT_EQ(chassis.at("ChassisType"), "Rack");
  EXPECT_EQ(Header(response, "Location"), "/redfish/v1/Chassis/" + id);
  EXPECT_THAT(lines.back(), EndsWith(" chassis created: " + id + " of Unit 7 (UUID u-1)"));
}

TEST_F(ChassisTest, Document_stays_as_sent_whatever_id_it_brings) {
  const std::string sent = "{ \"Id\":\"mine\",\n\"Weight\": 21.50 }";
  const std::string id = Chassis(token, sent);
  EXPECT_NE(id, "mine");
  EXPECT_EQ((*store)->FindChassis("u-1", id)->document, sent);
  EXPECT_EQ(
      Got(200, Ask("GET", "/redfish/v1/Chassis/" + id, token)).at("Oem").at("Quorvan").at("Weight"),
      21.5);
}

TEST_F(ChassisTest, Two_get_two_ids_and_are_listed) {
  const std::string first = Chassis(token);
  const std::string second = Chassis(token);
  EXPECT_NE(first, second);
  const Json list = Got(200, Ask("GET", "/redfish/v1/Chassis", token));
  EXPECT_EQ(list.at("Members@odata.count"), 2);
  EXPECT_EQ(list.at("Members").at(0).at("@odata.id"), "/redfish/v1/Chassis/" + first);
}

TEST_F(ChassisTest, Deleting_takes_resources_and_alarms_and_leaves_the_events) {
  const std::string id = Chassis(token);
  const std::string path = "/redfish/v1/Chassis/" + id;
  Ask("PATCH", path + "/Thermal", token, R"({"a": 1})");
  Ask("POST", "/redfish/v1/Managers/u-1/Oem/Quorvan:Events", token,
      Json{{"MessageId", "Zarvel.GDD.1"},
           {"Severity", "Alarm"},
           {"Message", "m"},
           {"OriginOfCondition", {{"@odata.id", path}}}}
          .dump());
  EXPECT_EQ(Ask("DELETE", path, token).status, 204u);
  EXPECT_THAT(lines.back(), EndsWith(" chassis removed: " + id + " of Unit 7 (UUID u-1)"));
  EXPECT_EQ(Ask("GET", path, token).status, 404u);
  EXPECT_EQ(Ask("GET", path + "/Thermal", token).status, 404u);
  EXPECT_EQ(Ask("DELETE", path, token).status, 404u);
  EXPECT_EQ(Got(200, Ask("GET", "/redfish/v1/Oem/Quorvan:Events?Cleared=false", token)).size(), 0u);
  EXPECT_EQ(Got(200, Ask("GET", "/redfish/v1/Oem/Quorvan:Events", token)).at("Members").size(), 1u);
}

TEST_F(ChassisTest, Deleting_without_an_id_is_not_allowed) {
  const Response response = Ask("DELETE", "/redfish/v1/Chassis/", token);
  EXPECT_EQ(response.status, 405u);
  EXPECT_EQ(Header(response, "Allow"), "GET, HEAD, POST, OPTIONS");
}

TEST_F(ChassisTest, Another_managers_token_sees_nothing) {
  const std::string path = "/redfish/v1/Chassis/" + Chassis(token);
  const std::string other = Token("u-2");
  for (const char* method : {"GET", "DELETE"}) {
    EXPECT_EQ(Ask(method, path, other).status, 404u) << method;
  }
  EXPECT_EQ(Ask("PATCH", path, other, "{}").status, 404u);
  EXPECT_EQ(Ask("PATCH", path + "/Thermal", other, "{}").status, 404u);
  EXPECT_EQ(Got(200, Ask("GET", "/redfish/v1/Chassis", other)).at("Members"), Json::array());
  EXPECT_EQ(Ask("GET", path, token).status, 200u);
}

TEST_F(ChassisTest, Patch_merges_into_the_chassis_itself) {
  const std::string path = "/redfish/v1/Chassis/" + Chassis(token, R"({"A": {"b": 1, "c": 2}})");
  EXPECT_EQ(Ask("PATCH", path, token, R"({"A": {"b": null, "d": 3}})").status, 204u);
  EXPECT_EQ(Got(200, Ask("GET", path, token)).at("Oem").at("Quorvan").at("A"),
            Json({{"c", 2}, {"d", 3}}));
}

}  // namespace
}  // namespace cloudservice
