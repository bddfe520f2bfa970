// SPDX-License-Identifier: Apache-2.0
// The connection: look-up, registration, chassis, reconciliation.
#include "AppTest.h"

namespace cloudclient {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::HasSubstr;
using testing::Not;

class ConnectTest : public AppTest {
 protected:
  // The steps of one connection.
  std::vector<std::string> Connect() {
    CloudClient& app = App();
    steps().Forget();
    app.ConnectWithCloudService();
    return steps().All();
  }

  // What an appliance does whose token the service refused, up to the registration.
  const std::vector<std::string> m_forgetting = {"GET /redfish/v1",
                                                 std::string("GET ") + kLookUpPath,
                                                 "cloud.RemoveAllChassis",
                                                 "cloud.SetXAuthToken",
                                                 "cloud.Save",
                                                 std::string("POST ") + kRegisterPath};

  std::vector<std::string> AfterForgetting(const std::vector<std::string>& more) {
    std::vector<std::string> all = m_forgetting;
    all.insert(all.end(), more.begin(), more.end());
    return all;
  }
};

TEST_F(ConnectTest, A_known_manager_is_reconciled) {
  ServiceHasRoot();
  LookUpIsAnswered(200, "{}");
  cloud.chassis["c-1"] = 3;
  EXPECT_THAT(Connect(), ElementsAre("GET /redfish/v1", std::string("GET ") + kLookUpPath,
                                     "DeviceMgr::SyncChassisAlarms(3, c-1)"));
}

TEST_F(ConnectTest, A_known_manager_without_chassis_gets_none) {
  ServiceHasRoot();
  LookUpIsAnswered(200, "{}");
  EXPECT_THAT(Connect(), ElementsAre("GET /redfish/v1", std::string("GET ") + kLookUpPath,
                                     "3 ReconcileWithCloudService: No configure chassis"));
}

TEST_F(ConnectTest, An_unknown_manager_is_registered_with_its_chassis_and_reconciled) {
  ServiceHasRoot();
  LookUpIsAnswered(403);
  ServiceRegisters();
  cloud.chassis["c-0"] = 3;
  EXPECT_THAT(Connect(),
              ElementsAreArray(AfterForgetting(
                  {"cloud.SetXAuthToken", "cloud.Save", "DeviceMgr::FindPath(3, cloudchassis.txt)",
                   "PatchMgr::FillSevenDayValues", "PatchMgr::UpdateDocWithTempUomValues(3)",
                   "POST /redfish/v1/Chassis", "cloud.AddChassis", "cloud.Save",
                   "7 ConnectWithCloudService: config save delay start", "sleep 6000000",
                   "7 ConnectWithCloudService: config save delay end",
                   "DeviceMgr::SyncChassisAlarms(3, c-1)"})));
  EXPECT_EQ(cloud.token, "t-2");
  EXPECT_EQ(cloud.chassis.size(), 1);
  EXPECT_EQ(cloud.chassis.count("c-1"), 1);
}

TEST_F(ConnectTest, The_chassis_is_posted_with_the_new_token) {
  ServiceHasRoot();
  LookUpIsAnswered(403);
  ServiceRegisters();
  Connect();
  const auto posts = service.requests("POST", "/redfish/v1/Chassis");
  ASSERT_EQ(posts.size(), 1);
  EXPECT_EQ(posts[0].Header("X-Auth-Token"), "t-2");
  EXPECT_FALSE(service.requests("POST", kRegisterPath).at(0).HasHeader("X-Auth-Token"));
}

TEST_F(ConnectTest, The_new_token_is_read_before_the_chassis_is_posted_and_not_used) {
  ServiceHasRoot();
  LookUpIsAnswered(403);
  ServiceRegisters();
  std::vector<std::string> afterRegistration;
  cloud.onCall = [&](const std::string& operation) {
    afterRegistration.push_back(operation);
    if (operation == "SetXAuthToken") afterRegistration.clear();
    // Of the two readings the first fails.
    cloud.fails.erase("GetXAuthToken");
    if (afterRegistration == std::vector<std::string>{"Save", "GetXAuthToken"}) {
      cloud.fails["GetXAuthToken"] = 1;
    }
  };
  Connect();
  afterRegistration.resize(4);
  EXPECT_THAT(afterRegistration, ElementsAre("Save", "GetXAuthToken", "GetUrl", "GetXAuthToken"));
  EXPECT_EQ(service.requests("POST", "/redfish/v1/Chassis").at(0).Header("X-Auth-Token"), "t-2");
  EXPECT_THAT(steps().All(3), Not(Contains(HasSubstr("token"))));
}

TEST_F(ConnectTest, A_failed_registration_is_reported_with_its_code_and_ends_the_connection) {
  ServiceHasRoot();
  LookUpIsAnswered(403);
  service.answers("POST", kRegisterPath, 401);
  EXPECT_THAT(Connect(),
              ElementsAreArray(AfterForgetting(
                  {std::string("3 Register: Failed to register device with UUID(") + kUuid + ")",
                   "7 Register: hdr: HTTP/1.1 401 Unauthorized\r\n\r\n",
                   "7 Register: resp: HTTP/1.1 401 Unauthorized\r\n\r\n",
                   "3 ConnectWithCloudService: Cloud Client failed to register(3) with the Cloud "
                   "Service"})));
}

TEST_F(ConnectTest, A_registration_without_a_token_is_a_failed_one_of_kAppNotRegistered) {
  ServiceHasRoot();
  LookUpIsAnswered(403);
  service.answers("POST", kRegisterPath, 201, "{}");
  EXPECT_THAT(Connect(),
              ElementsAreArray(AfterForgetting(
                  {"3 Register: Success BUT missing x-auth-token. This is an error.",
                   "3 ConnectWithCloudService: Cloud Client failed to register(7) with the Cloud "
                   "Service"})));
}

TEST_F(ConnectTest, A_failed_post_of_the_chassis_is_reported_with_its_code_and_ends_it) {
  ServiceHasRoot();
  LookUpIsAnswered(403);
  ServiceRegisters();
  fakes::platform().framework.managedVelId = -1;
  EXPECT_THAT(Connect(),
              ElementsAreArray(AfterForgetting(
                  {"cloud.SetXAuthToken", "cloud.Save",
                   "3 PostChassisInstance: Invalid managed device id(-1)",
                   "3 ConnectWithCloudService: Failed to add chassis to cloud service (14)"})));
  EXPECT_EQ(cloud.token, "t-2");
}

TEST_F(ConnectTest, A_service_that_cannot_be_reached_is_kAppServiceNotReached) {
  service.isDown();
  EXPECT_THAT(
      Connect(),
      ElementsAre("GET /redfish/v1",
                  "3 ConnectWithCloudService: Cloud Service is not available at this time(8)"));
}

TEST_F(ConnectTest, An_unreadable_URL_is_an_unknown_error_of_kAppNotConfigured) {
  cloud.fails["GetUrl"] = 1;
  EXPECT_THAT(Connect(), ElementsAre("3 ConnectWithCloudService: Unknown cloud client error (1)"));
}

TEST_F(ConnectTest, A_failed_look_up_is_an_unknown_error_of_kAppRequestFailed) {
  ServiceHasRoot();
  LookUpIsAnswered(500);
  cloud.chassis["c-1"] = 3;
  EXPECT_THAT(Connect(), ElementsAre("GET /redfish/v1", std::string("GET ") + kLookUpPath,
                                     "3 GetManagerInstance: Failed to retrieve manager instance",
                                     "3 ConnectWithCloudService: Unknown cloud client error (3)"));
  EXPECT_EQ(cloud.token, "t-1");
  EXPECT_EQ(cloud.chassis.size(), 1);
}

TEST_F(ConnectTest, A_root_that_leads_nowhere_is_an_unknown_error_of_its_code) {
  service.answers("GET", "/redfish/v1", 200, "no JSON");
  EXPECT_EQ(Connect().back(), "3 ConnectWithCloudService: Unknown cloud client error (9)");
  service.answers("GET", "/redfish/v1", 200, R"({"Managers":{}})");
  EXPECT_EQ(Connect().back(), "3 ConnectWithCloudService: Unknown cloud client error (10)");
  service.answers("GET", "/redfish/v1", 200, "{}");
  EXPECT_EQ(Connect().back(), "3 ConnectWithCloudService: Unknown cloud client error (11)");
}

TEST_F(ConnectTest, Only_403_leads_to_registration) {
  ServiceHasRoot();
  ServiceRegisters();
  for (const long status : {401, 404, 410}) {
    LookUpIsAnswered(status);
    EXPECT_EQ(Connect().back(), "3 ConnectWithCloudService: Unknown cloud client error (3)");
  }
  EXPECT_TRUE(service.requests("POST", "*").empty());
}

}  // namespace
}  // namespace cloudclient
