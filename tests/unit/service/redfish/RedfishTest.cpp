// SPDX-License-Identifier: Apache-2.0
#include "RedfishTest.h"

#include <algorithm>
#include <set>

#include "service/redfish/Shape.h"
#include "service/redfish/schema/SchemaFiles.h"
#include "service/redfish/schema/SchemaUris.h"
#include "service/redfish/schema/Types.h"

namespace cloudservice {
namespace {

using testing::HasSubstr;
using testing::Not;

TEST_F(RedfishTest, Every_link_leads_to_a_valid_resource_and_every_type_is_met) {
  std::set<std::string> met;
  for (const auto& [path, document] : Walk()) {
    met.insert(document.at("@odata.type").get<std::string>().substr(1));
  }
  for (const Type* type : AllTypes()) {
    const bool resource = type->base == Base::kResource || type->base == Base::kCollection;
    if (resource) {
      EXPECT_EQ(met.count(type->name), 1u) << type->name;
    }
  }
  now += 1000;
  Walk();
}

TEST_F(RedfishTest, Expanded_and_selected_documents_are_valid_too) {
  for (const auto& [path, document] : Walk()) {
    const bool history = path.find("Quorvan:History") != std::string::npos;
    for (const char* option : {"$expand=*", "$expand=.($levels=3)", "$expand=~($levels=2)",
                               "$select=Name,Links/ManagedBy", "$expand=.&$select=Members/Id"}) {
      EXPECT_EQ(Ask("GET", path + "?" + option, token).status, history ? 400u : 200u) << path;
    }
  }
}

TEST_F(RedfishTest, Expansion_has_an_end) {
  for (int i = 0; i < 60; ++i) Chassis(token);
  const Response response = Ask("GET", "/redfish/v1/Chassis?$expand=*($levels=6)", token);
  EXPECT_EQ(response.status, 507u);
  EXPECT_THAT(response.body, HasSubstr("Base.1.16.InsufficientStorage"));
}

TEST_F(RedfishTest, Expansion_has_an_end_of_few_large_documents_too) {
  const std::string manager = "/redfish/v1/Managers/u-1";
  Json links = Json::array();
  for (int i = 0; i < 9; ++i) links.push_back({{"@odata.id", manager + "/Large"}});
  Ask("PATCH", manager + "/Large", token, Json({{"x", std::string(1000000, 'x')}}).dump());
  Ask("PATCH", manager + "/Links", token, Json({{"Nine", links}}).dump());
  const Response response = Ask("GET", manager + "/Links?$expand=*", token);
  EXPECT_EQ(response.status, 507u);
  EXPECT_THAT(response.body, HasSubstr("The answer would have more than 8388608 bytes."));
  links.erase(0);
  Ask("PATCH", manager + "/Links", token, Json({{"Nine", links}}).dump());
  EXPECT_EQ(Ask("GET", manager + "/Links?$expand=*", token).status, 200u);
}

// A document to whose elements the view adds their addresses, which are long.
class LargeViewTest : public RedfishTest {
 protected:
  LargeViewTest() {
    (*store)->AddChassis({longId, "u-1", "{}", now});
    Send({{"Temperatures", Json::array_t(2000, Json::object())}, {"Name", "n"}});
  }

  void Send(const Json& patch) { EXPECT_EQ(Ask("PATCH", path, token, patch.dump()).status, 204u); }
  Response Get(const std::string& options = "") {
    return service->Handle(Request{"GET", path + options, "", token, ""});
  }
  // Lets the answer have this many bytes.
  void Grow(std::size_t bytes) {
    const std::size_t before = Get().body.size();
    Send({{"Name", std::string(bytes - before + 1, 'n')}});
  }

