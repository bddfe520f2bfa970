// SPDX-License-Identifier: Apache-2.0
// Connections that are tried again, and tokens that are refused later, as the policy asks.
#include <algorithm>

#include "AppTest.h"
#include "base/Policy.h"
#include "device/DeviceMgr.h"

namespace cloudclient {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;
using testing::IsSupersetOf;
using testing::Not;

const char kPauseOfWork[] = "sleep 5000000";
const char kAgain[] = "5 DoWork: connecting with the Cloud Service again";
const char kRefused[] = "5 DoWork: the Cloud Service refused the token, looking the manager up";
const char kSyncRequested[] = "DeviceMgr::SetAlarmSyncRequested";
const char kGetRoot[] = "GET /redfish/v1";
const std::string kGetManager = std::string("GET ") + kLookUpPath;

std::string NextWithin(int seconds) {
  return "5 DoWork: not connected, trying again within " + std::to_string(seconds) + " s";
}

// An enabled appliance with a chassis that tries again after 5 to 300 seconds.
class RetryTest : public AppTest {
 protected:
  void SetUp() override {
    AppTest::SetUp();
    Policy policy;
    policy.registration.firstRetrySeconds = 5;
    policy.registration.mostRetrySeconds = 300;
    UsePolicy(policy);
    ServiceHasRoot();
    LookUpIsAnswered(200, "{}");
    service.answers("DELETE", kManagerPath, 204);
    cloud.chassis["c-1"] = 3;
  }

  // The steps of one work step, without its pause.
  std::vector<std::string> Work() {
    CloudClient& app = App();
    steps().Forget();
    app.DoWork();
    std::vector<std::string> all = steps().All();
    EXPECT_EQ(all.back(), kPauseOfWork);
    all.pop_back();
    return all;
  }
  // The times, in seconds, at which the service was asked in the work steps of so many seconds.
  // `before` comes before each work step.
  template <typename Before>
  std::vector<double> Asked(int seconds, const Before& before) {
    std::vector<double> times;
    for (int passed = 0; passed < seconds; passed += 5) {
      before();
      const double now = Now();
      for (const std::string& step : Work()) {
        if (step == kGetRoot) times.push_back(now);
      }
    }
    return times;
  }
  static double Now() { return static_cast<double>(fakes::platform().clock.monotonicUs) / 1e6; }

  // A request of the poster's, with this token, is answered so.
  void PosterIsAnswered(long status, const std::string& token = "t-1") {
    service.answers("POST", "/hb/*", status);
    std::string body;
    std::string header;
    DeviceMgr::GetInstance()->GetHttpsClient()->PostJsonDocument(cloud.url + "/hb/1", body, header,
                                                                 "{}", token);
  }
  void Rename(const std::string& name) {
    sysInfo.sysName = name;
    App().HandleCfgEvent(fakes::ConfigEvent());
  }

  const std::vector<std::string> m_postingChassis = {
      "DeviceMgr::FindPath(3, cloudchassis.txt)",
      "PatchMgr::FillSevenDayValues",
      "PatchMgr::UpdateDocWithTempUomValues(3)",
      "POST /redfish/v1/Chassis",
      "cloud.AddChassis",
      "cloud.Save",
      "7 ConnectWithCloudService: config save delay start",
      "sleep 6000000",
      "7 ConnectWithCloudService: config save delay end"};

