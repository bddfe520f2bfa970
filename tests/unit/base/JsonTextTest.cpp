// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include "base/JsonText.h"

namespace unit {
namespace {

using cloudclient::JsonMemberText;
using cloudclient::JsonRef;
using cloudclient::JsonText;

JsonRef Parsed(const char* text) {
  return JsonRef(json_loads(text, JSON_DECODE_ANY | JSON_ALLOW_NUL, nullptr));
}

TEST(JsonTextTest, Is_the_text_of_a_string) {
  EXPECT_EQ(JsonText(Parsed("\"a\\nb\"").get()), "a\nb");
}

TEST(JsonTextTest, Keeps_what_follows_a_nul) {
  EXPECT_EQ(JsonText(Parsed("\"a\\u0000b\"").get()), std::string("a\0b", 3));
}

TEST(JsonTextTest, Is_empty_for_null_and_for_other_types) {
  EXPECT_EQ(JsonText(nullptr), "");
  for (const char* text : {"null", "7", "1.5", "true", "{}", "[\"a\"]"}) {
    const JsonRef value = Parsed(text);
    ASSERT_NE(value, nullptr) << text;
    EXPECT_EQ(JsonText(value.get()), "") << text;
  }
}

TEST(JsonMemberTextTest, Is_the_text_of_a_member) {
  EXPECT_EQ(JsonMemberText(Parsed("{\"Id\": \"7\", \"Name\": \"n\"}").get(), "Name"), "n");
}

TEST(JsonMemberTextTest, Is_empty_without_the_member_or_with_another_type) {
  const JsonRef object = Parsed("{\"Id\": 7, \"Null\": null}");
  EXPECT_EQ(JsonMemberText(object.get(), "Id"), "");
  EXPECT_EQ(JsonMemberText(object.get(), "Null"), "");
  EXPECT_EQ(JsonMemberText(object.get(), "id"), "");
}

TEST(JsonMemberTextTest, Is_empty_when_there_is_no_object) {
  EXPECT_EQ(JsonMemberText(nullptr, "Id"), "");
  EXPECT_EQ(JsonMemberText(Parsed("[\"Id\"]").get(), "Id"), "");
  EXPECT_EQ(JsonMemberText(Parsed("\"Id\"").get(), "Id"), "");
}

TEST(JsonRefTest, Releases_one_reference) {
  json_t* const value = json_string("a");
  json_incref(value);
  JsonRef(value).reset();
  EXPECT_EQ(value->refcount, 1u);
  json_decref(value);
}

}  // namespace
}  // namespace unit
