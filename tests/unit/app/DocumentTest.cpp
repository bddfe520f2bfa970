// SPDX-License-Identifier: Apache-2.0
// Documents of the service that are fetched with the token.
#include "AppTest.h"

namespace cloudclient {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class DocumentTest : public AppTest {
 protected:
  AppResult Fetch() {
    CloudClient& app = App();
    steps().Forget();
    m_json = "as it was";
    return app.GetAuthDocument("/a/1", m_json);
  }

  std::string m_json;
};

TEST_F(DocumentTest, A_document_is_fetched_below_the_URL_with_the_token) {
  service.answers("GET", "/a/1", 200, R"({"Id":"1"})");
  EXPECT_EQ(Fetch(), 0);
  EXPECT_EQ(m_json, R"({"Id":"1"})");
  ASSERT_EQ(service.requests().size(), 1);
  EXPECT_EQ(service.requests()[0].url, "https://cloud.example/a/1");
  EXPECT_EQ(service.requests()[0].Header("X-Auth-Token"), "t-1");
  EXPECT_THAT(steps().All(), ElementsAre("GET /a/1"));
}

TEST_F(DocumentTest, A_document_is_what_follows_the_first_brace) {
  service.answers("GET", "/a/1", 200, "junk\n [{\"a\": {}}] \n");
  EXPECT_EQ(Fetch(), 0);
  EXPECT_EQ(m_json, "{\"a\": {}}] \n");
}

TEST_F(DocumentTest, An_empty_token_is_a_token) {
  cloud.token = "";
  service.answers("GET", "/a/1", 200, "{}");
  EXPECT_EQ(Fetch(), 0);
  EXPECT_EQ(m_json, "{}");
}

TEST_F(DocumentTest, An_unreadable_URL_is_kAppConfigUnreadable) {
  cloud.fails["GetUrl"] = 1;
  EXPECT_EQ(Fetch(), 2);
  EXPECT_EQ(m_json, "as it was");
  EXPECT_THAT(steps().All(), IsEmpty());
}

TEST_F(DocumentTest, An_unreadable_URL_is_kAppConfigUnreadable_also_without_a_readable_token) {
  cloud.fails = {{"GetUrl", 1}, {"GetXAuthToken", 1}};
  EXPECT_EQ(Fetch(), 2);
  EXPECT_THAT(steps().All(), IsEmpty());
}

// Deliberate: no failure, and no document either.
TEST_F(DocumentTest, Without_a_readable_token_success_is_reported_and_nothing_fetched) {
  cloud.fails["GetXAuthToken"] = 1;
  service.answers("GET", "/a/1", 200, "{}");
  EXPECT_EQ(Fetch(), 0);
  EXPECT_EQ(m_json, "as it was");
  EXPECT_THAT(steps().All(),
              ElementsAre("3 GetAuthDocument: missing x-auth-token  -- not registered?"));
}

TEST_F(DocumentTest,
       A_document_that_is_not_given_is_kAppDocumentNotFetched_with_the_result_of_the_transport) {
  struct Case {
    long status;
    const char* result;
  };
  for (const Case& refusal : {Case{302, "7"}, {403, "9"}, {404, "4"}, {500, "4"}}) {
    service.answers("GET", "/a/1", refusal.status, "{}");
    EXPECT_EQ(Fetch(), 19);
    EXPECT_EQ(m_json, "as it was");
    EXPECT_THAT(
        steps().All(),
        ElementsAre("GET /a/1", std::string("3 GetAuthDocument: Failed to get (") + refusal.result +
                                    ") url (https://cloud.example/a/1) document from the "
                                    "Cloud Service"));
  }
}

TEST_F(DocumentTest, A_transfer_that_fails_is_kAppDocumentNotFetched) {
  service.isDown();
  EXPECT_EQ(Fetch(), 19);
  EXPECT_THAT(steps().All(),
              ElementsAre("GET /a/1",
                          "3 GetAuthDocument: Failed to get (4) url (https://cloud.example/a/1) "
                          "document from the Cloud Service"));
}

TEST_F(DocumentTest, A_body_without_a_brace_is_kAppNoJson_and_shown) {
  service.answers("GET", "/a/1", 200, "[1]\nno object");
  EXPECT_EQ(Fetch(), 17);
  EXPECT_EQ(m_json, "as it was");
  EXPECT_THAT(steps().All(),
              ElementsAre("GET /a/1",
                          "3 GetAuthDocument: Failed to find a JSON document.\n[1]\nno object\n"));
}

TEST_F(DocumentTest, An_empty_body_is_kAppNoJson) {
  service.answers("GET", "/a/1", 200, "");
  EXPECT_EQ(Fetch(), 17);
  EXPECT_THAT(steps().All(),
              ElementsAre("GET /a/1", "3 GetAuthDocument: Failed to find a JSON document.\n\n"));
}

// The `Id` of a chassis document.
class ChassisIdTest : public AppTest {
 protected:
  AppResult Ask(const std::string& document) {
    CloudClient& app = App();
    service.answers("GET", "/c/1", 200, document);
    steps().Forget();
    m_id = "as it was";
    return app.GetChassisIdFromChassisDoc("/c/1", m_id);
  }

