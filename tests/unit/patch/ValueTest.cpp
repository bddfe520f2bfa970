// SPDX-License-Identifier: Apache-2.0
// Values of points as the device-data engine tells them.
#include "PatchTest.h"

namespace fakes {

bool operator==(const PointQuery& a, const PointQuery& b) {
  return a.device == b.device && a.point == b.point && a.arg2 == b.arg2 && a.arg3 == b.arg3 &&
         a.arg4 == b.arg4 && a.arg5 == b.arg5 && a.reserved == b.reserved;
}

void PrintTo(const PointQuery& query, std::ostream* out) {
  *out << "{device " << query.device << ", " << query.point << "," << query.arg2 << ","
       << query.arg3 << "," << query.arg4 << "," << query.arg5 << ", " << query.reserved << "}";
}

}  // namespace fakes

namespace patch_test {
namespace {

using cloudclient::PointPatchEntry;
using fakes::PointQuery;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

class ValueTest : public PatchTest {
 protected:
  std::vector<int32_t> Converted(const std::string& text, int32_t expected) {
    std::vector<int32_t> args(7, -7);
    EXPECT_EQ(patch.ConvertPldQueryArgs(text, args.data(), 5), expected);
    return args;
  }

  // A point that is read by query arguments.
  static PointPatchEntry ByArgs(std::initializer_list<int32_t> args) {
    PointPatchEntry entry;
    entry.pld = "unused";
    entry.pldQueryArgs = "told by the numbers";
    std::copy(args.begin(), args.end(), entry.queryArgs);
    return entry;
  }

