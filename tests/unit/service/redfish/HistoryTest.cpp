// SPDX-License-Identifier: Apache-2.0
#include "ServiceFixture.h"
#include "service/json/Numbers.h"

namespace cloudservice {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

constexpr time_t kHour = 3600;
constexpr time_t kDay = 24 * kHour;

std::vector<std::string> Names(const std::string& document) {
  std::vector<std::string> names;
  for (const NumberRecord& number : NumbersOf(Json::parse(document))) {
    names.push_back(number.member + "=" + number.value);
  }
  return names;
}

TEST(Numbers, Are_named_by_the_way_to_them) {
  EXPECT_THAT(Names(R"({"A": 1, "B": {"C": -2.5, "D": "3", "E": true, "F": null}})"),
              ElementsAre("A=1", "B/C=-2.5"));
}

TEST(Numbers, Elements_are_named_by_what_tells_them_apart) {
  EXPECT_THAT(Names(R"({"T": [{"MemberId": "7", "R": 1}, {"MemberId": "2", "R": 2}]})"),
              ElementsAre("T[MemberId=7]/R=1", "T[MemberId=2]/R=2"));
  EXPECT_THAT(Names(R"({"T": [{"MemberId": "7", "@odata.id": "/a", "R": 1},
                              {"MemberId": "7", "@odata.id": "/b", "R": 2}]})"),
              ElementsAre("T[@odata.id=~1a]/R=1", "T[@odata.id=~1b]/R=2"));
  EXPECT_THAT(Names(R"({"T": [{"MemberId": "7", "R": 1}, {"R": 2}, 3, [4]]})"),
              ElementsAre("T[0]/R=1", "T[1]/R=2", "T[2]=3", "T[3][0]=4"));
}

TEST(Numbers, No_two_have_the_same_name) {
  EXPECT_THAT(Names(R"({"A": [1], "A[0]": 2, "B": {"C": 3}, "B/C": 4, "B~1C": 5})"),
              ElementsAre("A[0]=1", "A~20]=2", "B/C=3", "B~1C=4", "B~01C=5"));
}

TEST(Numbers, Are_kept_to_the_last_digit) {
  EXPECT_THAT(
      Names(R"([18446744073709551615, -9223372036854775808, 0.1, 21.0])"),
      ElementsAre("[0]=18446744073709551615", "[1]=-9223372036854775808", "[2]=0.1", "[3]=21.0"));
}

TEST(Numbers, End_at_the_limits) {
  EXPECT_THAT(NumbersOf(Json::array_t(2000, 1)), testing::SizeIs(1000));
  EXPECT_THAT(NumbersOf(Json{{std::string(513, 'a'), 1}}), IsEmpty());
  EXPECT_THAT(NumbersOf(Json{{std::string(512, 'a'), 1}}), testing::SizeIs(1));
}

// "pointer", and "!" behind it for a place without a number, "?" for none.
std::string PlaceOf(const std::string& name, const std::string& document) {
  const Json parsed = Json::parse(document);
  const NumberFinder::Found found = NumberFinder(parsed).Find(StepsOf(name));
  return found.pointer + (found.present ? "" : found.hasPlace ? "!" : "?");
}

TEST(Numbers, Are_found_by_their_names) {
  const Json document =
      Json::parse(R"({"A": 1, "B": {"C": -2.5, "": 3, "a/b~c[d]e": 4}, "": {"x": 5},
      "T": [{"MemberId": "7]", "R": 1}, {"MemberId": "a/b[~0]", "R": [2, [3]]}], "B/C": 6, "]": 8,
      "U": [{"@odata.id": "/a", "R": 1}, {"@odata.id": "/b=c", "R": 2}], "V": [[1, 2], 3, {"R": 4}],
      "W": [{"MemberId": "7"}, {"MemberId": "7", "R": 1}], "-": 7})");
  NumberFinder finder(document);
  const std::vector<NumberPlace> places = NumberPlacesOf(document);
  EXPECT_EQ(places.size(), 18u);
  for (const auto& [number, pointer] : places) {
    const NumberFinder::Found found = finder.Find(StepsOf(number.member));
    EXPECT_EQ(found.pointer, pointer) << number.member;
    EXPECT_TRUE(found.present && found.hasPlace) << number.member;
  }
}

TEST(Numbers, That_are_gone_have_the_place_where_they_would_stand) {
  EXPECT_EQ(PlaceOf("A", R"({"A": null})"), "/A!");
  EXPECT_EQ(PlaceOf("A", "{}"), "/A!");
  EXPECT_EQ(PlaceOf("A/B~1", R"({"A": {}})"), "/A/B~1!");
  EXPECT_EQ(PlaceOf("A/B", "{}"), "/A/B?");
  EXPECT_EQ(PlaceOf("A/B", R"({"A": 1})"), "/A/B?");
  EXPECT_EQ(PlaceOf("A/0", R"({"A": [1]})"), "/A/0?");
  const char* const elements = R"({"T": [{"MemberId": "a"}, {"MemberId": "b", "R": null}]})";
  EXPECT_EQ(PlaceOf("T[MemberId=b]/R", elements), "/T/1/R!");
  EXPECT_EQ(PlaceOf("T[MemberId=c]/R", elements), "/T/-/R?");
  EXPECT_EQ(PlaceOf("T[@odata.id=b]/R", elements), "/T/-/R?");
  EXPECT_EQ(PlaceOf("T[1]/R", elements), "/T/-/R?") << "elements are not named by positions now";
  EXPECT_EQ(PlaceOf("T[MemberId=b]", "{}"), "/T/-?");
  EXPECT_EQ(PlaceOf("L[1]", R"({"L": [1, null]})"), "/L/1!");
  EXPECT_EQ(PlaceOf("L[2]", R"({"L": [1, null]})"), "/L/-?");
}

