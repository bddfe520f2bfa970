// SPDX-License-Identifier: Apache-2.0
#include "ServiceTest.h"

namespace cloudservice {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

constexpr time_t kHour = 3600;
constexpr time_t kDay = 24 * kHour;

class HistoriesTest : public ServiceTest {
 protected:
  // The readings of what the appliance sends at `time`.
  void Reading(time_t time, const std::string& value) {
    now = time;
    EXPECT_EQ(Ask("PATCH", path, token, "{\"T\": " + value + "}").status, 204u);
  }
  Json Asked(const std::string& query) { return Got(200, Ask("GET", history + query, token)); }
  // "seconds since the begin:value" of each value.
  std::vector<std::string> Values(const std::string& member) {
    std::vector<std::string> values;
    const Json view = Asked("?member=" + member);
    for (const Json& value : view.at("Values")) {
      values.push_back(value.at("Time").get<std::string>() + " " + value.at("Value").dump());
    }
    return values;
  }
  // On PostgreSQL a day goes as a whole, once all of it is too old.
  void CleanUpWholeDays() {
    if (OnPostgres()) now += kDay / 2;
    while (cleanUp->Step()) {
    }
  }
  std::string At(time_t time, const std::string& value) { return RedfishTime(time) + " " + value; }

  // The begin of an hour.
  const time_t begin = 1772715600;
  std::string token = Token("u-1");
  std::string chassis = "/redfish/v1/Chassis/" + Chassis(token);
  std::string path = chassis + "/Thermal";
  std::string history = path + "/Oem/Quorvan:History";
};

TEST_F(HistoriesTest, Holds_changes_and_the_first_of_each_hour) {
  Reading(begin, "21");
  Reading(begin + 10, "21");
  Reading(begin + 20, "22.5");
  Reading(begin + 30, "21");
  Reading(begin + kHour, "21");
  Reading(begin + kHour + 1, "21");
  EXPECT_THAT(Values("T"), ElementsAre(At(begin, "21"), At(begin + 20, "22.5"),
                                       At(begin + 30, "21"), At(begin + kHour, "21")));
}

TEST_F(HistoriesTest, Answer_names_what_it_is_about) {
  Reading(begin, R"([{"MemberId": "1", "R": 21}])");
  const Json view = Asked("?member=T%5BMemberId%3D1%5D%2FR");
  EXPECT_EQ(view.at("@odata.id"), history + "?member=T%5BMemberId%3D1%5D%2FR");
  EXPECT_EQ(view.at("Resource").at("@odata.id"), path);
  EXPECT_EQ(view.at("Member"), "T[MemberId=1]/R");
  EXPECT_EQ(view.at("Values").size(), 1u);
  EXPECT_FALSE(view.contains("Values@odata.nextLink"));
}

TEST_F(HistoriesTest, Without_a_member_the_members_are_listed) {
  Reading(begin, R"({"b": 1, "a": 2, "c": "text"})");
  const Json view = Asked("");
  EXPECT_EQ(view.at("MemberNames"), Json({"T/a", "T/b"}));
  EXPECT_EQ(view.at("MemberNames@odata.count"), 2);
}

TEST_F(HistoriesTest, Manager_and_chassis_have_one_of_their_own) {
  for (const std::string& document : {chassis, std::string("/redfish/v1/Managers/u-1")}) {
    EXPECT_EQ(Got(200, Ask("GET", document + "/Oem/Quorvan:History", token)).at("MemberNames"),
              Json::array());
    EXPECT_EQ(Ask("PATCH", document, token, R"({"x": {"y": 7}})").status, 204u);
    const Json view = Got(200, Ask("GET", document + "/Oem/Quorvan:History?member=x/y", token));
    EXPECT_EQ(view.at("Values").at(0).at("Value"), 7);
  }
}

TEST_F(HistoriesTest, Only_what_was_sent_is_recorded) {
  Reading(begin, R"({"a": 1, "b": 2})");
  Reading(begin + 2 * kHour, R"({"a": 1})");
  EXPECT_THAT(Values("T/a"), testing::SizeIs(2));
  EXPECT_THAT(Values("T/b"), testing::SizeIs(1));
}

TEST_F(HistoriesTest, Of_what_is_null_or_gone_stays) {
  Reading(begin, R"({"a": 1, "b": [{"MemberId": "x", "R": 2}]})");
  Reading(begin + 1, R"({"a": null, "b": [{"MemberId": "x", "R": null}]})");
  EXPECT_THAT(Values("T/a"), ElementsAre(At(begin, "1")));
  Reading(begin + 2, R"({"b": null})");
  EXPECT_THAT(Values("T/b%5BMemberId%3Dx%5D/R"), ElementsAre(At(begin, "2")));
  EXPECT_EQ(Asked("").at("MemberNames"), Json({"T/a", "T/b[MemberId=x]/R"}));
}

TEST_F(HistoriesTest, Is_kept_for_seven_days) {
  Reading(begin, "1");
  Reading(begin + kDay, "2");
  now = begin + 7 * kDay;
  EXPECT_THAT(Values("T"), testing::SizeIs(2));
  ++now;
  EXPECT_THAT(Values("T"), ElementsAre(At(begin + kDay, "2")));
  CleanUpWholeDays();
  now = begin;
  EXPECT_THAT(Values("T"), ElementsAre(At(begin + kDay, "2")));
  now = begin + 9 * kDay;
  EXPECT_EQ(Asked("").at("MemberNames"), Json::array());
  EXPECT_EQ(Ask("GET", history + "?member=T", token).status, 404u);
}

TEST_F(HistoriesTest, Clock_that_goes_back_loses_nothing) {
  Reading(begin + kHour, "1");
  Reading(begin, "1");
  Reading(begin + 1, "2");
  EXPECT_THAT(Values("T"), ElementsAre(At(begin + kHour, "1"), At(begin, "1"), At(begin + 1, "2")));
}

TEST_F(HistoriesTest, Long_one_comes_in_pieces) {
  now = begin;
  Readings readings{path, "u-1", {}, begin, {}};
  readings.chassis = chassis.substr(chassis.rfind('/') + 1);
  readings.numbers.push_back({"n", "0"});
  (*store)->PutResource({path, "u-1", readings.chassis, "{}", begin}, readings);
  store->Execute(
      "WITH RECURSIVE number (i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM number WHERE i < 10000) "
      "INSERT INTO reading (member, time, value) SELECT id, " +
      std::to_string(begin) + ", i FROM number, member");
  const Json first = Asked("?member=n");
  EXPECT_EQ(first.at("Values").size(), 10000u);
  EXPECT_EQ(Asked("?pretty&member=n").at("Values@odata.nextLink"),
            first.at("Values@odata.nextLink").get<std::string>() + "&pretty=true");
  const auto next = first.at("Values@odata.nextLink").get<std::string>();
  const Json second = Got(200, Ask("GET", next, token));
  ASSERT_EQ(second.at("Values").size(), 1u);
  EXPECT_EQ(second.at("Values").at(0).at("Value"), 10000);
  EXPECT_FALSE(second.contains("Values@odata.nextLink"));
}

TEST_F(HistoriesTest, Members_of_a_document_are_limited) {
  Json first;
  for (int i = 0; i < 1000; ++i) first["m" + std::to_string(i)] = i;
  Reading(begin, first.dump());
  Reading(begin + 1, R"({"late": 1, "m0": 5})");
  EXPECT_EQ(Ask("GET", history + "?member=T/late", token).status, 404u);
  EXPECT_THAT(Values("T/m0"), testing::SizeIs(2));
}

TEST_F(HistoriesTest, Refused_patch_records_nothing) {
  Reading(begin, "1");
  EXPECT_EQ(Ask("PATCH", path, token, "{\"T\": 2, }").status, 400u);
  EXPECT_THAT(Values("T"), testing::SizeIs(1));
}

TEST_F(HistoriesTest, Bad_query_is_refused) {
  Reading(begin, "1");
  for (const std::string query :
       {"?member=", "?member", "?member=%4", "?member=T&member=T", "?members=T", "?member=T&x=1",
        "?after=1", "?member=T&after=", "?member=T&after=-1", "?member=T&after=1e3",
        "?member=T&after=9999999999999999999"}) {
    EXPECT_EQ(Ask("GET", history + query, token).status, 400u) << query;
  }
}

TEST_F(HistoriesTest, Unknown_member_or_resource_is_not_there) {
  Reading(begin, "1");
  const Response unknown = Ask("GET", history + "?member=' OR 1=1 --", token);
  EXPECT_EQ(unknown.status, 404u);
  EXPECT_THAT(ErrorText(unknown), HasSubstr("has no history of \"' OR 1=1 --\""));
  EXPECT_EQ(Ask("GET", chassis + "/Power/Oem/Quorvan:History", token).status, 404u);
  EXPECT_EQ(Ask("GET", "/redfish/v1/Chassis/none/Oem/Quorvan:History", token).status, 404u);
}

TEST_F(HistoriesTest, Is_its_owners_alone) {
  Reading(begin, "1");
  EXPECT_EQ(Ask("GET", history).status, 401u);
  const std::string other = Token("u-2");
  EXPECT_EQ(Ask("GET", history, other).status, 404u);
  EXPECT_EQ(Ask("GET", "/redfish/v1/Managers/u-1/Oem/Quorvan:History", other).status, 404u);
}

TEST_F(HistoriesTest, Is_read_only) {
  Reading(begin, "1");
  const Response response = Ask("PATCH", history, token, "{}");
  EXPECT_EQ(response.status, 405u);
  EXPECT_EQ(Header(response, "Allow"), "GET, HEAD, OPTIONS");
}

TEST_F(HistoriesTest, Goes_with_its_chassis) {
  Reading(begin, "1");
  EXPECT_EQ(Ask("DELETE", chassis, token).status, 204u);
  EXPECT_THAT((*store)->ListHistoryMembers("u-1", path, 0, {{}, 9}), IsEmpty());
}

TEST_F(HistoriesTest, Old_events_go_but_for_open_alarms) {
  const std::string id = chassis.substr(chassis.rfind('/') + 1);
  (*store)->AddEvent({0, "u-1", id, "open", "Alarm", "{}", begin}, "open");
  (*store)->AddEvent({0, "u-1", id, "shut", "Alarm", "{}", begin}, "shut");
  (*store)->AddEvent({0, "u-1", id, "258", "OK", "{}", begin}, "shut");
  now = begin + 365 * kDay;
  cleanUp->Step();
  EXPECT_THAT((*store)->ListEvents({"u-1", {}, {}, {}}, {{}, 9}), testing::SizeIs(3));
  ++now;
  CleanUpWholeDays();
  EXPECT_THAT((*store)->ListEvents({"u-1", {}, {}, {}}, {{}, 9}), testing::SizeIs(1));
  EXPECT_THAT((*store)->ListEvents({"u-1", id, false, {}}, {{}, 9}), testing::SizeIs(1));
}

TEST_F(HistoriesTest, States_are_found_by_the_clean_up) {
  now += 1000;
  EXPECT_EQ((*store)->CountStates(now), (StateCounts{0, 0, 1}));
  cleanUp->RemoveLeft();
  EXPECT_EQ((*store)->Settle(now, 9), 0);
  EXPECT_EQ((*store)->CountStates(now), (StateCounts{0, 0, 1}));
}

}  // namespace
}  // namespace cloudservice
