// SPDX-License-Identifier: Apache-2.0
// Registration and unregistration.
#include "AppTest.h"

namespace cloudclient {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class RegisterTest : public AppTest {
 protected:
  AppResult Register() {
    CloudClient& app = App();
    steps().Forget();
    fakes::platform().configCalls.clear();
    return app.Register();
  }

  void Answers(const std::vector<std::string>& headerLines) {
    service.answers("POST", kRegisterPath, 201, "{}", headerLines);
  }

  const std::string m_post = std::string("POST ") + kRegisterPath;
};

TEST_F(RegisterTest, The_token_of_the_answer_is_stored_and_saved) {
  Answers({"Location: /redfish/v1/Managers/7", "X-Auth-Token: t-2"});
  EXPECT_EQ(Register(), 0);
  EXPECT_THAT(steps().All(), ElementsAre(m_post, "cloud.SetXAuthToken", "cloud.Save"));
  EXPECT_THAT(fakes::platform().configCalls, ElementsAre("SetXAuthToken(t-2)", "Save()"));
}

TEST_F(RegisterTest, The_document_is_written_exactly) {
  fakes::SetTimeZone("EST5");
  fakes::platform().framework.appVersion = "2.0.1-rc3";
  cloud.unitName = "Rack \"A\" \\ 7";
  Answers({"X-Auth-Token: t-2"});
  EXPECT_EQ(Register(), 0);
  ASSERT_EQ(service.requests().size(), 1);
  EXPECT_EQ(service.requests()[0].document,
            "{\n"
            "\"DateTime\": \"2026-03-05T08:07:09-0500\",\n"
            "\"FirmwareVersion\": \"2.0.1-rc3\",\n"
            "\"ManagerType\": \"ManagementController\",\n"
            "\"Model\": \"Kyros\",\n"
            "\"Name\": \"Rack \"A\" \\ 7\",\n"
            "\"UUID\": \"6f1c1e1a-6c5b-4d0e-9f6e-0a4b5f0d2a11\"\n"
            "}\n");
}

TEST_F(RegisterTest, The_time_is_local_with_its_zone_east_of_Greenwich_too) {
  fakes::SetTimeZone("IST-5:30");
  Answers({"X-Auth-Token: t-2"});
  Register();
  EXPECT_NE(service.requests().at(0).document.find("\"DateTime\": \"2026-03-05T18:37:09+0530\""),
            std::string::npos);
}

TEST_F(RegisterTest, The_time_has_room_for_a_year_of_more_digits) {
  fakes::platform().clock.now = 253402300800;  // 10000-01-01T00:00:00Z
  Answers({"X-Auth-Token: t-2"});
  Register();
  EXPECT_NE(service.requests().at(0).document.find("\"DateTime\": \"10000-01-01T00:00:00+0000\""),
            std::string::npos);
}

TEST_F(RegisterTest, The_request_carries_no_token_even_when_one_is_stored) {
  Answers({"X-Auth-Token: t-2"});
  Register();
  const fakes::Request& request = service.requests().at(0);
  EXPECT_EQ(request.url, std::string("https://cloud.example") + kRegisterPath);
  EXPECT_THAT(request.headerLines,
              ElementsAre("Host: 192.0.2.17", "Content-Type: application/json", "charset=utf-8",
                          "Content-Length: " + std::to_string(request.document.size()),
                          "Accept: application/json"));
}

TEST_F(RegisterTest, E_mail_and_key_go_into_the_query_as_they_are) {
  cloud.email = "a+b&c=d %@example.com";
  cloud.key = "k&e+y#/?";
  service.answers("POST", "/redfish/v1/Managers?*", 200, "", {"X-Auth-Token: t-2"});
  EXPECT_EQ(Register(), 0);
  EXPECT_THAT(service.lines(),
              ElementsAre("POST /redfish/v1/Managers?setup_email=a+b&c=d %@example.com"
                          "&registration_key=k&e+y#/?"));
}

TEST_F(RegisterTest, An_incomplete_configuration_is_kAppNotConfigured_and_sends_nothing) {
  cloud.fullyConfigured = false;
  EXPECT_EQ(Register(), 1);
  EXPECT_THAT(steps().All(),
              ElementsAre("3 Register: Failed to register device -- not fully configured"));
}

TEST_F(RegisterTest, Values_that_cannot_be_read_stay_empty_and_the_request_is_made) {
  cloud.fails = {{"GetUserEmail", 1}, {"GetKey", 1}, {"GetUUID", 1}, {"GetUnitName", 1}};
  service.answers("POST", "/redfish/v1/Managers?setup_email=&registration_key=", 201, "",
                  {"X-Auth-Token: t-2"});
  EXPECT_EQ(Register(), 0);
  const std::string& document = service.requests().at(0).document;
  EXPECT_NE(document.find("\"Name\": \"\",\n\"UUID\": \"\"\n"), std::string::npos);
}

TEST_F(RegisterTest, An_unreadable_URL_stays_empty_too) {
  cloud.fails["GetUrl"] = 1;
  EXPECT_EQ(Register(), 3);
  EXPECT_EQ(service.requests().at(0).url, kRegisterPath);
}

TEST_F(RegisterTest, A_refusal_is_kAppRequestFailed_and_shows_what_was_answered) {
  service.answers("POST", kRegisterPath, 401, "wrong key", {"X-Auth-Token: t-2"});
  EXPECT_EQ(Register(), 3);
  const std::string header = "HTTP/1.1 401 Unauthorized\r\nX-Auth-Token: t-2\r\n\r\n";
  EXPECT_THAT(
      steps().All(),
      ElementsAre(m_post,
                  std::string("3 Register: Failed to register device with UUID(") + kUuid + ")",
                  "7 Register: hdr: " + header, "7 Register: resp: " + header + "wrong key"));
  EXPECT_EQ(cloud.token, "t-1");
}

TEST_F(RegisterTest, A_transfer_that_fails_is_kAppRequestFailed_and_shows_empty_texts) {
  service.isDown();
  EXPECT_EQ(Register(), 3);
  EXPECT_THAT(
      steps().All(),
      ElementsAre(m_post,
                  std::string("3 Register: Failed to register device with UUID(") + kUuid + ")",
                  "7 Register: hdr: ", "7 Register: resp: "));
}

TEST_F(RegisterTest, An_answer_without_a_token_is_kAppNotRegistered) {
  Answers({"X-Auth: t-2", "Token: t-2"});
  EXPECT_EQ(Register(), 7);
  EXPECT_THAT(steps().All(), ElementsAre(m_post,
                                         "3 Register: Success BUT missing x-auth-token. This is an "
                                         "error."));
  EXPECT_EQ(cloud.token, "t-1");
}

// The transport's text of the body holds the header block too, but only the header text counts.
TEST_F(RegisterTest, A_token_in_the_body_is_none) {
  service.answers("POST", kRegisterPath, 201, "X-Auth-Token: t-2\r\n");
  EXPECT_EQ(Register(), 7);
}

TEST_F(RegisterTest, The_header_is_found_in_any_case) {
  for (const char* name : {"X-Auth-Token", "x-auth-token", "X-AUTH-TOKEN", "x-Auth-tOKEN"}) {
    cloud.token = "";
    Answers({std::string(name) + ": t-2"});
    EXPECT_EQ(Register(), 0);
    EXPECT_EQ(cloud.token, "t-2");
  }
}

TEST_F(RegisterTest, Leading_blanks_of_the_token_go_and_trailing_blanks_stay) {
  Answers({"X-Auth-Token: \t  t-2 \t"});
  EXPECT_EQ(Register(), 0);
  EXPECT_EQ(cloud.token, "t-2 \t");
}

TEST_F(RegisterTest, A_token_of_blanks_alone_is_stored_as_it_is) {
  Answers({"X-Auth-Token: \t"});
  EXPECT_EQ(Register(), 0);
  EXPECT_EQ(cloud.token, " \t");
}

TEST_F(RegisterTest, What_storing_the_token_comes_to_is_not_looked_at) {
  Answers({"X-Auth-Token: t-2"});
  cloud.fails = {{"SetXAuthToken", 1}, {"Save", 1}};
  EXPECT_EQ(Register(), 0);
  EXPECT_THAT(steps().All(), ElementsAre(m_post, "cloud.SetXAuthToken", "cloud.Save"));
}

TEST_F(RegisterTest, A_token_whose_name_ends_the_header_is_empty) {
  fakes::curl().respond = [](const fakes::Transfer&) {
    return fakes::Response{CURLE_OK, 201, "HTTP/1.1 201 Created\r\nX-Auth-Token", "", ""};
  };
  EXPECT_EQ(Register(), 0);
  EXPECT_EQ(cloud.token, "");
}

class UnregisterTest : public AppTest {
 protected:
  void SetUp() override {
    AppTest::SetUp();
    cloud.chassis["c-1"] = 3;
    service.answers("DELETE", kManagerPath, 204);
  }