TEST(Numbers, Array_is_looked_through_once) {
  Json document;
  for (int i = 0; i < 20000; ++i) document["T"].push_back({{"MemberId", std::to_string(i)}});
  NumberFinder finder(document);
  for (int i = 0; i < 1000; ++i) {
    const std::string number = std::to_string(i * 20);
    EXPECT_EQ(finder.Find(StepsOf("T[MemberId=" + number + "]/R")).pointer, "/T/" + number + "/R");
  }
}

class History : public ServiceTest {
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
  std::string At(time_t time, const std::string& value) { return RedfishTime(time) + " " + value; }

  // The begin of an hour.
  const time_t begin = 1772715600;
  std::string token = Token("u-1");
  std::string chassis = "/redfish/v1/Chassis/" + Chassis(token);
  std::string path = chassis + "/Thermal";
  std::string history = path + "/Oem/Quorvan:History";
};

TEST_F(History, Holds_changes_and_the_first_of_each_hour) {
  Reading(begin, "21");
  Reading(begin + 10, "21");
  Reading(begin + 20, "22.5");
  Reading(begin + 30, "21");
  Reading(begin + kHour, "21");
  Reading(begin + kHour + 1, "21");
  EXPECT_THAT(Values("T"), ElementsAre(At(begin, "21"), At(begin + 20, "22.5"),
                                       At(begin + 30, "21"), At(begin + kHour, "21")));
}

TEST_F(History, Answer_names_what_it_is_about) {
  Reading(begin, R"([{"MemberId": "1", "R": 21}])");
  const Json view = Asked("?member=T%5BMemberId%3D1%5D%2FR");
  EXPECT_EQ(view.at("@odata.id"), history + "?member=T%5BMemberId%3D1%5D%2FR");
  EXPECT_EQ(view.at("Resource").at("@odata.id"), path);
  EXPECT_EQ(view.at("Member"), "T[MemberId=1]/R");
  EXPECT_EQ(view.at("Values").size(), 1u);
  EXPECT_FALSE(view.contains("Values@odata.nextLink"));
}

TEST_F(History, Without_a_member_the_members_are_listed) {
  Reading(begin, R"({"b": 1, "a": 2, "c": "text"})");
  const Json view = Asked("");
  EXPECT_EQ(view.at("MemberNames"), Json({"T/a", "T/b"}));
  EXPECT_EQ(view.at("MemberNames@odata.count"), 2);
}

TEST_F(History, Manager_and_chassis_have_one_of_their_own) {
  for (const std::string& document : {chassis, std::string("/redfish/v1/Managers/u-1")}) {
    EXPECT_EQ(Got(200, Ask("GET", document + "/Oem/Quorvan:History", token)).at("MemberNames"),
              Json::array());
    EXPECT_EQ(Ask("PATCH", document, token, R"({"x": {"y": 7}})").status, 204u);
    const Json view = Got(200, Ask("GET", document + "/Oem/Quorvan:History?member=x/y", token));
    EXPECT_EQ(view.at("Values").at(0).at("Value"), 7);
  }
}

TEST_F(History, Only_what_was_sent_is_recorded) {
  Reading(begin, R"({"a": 1, "b": 2})");
  Reading(begin + 2 * kHour, R"({"a": 1})");
  EXPECT_THAT(Values("T/a"), testing::SizeIs(2));
  EXPECT_THAT(Values("T/b"), testing::SizeIs(1));
}

TEST_F(History, Of_what_is_null_or_gone_stays) {
  Reading(begin, R"({"a": 1, "b": [{"MemberId": "x", "R": 2}]})");
  Reading(begin + 1, R"({"a": null, "b": [{"MemberId": "x", "R": null}]})");
  EXPECT_THAT(Values("T/a"), ElementsAre(At(begin, "1")));
  Reading(begin + 2, R"({"b": null})");
  EXPECT_THAT(Values("T/b%5BMemberId%3Dx%5D/R"), ElementsAre(At(begin, "2")));
  EXPECT_EQ(Asked("").at("MemberNames"), Json({"T/a", "T/b[MemberId=x]/R"}));
}

