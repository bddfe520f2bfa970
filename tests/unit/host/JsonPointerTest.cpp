// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include "SourceDouble.h"
#include "host/device/sources/JsonPointer.h"

namespace {

constexpr char kDocument[] = R"({"Temperatures": [{"ReadingCelsius": 23.5}, {"Name": "Inlet"}],
  "a/b": 1, "m~n": true, "": 4, "off": false, "nothing": null, "01": 7})";

// What a point is told of the document's place.
std::string At(const std::string& text) {
  const host::JsonRef document(json_loads(kDocument, 0, nullptr));
  const auto pointer = host::JsonPointer::Parse(text);
  if (!pointer) return "no pointer";
  ToldValues told;
  host::TellJson(document.get(), *pointer, 0, told);
  return told.values[0];
}

}  // namespace

TEST(JsonPointerTest, Steps_lead_to_members_and_elements) {
  EXPECT_EQ(At("/Temperatures/0/ReadingCelsius"), "23.5");
  EXPECT_EQ(At("/Temperatures/1/Name"), "'Inlet'");
  EXPECT_EQ(At("/a~1b"), "1");
  EXPECT_EQ(At("/m~0n"), "'true'");
  EXPECT_EQ(At("/off"), "'false'");
  EXPECT_EQ(At("/"), "4");
  EXPECT_EQ(At("/01"), "7");
}

TEST(JsonPointerTest, Places_without_a_number_or_text_are_no_value) {
  EXPECT_EQ(At("/nothing"), "none: its pointer names null");
  EXPECT_EQ(At(""), "none: its pointer names neither a number nor a text");
  EXPECT_EQ(At("/Temperatures"), "none: its pointer names neither a number nor a text");
  for (const char* text : {"/Temperatures/2", "/Temperatures/00", "/Temperatures/-",
                           "/Temperatures/4294967296", "/a/b", "/off/x", "/Temperatures/0/x/y"}) {
    EXPECT_EQ(At(text), "none: its pointer names nothing") << text;
  }
}

TEST(JsonPointerTest, Texts_that_are_no_pointer_are_refused) {
  for (const char* text : {"a", "a/b", "/~", "/a~2", "/~~0"}) EXPECT_EQ(At(text), "no pointer");
}