  const std::string m_delete = std::string("DELETE ") + kManagerPath;
};

TEST_F(UnregisterTest, The_manager_is_deleted_then_token_and_chassis_are_forgotten) {
  EXPECT_EQ(FreshApp().Unregister(), 0);
  EXPECT_THAT(steps().All(),
              ElementsAre(m_delete, "cloud.SetXAuthToken", "cloud.RemoveAllChassis", "cloud.Save"));
  EXPECT_THAT(fakes::platform().configCalls,
              ElementsAre("SetXAuthToken()", "RemoveAllChassis()", "Save()"));
  EXPECT_THAT(service.requests().at(0).headerLines,
              ElementsAre("Host: 192.0.2.17", "X-Auth-Token: t-1"));
  EXPECT_EQ(cloud.unitName, "unit-1");
  EXPECT_EQ(cloud.uuid, kUuid);
}

TEST_F(UnregisterTest,
       A_refused_delete_is_kAppRequestFailed_names_the_token_and_forgets_all_the_same) {
  CloudClient& app = FreshApp();
  for (const long status : {200, 202, 401, 404, 500}) {
    service.answers("DELETE", kManagerPath, status);
    cloud.token = "t-1";
    steps().Forget();
    EXPECT_EQ(app.Unregister(), 3) << status;
    EXPECT_THAT(steps().All(),
                ElementsAre(m_delete, "3 Unregister: Failed to delete manager (t-1)",
                            "cloud.SetXAuthToken", "cloud.RemoveAllChassis", "cloud.Save"));
    EXPECT_EQ(cloud.token, "");
  }
}

TEST_F(UnregisterTest, A_transfer_that_fails_is_kAppRequestFailed_and_forgets_all_the_same) {
  service.isDown();
  EXPECT_EQ(FreshApp().Unregister(), 3);
  EXPECT_EQ(cloud.token, "");
  EXPECT_TRUE(cloud.chassis.empty());
  EXPECT_EQ(fakes::platform().configCalls.back(), "Save()");
}

TEST_F(UnregisterTest, Without_a_readable_token_it_is_kAppConfigUnreadable_and_nothing_is_done) {
  cloud.fails["GetXAuthToken"] = 1;
  EXPECT_EQ(FreshApp().Unregister(), 2);
  EXPECT_THAT(steps().All(),
              ElementsAre("3 Unregister: Failed to delete resource: missing xauthtoken"));
  EXPECT_EQ(cloud.chassis.size(), 1);
}

TEST_F(UnregisterTest, An_empty_token_is_sent_as_it_is) {
  cloud.token = "";
  EXPECT_EQ(FreshApp().Unregister(), 0);
  EXPECT_THAT(service.requests().at(0).headerLines,
              ElementsAre("Host: 192.0.2.17", "X-Auth-Token: "));
}

TEST_F(UnregisterTest, A_chassis_list_that_stays_is_kAppConfigUnreadable_and_saved_all_the_same) {
  cloud.fails["RemoveAllChassis"] = 1;
  EXPECT_EQ(FreshApp().Unregister(), 2);
  EXPECT_THAT(steps().All(),
              ElementsAre(m_delete, "cloud.SetXAuthToken", "cloud.RemoveAllChassis", "cloud.Save"));
}

TEST_F(UnregisterTest, A_chassis_list_that_stays_goes_before_a_refused_delete) {
  service.answers("DELETE", kManagerPath, 500);
  cloud.fails["RemoveAllChassis"] = 1;
  EXPECT_EQ(FreshApp().Unregister(), 2);
}

TEST_F(UnregisterTest, Saving_and_clearing_the_token_are_not_looked_at) {
  cloud.fails = {{"SetXAuthToken", 1}, {"Save", 1}};
  EXPECT_EQ(FreshApp().Unregister(), 0);
}

TEST_F(UnregisterTest, Values_that_cannot_be_read_stay_empty_and_the_request_is_made) {
  cloud.fails = {{"GetUrl", 1}, {"GetUUID", 1}};
  EXPECT_EQ(FreshApp().Unregister(), 3);
  EXPECT_EQ(service.requests().at(0).url, "/redfish/v1/Managers/");
}

}  // namespace
}  // namespace cloudclient
