// SPDX-License-Identifier: Apache-2.0
// Finding the manager: service root, collection, look-up.
#include "AppTest.h"

namespace cloudclient {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

typedef AppTest ManagerTest;

TEST_F(ManagerTest, The_root_is_asked_for_without_token_or_any_header) {
  service.answers("GET", "/redfish/v1", 200, "{ root }");
  std::string doc;
  EXPECT_EQ(FreshApp().GetServiceRoot(doc), 0);
  EXPECT_EQ(doc, "{ root }");
  ASSERT_EQ(service.requests().size(), 1);
  EXPECT_EQ(service.requests()[0].url, "https://cloud.example/redfish/v1");
  EXPECT_THAT(service.requests()[0].headerLines, IsEmpty());
}

TEST_F(ManagerTest, A_root_that_cannot_be_fetched_is_kAppServiceNotReached_without_a_message) {
  CloudClient& app = FreshApp();
  std::string doc;
  service.isDown();
  EXPECT_EQ(app.GetServiceRoot(doc), 8);
  service.isDown(CURLE_OK);
  for (const long status : {302, 403, 404, 500}) {
    service.answers("GET", "/redfish/v1", status);
    EXPECT_EQ(app.GetServiceRoot(doc), 8) << status;
  }
  for (const std::string& step : steps().All()) EXPECT_EQ(step, "GET /redfish/v1");
}

TEST_F(ManagerTest, An_unreadable_URL_is_kAppNotConfigured_without_request_or_message) {
  cloud.fails["GetUrl"] = 1;
  CloudClient& app = FreshApp();
  std::string text = "as it was";
  EXPECT_EQ(app.GetServiceRoot(text), 1);
  EXPECT_EQ(app.GetManagersURI(text), 1);
  EXPECT_EQ(app.GetManagerInstance(text), 1);
  EXPECT_EQ(text, "as it was");
  EXPECT_THAT(steps().All(), IsEmpty());
}

// The result for a root, followed by the messages.
class ManagersUriTest : public AppTest {
 protected:
  std::vector<std::string> Answer(const std::string& document) {
    CloudClient& app = App();
    service.answers("GET", "/redfish/v1", 200, document);
    steps().Forget();
    m_path = "as it was";
    std::vector<std::string> answer = {std::to_string(app.GetManagersURI(m_path))};
    for (const std::string& step : steps().All()) {
      if (step != "GET /redfish/v1") answer.push_back(step);
    }
    return answer;
  }

