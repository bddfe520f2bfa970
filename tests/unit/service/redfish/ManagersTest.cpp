// SPDX-License-Identifier: Apache-2.0
#include "Rows.h"
#include "ServiceTest.h"

namespace cloudservice {
namespace {

using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;

class ManagersTest : public ServiceTest {};

TEST_F(ManagersTest, Root_is_answered_at_its_three_paths_without_a_token) {
  EXPECT_EQ(Got(200, Ask("GET", "/redfish")).at("v1"), "/redfish/v1/");
  for (const char* path : {"/redfish/v1", "/redfish/v1/"}) {
    const Json root = Got(200, Ask("GET", path));
    EXPECT_EQ(root.at("Managers"), Json({{"@odata.id", "/redfish/v1/Managers"}}));
    EXPECT_EQ(root.at("Chassis"), Json({{"@odata.id", "/redfish/v1/Chassis"}}));
  }
}

TEST_F(ManagersTest, Registration_answers_location_token_and_manager) {
  const Response response = Register("u-1");
  const Json manager = Got(201, response);
  EXPECT_EQ(Header(response, "Location"), "/redfish/v1/Managers/u-1");
  EXPECT_EQ(Header(response, "X-Auth-Token").size(), 64u);
  EXPECT_EQ(manager.at("Id"), "u-1");
  EXPECT_EQ(manager.at("Name"), "Unit 7");
  EXPECT_EQ(manager.at("Model"), "Kyros");
  EXPECT_THAT(lines.back(), EndsWith(" manager registered: Unit 7 (UUID u-1)"));
}

TEST_F(ManagersTest, Registration_reads_the_query_raw_with_the_address_up_to_the_last_key) {
  EXPECT_EQ(Register("u-1").status, 201u);
  const char* const wrong[] = {
      "?setup_email=owner%2B1&2@example.org&registration_key=key-7",
      "?setup_email=owner+1%262@example.org&registration_key=key-7",
      "?setup_email=owner+1&2@example.org&registration_key=key%2D7",
      "?setup_email=owner+1&2@example.org&registration_key=key-7&registration_key=key-7",
      "?setup_email=owner+1&2@example.org&registration_key=key-7 ",
      "?setup_email=&registration_key=key-7",
      "?setup_email=owner+1&2@example.org&registration_key=",
      "?registration_key=key-7&setup_email=owner+1&2@example.org",
      "?x=1&setup_email=owner+1&2@example.org&registration_key=key-7",
      "?setup_email=owner+1&2@example.org",
      "?",
      "",
  };
  for (const std::string query : wrong) {
    const Response response = Ask("POST", "/redfish/v1/Managers" + query, "", "{\"UUID\":\"u-2\"}");
    EXPECT_EQ(response.status, 401u) << query;
    EXPECT_NE(Header(response, "WWW-Authenticate"), "") << query;
  }
  EXPECT_FALSE((*store)->FindManager("u-2"));
}

TEST_F(ManagersTest, Address_may_itself_hold_the_words_that_begin_the_key) {
  accounts->Add("a&registration_key=b@example.org", "k");
  const Response response = Ask("POST",
                                "/redfish/v1/Managers?setup_email=a&registration_key=b@example.org"
                                "&registration_key=k",
                                "", R"({"UUID": "u-1"})");
  EXPECT_EQ(response.status, 201u);
}

TEST_F(ManagersTest, Without_an_account_the_service_registers_nobody) {
  (*store)->DeleteAccount((*store)->FindAccount(kEmail)->id, false);
  const Response response =
      Ask("POST", "/redfish/v1/Managers?setup_email=&registration_key=", "", R"({"UUID": "u"})");
  EXPECT_EQ(response.status, 401u);
}

TEST_F(ManagersTest, Too_many_wrong_registrations_have_to_wait_while_others_register) {
  const std::string wrong =
      std::string("/redfish/v1/Managers?setup_email=") + kEmail + "&registration_key=";
  for (int i = 0; i < FailureLimit::kTries; ++i) {
    EXPECT_EQ(Ask("POST", wrong + std::to_string(i)).status, 401u);
  }
  const Response response = Register("u-1");
  EXPECT_EQ(response.status, 429u);
  EXPECT_EQ(Header(response, "Retry-After"), "30");
  EXPECT_FALSE((*store)->FindManager("u-1"));
  const Request other{"POST", kRegistration, R"({"UUID": "u-2"})", "", "192.0.2.8", {}};
  EXPECT_EQ(service->Handle(other).status, 201u);
  now += 30;
  EXPECT_EQ(Register("u-1").status, 201u);
}

TEST_F(ManagersTest, Manager_of_another_account_is_not_taken_over) {
  const std::string token = Token("u-1");
  accounts->Add("b@example.org", "k");
  const std::string other = "/redfish/v1/Managers?setup_email=b@example.org&registration_key=k";
  EXPECT_EQ(Ask("POST", other, "", R"({"UUID": "u-1"})").status, 403u);
  EXPECT_EQ(Ask("GET", "/redfish/v1/Managers/u-1", token).status, 200u);
  EXPECT_EQ(Ask("POST", other, "", R"({"UUID": "u-2"})").status, 201u);
  EXPECT_EQ((*store)->FindAppliance("u-2")->email, "b@example.org");
}

TEST_F(ManagersTest, Removed_account_ends_the_tokens_and_frees_the_appliances) {
  const std::string token = Token("u-1");
  const std::string chassis = Chassis(token);
  (*store)->DeleteAccount((*store)->FindAccount(kEmail)->id, false);
  EXPECT_EQ(Ask("GET", "/redfish/v1/Managers?uuid=u-1", token).status, 403u);
  EXPECT_EQ(Ask("GET", "/redfish/v1/Managers/u-1", token).status, 401u);
  EXPECT_EQ(Ask("GET", "/redfish/v1/Managers/u-1", "ended u-1").status, 401u);
  EXPECT_EQ((*store)->FindAppliance("u-1")->chassis, chassis);
  EXPECT_FALSE((*store)->FindAppliance("u-1")->email);
  accounts->Add("b@example.org", "k");
  EXPECT_EQ(Ask("POST", "/redfish/v1/Managers?setup_email=b@example.org&registration_key=k", "",
                R"({"UUID": "u-1"})")
                .status,
            201u);
}

TEST_F(ManagersTest, Account_removed_with_its_appliances_leaves_nothing) {
  Token("u-1");
  (*store)->DeleteAccount((*store)->FindAccount(kEmail)->id, true);
  EXPECT_FALSE(cleanUp->RemoveLeft());
  EXPECT_FALSE((*store)->FindManager("u-1"));
  EXPECT_TRUE((*store)->ListAccounts({{}, 9}).empty());
}

TEST_F(ManagersTest, Log_never_holds_key_or_token) {
  const std::string token = Token("u-1");
  Ask("POST", "/redfish/v1/Managers?setup_email=x&registration_key=secret-key", "", "{}");
  Ask("DELETE", "/redfish/v1/Managers/?registration_key=secret-key", token);
  Ask("GET", "/redfish/v1/Managers?uuid=u-1", token + "x");
  Ask("GET", "/redfish/v1/Chassis", "secret-token");
  ASSERT_EQ(lines.size(), 5u);
  for (const std::string& line : lines) {
    EXPECT_THAT(line, Not(HasSubstr("secret")));
    EXPECT_THAT(line, Not(HasSubstr("key-7")));
    EXPECT_THAT(line, Not(HasSubstr(token)));
  }
}

TEST_F(ManagersTest, Lookup_redirects_to_a_path) {
  const std::string token = Token("u-1");
  const Response response = Ask("GET", "/redfish/v1/Managers?uuid=u-1", token);
  EXPECT_EQ(response.status, 302u);
  EXPECT_EQ(Header(response, "Location"), "/redfish/v1/Managers/u-1");
  EXPECT_EQ(response.body, "");
  EXPECT_EQ(Got(200, Ask("GET", Header(response, "Location"), token)).at("Id"), "u-1");
}

TEST_F(ManagersTest, Lookup_answers_403_to_every_token_but_the_managers_own) {
  const std::string token = Token("u-1");
  const std::string other = Token("u-2");
  const std::string lookup = "/redfish/v1/Managers?uuid=u-1";
  EXPECT_EQ(Ask("GET", lookup).status, 403u);
  EXPECT_EQ(Ask("GET", lookup, "unknown").status, 403u);
  EXPECT_EQ(Ask("GET", lookup, other).status, 403u);
  EXPECT_EQ(Ask("GET", "/redfish/v1/Managers?uuid=", token).status, 403u);
  Ask("DELETE", "/redfish/v1/Managers/u-1", token);
  EXPECT_EQ(Ask("GET", lookup, token).status, 403u);
}

TEST_F(ManagersTest, Elsewhere_a_missing_or_unknown_token_is_401_with_a_challenge) {
  Token("u-1");
  for (const std::string token : {"", "unknown"}) {
    for (const std::string path : {"/redfish/v1/Managers", "/redfish/v1/Managers/u-1",
                                   "/redfish/v1/Chassis", "/redfish/v1/Oem/Quorvan:Events"}) {
      const Response response = Ask("GET", path, token);
      EXPECT_EQ(response.status, 401u) << path;
      EXPECT_NE(Header(response, "WWW-Authenticate"), "") << path;
    }
  }
}

TEST_F(ManagersTest, Registering_again_ends_the_old_token_and_drops_what_was_held) {
  const std::string before = Token("u-1");
  const std::string chassis = Chassis(before);
  Ask("PATCH", "/redfish/v1/Managers/u-1/Network", before, R"({"a": 1})");
  Ask("POST", "/redfish/v1/Managers/u-1/Oem/Quorvan:Events", before,
      R"({"MessageId": "x", "Severity": "MESSAGE", "Message": "m"})");
  Ask("POST", "/hb/u-1", before, R"({"HeartbeatInterval": 90})");

  const std::string after = Token("u-1");
  EXPECT_THAT(lines.back(), HasSubstr("known before"));
  EXPECT_NE(before, after);
  EXPECT_EQ(Ask("GET", "/redfish/v1/Managers/u-1", before).status, 401u);
  EXPECT_EQ(Ask("GET", "/redfish/v1/Chassis/" + chassis, after).status, 404u);
  EXPECT_EQ(Ask("GET", "/redfish/v1/Managers/u-1/Network", after).status, 404u);
  EXPECT_EQ(Got(200, Ask("GET", "/redfish/v1/Oem/Quorvan:Events", after)).at("Members"),
            Json::array());
  const Json manager = Got(200, Ask("GET", "/redfish/v1/Managers/u-1", after));
  EXPECT_EQ(manager.at("Oem").at("Quorvan").at("Heartbeat").at("Count"), 0);
}

TEST_F(ManagersTest, Registering_again_leaves_other_managers_alone) {
  const std::string other = Token("u-2");
  const std::string chassis = Chassis(other);
  Token("u-1");
  Token("u-1");
  EXPECT_EQ(Ask("GET", "/redfish/v1/Chassis/" + chassis, other).status, 200u);
}

TEST_F(ManagersTest, Deleting_takes_everything_along) {
  const std::string token = Token("u-1");
  Chassis(token);
  EXPECT_EQ(Ask("DELETE", "/redfish/v1/Managers/u-1", token).status, 204u);
  EXPECT_THAT(lines.back(), EndsWith(" manager removed: Unit 7 (UUID u-1)"));
  EXPECT_EQ(Ask("GET", "/redfish/v1/Managers/u-1", token).status, 401u);
  EXPECT_TRUE((*store)->ListChassis("u-1", {{}, 9}).empty());
}

TEST_F(ManagersTest, What_a_removed_one_had_goes_with_the_next_clean_up) {
  const std::string token = Token("u-1");
  for (int i = 0; i < 5; ++i) Chassis(token);
  EXPECT_EQ(Ask("DELETE", "/redfish/v1/Managers/u-1", token).status, 204u);
  EXPECT_EQ(store->Count("chassis"), 5);
  EXPECT_FALSE(cleanUp->RemoveLeft());
  EXPECT_EQ(store->Count("chassis"), 0);
  EXPECT_EQ(store->Count("removal"), 0);
}

TEST_F(ManagersTest, Another_managers_token_sees_nothing) {
  Token("u-1");
  const std::string other = Token("u-2");
  EXPECT_EQ(Ask("GET", "/redfish/v1/Managers/u-1", other).status, 404u);
  EXPECT_EQ(Ask("DELETE", "/redfish/v1/Managers/u-1", other).status, 404u);
  EXPECT_EQ(Ask("PATCH", "/redfish/v1/Managers/u-1", other, R"({"Name": "x"})").status, 404u);
  EXPECT_EQ(Ask("PATCH", "/redfish/v1/Managers/u-1/Network", other, "{}").status, 404u);
  EXPECT_EQ(Ask("POST", "/hb/u-1", other, R"({"HeartbeatInterval": 90})").status, 404u);
  const Json list = Got(200, Ask("GET", "/redfish/v1/Managers", other));
  EXPECT_EQ(list.at("Members"), Json::array({{{"@odata.id", "/redfish/v1/Managers/u-2"}}}));
}

TEST_F(ManagersTest, Manager_links_its_chassis) {
  const std::string token = Token("u-1");
  const std::string first = Chassis(token);
  const std::string second = Chassis(token);
  const Json links =
      Got(200, Ask("GET", "/redfish/v1/Managers/u-1", token)).at("Links").at("ManagerForChassis");
  EXPECT_EQ(links, Json::array({{{"@odata.id", "/redfish/v1/Chassis/" + first}},
                                {{"@odata.id", "/redfish/v1/Chassis/" + second}}}));
}

TEST_F(ManagersTest, Document_stays_as_sent_and_a_patch_merges_into_it) {
  const std::string sent =
      R"({"DateTime": "2016-05-04T13:02:11-0500", "UUID": "u-1",  "Name": "N"})";
  const std::string token = Header(Ask("POST", kRegistration, "", sent), "X-Auth-Token");
  EXPECT_EQ((*store)->FindManager("u-1")->document, sent);
  EXPECT_EQ(Got(200, Ask("GET", "/redfish/v1/Managers/u-1", token)).at("DateTime"),
            "2016-05-04T13:02:11-05:00");
  const std::string patch = R"({"Model": "K", "DateTime": null, "Id": "me", "Oem": 1})";
  EXPECT_EQ(Ask("PATCH", "/redfish/v1/Managers/u-1", token, patch).status, 204u);
  const Json manager = Got(200, Ask("GET", "/redfish/v1/Managers/u-1", token));
  EXPECT_EQ(manager.at("Model"), "K");
  EXPECT_FALSE(manager.contains("DateTime"));
  EXPECT_EQ(manager.at("Id"), "u-1");
  EXPECT_TRUE(manager.at("Oem").contains("Quorvan"));
}

TEST_F(ManagersTest, Everything_survives_a_restart) {
  const std::string token = Token("u-1");
  const std::string chassis = Chassis(token, R"({"ChassisType": "Rack"})");
  Ask("POST", "/hb/u-1", token, R"({"HeartbeatInterval": 90})");
  Restart();
  const Json manager = Got(200, Ask("GET", "/redfish/v1/Managers/u-1", token));
  EXPECT_EQ(manager.at("Oem").at("Quorvan").at("Heartbeat").at("Count"), 1);
  EXPECT_EQ(Got(200, Ask("GET", "/redfish/v1/Chassis/" + chassis, token)).at("ChassisType"),
            "Rack");
}

TEST_F(ManagersTest, Uuid_that_is_no_part_of_a_path_is_refused) {
  const std::string longOne(129, 'a');
  for (const std::string uuid : {"", "a/b", "..", "a b", "a?b", "a%20b", "\n", longOne.c_str()}) {
    EXPECT_EQ(Register(uuid).status, 400u) << uuid;
  }
  EXPECT_EQ(Ask("POST", kRegistration, "", R"({"Name": "N"})").status, 400u);
  EXPECT_EQ(Ask("POST", kRegistration, "", R"({"UUID": 7})").status, 400u);
  EXPECT_EQ(Ask("POST", kRegistration, "", R"({"UUID": "u", "Name": 7})").status, 400u);
}

TEST_F(ManagersTest,
       Body_is_refused_before_it_comes_where_nothing_takes_it_or_not_from_its_sender) {
  const std::string token = Token("u-1");
  const std::string chassis = Chassis(Token("u-2"));
  const auto status = [&](const std::string& method, const std::string& target,
                          const std::string& sent) {
    const auto refusal = service->RefuseHead(Request{method, target, "", sent, "192.0.2.7", {}});
    return refusal ? refusal->status : 0U;
  };
  EXPECT_EQ(status("PATCH", "/redfish/v1/Managers/u-1", token), 0U);
  EXPECT_EQ(status("POST", kRegistration, ""), 0U);
  EXPECT_EQ(status("OPTIONS", "/redfish/v1/Managers", ""), 0U);
  EXPECT_EQ(status("POST", "/redfish/v1/Chassis", ""), 401U);
  EXPECT_EQ(status("POST", "/redfish/v1/Chassis", "wrong"), 401U);
  EXPECT_EQ(status("PATCH", "/redfish/v1/Managers/u-2", token), 404U);
  EXPECT_EQ(status("PATCH", "/redfish/v1/Chassis/" + chassis + "/Thermal", token), 404U);
  EXPECT_EQ(status("POST", "/nowhere", token), 404U);
  const auto wrongMethod =
      service->RefuseHead(Request{"PUT", "/redfish/v1/Chassis", "", token, "192.0.2.7", {}});
  ASSERT_TRUE(wrongMethod);
  EXPECT_EQ(wrongMethod->status, 405U);
  EXPECT_EQ(wrongMethod->Header("Allow"), "GET, HEAD, POST, OPTIONS");
  EXPECT_EQ(wrongMethod->Header("OData-Version"), "4.0");
}

}  // namespace
}  // namespace cloudservice