TEST_F(History, Is_kept_for_seven_days) {
  Reading(begin, "1");
  Reading(begin + kDay, "2");
  now = begin + 7 * kDay;
  EXPECT_THAT(Values("T"), testing::SizeIs(2));
  ++now;
  EXPECT_THAT(Values("T"), ElementsAre(At(begin + kDay, "2")));
  cleanUp->Step();
  now = begin;
  EXPECT_THAT(Values("T"), ElementsAre(At(begin + kDay, "2")));
  now = begin + 9 * kDay;
  EXPECT_EQ(Asked("").at("MemberNames"), Json::array());
  EXPECT_EQ(Ask("GET", history + "?member=T", token).status, 404u);
}

TEST_F(History, Clock_that_goes_back_loses_nothing) {
  Reading(begin + kHour, "1");
  Reading(begin, "1");
  Reading(begin + 1, "2");
  EXPECT_THAT(Values("T"), ElementsAre(At(begin + kHour, "1"), At(begin, "1"), At(begin + 1, "2")));
}

TEST_F(History, Long_one_comes_in_pieces) {
  now = begin;
  Readings readings{path, "u-1", {}, begin, {}};
  readings.chassis = chassis.substr(chassis.rfind('/') + 1);
  for (int i = 0; i < 10001; ++i) readings.numbers.push_back({"n", std::to_string(i)});
  (*store)->PutResource({path, "u-1", readings.chassis, "{}", begin}, readings);
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

TEST_F(History, Members_of_a_document_are_limited) {
  Json first;
  for (int i = 0; i < 1000; ++i) first["m" + std::to_string(i)] = i;
  Reading(begin, first.dump());
  Reading(begin + 1, R"({"late": 1, "m0": 5})");
  EXPECT_EQ(Ask("GET", history + "?member=T/late", token).status, 404u);
  EXPECT_THAT(Values("T/m0"), testing::SizeIs(2));
}

TEST_F(History, Refused_patch_records_nothing) {
  Reading(begin, "1");
  EXPECT_EQ(Ask("PATCH", path, token, "{\"T\": 2, }").status, 400u);
  EXPECT_THAT(Values("T"), testing::SizeIs(1));
}

TEST_F(History, Bad_query_is_refused) {
  Reading(begin, "1");
  for (const std::string query :
       {"?member=", "?member", "?member=%4", "?member=T&member=T", "?members=T", "?member=T&x=1",
        "?after=1", "?member=T&after=", "?member=T&after=-1", "?member=T&after=1e3",
        "?member=T&after=9999999999999999999"}) {
    EXPECT_EQ(Ask("GET", history + query, token).status, 400u) << query;
  }
}

TEST_F(History, Unknown_member_or_resource_is_not_there) {
  Reading(begin, "1");
  const Response unknown = Ask("GET", history + "?member=' OR 1=1 --", token);
  EXPECT_EQ(unknown.status, 404u);
  EXPECT_THAT(ErrorText(unknown), HasSubstr("has no history of \"' OR 1=1 --\""));
  EXPECT_EQ(Ask("GET", chassis + "/Power/Oem/Quorvan:History", token).status, 404u);
  EXPECT_EQ(Ask("GET", "/redfish/v1/Chassis/none/Oem/Quorvan:History", token).status, 404u);
}

TEST_F(History, Is_its_owners_alone) {
  Reading(begin, "1");
  EXPECT_EQ(Ask("GET", history).status, 401u);
  const std::string other = Token("u-2");
  EXPECT_EQ(Ask("GET", history, other).status, 404u);
  EXPECT_EQ(Ask("GET", "/redfish/v1/Managers/u-1/Oem/Quorvan:History", other).status, 404u);
}

TEST_F(History, Is_read_only) {
  Reading(begin, "1");
  const Response response = Ask("PATCH", history, token, "{}");
  EXPECT_EQ(response.status, 405u);
  EXPECT_EQ(Header(response, "Allow"), "GET, HEAD, OPTIONS");
}

TEST_F(History, Goes_with_its_chassis) {
  Reading(begin, "1");
  EXPECT_EQ(Ask("DELETE", chassis, token).status, 204u);
  EXPECT_THAT((*store)->ListHistoryMembers("u-1", path, 0), IsEmpty());
}

TEST_F(History, Old_events_go_but_for_open_alarms) {
  const std::string id = chassis.substr(chassis.rfind('/') + 1);
  (*store)->AddEvent({0, "u-1", id, "open", "Alarm", "{}", begin}, "open");
  (*store)->AddEvent({0, "u-1", id, "shut", "Alarm", "{}", begin}, "shut");
  (*store)->AddEvent({0, "u-1", id, "258", "OK", "{}", begin}, "shut");
  now = begin + 365 * kDay;
  cleanUp->Step();
  EXPECT_THAT((*store)->ListEvents({"u-1", {}, {}, {}}), testing::SizeIs(3));
  ++now;
  cleanUp->Step();
  EXPECT_THAT((*store)->ListEvents({"u-1", {}, {}, {}}), testing::SizeIs(1));
  EXPECT_THAT((*store)->ListEvents({"u-1", id, false, {}}), testing::SizeIs(1));
}

}  // namespace
}  // namespace cloudservice
