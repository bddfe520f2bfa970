// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include "base/JsonPlace.h"

namespace unit {
namespace {

using cloudclient::PlaceInJson;
using cloudclient::TextPlace;

std::string Told(const TextPlace& place) {
  return std::to_string(place.line) + ":" + std::to_string(place.column);
}

std::string KeyPlace(const std::string& text, const std::vector<std::string>& path) {
  return Told(PlaceInJson(text, path, true));
}

std::string ValuePlace(const std::string& text, const std::vector<std::string>& path) {
  return Told(PlaceInJson(text, path, false));
}

TEST(JsonPlaceTest, Is_that_of_a_key_or_of_its_value) {
  const std::string text = "{\"a\": 1,\n  \"b\": true}";
  EXPECT_EQ(KeyPlace(text, {"a"}), "1:2");
  EXPECT_EQ(ValuePlace(text, {"a"}), "1:7");
  EXPECT_EQ(KeyPlace(text, {"b"}), "2:3");
  EXPECT_EQ(ValuePlace(text, {"b"}), "2:8");
}

TEST(JsonPlaceTest, Of_the_whole_is_where_it_begins) {
  EXPECT_EQ(ValuePlace("\n\t [1]", {}), "2:3");
}

TEST(JsonPlaceTest, Goes_into_objects_past_others_of_the_same_name) {
  const std::string text =
      "{\"x\": {\"b\": [1, {\"b\": \"}]\"}], \"c\": null},\r\n\"a\":{ \"c\" :-1.5e3 ,\"b\"\n:2}}";
  EXPECT_EQ(KeyPlace(text, {"a", "b"}), "2:20");
  EXPECT_EQ(ValuePlace(text, {"a", "b"}), "3:2");
  EXPECT_EQ(ValuePlace(text, {"a", "c"}), "2:12");
  EXPECT_EQ(ValuePlace(text, {"x", "c"}), "1:36");
}

TEST(JsonPlaceTest, Goes_into_arrays_by_number) {
  const std::string text = "{\"a\": [\"x,y\", {\"k\": [0, 10, 20]}, [], {}, 7]}";
  EXPECT_EQ(ValuePlace(text, {"a", "0"}), "1:8");
  EXPECT_EQ(ValuePlace(text, {"a", "1", "k", "2"}), "1:29");
  EXPECT_EQ(ValuePlace(text, {"a", "4"}), "1:43");
}

TEST(JsonPlaceTest, Knows_a_key_by_its_text_and_not_by_its_writing) {
  const std::string text = R"({"a\"b": 1, "\\": 2, "\u0041\n": 3})";
  EXPECT_EQ(KeyPlace(text, {"a\"b"}), "1:2");
  EXPECT_EQ(KeyPlace(text, {"\\"}), "1:13");
  EXPECT_EQ(KeyPlace(text, {"A\n"}), "1:22");
}

TEST(JsonPlaceTest, Counts_characters_and_not_bytes) {
  EXPECT_EQ(ValuePlace("{\"\xC3\xA4\xE2\x82\xAC\xF0\x9F\x99\x82\": 1}", {"äe"}), "1:1");
  EXPECT_EQ(ValuePlace("{\"\xC3\xA4\": \"\xE2\x82\xAC\", \"b\": 1}", {"b"}), "1:17");
}

TEST(JsonPlaceTest, Of_a_member_that_is_missing_is_that_of_what_could_hold_it) {
  const std::string text = "{\"a\": {\"b\": 1}, \"c\": [2]}";
  EXPECT_EQ(KeyPlace(text, {"x"}), "1:1");
  EXPECT_EQ(ValuePlace(text, {"a", "x"}), "1:7");
  EXPECT_EQ(ValuePlace(text, {"c", "1"}), "1:22");
  EXPECT_EQ(ValuePlace(text, {"a", "b", "x"}), "1:13");
}

// What is no JSON never comes here; it still ends.
TEST(JsonPlaceTest, Ends_with_a_text_that_stops) {
  const std::string text = R"({"a": {"b": ["x\"", 1.5, {"c": tru)";
  for (size_t size = 0; size < text.size(); ++size) {
    EXPECT_LE(PlaceInJson(text.substr(0, size), {"a", "b", "2", "c"}, false).column, size + 1);
  }
}

}  // namespace
}  // namespace unit
