// SPDX-License-Identifier: Apache-2.0
// Pages of a collection, and the options that go along from one to the next.
#include "RedfishTest.h"

namespace cloudservice {
namespace {

using testing::HasSubstr;

class PagesTest : public RedfishTest {
 protected:
  // Events that are about no chassis; their paths.
  std::vector<std::string> AddEvents(int count) {
    const EventRecord event = {0, "u-1", "", "x", "MESSAGE", R"({"MessageId": "x"})", now};
    return store->Write([&](Transaction& work) {
      std::vector<std::string> paths;
      for (int i = 0; i < count; ++i) {
        const std::int64_t id = work.AddEvent(event, "").id;
        paths.push_back("/redfish/v1/Oem/Quorvan:Events/" + std::to_string(id));
      }
      return paths;
    });
  }
  static std::string NumberOf(const std::string& event) {
    return event.substr(event.rfind('/') + 1);
  }
};

TEST_F(PagesTest, Collection_is_answered_in_pages) {
  AddEvents(1100);
  const Json first = Got(200, Ask("GET", "/redfish/v1/Oem/Quorvan:Events", token));
  EXPECT_EQ(first.at("Members").size(), 1000u);
  EXPECT_EQ(first.at("Members@odata.count"), 1102);
  const std::string next = first.at("Members@odata.nextLink");
  const std::string last = first.at("Members").back().at("@odata.id");
  const std::string after = "?after=" + NumberOf(last);
  EXPECT_EQ(next, "/redfish/v1/Oem/Quorvan:Events" + after);
  const Json second = Got(200, Ask("GET", next, token));
  EXPECT_EQ(second.at("Members").size(), 102u);
  EXPECT_FALSE(second.contains("Members@odata.nextLink"));
  const Json many = Got(200, Ask("GET", "/redfish/v1/Oem/Quorvan:Events?$top=1050", token));
  EXPECT_EQ(many.at("Members@odata.nextLink"),
            "/redfish/v1/Oem/Quorvan:Events" + after + "&$top=1050");
  // The list that appliances ask for has everything in one answer.
  EXPECT_EQ(Got(200, Ask("GET", "/redfish/v1/Oem/Quorvan:Events?Severity=MESSAGE", token)).size(),
            1102u);
}

TEST_F(PagesTest, Pages_of_events_lose_and_repeat_none_while_others_come_and_go) {
  const std::string path = "/redfish/v1/Oem/Quorvan:Events";
  std::vector<std::string> expected = AddEvents(2);
  now += 2 * Retention().events;
  const auto add = [&](int count) {
    for (const std::string& one : AddEvents(count)) expected.push_back(one);
  };
  add(6);
  std::vector<std::string> seen;
  std::string next = path + "?$skip=2&$top=3&$select=Members";
  while (!next.empty()) {
    const Json page = Got(200, Ask("GET", next, token));
    for (const Json& member : page.at("Members")) seen.push_back(member.at("@odata.id"));
    if (seen.size() == 3) {
      while (cleanUp->Step()) {
      }
      add(2);
      EXPECT_EQ(page.at("Members@odata.nextLink"),
                path + "?after=" + NumberOf(seen.back()) + "&$top=3&$select=Members");
    }
    next = page.value("Members@odata.nextLink", "");
  }
  EXPECT_EQ(seen, expected);
  EXPECT_EQ(Got(200, Ask("GET", path, token)).at("Members@odata.count"), 8);
}

TEST_F(RedfishTest, Page_of_events_begins_where_its_link_says) {
  const std::string path = "/redfish/v1/Oem/Quorvan:Events";
  EXPECT_EQ(Got(200, Ask("GET", path + "?after=0", token)), Got(200, Ask("GET", path, token)));
  const Json behind = Got(200, Ask("GET", path + "?after=999999999999999999", token));
  EXPECT_EQ(behind.at("Members"), Json::array());
  EXPECT_FALSE(behind.contains("Members@odata.nextLink"));
  EXPECT_FALSE(
      Got(200, Ask("GET", path + "?after=0&$top=0", token)).contains("Members@odata.nextLink"));
  for (const char* place : {"", "x", "-1", "1.0", "1%20", "1000000000000000000"}) {
    const Response response = Ask("GET", path + "?after=" + place, token);
    EXPECT_EQ(response.status, 400u) << place;
    EXPECT_EQ(ErrorText(response), "\"after\" is no whole number from 0.");
  }
  const Response both = Ask("GET", path + "?after=1&$skip=1", token);
  EXPECT_EQ(both.status, 400u);
  EXPECT_EQ(ErrorText(both), "\"after\" goes without $skip.");
  const Response filtered = Ask("GET", path + "?after=1&Severity=x", token);
  EXPECT_EQ(filtered.status, 400u);
  EXPECT_EQ(ErrorText(filtered),
            "A filtered list takes neither \"after\" nor the options that begin with $.");
}

TEST_F(RedfishTest, Options_go_from_page_to_page) {
  Chassis(token, R"({"Name": "1", "AssetTag": "a"})");
  std::string path =
      "/redfish/v1/Chassis?$expand=.($levels=1)&$top=1&x=y&$select=Members/Name,N%C3%BC%26";
  std::vector<Json> names;
  for (int pages = 0; !path.empty() && pages < 9; ++pages) {
    const Json page = Got(200, Ask("GET", path, token));
    EXPECT_EQ(page.at("Members@odata.count"), 2);
    EXPECT_FALSE(page.contains("Name"));
    EXPECT_FALSE(page.at("Members").at(0).contains("ChassisType"));
    names.push_back(page.at("Members").at(0).at("Name"));
    path = page.value("Members@odata.nextLink", "");
    if (pages > 0) continue;
    EXPECT_EQ(path,
              "/redfish/v1/Chassis?$skip=1&$top=1&$expand=.($levels=1)"
              "&$select=Members/Name,N%C3%BC%26");
  }
  ASSERT_EQ(names.size(), 2u);
  EXPECT_EQ(names[1], "1");
}

TEST_F(RedfishTest, Pretty_goes_from_page_to_page_and_to_every_path) {
  Chassis(token);
  const std::string path = "/redfish/v1/Chassis";
  for (const char* option : {"pretty", "pretty=true"}) {
    EXPECT_EQ(
        Got(200, Ask("GET", path + "?" + option + "&$top=1", token)).at("Members@odata.nextLink"),
        path + "?$skip=1&$top=1&pretty=true");
  }
  EXPECT_EQ(Got(200, Ask("GET", path + "?$top=1&pretty=false", token)).at("Members@odata.nextLink"),
            path + "?$skip=1&$top=1");
  for (const auto& [one, document] : Walk()) {
    EXPECT_EQ(Got(200, Ask("GET", one + "?pretty", token)), document);
  }
  EXPECT_EQ(Ask("GET", "/redfish/v1/Managers?uuid=u-1&pretty", token).status, 302u);
}

TEST_F(RedfishTest, Pretty_is_true_or_false_and_given_once) {
  for (const char* value : {"", "1", "yes", "True"}) {
    const Response response = Ask("GET", chassis + "?pretty=" + value, token);
    EXPECT_EQ(response.status, 400u);
    EXPECT_EQ(ErrorText(response), "The query option pretty takes true or false.");
    EXPECT_THAT(response.body, HasSubstr("Base.1.16.QueryParameterValueFormatError"));
  }
  EXPECT_EQ(Ask("GET", chassis + "?pretty&pretty=false", token).status, 400u);
  EXPECT_EQ(Ask("GET", chassis + "?$pretty", token).status, 501u);
}

}  // namespace
}  // namespace cloudservice