  static PointPatchEntry ByName(const std::string& name) {
    PointPatchEntry entry;
    entry.pld = name;
    return entry;
  }
};

// Query arguments.

TEST_F(ValueTest, Converts_five_pieces) {
  EXPECT_THAT(Converted("3,-1,+0,2147483647,-2147483648", 0),
              ElementsAre(3, -1, 0, INT32_MAX, INT32_MIN, -7, -7));
  EXPECT_THAT(Lines(), IsEmpty());
}

TEST_F(ValueTest, Ignores_pieces_beyond_the_fifth) {
  EXPECT_THAT(Converted("1,2,3,4,5,6", 0), ElementsAre(1, 2, 3, 4, 5, -7, -7));
  EXPECT_THAT(Converted("1,2,3,4,5,x,", 0), ElementsAre(1, 2, 3, 4, 5, -7, -7));
  EXPECT_THAT(Lines(), IsEmpty());
}

TEST_F(ValueTest, Refuses_a_short_list_untouched) {
  EXPECT_THAT(Converted("1,2", -1), ElementsAre(-7, -7, -7, -7, -7, -7, -7));
  EXPECT_THAT(Converted("1,2,3,4", -1), ElementsAre(-7, -7, -7, -7, -7, -7, -7));
  EXPECT_THAT(Converted("", -1), ElementsAre(-7, -7, -7, -7, -7, -7, -7));
  EXPECT_THAT(Lines(),
              ElementsAre("3 ConvertPldQueryArgs:  pldQueryArgsStr argument list too short: 1,2   "
                          "Expected 5 args.",
                          "3 ConvertPldQueryArgs:  pldQueryArgsStr argument list too short: "
                          "1,2,3,4   Expected 5 args.",
                          "3 ConvertPldQueryArgs:  pldQueryArgsStr argument list too short:    "
                          "Expected 5 args."));
}

TEST_F(ValueTest, Keeps_the_pieces_before_the_one_that_does_not_convert) {
  EXPECT_THAT(Converted("1,2,x,4,5", -1), ElementsAre(1, 2, -7, -7, -7, -7, -7));
  EXPECT_THAT(Lines(), ElementsAre("3 ConvertPldQueryArgs: Invalid pldQueryArgsStr argument list: "
                                   "1,2,x,4,5"));
}

TEST_F(ValueTest, Refuses_what_is_not_quite_a_number) {
  for (const char* const text : {"1,2,3,4,", "1,2,3, 4,5", "1,2,,4,5", "1,2,3,4,2147483648"}) {
    Converted(text, -1);
  }
  EXPECT_THAT(Lines(), SizeIs(4));
}

TEST_F(ValueTest, Converts_as_many_pieces_as_asked) {
  int32_t args[] = {-7, -7, -7};
  EXPECT_EQ(patch.ConvertPldQueryArgs("1,2", args, 2), 0);
  EXPECT_THAT(args, ElementsAre(1, 2, -7));
  EXPECT_EQ(patch.ConvertPldQueryArgs("1", args, 2), -1);
  EXPECT_THAT(Lines(), ElementsAre("3 ConvertPldQueryArgs:  pldQueryArgsStr argument list too "
                                   "short: 1   Expected 2 args."));
}

// By query arguments.

TEST_F(ValueTest, Is_queried_by_the_points_arguments) {
  platform().proxy.points[1201] = "21.5";
  EXPECT_EQ(patch.GetPointValue(17, ByArgs({1201, 1, 2, 7, 5})), "21.5");
  EXPECT_THAT(platform().proxy.pointsAsked, ElementsAre(PointQuery{17, 1201, 1, 2, 7, 5, 0}));
  EXPECT_THAT(platform().pages.asked, IsEmpty());
  EXPECT_THAT(Lines(), IsEmpty());
}

TEST_F(ValueTest, Cuts_all_arguments_but_the_fourth_to_16_bits) {
  const int32_t wide = 0x12348001;
  patch.GetPointValue(0x00050011, ByArgs({wide, wide + 1, wide + 2, wide + 3, wide + 4}));
  EXPECT_THAT(platform().proxy.pointsAsked,
              ElementsAre(PointQuery{0x11, 0x8001, 0x8002, 0x8003, wide + 3,
                                     static_cast<int16_t>(0x8005), 0}));
}

TEST_F(ValueTest, Cuts_negative_arguments) {
  patch.GetPointValue(-1, ByArgs({-1, -2, -3, -4, -5}));
  EXPECT_THAT(platform().proxy.pointsAsked,
              ElementsAre(PointQuery{0xFFFF, 0xFFFF, 0xFFFE, 0xFFFD, -4, -5, 0}));
}

TEST_F(ValueTest, A_failed_query_is_worth_nothing) {
  EXPECT_EQ(patch.GetPointValue(1, ByArgs({70001, 1, 0, 0, 0})), "");
  EXPECT_THAT(Lines(),
              ElementsAre("3 GetPointValue: Error retrieving value for point 70001 from PLD "
                          "engine"));
}

TEST_F(ValueTest, A_failed_query_is_worth_what_it_left) {
  LeavingProxy proxy;
  patch.SetPldProxy(&proxy);
  EXPECT_EQ(patch.GetPointValue(1, ByArgs({7, 1, 0, 0, 0})), "left");
  EXPECT_THAT(Lines(),
              ElementsAre("3 GetPointValue: Error retrieving value for point 7 from PLD engine"));
}

TEST_F(ValueTest, Keeps_line_ends_and_quotes_of_a_queried_text) {
  platform().proxy.points[7] = "\"a\"\r\n";
  EXPECT_EQ(patch.GetPointValue(1, ByArgs({7, 1, 0, 0, 0})), "\"a\"\r\n");
}

TEST_F(ValueTest, Without_a_proxy_a_query_fails) {
  patch.SetPldProxy(nullptr);
  EXPECT_EQ(patch.GetPointValue(1, ByArgs({7, 1, 0, 0, 0})), "");
  EXPECT_THAT(Lines(),
              ElementsAre("3 GetPointValue: Error retrieving value for point 7 from PLD engine"));
}

TEST_F(ValueTest, A_fresh_manager_has_no_proxy) {
  cloudclient::PatchMgr fresh;
  EXPECT_EQ(fresh.GetPointValue(1, ByArgs({7, 1, 0, 0, 0})), "");
  EXPECT_EQ(fresh.GetPointValuePld(1, ByName("v")), "0");
  EXPECT_THAT(platform().proxy.pointsAsked, IsEmpty());
  EXPECT_THAT(platform().pages.asked, IsEmpty());
}

// By the text of query arguments.

TEST_F(ValueTest, Is_queried_by_a_text_of_arguments) {
  platform().proxy.points[7] = "on";
  EXPECT_EQ(patch.GetPointValueQueryArgsStr(3, "65543,1,2,65539,-5"), "on");
  EXPECT_THAT(platform().proxy.pointsAsked, ElementsAre(PointQuery{3, 7, 1, 2, 65539, -5, 0}));
  EXPECT_THAT(Lines(), IsEmpty());
}

TEST_F(ValueTest, A_text_of_arguments_that_does_not_convert_asks_nothing) {
  EXPECT_EQ(patch.GetPointValueQueryArgsStr(3, "1,2"), "");
  EXPECT_EQ(patch.GetPointValueQueryArgsStr(3, "1,2,3,4,x"), "");
  EXPECT_THAT(platform().proxy.pointsAsked, IsEmpty());
  EXPECT_THAT(Lines(),
              ElementsAre("3 ConvertPldQueryArgs:  pldQueryArgsStr argument list too short: 1,2   "
                          "Expected 5 args.",
                          "3 ConvertPldQueryArgs: Invalid pldQueryArgsStr argument list: "
                          "1,2,3,4,x"));
}

TEST_F(ValueTest, A_failed_query_by_text_names_its_operation) {
  EXPECT_EQ(patch.GetPointValueQueryArgsStr(3, "7,1,0,0,0"), "");
  EXPECT_THAT(Lines(), ElementsAre("3 GetPointValueQueryArgsStr: Error retrieving value for point "
                                   "7 from PLD engine"));
}

TEST_F(ValueTest, A_failed_query_by_text_is_worth_what_it_left) {
  LeavingProxy proxy;
  patch.SetPldProxy(&proxy);
  EXPECT_EQ(patch.GetPointValueQueryArgsStr(3, "7,1,0,0,0"), "left");
}

// By document name.

TEST_F(ValueTest, Is_read_by_document_name) {
  platform().pages.texts["httpGetSet/httpGet.htm?op1=supply"] = "op1=\"21.5\"";
  EXPECT_EQ(patch.GetPointValue(65537, ByName("supply")), "21.5");
  ASSERT_THAT(platform().pages.asked, SizeIs(1));
  EXPECT_EQ(platform().pages.asked[0].query, "op1=supply");
  EXPECT_EQ(platform().pages.asked[0].page, "httpGetSet/httpGet.htm");
  EXPECT_EQ(platform().pages.asked[0].velId, 65537);
  EXPECT_TRUE(platform().pages.asked[0].hasProxy);
  EXPECT_THAT(platform().proxy.pointsAsked, IsEmpty());
  EXPECT_THAT(Lines(), IsEmpty());
}

TEST_F(ValueTest, By_document_name_goes_past_query_arguments) {
  HasDocument("unused", "5");
  EXPECT_EQ(patch.GetPointValuePld(1, ByArgs({7, 1, 0, 0, 0})), "5");
  EXPECT_THAT(platform().proxy.pointsAsked, IsEmpty());
}

TEST_F(ValueTest, A_document_that_can_not_be_had_is_worth_0) {
  EXPECT_EQ(patch.GetPointValuePld(1, ByName("supply")), "0");
  EXPECT_THAT(Lines(), ElementsAre("3 GetPointValuePld: Failed to get pld(supply)"));
}

TEST_F(ValueTest, A_point_without_a_source_still_asks_for_a_document) {
  EXPECT_EQ(patch.GetPointValue(1, PointPatchEntry()), "0");
  EXPECT_THAT(DocumentsAsked(), ElementsAre("op1="));
  EXPECT_THAT(Lines(), ElementsAre("3 GetPointValuePld: Failed to get pld()"));
}

TEST_F(ValueTest, A_document_without_an_equals_sign_is_worth_0_without_a_message) {
  platform().pages.texts[kValuePage] = "\"21.5\"";
  EXPECT_EQ(patch.GetPointValuePld(1, ByName("v")), "0");
  EXPECT_THAT(Lines(), IsEmpty());
}

TEST_F(ValueTest, Is_everything_behind_the_first_equals_sign_without_quotes) {
  platform().pages.texts[kValuePage] = "\"op1\"=\"a=\"\"b\" c\r\n\"";
  EXPECT_EQ(patch.GetPointValuePld(1, ByName("v")), "a=b c\r\n");
}

TEST_F(ValueTest, Keeps_a_line_end_behind_the_closing_quote) {
  platform().pages.texts[kValuePage] = "op1=\"21.5\"\n";
  EXPECT_EQ(patch.GetPointValuePld(1, ByName("v")), "21.5\n");
  platform().pages.texts[kValuePage] = "op1=\"21.5\" \r\n";
  EXPECT_EQ(patch.GetPointValuePld(1, ByName("v")), "21.5 \r\n");
}

TEST_F(ValueTest, May_be_empty_behind_the_equals_sign) {
  platform().pages.texts[kValuePage] = "op1=\"\"";
  EXPECT_EQ(patch.GetPointValuePld(1, ByName("v")), "");
  EXPECT_THAT(Lines(), IsEmpty());
}

TEST_F(ValueTest, Without_a_proxy_no_document_can_be_had) {
  HasDocument("v", "5");
  patch.SetPldProxy(nullptr);
  EXPECT_EQ(patch.GetPointValuePld(1, ByName("v")), "0");
  EXPECT_THAT(Lines(), ElementsAre("3 GetPointValuePld: Failed to get pld(v)"));
}

}  // namespace
}  // namespace patch_test
