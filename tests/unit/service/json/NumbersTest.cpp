// SPDX-License-Identifier: Apache-2.0
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "service/json/Numbers.h"

namespace cloudservice {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

std::vector<std::string> Names(const std::string& document) {
  std::vector<std::string> names;
  for (const NumberRecord& number : NumbersOf(Json::parse(document))) {
    names.push_back(number.member + "=" + number.value);
  }
  return names;
}

TEST(NumbersTest, Are_named_by_the_way_to_them) {
  EXPECT_THAT(Names(R"({"A": 1, "B": {"C": -2.5, "D": "3", "E": true, "F": null}})"),
              ElementsAre("A=1", "B/C=-2.5"));
}

TEST(NumbersTest, Elements_are_named_by_what_tells_them_apart) {
  EXPECT_THAT(Names(R"({"T": [{"MemberId": "7", "R": 1}, {"MemberId": "2", "R": 2}]})"),
              ElementsAre("T[MemberId=7]/R=1", "T[MemberId=2]/R=2"));
  EXPECT_THAT(Names(R"({"T": [{"MemberId": "7", "@odata.id": "/a", "R": 1},
                              {"MemberId": "7", "@odata.id": "/b", "R": 2}]})"),
              ElementsAre("T[@odata.id=~1a]/R=1", "T[@odata.id=~1b]/R=2"));
  EXPECT_THAT(Names(R"({"T": [{"MemberId": "7", "R": 1}, {"R": 2}, 3, [4]]})"),
              ElementsAre("T[0]/R=1", "T[1]/R=2", "T[2]=3", "T[3][0]=4"));
}

TEST(NumbersTest, No_two_have_the_same_name) {
  EXPECT_THAT(Names(R"({"A": [1], "A[0]": 2, "B": {"C": 3}, "B/C": 4, "B~1C": 5})"),
              ElementsAre("A[0]=1", "A~20]=2", "B/C=3", "B~1C=4", "B~01C=5"));
}

TEST(NumbersTest, Are_kept_to_the_last_digit) {
  EXPECT_THAT(
      Names(R"([18446744073709551615, -9223372036854775808, 0.1, 21.0])"),
      ElementsAre("[0]=18446744073709551615", "[1]=-9223372036854775808", "[2]=0.1", "[3]=21.0"));
}

TEST(NumbersTest, End_at_the_limits) {
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

TEST(NumbersTest, Are_found_by_their_names) {
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

TEST(NumbersTest, That_are_gone_have_the_place_where_they_would_stand) {
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

TEST(NumbersTest, Array_is_looked_through_once) {
  Json document;
  for (int i = 0; i < 20000; ++i) document["T"].push_back({{"MemberId", std::to_string(i)}});
  NumberFinder finder(document);
  for (int i = 0; i < 1000; ++i) {
    const std::string number = std::to_string(i * 20);
    EXPECT_EQ(finder.Find(StepsOf("T[MemberId=" + number + "]/R")).pointer, "/T/" + number + "/R");
  }
}

}  // namespace
}  // namespace cloudservice