  std::string m_path;
};

TEST_F(ManagersUriTest, The_path_is_the_reference_of_Managers) {
  EXPECT_THAT(Answer(R"({"Name":"Root","Managers":{"@odata.id":"/redfish/v1/Managers"}})"),
              ElementsAre("0"));
  EXPECT_EQ(m_path, "/redfish/v1/Managers");
}

TEST_F(ManagersUriTest, An_empty_reference_is_a_path) {
  EXPECT_THAT(Answer(R"({"Managers":{"@odata.id":""}})"), ElementsAre("0"));
  EXPECT_EQ(m_path, "");
}

TEST_F(ManagersUriTest, A_root_that_is_no_JSON_is_kAppRootNotJson) {
  const auto unparsed =
      ElementsAre("9", "3 GetManagersURI: Cloud Client can't parse the Service Root document");
  EXPECT_THAT(Answer("<html>"), unparsed);
  EXPECT_THAT(Answer(""), unparsed);
  EXPECT_THAT(Answer(R"({"Managers":)"), unparsed);
  EXPECT_THAT(Answer(std::string(kRootDocument) + "x"), unparsed);
  EXPECT_EQ(m_path, "as it was");
}

TEST_F(ManagersUriTest, A_root_without_Managers_is_kAppNoCollection) {
  const auto missing =
      ElementsAre("11", "3 GetManagersURI: Cannot find Manager object in Service Root");
  EXPECT_THAT(Answer("{}"), missing);
  EXPECT_THAT(Answer(R"({"managers":{"@odata.id":"/a"}})"), missing);
  EXPECT_EQ(m_path, "as it was");
}

TEST_F(ManagersUriTest, Any_JSON_value_parses) {
  const auto missing =
      ElementsAre("11", "3 GetManagersURI: Cannot find Manager object in Service Root");
  EXPECT_THAT(Answer("7"), missing);
  EXPECT_THAT(Answer("null"), missing);
  EXPECT_THAT(Answer("[1]"), missing);
  EXPECT_THAT(Answer("\"Managers\""), missing);
}

TEST_F(ManagersUriTest, Managers_without_a_reference_is_kAppNoOdataId) {
  const auto missing = ElementsAre("10", "3 GetManagersURI: Missing manager's odata.id");
  EXPECT_THAT(Answer(R"({"Managers":{}})"), missing);
  EXPECT_THAT(Answer(R"({"Managers":"/redfish/v1/Managers"})"), missing);
  EXPECT_THAT(Answer(R"({"Managers":null})"), missing);
  EXPECT_EQ(m_path, "as it was");
}

TEST_F(ManagersUriTest, A_reference_that_is_no_string_is_kAppNoOdataId) {
  const auto mistyped = ElementsAre("10", "3 GetManagersURI: Unexpected form for the odata.id");
  EXPECT_THAT(Answer(R"({"Managers":{"@odata.id":7}})"), mistyped);
  EXPECT_THAT(Answer(R"({"Managers":{"@odata.id":null}})"), mistyped);
  EXPECT_THAT(Answer(R"({"Managers":{"@odata.id":{"@odata.id":"/a"}}})"), mistyped);
  EXPECT_EQ(m_path, "as it was");
}

TEST_F(ManagersUriTest, The_last_of_two_members_of_one_name_counts) {
  EXPECT_THAT(Answer(R"({"Managers":7,"Managers":{"@odata.id":"/a","@odata.id":"/b"}})"),
              ElementsAre("0"));
  EXPECT_EQ(m_path, "/b");
}

// The look-up; its document starts as "as it was".
class LookUpTest : public AppTest {
 protected:
  void SetUp() override {
    AppTest::SetUp();
    ServiceHasRoot();
  }

  AppResult LookUp() {
    CloudClient& app = App();
    steps().Forget();
    service.forget();
    m_doc = "as it was";
    return app.GetManagerInstance(m_doc);
  }