  std::string m_id;
};

TEST_F(ChassisIdTest, The_Id_is_the_member_of_that_name) {
  EXPECT_EQ(Ask(R"({"Name":"n","Id":"c-1"})"), 0);
  EXPECT_EQ(m_id, "c-1");
  EXPECT_THAT(steps().All(), ElementsAre("GET /c/1"));
}

TEST_F(ChassisIdTest, The_last_of_two_Ids_counts) {
  EXPECT_EQ(Ask(R"({"Id":"c-9","Id":"c-1"})"), 0);
  EXPECT_EQ(m_id, "c-1");
}

TEST_F(ChassisIdTest, A_document_without_Id_is_kAppNoId_without_a_message) {
  EXPECT_EQ(Ask("{}"), 16);
  EXPECT_EQ(Ask(R"({"id":"c-1"})"), 16);
  EXPECT_EQ(m_id, "as it was");
  EXPECT_THAT(steps().All(), ElementsAre("GET /c/1"));
}

TEST_F(ChassisIdTest, An_Id_that_is_no_string_is_kAppNoId) {
  EXPECT_EQ(Ask(R"({"Id":1})"), 16);
  EXPECT_EQ(Ask(R"({"Id":null})"), 16);
  EXPECT_EQ(m_id, "as it was");
}

TEST_F(ChassisIdTest, A_document_that_does_not_parse_is_kAppNoJson) {
  for (const char* document : {"{", R"({"Id":"c-1"} trailing)", R"([{"Id":"c-1"}])"}) {
    EXPECT_EQ(Ask(document), 17) << document;
    EXPECT_THAT(
        steps().All(),
        ElementsAre("GET /c/1", "3 GetChassisIdFromChassisDoc: Failed to parse chassis document"));
  }
  EXPECT_EQ(m_id, "as it was");
}

TEST_F(ChassisIdTest, A_document_that_cannot_be_fetched_keeps_its_result) {
  EXPECT_EQ(Ask("no object"), 17);
  EXPECT_THAT(
      steps().All(),
      ElementsAre("GET /c/1", "3 GetAuthDocument: Failed to find a JSON document.\nno object\n"));
  service.isDown();
  EXPECT_EQ(Ask("{}"), 19);
  cloud.fails["GetUrl"] = 1;
  EXPECT_EQ(Ask("{}"), 2);
}

// The fetch then reports success with an empty document.
TEST_F(ChassisIdTest, Without_a_readable_token_the_empty_document_does_not_parse) {
  cloud.fails["GetXAuthToken"] = 1;
  EXPECT_EQ(Ask(R"({"Id":"c-1"})"), 17);
  EXPECT_THAT(steps().All(),
              ElementsAre("3 GetAuthDocument: missing x-auth-token  -- not registered?",
                          "3 GetChassisIdFromChassisDoc: Failed to parse chassis document"));
}

}  // namespace
}  // namespace cloudclient
