// SPDX-License-Identifier: Apache-2.0
// Rendering, posting and recording the chassis.
#include "AppTest.h"
#include "DeviceDouble.h"

namespace cloudclient {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;

class ChassisPostTest : public AppTest {
 protected:
  void SetUp() override {
    AppTest::SetUp();
    cloud.chassis["c-0"] = 9;
    service.answers("POST", "/redfish/v1/Chassis", 201, R"({"Id":"c-1"})");
  }

  AppResult Post() {
    CloudClient& app = App();
    steps().Forget();
    service.forget();
    fakes::platform().configCalls.clear();
    return app.PostChassisInstance();
  }

  void ExpectOnly(const std::string& message) {
    EXPECT_THAT(steps().All(), ElementsAre(message));
    EXPECT_THAT(service.lines(), IsEmpty());
    EXPECT_EQ(cloud.chassis.size(), 1);
  }

  // The messages of a post.
  std::vector<std::string> Messages() {
    std::vector<std::string> messages;
    for (const std::string& step : steps().All()) {
      if (step.compare(0, 2, "3 ") == 0) messages.push_back(step);
    }
    return messages;
  }
};

const char kFind[] = "DeviceMgr::FindPath(3, cloudchassis.txt)";
const char kNoBegin[] = "3 PostChassisInstance: Failed to find json document begin";
const char kNoId[] = "3 PostChassisInstance: Failed to find Id in response document";

TEST_F(ChassisPostTest, The_chassis_is_found_rendered_edited_posted_and_recorded_in_order) {
  EXPECT_EQ(Post(), 0);
  EXPECT_THAT(
      steps().All(),
      ElementsAre(kFind, "PatchMgr::FillSevenDayValues", "PatchMgr::UpdateDocWithTempUomValues(3)",
                  "POST /redfish/v1/Chassis", "cloud.AddChassis", "cloud.Save"));
  EXPECT_THAT(fakes::platform().configCalls, ElementsAre("AddChassis(c-1, 3)", "Save()"));
}

TEST_F(ChassisPostTest, The_page_is_asked_of_the_proxy_without_a_query_for_the_device) {
  EXPECT_EQ(Post(), 0);
  ASSERT_EQ(fakes::platform().pages.asked.size(), 1);
  const fakes::Page& page = fakes::platform().pages.asked[0];
  EXPECT_EQ(page.page, "1/2/3/cloudchassis.txt");
  EXPECT_EQ(page.query, "");
  EXPECT_EQ(page.velId, 3);
  EXPECT_TRUE(page.hasProxy);
}

TEST_F(ChassisPostTest, The_document_is_the_page_after_both_edits_and_goes_with_the_token) {
  EXPECT_EQ(Post(), 0);
  ASSERT_EQ(service.requests().size(), 1);
  const fakes::Request& request = service.requests()[0];
  EXPECT_EQ(request.document, "{\"Name\": \"Chassis\"}[seven days][unit of device 3]");
  EXPECT_EQ(request.url, "https://cloud.example/redfish/v1/Chassis");
  EXPECT_THAT(request.headerLines,
              ElementsAre("Host: 192.0.2.17", "Content-Type: application/json", "charset=utf-8",
                          "Content-Length: " + std::to_string(request.document.size()),
                          "Accept: application/json", "X-Auth-Token: t-1"));
}

TEST_F(ChassisPostTest, Device_0_is_a_device) {
  fakes::platform().framework.managedVelId = 0;
  EXPECT_EQ(Post(), 0);
  EXPECT_THAT(fakes::platform().configCalls, ElementsAre("AddChassis(c-1, 0)", "Save()"));
}

TEST_F(ChassisPostTest, What_recording_comes_to_is_not_looked_at) {
  cloud.fails = {{"AddChassis", 1}, {"Save", 1}};
  EXPECT_EQ(Post(), 0);
  EXPECT_EQ(steps().All().back(), "cloud.Save");
}

TEST_F(ChassisPostTest, An_unreadable_URL_is_kAppNoUrl) {
  cloud.fails = {{"GetUrl", 1}, {"GetXAuthToken", 1}};
  EXPECT_EQ(Post(), 4);
  ExpectOnly("3 PostChassisInstance: Failed to get the cloud service base URL");
}

TEST_F(ChassisPostTest, An_unreadable_token_is_kAppNoToken) {
  cloud.fails["GetXAuthToken"] = 1;
  fakes::platform().framework.managedVelId = -1;
  EXPECT_EQ(Post(), 13);
  ExpectOnly("3 PostChassisInstance: Failed to get the xauthtoken");
}

TEST_F(ChassisPostTest, No_device_is_kAppNoDevice_before_any_file_is_searched) {
  fakes::platform().framework.managedVelId = -1;
  EXPECT_EQ(Post(), 14);
  ExpectOnly("3 PostChassisInstance: Invalid managed device id(-1)");
}

TEST_F(ChassisPostTest, An_unreadable_sequence_is_kAppNoTemplate) {
  fakes::platform().proxy.knowsPsi = false;
  EXPECT_EQ(Post(), 24);
  EXPECT_THAT(steps().All(),
              ElementsAre(kFind, "3 PostChassisInstance: Failed to find chassis pld ()"));
  EXPECT_THAT(service.lines(), IsEmpty());
}

TEST_F(ChassisPostTest, An_empty_sequence_is_kAppNoTemplate) {
  fakes::platform().proxy.psi.text = "";
  root.Holds("/var/local/orv/pldserver/0/cloudchassis.txt");
  EXPECT_EQ(Post(), 24);
  EXPECT_THAT(steps().All(),
              ElementsAre(kFind, "3 PostChassisInstance: Failed to find chassis pld ()"));
}

TEST_F(ChassisPostTest, Without_a_proxy_it_is_kAppNoTemplate) {
  fakes::platform().framework.hasProxy = false;
  EXPECT_EQ(Post(), 24);
}

TEST_F(ChassisPostTest, A_template_outside_the_server_folder_is_kAppNoTemplate_and_named) {
  root.Drops(std::string(kDataFolder) + "/cloudchassis.txt");
  root.Holds("/var/local/orv/cloudchassis.txt");
  EXPECT_EQ(Post(), 24);
  EXPECT_THAT(steps().All(), ElementsAre(kFind,
                                         "3 PostChassisInstance: Failed to find chassis pld "
                                         "(/var/local/orv/cloudchassis.txt)"));
  EXPECT_THAT(fakes::platform().pages.asked, IsEmpty());
}

TEST_F(ChassisPostTest, A_path_of_a_search_that_failed_is_not_used) {
  g_findPath = [](std::string& path) {
    path = "/var/local/orv/pldserver/0/cloudchassis.txt";
    return 0;
  };
  EXPECT_EQ(Post(), 24);
  EXPECT_THAT(steps().All(), ElementsAre(kFind,
                                         "3 PostChassisInstance: Failed to find chassis pld "
                                         "(/var/local/orv/pldserver/0/cloudchassis.txt)"));
}

TEST_F(ChassisPostTest, A_template_further_up_is_named_from_there) {
  root.Drops(std::string(kDataFolder) + "/cloudchassis.txt");
  root.Holds("/var/local/orv/pldserver/0/1/cloudchassis.txt");
  Post();
  EXPECT_EQ(fakes::platform().pages.asked.at(0).page, "1/cloudchassis.txt");
}

TEST_F(ChassisPostTest, The_name_begins_12_characters_after_the_start_of_the_server_folder) {
  const std::vector<std::pair<std::string, std::string>> cases = {
      {"/var/local/orv/pldserver/0/cloudchassis.txt", "cloudchassis.txt"},
      {"/var/local/orv/pldserver/cloudchassis.txt", "oudchassis.txt"},
      {"/var/local/orv/pldserver/12/x", "/x"},
      {"pldserver/0/pldserver/0/x", "pldserver/0/x"},
      {"/a/pldserver/0/", ""},
      {"/a/pldserver/0", ""},
      {"/a/pldserver/", ""},
  };
  for (const auto& [found, name] : cases) {
    g_findPath = [path = found](std::string& result) {
      result = path;
      return 1;
    };
    EXPECT_EQ(Post(), 0) << found;
    EXPECT_EQ(fakes::platform().pages.asked.back().page, name) << found;
  }
}

// Deliberate: a template that is nowhere is waited for.
TEST_F(ChassisPostTest, A_template_that_is_nowhere_is_searched_until_it_is_there) {
  root.Drops(std::string(kDataFolder) + "/cloudchassis.txt");
  fakes::platform().sleeps.LeaveAfter(50);
  EXPECT_THROW(Post(), fakes::Leave);
  EXPECT_THAT(steps().All(), ElementsAre(kFind));
}

TEST_F(ChassisPostTest, An_empty_page_is_posted_all_the_same) {
  fakes::platform().pages.texts.clear();
  EXPECT_EQ(Post(), 0);
  EXPECT_EQ(service.requests().at(0).document, "[seven days][unit of device 3]");
}

TEST_F(ChassisPostTest, A_refused_post_is_kAppRequestFailed_and_shows_address_and_document) {
  service.answers("POST", "/redfish/v1/Chassis", 400, "{}");
  EXPECT_EQ(Post(), 3);
  EXPECT_THAT(Messages(), ElementsAre("3 PostChassisInstance: Failed to POST Chassis\nURI: "
                                      "https://cloud.example/redfish/v1/Chassis\nDocument:\n"
                                      "{\"Name\": \"Chassis\"}[seven days][unit of device 3]"));
  EXPECT_THAT(fakes::platform().configCalls, IsEmpty());
}

TEST_F(ChassisPostTest, A_transfer_that_fails_is_kAppRequestFailed) {
  service.isDown();
  EXPECT_EQ(Post(), 3);
  EXPECT_EQ(cloud.chassis.size(), 1);
}

TEST_F(ChassisPostTest, Answered_200_is_as_good_as_201) {
  service.answers("POST", "/redfish/v1/Chassis", 200, R"({"Id":"c-1"})");
  EXPECT_EQ(Post(), 0);
}

// The answer as the transport hands it out, without a header block before it.
TEST_F(ChassisPostTest, An_answer_that_begins_with_its_brace_is_kAppNoJson) {
  fakes::curl().respond = [](const fakes::Transfer&) {
    return fakes::Response{CURLE_OK, 201, "", R"({"Id":"c-1"})", ""};
  };
  EXPECT_EQ(Post(), 17);
  EXPECT_THAT(Messages(), ElementsAre(kNoBegin));
  EXPECT_THAT(fakes::platform().configCalls, IsEmpty());
}

TEST_F(ChassisPostTest, A_document_that_does_not_start_a_line_is_kAppNoJson) {
  for (const char* body : {"", " {\"Id\":\"c-1\"}", "[{\"Id\":\"c-1\"}]"}) {
    service.answers("POST", "/redfish/v1/Chassis", 201, body);
    EXPECT_EQ(Post(), 17) << body;
    EXPECT_THAT(Messages(), ElementsAre(kNoBegin)) << body;
  }
}

TEST_F(ChassisPostTest, A_document_starts_at_the_first_line_with_a_brace) {
  service.answers("POST", "/redfish/v1/Chassis", 201, "junk {\n\n{\"Id\":\"c-1\"}\n");
  EXPECT_EQ(Post(), 0);
  EXPECT_THAT(fakes::platform().configCalls, ElementsAre("AddChassis(c-1, 3)", "Save()"));
}

TEST_F(ChassisPostTest, A_line_with_a_brace_inside_the_document_does_not_start_it) {
  service.answers("POST", "/redfish/v1/Chassis", 201,
                  "{\"Id\":\"c-1\",\"Links\":[\n{\"Id\":\"c-9\"}\n]}");
  EXPECT_EQ(Post(), 0);
  EXPECT_THAT(fakes::platform().configCalls, ElementsAre("AddChassis(c-1, 3)", "Save()"));
}

TEST_F(ChassisPostTest, A_document_that_does_not_parse_is_kAppNoJson) {
  for (const char* body : {"{", R"({"Id":"c-1"}x)", R"({"Id":c-1})"}) {
    service.answers("POST", "/redfish/v1/Chassis", 201, body);
    EXPECT_EQ(Post(), 17) << body;
    EXPECT_THAT(Messages(),
                ElementsAre("3 PostChassisInstance: Failed to parse response document"));
  }
  EXPECT_THAT(fakes::platform().configCalls, IsEmpty());
}

TEST_F(ChassisPostTest, A_document_without_an_Id_is_kAppNoId) {
  service.answers("POST", "/redfish/v1/Chassis", 201, R"({"id":"c-1"})");
  EXPECT_EQ(Post(), 16);
  EXPECT_THAT(Messages(), ElementsAre(kNoId));
  EXPECT_THAT(fakes::platform().configCalls, IsEmpty());
}

TEST_F(ChassisPostTest, An_Id_that_is_no_string_counts_as_missing) {
  for (const char* body : {R"({"Id":1})", R"({"Id":null})", R"({"Id":["c-1"]})"}) {
    service.answers("POST", "/redfish/v1/Chassis", 201, body);
    EXPECT_EQ(Post(), 16) << body;
    EXPECT_THAT(Messages(), ElementsAre(kNoId));
  }
  EXPECT_THAT(fakes::platform().configCalls, IsEmpty());
}

TEST_F(ChassisPostTest, The_last_of_two_Ids_counts) {
  service.answers("POST", "/redfish/v1/Chassis", 201, R"({"Id":"c-9","Id":"c-1"})");
  EXPECT_EQ(Post(), 0);
  EXPECT_THAT(fakes::platform().configCalls, ElementsAre("AddChassis(c-1, 3)", "Save()"));
}

TEST_F(ChassisPostTest, An_earlier_chassis_stays_in_the_list) {
  EXPECT_EQ(Post(), 0);
  EXPECT_EQ(cloud.chassis.count("c-0"), 1);
  EXPECT_EQ(cloud.chassis.count("c-1"), 1);
}

}  // namespace
}  // namespace cloudclient