  const std::string longId = std::string(4000, 'c');
  const std::string path = "/redfish/v1/Chassis/" + longId + "/Thermal";
};

TEST_F(LargeViewTest, Has_8_MiB_at_most) {
  Grow(kMaxAnswer);
  const Response whole = Get();
  EXPECT_EQ(whole.status, 200u);
  EXPECT_EQ(whole.body.size(), 8388608u);
  EXPECT_EQ(Get("?$expand=*").status, 507u) << "with what its links lead to";
  Send({{"Name", Json::parse(whole.body).at("Name").get<std::string>() + "n"}});
  for (const char* options : {"", "?$select=Id", "?pretty"}) {
    const Response response = Get(options);
    EXPECT_EQ(response.status, 400u) << options;
    EXPECT_EQ(ErrorText(response), "The answer would have more than 8388608 bytes.");
    EXPECT_THAT(response.body, HasSubstr("Base.1.16.GeneralError"));
  }
  const Response response = Get("?$expand=.");
  EXPECT_EQ(response.status, 507u);
  EXPECT_EQ(ErrorText(response), "The answer would have more than 8388608 bytes.");
  EXPECT_THAT(response.body, HasSubstr("Base.1.16.InsufficientStorage"));
  // Whoever owns it may change it, whatever can be shown of it.
  const Headers seen = {{"If-Match", Header(whole, "ETag")}};
  EXPECT_EQ(Ask("PATCH", path, token, "{}", seen).status, 412u);
  Send({{"Name", "n"}});
  EXPECT_EQ(Get().status, 200u);
}

TEST_F(LargeViewTest, That_cannot_be_made_leaves_its_document_to_be_changed) {
  Send({{"Temperatures", Json::array_t(2200, Json::object())}});
  EXPECT_EQ(ErrorText(Get()), "The answer would have more than 8388608 bytes.");
  EXPECT_EQ(Ask("PATCH", path, token, "{}", {{"If-Match", "*"}}).status, 204u);
  EXPECT_EQ(Ask("PATCH", path, token, "{}", {{"If-None-Match", "*"}}).status, 412u);
}

TEST_F(RedfishTest, Expansion_without_a_token_leaves_what_needs_one) {
  for (const char* options : {"$expand=*", "$expand=.($levels=6)"}) {
    const Json root = Got(200, Ask("GET", std::string("/redfish/v1?") + options));
    for (const char* name :
         {"Chassis", "JsonSchemas", "Managers", "Registries", "SessionService"}) {
      EXPECT_EQ(root.at(name), Reference(std::string("/redfish/v1/") + name));
    }
    EXPECT_EQ(root.at("Oem").at("Quorvan").at("Events"),
              Reference("/redfish/v1/Oem/Quorvan:Events"));
  }
}

// As many links as asked, each to another place below the manager.
Json::array_t LinksTo(const std::string& begin, int count) {
  Json::array_t links;
  for (int i = 0; i < count; ++i) links.push_back(Reference(begin + std::to_string(i)));
  return links;
}

TEST_F(RedfishTest, Links_that_differ_in_their_fragments_are_looked_up_once) {
  const std::string path = "/redfish/v1/Managers/u-1/Parts";
  Ask("PATCH", path, token, Json({{"Links", LinksTo(path + "#/Parts/", 2000)}}).dump());
  const Json view = Got(200, Ask("GET", path, token));
  EXPECT_EQ(view.at("Oem").at("Quorvan").at("Links"), Json(LinksTo(path + "#/Parts/", 2000)));
}

TEST_F(RedfishTest, Document_with_more_than_1000_links_is_refused) {
  const std::string path = "/redfish/v1/Managers/u-1/Many";
  Ask("PATCH", path, token, Json({{"Links", LinksTo(path, 1000)}}).dump());
  EXPECT_EQ(Ask("GET", path, token).status, 200u);
  Ask("PATCH", path, token, Json({{"One", Reference(path)}}).dump());
  const Response response = Ask("GET", path, token);
  EXPECT_EQ(response.status, 400u);
  EXPECT_EQ(ErrorText(response), "The answer has more than 1000 links to look up.");
  EXPECT_THAT(response.body, HasSubstr("Base.1.16.GeneralError"));
  Ask("PATCH", path, token, R"({"One": null})");
  EXPECT_EQ(Ask("GET", path, token).status, 200u);
}

TEST_F(RedfishTest, Expansion_looks_1000_links_up_for_all_that_it_brings_in) {
  const std::string path = "/redfish/v1/Managers/u-1/Many";
  for (const char* part : {"A", "B"}) {
    Ask("PATCH", path + part, token, Json({{"Links", LinksTo(path + part, 499)}}).dump());
  }
  Ask("PATCH", path, token,
      Json({{"A", Reference(path + "A")}, {"B", Reference(path + "B")}}).dump());
  EXPECT_EQ(Ask("GET", path + "?$expand=*", token).status, 200u);
  Ask("PATCH", path + "B", token, Json({{"One", Reference(path + "more")}}).dump());
  const Response response = Ask("GET", path + "?$expand=*", token);
  EXPECT_EQ(response.status, 507u);
  EXPECT_EQ(ErrorText(response), "The answer has more than 1000 links to look up.");
  EXPECT_THAT(response.body, HasSubstr("Base.1.16.InsufficientStorage"));
  for (const char* part : {"", "A", "B"}) EXPECT_EQ(Ask("GET", path + part, token).status, 200u);
}

TEST_F(RedfishTest, What_is_posted_is_taken_however_many_links_it_has) {
  const std::string manager = "/redfish/v1/Managers/u-1";
  Json::array_t links = LinksTo(manager + "/Nothing", 1000);
  links.push_back(Reference(manager));
  const Json created =
      Got(201, Ask("POST", "/redfish/v1/Chassis", token, Json({{"L", links}}).dump()));
  // What is not looked up counts as a link to nothing.
  EXPECT_EQ(created.at("Oem").at("Quorvan").at("L").back(), manager);
  const std::string path = created.at("@odata.id");
  EXPECT_EQ(Ask("GET", path, token).status, 400u);
  EXPECT_EQ(Ask("DELETE", path, token, "", {{"If-Match", "*"}}).status, 204u);
}

TEST_F(RedfishTest, Link_inside_a_link_is_no_link) {
  const std::string path = "/redfish/v1/Managers/u-1/Odd";
  Ask("PATCH", path, token,
      R"({"y": {"@odata.id": {"@odata.id": 5}},
          "z": {"@odata.id": {"@odata.id": "/redfish/v1/none"}}})");
  for (const char* options : {"", "?$expand=*"}) {
    const Json oem = Got(200, Ask("GET", path + options, token)).at("Oem").at("Quorvan");
    EXPECT_EQ(oem.at("y"), 5);
    EXPECT_EQ(oem.at("z"), "/redfish/v1/none");
  }
}

TEST_F(RedfishTest, History_says_that_it_may_be_a_collections) {
  EXPECT_THAT(Ask("GET", "/redfish/v1/Schemas/QuorvanHistory_v1.xml").body,
              HasSubstr("Name=\"Resource\" Type=\"Resource.ItemOrCollection\""));
  EXPECT_THAT(Ask("GET", "/redfish/v1/Schemas/QuorvanEvent_v1.xml").body,
              HasSubstr("Name=\"OriginOfCondition\" Type=\"Resource.Item\""));
}

TEST_F(RedfishTest, Collection_that_nobody_changes_offers_no_patch) {
  const std::string sensors = chassis + "/Sensors";
  EXPECT_EQ(Ask("PATCH", sensors, token, R"({"Name": "All"})").status, 204u);
  EXPECT_EQ(Header(Ask("OPTIONS", sensors), "Allow"), "GET, HEAD, OPTIONS");
  const Response got = Ask("GET", sensors, token);
  EXPECT_EQ(Header(got, "Allow"), "GET, HEAD, OPTIONS");
  EXPECT_EQ(Got(200, got).at("Name"), "All");
}

TEST_F(RedfishTest, Links_come_and_go_with_what_they_lead_to) {
  const std::string other = "/redfish/v1/Chassis/" + Chassis(token);
  EXPECT_FALSE(Got(200, Ask("GET", other, token)).contains("Sensors"));
  EXPECT_EQ(Ask("GET", other + "/Sensors", token).status, 404u);
  Ask("PATCH", other + "/Sensors/1", token, R"({"Reading": 1})");
  EXPECT_EQ(Got(200, Ask("GET", other, token)).at("Sensors"), Reference(other + "/Sensors"));
  EXPECT_EQ(Got(200, Ask("GET", other + "/Sensors", token)).at("Members@odata.count"), 1);
  Ask("DELETE", chassis, token);
  const Json events = Got(200, Ask("GET", "/redfish/v1/Oem/Quorvan:Events", token));
  const Json event =
      Got(200, Ask("GET", events.at("Members").at(0).at("@odata.id").get<std::string>(), token));
  EXPECT_FALSE(event.contains("OriginOfCondition"));
  EXPECT_EQ(event.at("Oem").at("Quorvan").at("OriginOfCondition"), chassis);
  Walk();
}

TEST_F(RedfishTest, Changes_and_deletions_wait_for_the_right_entity_tag) {
  const std::string tag = Header(Ask("GET", chassis, token), "ETag");
  EXPECT_EQ(Ask("PATCH", chassis, token, "{}", {{"If-Match", "\"x\""}}).status, 412u);
  EXPECT_EQ(Ask("DELETE", chassis, token, "", {{"if-match", "\"x\""}}).status, 412u);
  EXPECT_EQ(Ask("PATCH", chassis, token, "{}", {{"If-Match", tag}}).status, 204u);
  EXPECT_EQ(Ask("DELETE", chassis, token, "", {{"If-Match", "W/" + tag}}).status, 412u);
  EXPECT_EQ(Ask("DELETE", chassis, token, "", {{"If-Match", tag}}).status, 204u);
  EXPECT_EQ(Ask("PATCH", kManager + "/New", token, "{}", {{"If-Match", "*"}}).status, 412u);
  EXPECT_EQ(Ask("PATCH", kManager + "/New", token, "{}", {{"If-None-Match", "*"}}).status, 204u);
  EXPECT_EQ(Ask("PATCH", kManager + "/New", token, "{}", {{"If-None-Match", "*"}}).status, 412u);
}

TEST_F(RedfishTest, Condition_of_another_owner_tells_nothing) {
  const std::string other = Token("u-2");
  EXPECT_EQ(Ask("DELETE", chassis, other, "", {{"If-Match", "*"}}).status, 404u);
  EXPECT_EQ(Ask("DELETE", "/redfish/v1/Chassis/none", other, "", {{"If-Match", "*"}}).status, 404u);
}

TEST_F(RedfishTest, Members_that_the_service_gives_are_refused_where_they_come_alone) {
  for (const std::string& path : {chassis, kManager}) {
    const Response response = Ask("PATCH", path, token, R"({"Id": "other"})");
    EXPECT_EQ(response.status, 400u);
    EXPECT_THAT(response.body, HasSubstr("\"#/Id\""));
    const std::string id = path.substr(path.rfind('/') + 1);
    EXPECT_EQ(Ask("PATCH", path, token, Json{{"Id", id}}.dump()).status, 204u);
  }
  EXPECT_EQ(Ask("PATCH", kManager, token, R"({"UUID": "u-2"})").status, 400u);
  EXPECT_EQ(Ask("PATCH", chassis + "/Thermal", token, R"({"Id": "other"})").status, 204u);
}

TEST_F(RedfishTest, Options_asks_for_no_token) {
  const Response response = Ask("OPTIONS", kManager);
  EXPECT_EQ(response.status, 204u);
  EXPECT_EQ(Header(response, "Allow"), "GET, HEAD, PATCH, DELETE, OPTIONS");
  EXPECT_EQ(Header(Ask("OPTIONS", "/redfish/v1/Chassis/none/Sensors/1"), "Allow"),
            "GET, HEAD, PATCH, OPTIONS");
  EXPECT_EQ(Header(Ask("OPTIONS", "*"), "Allow"), "GET, HEAD, POST, PATCH, DELETE, OPTIONS");
  EXPECT_EQ(Ask("GET", "*").status, 400u);
  EXPECT_EQ(Ask("OPTIONS", "/nothing").status, 404u);
}

TEST_F(RedfishTest, Own_schemas_are_served_and_nothing_else_from_there) {
  const std::string metadata = Ask("GET", "/redfish/v1/$metadata").body;
  for (const auto& [name, text] : SchemaFiles()) {
    const Response response = Ask("GET", "/redfish/v1/Schemas/" + name);
    EXPECT_EQ(response.status, 200u) << name;
    EXPECT_EQ(response.body, text);
    const bool xml = name.find(".xml") != std::string::npos;
    if (xml) {
      EXPECT_THAT(metadata, HasSubstr("\"/redfish/v1/Schemas/" + name + "\""));
    } else {
      EXPECT_EQ(Json::parse(text).at("$id"), "/redfish/v1/Schemas/" + name);
    }
  }
  EXPECT_EQ(SchemaFiles().size(), 10u);
  EXPECT_EQ(Ask("GET", "/redfish/v1/Schemas/Chassis_v1.xml").status, 404u);
}

TEST_F(RedfishTest, Error_names_the_member_and_quotes_only_what_is_short) {
  const auto info = [this](const Json& body) {
    const Response response = Ask("POST", "/hb/u-1", token, body.dump());
    return Got(400, response).at("error").at("@Message.ExtendedInfo").at(0);
  };
  const Json missing = info(Json::object());
  EXPECT_EQ(missing.at("MessageId"), "Base.1.16.PropertyMissing");
  EXPECT_EQ(missing.at("MessageArgs"), Json::array({"HeartbeatInterval"}));
  EXPECT_EQ(missing.at("RelatedProperties"), Json::array({"#/HeartbeatInterval"}));
  EXPECT_EQ(missing.at("MessageSeverity"), "Warning");
  const Json wrong = info({{"HeartbeatInterval", "soon"}});
  EXPECT_EQ(wrong.at("MessageArgs"), Json::array({"\"soon\"", "HeartbeatInterval"}));
  const Json longOne = info({{"HeartbeatInterval", std::string(1000, 'x')}});
  EXPECT_EQ(longOne.at("MessageId"), "Base.1.16.PropertyValueError");
  EXPECT_THAT(longOne.dump(), Not(HasSubstr("xx")));
}

TEST_F(RedfishTest, Selection_goes_through_arrays_and_keeps_what_names_the_resource) {
  const Json thermal =
      Got(200, Ask("GET", chassis + "/Thermal?$select=Temperatures/ReadingCelsius", token));
  EXPECT_EQ(
      thermal.at("Temperatures"),
      Json::array({{{"@odata.id", chassis + "/Thermal#/Temperatures/0"}, {"ReadingCelsius", 21}}}));
  EXPECT_FALSE(thermal.contains("Name"));
  const Json list = Got(200, Ask("GET", "/redfish/v1/Chassis?$select=Members", token));
  EXPECT_EQ(list.at("Members@odata.count"), 1);
}

TEST_F(RedfishTest, Selection_is_the_same_in_whatever_order_and_however_often_its_ways_stand) {
  std::vector<std::string> ways = {"Name", "Temperatures/Oem/Quorvan/Status", "Oem/Quorvan",
                                   "Temperatures/ReadingCelsius", "Oem/Quorvan/Nothing"};
  std::sort(ways.begin(), ways.end());
  Json expected = Got(200, Ask("GET", chassis + "/Thermal", token));
  expected.erase("Id");
  expected.erase("Status");
  expected.at("Temperatures").at(0).erase("MemberId");
  do {
    std::string options = "?$select=Name";
    for (const std::string& way : ways) options += "," + way;
    EXPECT_EQ(Got(200, Ask("GET", chassis + "/Thermal" + options, token)), expected) << options;
  } while (std::next_permutation(ways.begin(), ways.end()));
}

}  // namespace
}  // namespace cloudservice
