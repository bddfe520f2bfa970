// SPDX-License-Identifier: Apache-2.0
#include <stdexcept>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "host/config/ConfigKeys.h"
#include "host/device/DeviceKeys.h"
#include "host/util/JsonKeys.h"

using host::JsonKey;
using Type = host::JsonKey::Type;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

host::JsonRef Json(const std::string& text) {
  return host::JsonRef(
      json_loadb(text.data(), text.size(), JSON_DECODE_ANY | JSON_ALLOW_NUL, nullptr));
}

std::string Wrong(const JsonKey& key, const std::string& json) {
  return host::CheckJson(key, Json(json).get()).Text();
}

}  // namespace

TEST(JsonKeysTest, Each_type_says_what_it_asks_for) {
  EXPECT_EQ(Wrong({"k", Type::kText}, "5"), "is not a text");
  EXPECT_EQ(Wrong({"k", Type::kText}, R"("a\u0000b")"), "holds a NUL byte");
  EXPECT_EQ(Wrong({"k", Type::kFlag}, "\"true\""), "is neither true nor false");
  EXPECT_EQ(Wrong({"k", Type::kTrue}, "false"), "is not true");
  EXPECT_EQ(Wrong({"k", Type::kInteger}, "1.5"), "is not an integer");
  EXPECT_EQ(Wrong({"k", Type::kNumber}, "\"1\""), "is not a number");
  EXPECT_EQ(Wrong({"k", Type::kTextOrNumber}, "true"), "is neither a text nor a number");
  EXPECT_EQ(Wrong({"k", Type::kObject}, "[]"), "is not an object");
  EXPECT_EQ(Wrong({"k", Type::kNamedObjects}, "[]"), "is not an object");
  EXPECT_EQ(Wrong({"k", Type::kOpenObject}, "[]"), "is not an object");
  EXPECT_EQ(Wrong({"k", Type::kObjects}, "{}"), "is not an array");
  EXPECT_EQ(Wrong({"k", Type::kTexts}, "\"a\""), "is not an array of texts");
  EXPECT_EQ(Wrong({"k", Type::kTexts}, "[]"), "is not an array of texts");
  EXPECT_EQ(Wrong({"k", Type::kTexts}, R"(["a", 5])"), "[1] is not a text");
  EXPECT_EQ(Wrong({"k", Type::kNamedTexts}, "[]"), "is not an object");
  EXPECT_EQ(Wrong({"k", Type::kNamedTexts, 0, 1}, R"({"a": "b", "c": "dd"})"),
            "has a \"c\" that is longer than 1 bytes");
}

TEST(JsonKeysTest, Each_type_takes_what_it_asks_for) {
  EXPECT_EQ(Wrong({"k", Type::kText}, "\"\""), "");
  EXPECT_EQ(Wrong({"k", Type::kFlag}, "false"), "");
  EXPECT_EQ(Wrong({"k", Type::kTrue}, "true"), "");
  EXPECT_EQ(Wrong({"k", Type::kInteger}, "-9223372036854775808"), "");
  EXPECT_EQ(Wrong({"k", Type::kNumber}, "1"), "");
  EXPECT_EQ(Wrong({"k", Type::kNumber}, "1.5"), "");
  EXPECT_EQ(Wrong({"k", Type::kTextOrNumber}, "\"a\""), "");
  EXPECT_EQ(Wrong({"k", Type::kTextOrNumber}, "1.5"), "");
  EXPECT_EQ(Wrong({"k", Type::kObject}, "{}"), "");
  EXPECT_EQ(Wrong({"k", Type::kNamedObjects}, "{}"), "");
  EXPECT_EQ(Wrong({"k", Type::kOpenObject}, "{}"), "");
  EXPECT_EQ(Wrong({"k", Type::kObjects}, "[]"), "");
  EXPECT_EQ(Wrong({"k", Type::kTexts}, R"(["a", ""])"), "");
  EXPECT_EQ(Wrong({"k", Type::kNamedTexts}, R"({"a": "b"})"), "");
}

TEST(JsonKeysTest, Ranges_hold_their_ends) {
  const JsonKey integer = {"k", Type::kInteger, -1, 3};
  EXPECT_EQ(Wrong(integer, "-1"), "");
  EXPECT_EQ(Wrong(integer, "3"), "");
  EXPECT_EQ(Wrong(integer, "-2"), "is not an integer from -1 to 3");
  EXPECT_EQ(Wrong(integer, "4"), "is not an integer from -1 to 3");
  EXPECT_EQ(Wrong(integer, "null"), "is not an integer from -1 to 3");
  const JsonKey text = {"k", Type::kText, 0, 2};
  EXPECT_EQ(Wrong(text, "\"ab\""), "");
  EXPECT_EQ(Wrong(text, "\"abc\""), "is longer than 2 bytes");
}

TEST(JsonKeysTest, Unknown_keys_are_looked_for_in_objects_and_arrays_but_not_by_name) {
  const std::vector<JsonKey> inner = {{"Scale", Type::kNumber}};
  const std::vector<JsonKey> keys = {{"One", Type::kObject, inner},
                                     {"List", Type::kObjects, {{"Sub", Type::kObject, inner}}},
                                     {"Named", Type::kNamedObjects, inner}};
  EXPECT_THAT(host::UnknownKeysOf(Json(R"({"Two": 1, "One": {"Scal": 1}, "Named": {"a": {"b": 1}},
                                   "List": [7, {"Sub": {"x": 1}, "y": 1}]})")
                                      .get(),
                                  keys),
              ElementsAre(R"("Two")", R"("Scal" (is "Scale" meant?) in "One")",
                          R"("y" of "List"[1])", R"("x" in "Sub" of "List"[1])"));
  EXPECT_THAT(host::UnknownKeysOf(Json(R"({"One": 1, "List": {}})").get(), keys), IsEmpty());
}

TEST(JsonKeysTest, Key_is_found_by_its_name) {
  EXPECT_EQ(host::KeyOf(host::DeviceKeys(), "PollSeconds").high, 86400);
  EXPECT_THROW(host::KeyOf(host::DeviceKeys(), "pollSeconds"), std::logic_error);
}

TEST(JsonKeysTest, Secrets_of_the_configuration_are_texts) {
  std::vector<std::string> secrets;
  for (const host::ConfigStore::Key& key : host::CloudKeys()) {
    if (key.form == host::ConfigStore::Form::kAny) continue;
    EXPECT_EQ(key.json.type, Type::kText) << key.json.name;
    if (key.form == host::ConfigStore::Form::kSecret) secrets.emplace_back(key.json.name);
  }
  EXPECT_THAT(secrets, ElementsAre("RegistrationKey", "XAuthToken"));
}