  // What follows the reason of an attempt whose look-up is answered 403, on an appliance in
  // service.
  std::vector<std::string> Registering(const std::string& reason) {
    std::vector<std::string> all = {reason,
                                    kGetRoot,
                                    kGetManager,
                                    "cloud.RemoveAllChassis",
                                    "cloud.SetXAuthToken",
                                    "cloud.Save",
                                    "DeviceMgr::Stop",
                                    std::string("POST ") + kRegisterPath,
                                    "cloud.SetXAuthToken",
                                    "cloud.Save"};
    all.insert(all.end(), m_postingChassis.begin(), m_postingChassis.end());
    all.insert(all.end(), {"DeviceMgr::Start", kSyncRequested});
    return all;
  }
};

TEST_F(RetryTest, A_service_that_is_up_is_connected_as_ever) {
  EXPECT_THAT(Work(), ElementsAre("5 DoWork: cloudclient is now ENABLED",
                                  "DeviceMgr::InitDeviceDataPaths(3, proxy)", kGetRoot, kGetManager,
                                  "DeviceMgr::SyncChassisAlarms(3, c-1)",
                                  "DeviceMgr::RegisterForDeviceDataChange(3)", "DeviceMgr::Start",
                                  "5 DoWork: cloudclient is now registered for device changes"));
  EXPECT_THAT(Asked(1000, [] {}), IsEmpty());
}

TEST_F(RetryTest, A_service_that_was_down_is_tried_again_and_the_poster_asked_to_synchronise) {
  service.isDown();
  EXPECT_THAT(
      Work(),
      ElementsAre("5 DoWork: cloudclient is now ENABLED",
                  "DeviceMgr::InitDeviceDataPaths(3, proxy)", kGetRoot,
                  "3 ConnectWithCloudService: Cloud Service is not available at this time(8)",
                  "DeviceMgr::RegisterForDeviceDataChange(3)", "DeviceMgr::Start",
                  "5 DoWork: cloudclient is now registered for device changes", NextWithin(5)));
  EXPECT_THAT(Work(),
              ElementsAre(kAgain, kGetRoot,
                          "3 ConnectWithCloudService: Cloud Service is not available at this "
                          "time(8)",
                          NextWithin(10)));
  service.isDown(CURLE_OK);
  fakes::platform().clock.monotonicUs += 10000000;
  EXPECT_THAT(Work(), ElementsAre(kAgain, kGetRoot, kGetManager, kSyncRequested));
  EXPECT_THAT(Asked(1000, [] {}), IsEmpty());
}

TEST_F(RetryTest, Attempts_come_after_waits_that_double_up_to_the_longest) {
  service.isDown();
  const std::vector<double> times = Asked(4000, [] {});
  ASSERT_GT(times.size(), 15U);
  int longest = 5;
  for (size_t i = 1; i < times.size(); ++i) {
    // The work step comes every 5 seconds.
    EXPECT_GE(times[i] - times[i - 1], longest / 2.0) << i;
    EXPECT_LT(times[i] - times[i - 1], longest + 5) << i;
    longest = std::min(2 * longest, 300);
  }
}

TEST_F(RetryTest, No_wait_is_measured_by_the_time_of_day) {
  service.isDown();
  Asked(2000, [] { fakes::platform().clock.now -= 3600; });
  service.isDown(CURLE_OK);
  EXPECT_EQ(Asked(400, [] {}).size(), 1U);
}

TEST_F(RetryTest, Every_answer_short_of_success_is_tried_again) {
  Work();
  for (const long status : {401L, 404L, 500L}) {
    LookUpIsAnswered(status);
    PosterIsAnswered(401);
    fakes::platform().clock.monotonicUs += 700000000;
    EXPECT_THAT(Work(), ElementsAre(kRefused, kGetRoot, kGetManager,
                                    "3 GetManagerInstance: Failed to retrieve manager instance",
                                    "3 ConnectWithCloudService: Unknown cloud client error (3)",
                                    NextWithin(5)));
    LookUpIsAnswered(200, "{}");
    EXPECT_THAT(Work(), ElementsAre(kAgain, kGetRoot, kGetManager, kSyncRequested));
  }
}

TEST_F(RetryTest, A_look_up_that_is_answered_403_registers_with_the_threads_stopped) {
  service.isDown();
  Work();
  service.isDown(CURLE_OK);
  LookUpIsAnswered(403);
  ServiceRegisters();
  EXPECT_THAT(Work(), ElementsAreArray(Registering(kAgain)));
  EXPECT_EQ(cloud.token, "t-2");
  EXPECT_TRUE(DeviceMgr::GetInstance()->IsRunning());
  // The refused look-up was one of the old token.
  EXPECT_THAT(Asked(1000, [] {}), IsEmpty());
}

TEST_F(RetryTest, A_registration_that_fails_starts_the_threads_and_is_tried_again) {
  LookUpIsAnswered(403);
  ServiceRegisters();
  service.answersOnce("POST", "/redfish/v1/Managers?setup_email=*", 401)
      .answersOnce("POST", "/redfish/v1/Managers?setup_email=*", 401);
  EXPECT_EQ(Work().back(), NextWithin(5));
  const auto again = Work();
  EXPECT_THAT(again, Contains("DeviceMgr::Stop"));
  EXPECT_THAT(again, Contains("3 ConnectWithCloudService: Cloud Client failed to register(3) with "
                              "the Cloud Service"));
  EXPECT_EQ(again[again.size() - 2], "DeviceMgr::Start");
  EXPECT_EQ(again.back(), NextWithin(10));
  EXPECT_TRUE(DeviceMgr::GetInstance()->IsRunning());
  fakes::platform().clock.monotonicUs += 10000000;
  EXPECT_EQ(Work().back(), kSyncRequested);
}

TEST_F(RetryTest, A_chassis_that_was_not_posted_is_posted_for_the_manager_that_is_found) {
  LookUpIsAnswered(403);
  ServiceRegisters();
  service.answersOnce("POST", "/redfish/v1/Chassis", 500);
  EXPECT_EQ(Work().back(), NextWithin(5));
  LookUpIsAnswered(200, "{}");
  std::vector<std::string> expected = {kAgain, kGetRoot, kGetManager, "DeviceMgr::Stop"};
  expected.insert(expected.end(), m_postingChassis.begin(), m_postingChassis.end());
  expected.insert(expected.end(), {"DeviceMgr::Start", kSyncRequested});
  EXPECT_THAT(Work(), ElementsAreArray(expected));
  EXPECT_EQ(service.requests("POST", kRegisterPath).size(), 1U);
}

// The chassis that a look-up's answer links, where none is configured.
class LinkedChassisTest : public RetryTest {
 protected:
  void SetUp() override {
    RetryTest::SetUp();
    cloud.chassis.clear();
    ServiceRegisters();
    service.answers("GET", "/c/8", 200, R"({"Id":"c-8"})");
    service.answers("GET", "/c/9", 200, R"({"Id":"c-9"})");
    service.answers("GET", "/c/none", 404);
    service.answers("GET", "/c/nameless", 200, R"({"Id":""})");
  }
  std::vector<std::string> WorkWithLinks(const std::string& elements) {
    LookUpIsAnswered(200, R"({"Links":{"ManagerForChassis":[)" + elements + "]}}");
    return Work();
  }
};

TEST_F(LinkedChassisTest, Is_taken_and_none_posted) {
  const auto all = WorkWithLinks(R"({"@odata.id":"/c/9"},{"@odata.id":"/c/8"})");
  EXPECT_THAT(all, IsSupersetOf({"GET /c/9",
                                 "5 ConnectWithCloudService: the Cloud Service has chassis c-9 of "
                                 "this appliance already",
                                 "cloud.AddChassis", "cloud.Save", "sleep 6000000",
                                 "DeviceMgr::SyncChassisAlarms(3, c-9)"}));
  EXPECT_THAT(all, Not(Contains("POST /redfish/v1/Chassis")));
  EXPECT_THAT(cloud.chassis, ElementsAre(std::make_pair("c-9", 3)));
  EXPECT_THAT(Asked(1000, [] {}), IsEmpty());
}

TEST_F(LinkedChassisTest, That_leads_nowhere_or_has_no_name_is_none) {
  EXPECT_THAT(WorkWithLinks(R"({"@odata.id":"/c/none"},{"@odata.id":"/c/nameless"},{},7,
                               {"@odata.id":"/c/8"})"),
              Contains("DeviceMgr::SyncChassisAlarms(3, c-8)"));
  EXPECT_EQ(cloud.chassis.size(), 1U);
}

TEST_F(LinkedChassisTest, That_cannot_be_looked_at_is_a_failed_connection) {
  for (const long status : {403L, 500L, 503L}) {
    service.answersOnce("GET", "/c/9", status);
    const auto all = WorkWithLinks(R"({"@odata.id":"/c/9"},{"@odata.id":"/c/8"})");
    EXPECT_THAT(all,
                Contains("3 ConnectWithCloudService: Failed to add chassis to cloud service (19)"));
    EXPECT_THAT(all, Not(Contains("POST /redfish/v1/Chassis")));
    EXPECT_TRUE(cloud.chassis.empty());
    fakes::platform().clock.monotonicUs += 700000000;
  }
  service.fails("GET", "/c/9", CURLE_RECV_ERROR);
  EXPECT_EQ(WorkWithLinks(R"({"@odata.id":"/c/9"})").back().substr(0, 23),
            NextWithin(5).substr(0, 23));
  EXPECT_TRUE(cloud.chassis.empty());
}

TEST_F(LinkedChassisTest, That_the_configuration_refuses_is_a_failed_connection) {
  cloud.fails["AddChassis"] = 1;
  EXPECT_THAT(WorkWithLinks(R"({"@odata.id":"/c/9"})"),
              Contains("3 ConnectWithCloudService: Failed to add chassis to cloud service (16)"));
}

TEST_F(LinkedChassisTest, Of_which_there_is_none_is_posted) {
  const auto all = WorkWithLinks(R"({"@odata.id":"/c/none"})");
  EXPECT_THAT(all, Contains("POST /redfish/v1/Chassis"));
  EXPECT_THAT(all, Contains("DeviceMgr::SyncChassisAlarms(3, c-1)"));
}

TEST_F(LinkedChassisTest, Is_not_looked_for_in_a_document_that_is_none) {
  for (const char* document :
       {"", "no document", "{", R"({"Links":7})", R"({"Links":{"ManagerForChassis":{}}})"}) {
    cloud.enabled = true;
    LookUpIsAnswered(200, document);
    EXPECT_THAT(Work(), Contains("POST /redfish/v1/Chassis")) << document;
    cloud.chassis.clear();
    cloud.enabled = false;
    Work();
    cloud.token = "t-1";
  }
}

TEST_F(LinkedChassisTest, Is_not_looked_at_by_a_device_without_a_number) {
  fakes::platform().framework.managedVelId = -1;
  const auto all = WorkWithLinks(R"({"@odata.id":"/c/9"})");
  EXPECT_THAT(all, Contains("3 PostChassisInstance: Invalid managed device id(-1)"));
  EXPECT_TRUE(cloud.chassis.empty());
}

TEST_F(LinkedChassisTest, Of_which_there_is_none_is_posted_on_a_connection_of_its_own) {
  Policy policy = ThePolicy();
  policy.transport.keepConnection = true;
  UsePolicy(policy);
  bool ended = false;
  fakes::curl().onPerform = [&ended](const fakes::Transfer& transfer) {
    const auto& all = fakes::curl().transfers;
    if (transfer.Method() == "POST") ended = all[all.size() - 2]->cleanedUp;
  };
  WorkWithLinks("");
  EXPECT_TRUE(ended);
  EXPECT_EQ(cloud.chassis.count("c-1"), 1U);
}

TEST_F(LinkedChassisTest, Is_not_looked_for_after_a_registration) {
  LookUpIsAnswered(403);
  EXPECT_THAT(Work(), Contains("POST /redfish/v1/Chassis"));
  EXPECT_TRUE(service.requests("GET", "/c/*").empty());
}

TEST_F(RetryTest, A_chassis_that_cannot_be_posted_is_a_failed_connection) {
  cloud.chassis.clear();
  service.answers("POST", "/redfish/v1/Chassis", 500);
  const auto first = Work();
  EXPECT_THAT(first, Contains("3 ConnectWithCloudService: Failed to add chassis to cloud service "
                              "(3)"));
  EXPECT_THAT(first, Not(Contains("DeviceMgr::Stop")));
  EXPECT_EQ(first.back(), NextWithin(5));
  EXPECT_EQ(Work().back(), NextWithin(10));
}

TEST_F(RetryTest, A_manager_that_is_found_at_the_start_gets_its_chassis) {
  cloud.chassis.clear();
  ServiceRegisters();
  const auto all = Work();
  EXPECT_THAT(all, Contains("POST /redfish/v1/Chassis"));
  EXPECT_THAT(all, Contains("DeviceMgr::SyncChassisAlarms(3, c-1)"));
  EXPECT_THAT(all, Not(Contains("DeviceMgr::Stop")));
  EXPECT_THAT(Asked(1000, [] {}), IsEmpty());
}

TEST_F(RetryTest, A_chassis_list_that_cannot_be_counted_gets_no_other_chassis) {
  cloud.fails["GetNumCfgChassis"] = 1;
  EXPECT_THAT(Work(), Not(Contains("POST /redfish/v1/Chassis")));
}

TEST_F(RetryTest, A_configuration_that_was_not_valid_is_tried_again) {
  sysInfo.sysName = "Uninitialized";
  EXPECT_EQ(Work().back(), NextWithin(5));
  EXPECT_FALSE(DeviceMgr::GetInstance()->IsRunning());
  sysInfo.sysName = "unit-1";
  const auto all = Work();
  EXPECT_EQ(all.front(), kAgain);
  EXPECT_THAT(all, Contains("DeviceMgr::SyncChassisAlarms(3, c-1)"));
  EXPECT_EQ(all.back(), "5 DoWork: cloudclient is now registered for device changes");
}

TEST_F(RetryTest, Disabling_ends_the_attempts_and_enabling_begins_with_the_first_wait) {
  service.isDown();
  Work();
  Work();
  cloud.enabled = false;
  EXPECT_THAT(Work(), Contains("DeviceMgr::Stop"));
  EXPECT_THAT(Asked(1000, [] {}), IsEmpty());
  cloud.enabled = true;
  EXPECT_EQ(Work().back(), NextWithin(5));
}

TEST_F(RetryTest, Renaming_ends_the_attempts_until_the_next_enabling) {
  service.isDown();
  Work();
  Rename("unit-2");
  service.isDown(CURLE_OK);
  EXPECT_THAT(Asked(1000, [] {}), IsEmpty());
  EXPECT_EQ(cloud.token, "");
}

TEST_F(RetryTest, Renaming_leaves_a_connected_appliance_unregistered) {
  Work();
  Rename("unit-2");
  PosterIsAnswered(401);
  EXPECT_THAT(Asked(1000, [] {}), IsEmpty());
}

TEST_F(RetryTest, Naming_an_appliance_that_had_no_name_connects_it) {
  sysInfo.sysName = "Uninitialized";
  Work();
  LookUpIsAnswered(403);
  ServiceRegisters();
  Rename("unit-2");
  EXPECT_THAT(Work(), Contains(std::string("POST ") + kRegisterPath));
  EXPECT_TRUE(DeviceMgr::GetInstance()->IsRunning());
}

// A token that is refused while the appliance is in service.
class RefusedTokenTest : public RetryTest {
 protected:
  void SetUp() override {
    RetryTest::SetUp();
    Work();
  }
};

TEST_F(RefusedTokenTest, Of_a_manager_that_is_found_is_left_at_that) {
  PosterIsAnswered(401);
  EXPECT_THAT(Work(), ElementsAre(kRefused, kGetRoot, kGetManager));
  EXPECT_EQ(cloud.token, "t-1");
  EXPECT_THAT(Asked(1000, [] {}), IsEmpty());
}

TEST_F(RefusedTokenTest, Registers_anew_where_the_look_up_is_answered_403) {
  LookUpIsAnswered(403);
  ServiceRegisters();
  PosterIsAnswered(403);
  EXPECT_THAT(Work(), ElementsAreArray(Registering(kRefused)));
  EXPECT_THAT(Asked(1000, [] {}), IsEmpty());
}

TEST_F(RefusedTokenTest, Gets_a_chassis_where_none_is_configured) {
  cloud.chassis.clear();
  ServiceRegisters();
  PosterIsAnswered(401);
  EXPECT_EQ(Work().back(), kSyncRequested);
  EXPECT_EQ(cloud.chassis.count("c-1"), 1U);
}

TEST_F(RefusedTokenTest, Of_one_resource_for_ever_does_not_hammer) {
  const std::vector<double> times = Asked(4000, [this] { PosterIsAnswered(401); });
  ASSERT_GT(times.size(), 15U);
  int longest = 5;
  for (size_t i = 1; i < times.size(); ++i) {
    EXPECT_GE(times[i] - times[i - 1], longest / 2.0) << i;
    longest = std::min(2 * longest, 300);
  }
}

TEST_F(RefusedTokenTest, After_a_look_up_that_registers_each_time_does_not_hammer) {
  LookUpIsAnswered(403);
  ServiceRegisters();
  Asked(4000, [this] { PosterIsAnswered(401); });
  // 300 seconds and more apart when the waits are their longest.
  EXPECT_LT(service.requests("POST", kRegisterPath).size(), 40U);
}

TEST_F(RefusedTokenTest, Is_looked_at_at_once_again_after_a_time_without_refusals) {
  Asked(1000, [this] { PosterIsAnswered(401); });
  // A wait, the look-up for the last refusal, another wait, and as long again.
  Asked(1000, [] {});
  const std::vector<double> times = Asked(15, [this] { PosterIsAnswered(401); });
  ASSERT_GE(times.size(), 2U);
  EXPECT_LE(times[1] - times[0], 10);
}

TEST_F(RefusedTokenTest, Whose_look_up_fails_is_a_failed_connection) {
  PosterIsAnswered(401);
  service.isDown();
  EXPECT_EQ(Work().back(), NextWithin(5));
  service.isDown(CURLE_OK);
  EXPECT_THAT(Work(), ElementsAre(kAgain, kGetRoot, kGetManager, kSyncRequested));
}

TEST_F(RefusedTokenTest, Waits_with_the_connection_that_failed) {
  PosterIsAnswered(401);
  service.isDown();
  Work();
  Work();
  const std::vector<double> times = Asked(300, [this] { PosterIsAnswered(401); });
  EXPECT_LT(times.size(), 8U);
}

TEST_F(RefusedTokenTest, Is_none_where_no_token_was_sent) {
  PosterIsAnswered(401, "");
  EXPECT_THAT(Asked(1000, [] {}), IsEmpty());
}

TEST_F(RefusedTokenTest, Is_left_alone_where_nothing_is_tried_again) {
  UsePolicy({});
  PosterIsAnswered(401);
  EXPECT_THAT(Asked(1000, [] {}), IsEmpty());
}

}  // namespace
}  // namespace cloudclient