  std::string m_doc;
};

const char kFailed[] = "3 GetManagerInstance: Failed to retrieve manager instance";

TEST_F(LookUpTest, Answered_200_at_once_gives_the_document) {
  LookUpIsAnswered(200, "{ manager }");
  EXPECT_EQ(LookUp(), 0);
  EXPECT_EQ(m_doc, "{ manager }");
  EXPECT_THAT(steps().All(), ElementsAre("GET /redfish/v1", std::string("GET ") + kLookUpPath));
}

TEST_F(LookUpTest, It_carries_the_token) {
  LookUpIsAnswered(200, "{}");
  LookUp();
  EXPECT_THAT(service.requests().back().headerLines,
              ElementsAre("Host: 192.0.2.17", "Accept: application/json", "X-Auth-Token: t-1"));
}

TEST_F(LookUpTest, It_asks_at_the_path_that_the_root_names) {
  service.answers("GET", "/redfish/v1", 200, R"({"Managers":{"@odata.id":"/m/"}})");
  service.answers("GET", std::string("/m/?uuid=") + kUuid, 200, "{}");
  EXPECT_EQ(LookUp(), 0);
}

TEST_F(LookUpTest, It_asks_at_the_service_that_is_configured_then) {
  LookUpIsAnswered(302, "", {"Location: /a"});
  service.answers("GET", "/a", 200, "{}");
  EXPECT_EQ(LookUp(), 0);
  cloud.url = "https://other.example";
  cloud.uuid = "second";
  cloud.token = "t-9";
  service.answers("GET", "https://other.example/redfish/v1", 200, kRootDocument);
  service.answers("GET", "https://other.example/redfish/v1/Managers?uuid=second", 302, "",
                  {"Location: /b"});
  service.answers("GET", "https://other.example/b", 200, "{ second }");
  EXPECT_EQ(LookUp(), 0);
  EXPECT_EQ(m_doc, "{ second }");
  EXPECT_EQ(service.requests().back().Header("X-Auth-Token"), "t-9");
}

TEST_F(LookUpTest, A_failed_root_is_handed_on) {
  service.answers("GET", "/redfish/v1", 500);
  EXPECT_EQ(LookUp(), 8);
  service.answers("GET", "/redfish/v1", 200, "");
  EXPECT_EQ(LookUp(), 9);
  service.answers("GET", "/redfish/v1", 200, R"({"Managers":{"@odata.id":7}})");
  EXPECT_EQ(LookUp(), 10);
  service.answers("GET", "/redfish/v1", 200, "{}");
  EXPECT_EQ(LookUp(), 11);
  EXPECT_EQ(m_doc, "as it was");
  EXPECT_THAT(service.lines(), ElementsAre("GET /redfish/v1"));
}

TEST_F(LookUpTest, Values_that_cannot_be_read_stay_empty_and_the_request_is_made) {
  cloud.fails = {{"GetUUID", 1}, {"GetXAuthToken", 1}};
  service.answers("GET", "/redfish/v1/Managers?uuid=", 200, "{}");
  EXPECT_EQ(LookUp(), 0);
  EXPECT_THAT(service.requests().back().headerLines,
              ElementsAre("Host: 192.0.2.17", "Accept: application/json", "X-Auth-Token: "));
}

TEST_F(LookUpTest, A_redirect_is_followed_with_the_same_token_on_the_same_service) {
  for (const long status : {302, 303}) {
    LookUpIsAnswered(status, "moved", {"Location: /redfish/v1/Managers/7"});
    service.answers("GET", "/redfish/v1/Managers/7", 200, "{ seven }");
    EXPECT_EQ(LookUp(), 0);
    EXPECT_EQ(m_doc, "{ seven }");
    EXPECT_THAT(steps().All(), ElementsAre("GET /redfish/v1", std::string("GET ") + kLookUpPath,
                                           "GET /redfish/v1/Managers/7"));
    EXPECT_THAT(service.requests().back().headerLines,
                ElementsAre("Host: 192.0.2.17", "Accept: application/json", "X-Auth-Token: t-1"));
  }
}

TEST_F(LookUpTest, A_redirect_takes_any_number_of_blanks_and_tabs) {
  service.answers("GET", "/redfish/v1/Managers/7", 200, "{ seven }");
  for (const char* line :
       {"Location:/redfish/v1/Managers/7", "Location: \t \t/redfish/v1/Managers/7"}) {
    LookUpIsAnswered(302, "", {"Server: x", line, "Content-Length: 0"});
    EXPECT_EQ(LookUp(), 0);
    EXPECT_EQ(service.requests().back().url, "https://cloud.example/redfish/v1/Managers/7");
  }
}

TEST_F(LookUpTest, A_redirect_is_always_taken_for_a_path) {
  LookUpIsAnswered(302, "", {"Location: https://elsewhere.example/7"});
  EXPECT_EQ(LookUp(), 3);
  EXPECT_EQ(service.requests().back().url, "https://cloud.examplehttps://elsewhere.example/7");
}

TEST_F(LookUpTest, A_redirect_without_Location_is_kAppRequestFailed) {
  for (const std::vector<std::string>& lines :
       {std::vector<std::string>{}, {"location: /redfish/v1/Managers/7"}}) {
    LookUpIsAnswered(302, "", lines);
    EXPECT_EQ(LookUp(), 3);
    EXPECT_THAT(steps().All(),
                ElementsAre("GET /redfish/v1", std::string("GET ") + kLookUpPath,
                            "3 GetManagerInstance: Missing LOCATION on redirect", kFailed));
    EXPECT_EQ(m_doc, "as it was");
  }
}

TEST_F(LookUpTest, A_second_redirect_is_not_followed) {
  LookUpIsAnswered(302, "", {"Location: /a"});
  service.answers("GET", "/a", 302, "", {"Location: /b"});
  service.answers("GET", "/b", 200, "{}");
  EXPECT_EQ(LookUp(), 3);
  EXPECT_THAT(steps().All(),
              ElementsAre("GET /redfish/v1", std::string("GET ") + kLookUpPath, "GET /a", kFailed));
  EXPECT_EQ(m_doc, "as it was");
}

TEST_F(LookUpTest, Answered_403_forgets_chassis_and_token_in_this_order_and_is_kAppNotRegistered) {
  LookUpIsAnswered(403, "{ refused }");
  cloud.chassis["c-1"] = 3;
  EXPECT_EQ(LookUp(), 7);
  EXPECT_THAT(steps().All(),
              ElementsAre("GET /redfish/v1", std::string("GET ") + kLookUpPath,
                          "cloud.RemoveAllChassis", "cloud.SetXAuthToken", "cloud.Save"));
  EXPECT_EQ(cloud.token, "");
  EXPECT_TRUE(cloud.chassis.empty());
  EXPECT_EQ(m_doc, "as it was");
}

TEST_F(LookUpTest, Answered_403_is_kAppNotRegistered_whatever_forgetting_comes_to) {
  LookUpIsAnswered(403);
  cloud.fails = {{"RemoveAllChassis", 1}, {"SetXAuthToken", 1}, {"Save", 1}};
  EXPECT_EQ(LookUp(), 7);
  EXPECT_THAT(steps().All(),
              ElementsAre("GET /redfish/v1", std::string("GET ") + kLookUpPath,
                          "cloud.RemoveAllChassis", "cloud.SetXAuthToken", "cloud.Save"));
}

TEST_F(LookUpTest, Answered_403_after_a_redirect_is_kAppNotRegistered_too) {
  LookUpIsAnswered(302, "", {"Location: /a"});
  service.answers("GET", "/a", 403);
  EXPECT_EQ(LookUp(), 7);
  EXPECT_EQ(cloud.token, "");
  EXPECT_EQ(m_doc, "as it was");
}

TEST_F(LookUpTest, Any_other_answer_is_kAppRequestFailed_and_forgets_nothing) {
  cloud.chassis["c-1"] = 3;
  for (const long status : {201, 204, 301, 400, 401, 404, 500}) {
    LookUpIsAnswered(status, "{}");
    EXPECT_EQ(LookUp(), 3) << status;
    EXPECT_THAT(steps().All(),
                ElementsAre("GET /redfish/v1", std::string("GET ") + kLookUpPath, kFailed));
  }
  EXPECT_EQ(cloud.token, "t-1");
  EXPECT_EQ(cloud.chassis.size(), 1);
  EXPECT_EQ(m_doc, "as it was");
}

TEST_F(LookUpTest, A_transfer_that_fails_is_kAppRequestFailed) {
  service.fails("GET", kLookUpPath, CURLE_COULDNT_CONNECT);
  EXPECT_EQ(LookUp(), 3);
  EXPECT_EQ(m_doc, "as it was");
}

TEST_F(LookUpTest, A_transfer_that_fails_after_a_redirect_is_kAppRequestFailed) {
  LookUpIsAnswered(302, "", {"Location: /a"});
  service.fails("GET", "/a", CURLE_COULDNT_CONNECT);
  EXPECT_EQ(LookUp(), 3);
  EXPECT_THAT(steps().All(),
              ElementsAre("GET /redfish/v1", std::string("GET ") + kLookUpPath, "GET /a", kFailed));
}

}  // namespace
}  // namespace cloudclient
