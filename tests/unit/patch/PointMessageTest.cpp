// SPDX-License-Identifier: Apache-2.0
// Messages of point events and their arguments.
#include <ostream>

#include "PatchTest.h"

namespace patch_test {
namespace {

using cloudclient::PointPatchEntry;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;
using testing::SizeIs;

class PointMessageTest : public PatchTest {
 protected:
  void SetUp() override {
    PatchTest::SetUp();
    HasDocument("A", "a");
    HasDocument("B", "b");
    platform().proxy.points = {{11, "qa"}, {12, "qb"}};
  }

  std::string Built(const PointPatchEntry& entry, int32_t pointId = 1) {
    arg1.clear();
    arg2.clear();
    return patch.BuildEventMessage(3, pointId, entry, arg1, arg2);
  }

  // An event whose arguments are the documents A and B.
  static PointPatchEntry Event(const std::string& message, int32_t numArgs) {
    PointPatchEntry entry;
    entry.message = message;
    entry.numArgs = numArgs;
    entry.arg1 = "A";
    entry.arg1Type = "pld";
    entry.arg2 = "B";
    entry.arg2Type = "pld";
    return entry;
  }

  std::string arg1;
  std::string arg2;
};

TEST_F(PointMessageTest, Of_no_arguments_is_empty_and_asks_nothing) {
  EXPECT_EQ(Built(Event("text %1 %2", 0)), "");
  EXPECT_EQ(Built(Event("text", -1)), "");
  EXPECT_EQ(arg1, "");
  EXPECT_EQ(arg2, "");
  EXPECT_THAT(platform().pages.asked, IsEmpty());
}

TEST_F(PointMessageTest, Of_one_argument) {
  EXPECT_EQ(Built(Event("from %1 on %2.", 1)), "from a on %2.");
  EXPECT_EQ(arg1, "a");
  EXPECT_EQ(arg2, "");
  EXPECT_THAT(DocumentsAsked(), ElementsAre("op1=A"));
  EXPECT_EQ(platform().pages.asked[0].velId, 3);
}

TEST_F(PointMessageTest, Of_one_argument_keeps_a_second_first_placeholder) {
  EXPECT_EQ(Built(Event("%1%1", 1)), "a%1");
}

TEST_F(PointMessageTest, Of_two_arguments_takes_the_second_position_as_a_length) {
  EXPECT_EQ(Built(Event("%1 to %2", 2)), "a to %2b");
  EXPECT_EQ(arg1, "a");
  EXPECT_EQ(arg2, "b");
  EXPECT_THAT(DocumentsAsked(), ElementsAre("op1=A", "op1=B"));
}

TEST_F(PointMessageTest, Of_two_arguments_appends_the_tail_again) {
  // Positions 2 and 7: the middle is the seven characters from position 4.
  EXPECT_EQ(Built(Event("x %1 to%2 yz", 2)), "x a to%2 yb yz");
}

TEST_F(PointMessageTest, Of_three_arguments_is_one_of_two) {
  EXPECT_EQ(Built(Event("%1 to %2 %3", 3)), "a to %2b %3");
  EXPECT_EQ(Built(Event("%1 to %2", INT32_MAX)), "a to %2b");
}

// Missing placeholders stand at the message's end.

TEST_F(PointMessageTest, Without_its_placeholder_ends_in_the_argument) {
  EXPECT_EQ(Built(Event("text", 1)), "texta");
  EXPECT_EQ(Built(Event("", 1)), "a");
}

TEST_F(PointMessageTest, Without_the_second_placeholder) {
  EXPECT_EQ(Built(Event("x %1 y", 2)), "x a yb");
  EXPECT_EQ(Built(Event("x %1", 2)), "x ab");
}

TEST_F(PointMessageTest, Without_the_first_placeholder) {
  EXPECT_EQ(Built(Event("x %2 y", 2)), "x %2 yab y");
}

TEST_F(PointMessageTest, Without_placeholders) {
  EXPECT_EQ(Built(Event("text", 2)), "textab");
  EXPECT_EQ(Built(Event("", 2)), "ab");
}

TEST_F(PointMessageTest, With_placeholders_in_the_other_order) {
  EXPECT_EQ(Built(Event("%2 %1", 2)), "%2 ab %1");
  EXPECT_EQ(Built(Event("a%2 %1.", 2)), "a%2 a.b %1.");
}

TEST_F(PointMessageTest, That_ends_in_half_a_placeholder) {
  EXPECT_EQ(Built(Event("%", 1)), "%a");
  EXPECT_EQ(Built(Event("%1%", 2)), "a%b");
}

// Every combination of types. What a second argument of no known type shows is the first again.

struct Types {
  const char* first;
  const char* second;
  const char* message;  // of "%1-%2.", whose middle is "-%2"
  const char* arg1;
  const char* arg2;
};

std::ostream& operator<<(std::ostream& out, const Types& types) {
  return out << (*types.first == 0 ? "none" : types.first) << "_and_"
             << (*types.second == 0 ? "none" : types.second);
}

std::string TypesNameOf(const testing::TestParamInfo<Types>& types) {
  return testing::PrintToString(types.param);
}

class PointMessageTypesTest : public PointMessageTest, public testing::WithParamInterface<Types> {};

TEST_P(PointMessageTypesTest, Follow_the_first_type_but_for_pld) {
  const Types& types = GetParam();
  Loaded(Map(kThermal, Point("1", R"("pld": "v", "event": {"msgid": "m", "arg1Type": "old",
                                     "arg2": "A"})")));
  patch.InitIdHistoryValues(3, &client);
  PointPatchEntry entry = Event("%1-%2.", 2);
  entry.arg1Type = types.first;
  entry.arg2Type = types.second;
  if (entry.arg1Type == "pldQueryArgs") {
    entry.arg1 = "11,1,0,0,0";
    if (entry.arg2Type != "pld") entry.arg2 = "12,1,0,0,0";
  }
  EXPECT_EQ(Built(entry), types.message);
  EXPECT_EQ(arg1, types.arg1);
  EXPECT_EQ(arg2, types.arg2);
  const bool replaces = entry.arg1Type == "old" && entry.arg2Type == "pld";
  EXPECT_THAT(patch.GetMap().History(), ElementsAre(Pair(1, replaces ? "b" : "a")));
}

INSTANTIATE_TEST_SUITE_P(
    Combinations, PointMessageTypesTest,
    testing::Values(Types{"pld", "pld", "a-%2b.", "a", "b"},
                    Types{"pld", "pldQueryArgs", "a-%2a.", "a", ""},
                    Types{"pld", "old", "a-%2a.", "a", ""}, Types{"pld", "", "a-%2a.", "a", ""},
                    Types{"pldQueryArgs", "pld", "qa-%2b.", "qa", "b"},
                    Types{"pldQueryArgs", "pldQueryArgs", "qa-%2qb.", "qa", "qb"},
                    Types{"pldQueryArgs", "old", "qa-%2qb.", "qa", "qb"},
                    Types{"pldQueryArgs", "", "qa-%2qb.", "qa", "qb"},
                    Types{"old", "pld", "a-%2b.", "a", "b"},
                    Types{"old", "pldQueryArgs", "a-%2a.", "a", ""},
                    Types{"old", "old", "a-%2a.", "a", ""}, Types{"old", "", "a-%2a.", "a", ""},
                    Types{"", "pld", "-%2b.", "", "b"}, Types{"", "pldQueryArgs", "-%2.", "", ""},
                    Types{"PLD", "old", "-%2.", "", ""}, Types{"", "", "-%2.", "", ""}),
    TypesNameOf);

TEST_F(PointMessageTest, Of_query_arguments_asks_the_device_for_them) {
  PointPatchEntry entry = Event("%1", 1);
  entry.arg1Type = "pldQueryArgs";
  entry.arg1 = "11,1,2,7,5";
  EXPECT_EQ(Built(entry), "qa");
  ASSERT_THAT(platform().proxy.pointsAsked, SizeIs(1));
  EXPECT_EQ(platform().proxy.pointsAsked[0].device, 3);
  EXPECT_EQ(platform().proxy.pointsAsked[0].point, 11);
  EXPECT_EQ(platform().proxy.pointsAsked[0].arg5, 5);
}

TEST_F(PointMessageTest, Tells_what_can_not_be_read) {
  PointPatchEntry entry = Event("%1|%2", 2);
  entry.arg1Type = "pldQueryArgs";
  entry.arg1 = "1,2";
  entry.arg2Type = "pldQueryArgs";
  entry.arg2 = "99,1,0,0,0";
  EXPECT_EQ(Built(entry), "|%2");
  EXPECT_THAT(Lines(),
              ElementsAre("3 ConvertPldQueryArgs:  pldQueryArgsStr argument list too short: 1,2   "
                          "Expected 5 args.",
                          "3 GetPointValueQueryArgsStr: Error retrieving value for point 99 from "
                          "PLD engine"));
}

TEST_F(PointMessageTest, Shows_0_for_a_document_that_can_not_be_had) {
  PointPatchEntry entry = Event("%1", 1);
  entry.arg1 = "gone";
  EXPECT_EQ(Built(entry), "0");
  EXPECT_EQ(arg1, "0");
  EXPECT_THAT(Lines(), ElementsAre("3 GetPointValuePld: Failed to get pld(gone)"));
}

TEST_F(PointMessageTest, A_first_argument_of_no_known_type_is_not_handed_out) {
  PointPatchEntry entry = Event("%1|", 1);
  entry.arg1Type = "other";
  arg1 = "before";
  EXPECT_EQ(patch.BuildEventMessage(3, 1, entry, arg1, arg2), "|");
  EXPECT_EQ(arg1, "before");
}

TEST_F(PointMessageTest, A_second_argument_that_is_the_first_again_is_not_handed_out) {
  PointPatchEntry entry = Event("%1|%2", 2);
  entry.arg2Type = "other";
  arg2 = "before";
  EXPECT_EQ(patch.BuildEventMessage(3, 1, entry, arg1, arg2), "a|%2a");
  EXPECT_EQ(arg2, "before");
}

// The id history.

TEST_F(PointMessageTest, An_absent_old_value_is_empty_and_made) {
  PointPatchEntry entry = Event("[%1]", 1);
  entry.arg1Type = "old";
  EXPECT_EQ(Built(entry, 8), "[]");
  EXPECT_THAT(patch.GetMap().History(), ElementsAre(Pair(8, "")));
}

TEST_F(PointMessageTest, The_new_value_of_one_change_is_the_old_one_of_the_next) {
  PointPatchEntry entry = Event("%1>%2", 2);
  entry.arg1Type = "old";
  Loaded(Map(kThermal, Point("1", R"("pld": "v", "event": {"msgid": "m", "arg1Type": "old"})")));
  EXPECT_EQ(Built(entry), "0>%2b");
  HasDocument("B", "c");
  EXPECT_EQ(Built(entry), "b>%2c");
  EXPECT_EQ(arg1, "b");
  EXPECT_EQ(arg2, "c");
  EXPECT_THAT(patch.GetMap().History(), ElementsAre(Pair(1, "c")));
}

TEST_F(PointMessageTest, One_old_argument_leaves_the_history) {
  PointPatchEntry entry = Event("%1", 1);
  entry.arg1Type = "old";
  Loaded(Map(kThermal, Point("1", R"("pld": "v", "event": {"msgid": "m", "arg1Type": "old"})")));
  EXPECT_EQ(Built(entry), "0");
  EXPECT_EQ(Built(entry), "0");
  EXPECT_THAT(patch.GetMap().History(), ElementsAre(Pair(1, "0")));
}

}  // namespace
}  // namespace patch_test
