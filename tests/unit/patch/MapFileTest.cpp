// SPDX-License-Identifier: Apache-2.0
// The map file: what is loaded, and into which tables.
#include "PatchTest.h"

namespace patch_test {
namespace {

using cloudclient::PatchMgr;
using cloudclient::PointPatchEntry;
using cloudclient::ResourceUrlEntry;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;
using testing::SizeIs;

class MapFileTest : public PatchTest {};

const char kExample[] = R"({
  "resourceUrls": [
    { "name": "thermal", "url": "/redfish/v1/Chassis/<chassisid>/Thermal",
      "resourcePatch": "patch/thermal",
      "resourceTag": "<chassisid>", "7dayAccum": true, "tempUomCelsius": true }
  ],
  "thermal": [
    { "id": 1201, "pldQueryArgs": "3,1,0,7,0",
      "patch": "{\"Temperatures\":[{\"ReadingCelsius\":%1}]}",
      "7dayTempAccum": true,
      "event": { "msgid": "TemperatureChanged", "message": "Temperature changed from %1 to %2",
                 "severity": "OK", "numargs": 2, "arg1": "", "arg1Type": "old",
                 "arg2": "temp1", "arg2Type": "pld" } }
  ]
})";

// The entry of a point that has no members but an id, a template "{%1}" and a document name "v".
PointPatchEntry PlainPoint() {
  PointPatchEntry entry;
  entry.pld = "v";
  entry.patch = "{%1}";
  return entry;
}

TEST_F(MapFileTest, Loads_every_member_of_the_example) {
  EXPECT_EQ(Load(kExample), 0);

  ResourceUrlEntry thermal;
  thermal.url = "/redfish/v1/Chassis/<chassisid>/Thermal";
  thermal.resourcePatch = "patch/thermal";
  thermal.resourceTag = "<chassisid>";
  thermal.accum7Day = true;
  thermal.tempUomCelsius = true;
  EXPECT_THAT(patch.GetMap().Resources(), ElementsAre(Pair("thermal", thermal)));

  PointPatchEntry point;
  point.pldQueryArgs = "3,1,0,7,0";
  point.patch = "{\"Temperatures\":[{\"ReadingCelsius\":%1}]}";
  point.msgid = "TemperatureChanged";
  point.message = "Temperature changed from %1 to %2";
  point.severity = "OK";
  point.arg1Type = "old";
  point.arg2 = "temp1";
  point.arg2Type = "pld";
  const int32_t args[] = {3, 1, 0, 7, 0};
  std::copy(std::begin(args), std::end(args), point.queryArgs);
  point.numArgs = 2;
  point.tempAccum = true;
  EXPECT_THAT(patch.GetMap().Points(), ElementsAre(Pair(1201, point)));
  EXPECT_THAT(patch.GetMap().PointResources(), ElementsAre(Pair(1201, "thermal")));
  EXPECT_THAT(patch.GetMap().History(), ElementsAre(Pair(1201, "0")));
  EXPECT_THAT(patch.GetAccumulators(), IsEmpty());
  EXPECT_THAT(Lines(), ElementsAre("7 AddEventInfoToPatch: adding pointId: 1201 to id history"));
}

TEST_F(MapFileTest, Starts_with_empty_tables) {
  EXPECT_THAT(patch.GetMap().Resources(), IsEmpty());
  EXPECT_THAT(patch.GetMap().Points(), IsEmpty());
  EXPECT_THAT(patch.GetMap().PointResources(), IsEmpty());
  EXPECT_THAT(patch.GetMap().History(), IsEmpty());
}

TEST_F(MapFileTest, Leaves_absent_members_of_a_point_empty) {
  EXPECT_EQ(Load(Map(kThermal, Point("7", R"("pld": "v")"))), 0);
  EXPECT_THAT(patch.GetMap().Points(), ElementsAre(Pair(7, PlainPoint())));
  EXPECT_THAT(patch.GetMap().History(), IsEmpty());
  EXPECT_THAT(Lines(), IsEmpty());
}

TEST_F(MapFileTest, Leaves_absent_flags_of_a_resource_off) {
  EXPECT_EQ(Load(Map(kThermal, "")), 0);
  ResourceUrlEntry thermal;
  thermal.url = "/redfish/v1/Chassis/<chassisid>/Thermal";
  thermal.resourcePatch = "patch/thermal";
  thermal.resourceTag = "<chassisid>";
  EXPECT_THAT(patch.GetMap().Resources(), ElementsAre(Pair("thermal", thermal)));
}

TEST_F(MapFileTest, Leaves_absent_strings_of_a_resource_empty) {
  EXPECT_EQ(Load(R"({"resourceUrls": [{"7dayAccum": true}, {"name": "a"}]})"), 0);
  ResourceUrlEntry nameless;
  nameless.accum7Day = true;
  EXPECT_THAT(patch.GetMap().Resources(),
              ElementsAre(Pair("", nameless), Pair("a", ResourceUrlEntry())));
  EXPECT_THAT(Lines(), IsEmpty());
}

TEST_F(MapFileTest, Sets_each_flag_by_its_own_key) {
  EXPECT_EQ(Load(Map(std::string(kThermal) + R"(, "tempUomCelsius": true)",
                     Point("1", R"("pld": "v", "7dayHumAccum": true)") + "," +
                         Point("2", R"("pld": "v", "7dayTempAccum": true)"))),
            0);
  EXPECT_FALSE(patch.GetMap().Resources().at("thermal").accum7Day);
  EXPECT_TRUE(patch.GetMap().Resources().at("thermal").tempUomCelsius);
  EXPECT_TRUE(patch.GetMap().Points().at(1).humAccum);
  EXPECT_FALSE(patch.GetMap().Points().at(1).tempAccum);
  EXPECT_FALSE(patch.GetMap().Points().at(2).humAccum);
  EXPECT_TRUE(patch.GetMap().Points().at(2).tempAccum);
}

TEST_F(MapFileTest, Takes_both_sources_of_a_value) {
  EXPECT_EQ(Load(Map(kThermal, Point("1", R"("pld": "v", "pldQueryArgs": "1,2,3,4,5")"))), 0);
  EXPECT_EQ(patch.GetMap().Points().at(1).pld, "v");
  EXPECT_EQ(patch.GetMap().Points().at(1).pldQueryArgs, "1,2,3,4,5");
}

TEST_F(MapFileTest, Takes_negative_ids_and_both_ends_of_the_range) {
  EXPECT_EQ(
      Load(Map(kThermal, Point("-1", R"("pld": "v")") + "," + Point("2147483647", R"("pld": "v")") +
                             "," + Point("-2147483648", R"("pld": "v")"))),
      0);
  EXPECT_THAT(
      patch.GetMap().PointResources(),
      ElementsAre(Pair(INT32_MIN, "thermal"), Pair(-1, "thermal"), Pair(INT32_MAX, "thermal")));
}

TEST_F(MapFileTest, Cuts_an_id_to_32_bits) {
  EXPECT_EQ(Load(Map(kThermal, Point("4294968497", R"("pld": "v")"))), 0);
  EXPECT_THAT(patch.GetMap().PointResources(), ElementsAre(Pair(1201, "thermal")));
}

TEST_F(MapFileTest, Keeps_the_first_resource_of_a_name) {
  EXPECT_EQ(Load(R"({"resourceUrls": [{"name": "a", "url": "/1"}, {"name": "a", "url": "/2"}]})"),
            0);
  EXPECT_THAT(patch.GetMap().Resources(), SizeIs(1));
  EXPECT_EQ(patch.GetMap().Resources().at("a").url, "/1");
  EXPECT_THAT(Lines(), IsEmpty());
}

TEST_F(MapFileTest, Keeps_the_first_point_of_an_id_within_a_group) {
  EXPECT_EQ(Load(Map(kThermal, Point("1", R"("pld": "v")") + "," + Point("1", R"("pld": "w")"))),
            0);
  EXPECT_THAT(patch.GetMap().Points(), ElementsAre(Pair(1, PlainPoint())));
  EXPECT_THAT(Lines(), IsEmpty());
}

TEST_F(MapFileTest, Keeps_the_first_point_of_an_id_over_groups_in_both_tables) {
  EXPECT_EQ(Load(R"({"resourceUrls": [], "zone": [)" + Point("1", R"("pld": "v")") +
                 R"(], "fan": [)" + Point("1", R"("pld": "w")") + "]}"),
            0);
  ASSERT_THAT(patch.GetMap().Points(), SizeIs(1));
  ASSERT_THAT(patch.GetMap().PointResources(), SizeIs(1));
  // Whichever group was met first, both tables tell of the same one.
  const std::string source = patch.GetMap().PointResources().at(1) == "zone" ? "v" : "w";
  EXPECT_EQ(patch.GetMap().Points().at(1).pld, source);
}

TEST_F(MapFileTest, Loads_the_last_of_two_groups_of_one_name) {
  EXPECT_EQ(Load(R"({"resourceUrls": [], "fan": [)" + Point("1", R"("pld": "v")") +
                 R"(], "fan": [)" + Point("2", R"("pld": "v")") + "]}"),
            0);
  EXPECT_THAT(patch.GetMap().PointResources(), ElementsAre(Pair(2, "fan")));
}

TEST_F(MapFileTest, Enrols_a_dropped_duplicate_in_the_id_history) {
  EXPECT_EQ(Load(Map(kThermal, Point("1", R"("pld": "v")") + "," +
                                   Point("1", R"("pld": "w", "event": {"msgid": "m",
                                                 "arg1Type": "old"})"))),
            0);
  EXPECT_THAT(patch.GetMap().Points(), ElementsAre(Pair(1, PlainPoint())));
  EXPECT_THAT(patch.GetMap().History(), ElementsAre(Pair(1, "0")));
}

TEST_F(MapFileTest, A_second_load_keeps_the_first_entries_and_adds_new_ones) {
  const std::string old = R"("event": {"msgid": "m", "arg1Type": "old"})";
  ASSERT_EQ(Load(Map(kThermal, Point("1", R"("pld": "v", )" + old))), 0);
  HasDocument("", "21.5");
  patch.InitIdHistoryValues(1, &client);
  ASSERT_THAT(patch.GetMap().History(), ElementsAre(Pair(1, "21.5")));

  EXPECT_EQ(
      Load(R"({"resourceUrls": [{"name": "thermal", "url": "/2"}, {"name": "fan"}], "fan": [)" +
           Point("1", R"("pld": "w", )" + old) + "," + Point("2", R"("pld": "w")") + "]}"),
      0);
  EXPECT_EQ(patch.GetMap().Resources().at("thermal").url,
            "/redfish/v1/Chassis/<chassisid>/Thermal");
  EXPECT_EQ(patch.GetMap().Resources().count("fan"), 1u);
  EXPECT_THAT(patch.GetMap().PointResources(), ElementsAre(Pair(1, "thermal"), Pair(2, "fan")));
  EXPECT_EQ(patch.GetMap().Points().at(1).pld, "v");
  EXPECT_THAT(patch.GetMap().History(), ElementsAre(Pair(1, "21.5")));
}

TEST_F(MapFileTest, A_failed_second_load_keeps_what_was_loaded) {
  Loaded(Map(kThermal, Point("1", R"("pld": "v")")));
  EXPECT_EQ(Load("{"), 2);
  EXPECT_THAT(patch.GetMap().Resources(), SizeIs(1));
  EXPECT_THAT(patch.GetMap().Points(), SizeIs(1));
}

TEST_F(MapFileTest, Keeps_query_arguments_only_when_they_convert) {
  EXPECT_EQ(Load(Map(kThermal, Point("1", R"("pld": "v", "pldQueryArgs": "1,2,x,4,5")"))), 0);
  EXPECT_EQ(patch.GetMap().Points().at(1).pldQueryArgs, "");
  EXPECT_EQ(patch.GetMap().Points().at(1).pld, "v");
  EXPECT_THAT(Lines(), ElementsAre("3 ConvertPldQueryArgs: Invalid pldQueryArgsStr argument list: "
                                   "1,2,x,4,5"));
}

TEST_F(MapFileTest, Loads_a_point_whose_short_query_arguments_leave_it_without_a_source) {
  EXPECT_EQ(Load(Map(kThermal, Point("1", R"("pldQueryArgs": "1,2,3")"))), 0);
  PointPatchEntry entry;
  entry.patch = "{%1}";
  EXPECT_THAT(patch.GetMap().Points(), ElementsAre(Pair(1, entry)));
  EXPECT_THAT(patch.GetMap().PointResources(), ElementsAre(Pair(1, "thermal")));
  EXPECT_THAT(Lines(),
              ElementsAre("3 ConvertPldQueryArgs:  pldQueryArgsStr argument list too short: 1,2,3"
                          "   Expected 5 args."));
}

TEST_F(MapFileTest, Loads_points_of_a_group_without_a_resource) {
  EXPECT_EQ(Load(R"({"resourceUrls": [], "fan": [)" + Point("1", R"("pld": "v")") + "]}"), 0);
  EXPECT_THAT(patch.GetMap().PointResources(), ElementsAre(Pair(1, "fan")));
  EXPECT_THAT(patch.GetMap().Points(), ElementsAre(Pair(1, PlainPoint())));
  EXPECT_THAT(patch.GetMap().Resources(), IsEmpty());
}

TEST_F(MapFileTest, Finds_the_resources_wherever_they_stand) {
  EXPECT_EQ(Load(R"({"thermal": [)" + Point("1", R"("pld": "v")") +
                 R"(], "resourceUrls": [{"name": "thermal"}]})"),
            0);
  EXPECT_THAT(patch.GetMap().Resources(), SizeIs(1));
  EXPECT_THAT(patch.GetMap().PointResources(), ElementsAre(Pair(1, "thermal")));
}

// Events of points.

TEST_F(MapFileTest, Takes_an_event_of_nothing_but_an_identifier) {
  EXPECT_EQ(Load(Map(kThermal, Point("1", R"("pld": "v", "event": {"msgid": "m"})"))), 0);
  PointPatchEntry entry = PlainPoint();
  entry.msgid = "m";
  EXPECT_THAT(patch.GetMap().Points(), ElementsAre(Pair(1, entry)));
}

TEST_F(MapFileTest, Ignores_an_event_with_an_empty_identifier_whole) {
  EXPECT_EQ(Load(Map(kThermal, Point("1", R"("pld": "v", "event": {"msgid": "", "message": "x",
              "severity": "OK", "numargs": 2, "arg1": "a", "arg1Type": "old", "arg2": "b",
              "arg2Type": "pld"})"))),
            0);
  EXPECT_THAT(patch.GetMap().Points(), ElementsAre(Pair(1, PlainPoint())));
  EXPECT_THAT(patch.GetMap().History(), IsEmpty());
  EXPECT_THAT(Lines(), IsEmpty());
}

TEST_F(MapFileTest, Ignores_an_event_without_an_identifier_whole) {
  EXPECT_EQ(Load(Map(kThermal, Point("1", R"("pld": "v", "event": {"message": "x",
              "numargs": 1, "arg1Type": "old"})"))),
            0);
  EXPECT_THAT(patch.GetMap().Points(), ElementsAre(Pair(1, PlainPoint())));
  EXPECT_THAT(patch.GetMap().History(), IsEmpty());
}

TEST_F(MapFileTest, Only_the_first_type_old_enrols_a_point) {
  EXPECT_EQ(
      Load(Map(kThermal,
               Point("1", R"("pld": "v", "event": {"msgid": "m", "arg1Type": "Old"})") + "," +
                   Point("2", R"("pld": "v", "event": {"msgid": "m", "arg2Type": "old"})") + "," +
                   Point("3", R"("pld": "v", "event": {"msgid": "m", "arg1Type": "old"})"))),
      0);
  EXPECT_THAT(patch.GetMap().History(), ElementsAre(Pair(3, "0")));
  EXPECT_THAT(Lines(), ElementsAre("7 AddEventInfoToPatch: adding pointId: 3 to id history"));
}

TEST_F(MapFileTest, AddEventInfoToPatch_resets_the_number_of_arguments) {
  PointPatchEntry entry;
  entry.numArgs = 2;
  patch.AddEventInfoToPatch(nullptr, entry, 1);
  EXPECT_EQ(entry.numArgs, 0);
}

// Values of the id history.

TEST_F(MapFileTest, Seeds_the_id_history_by_second_argument_as_a_document_name) {
  Loaded(Map(kThermal, Point("1", R"("pld": "own", "event": {"msgid": "m", "arg1Type": "old",
                           "arg2": "temp1", "arg2Type": "pldQueryArgs"})") +
                           "," + Point("2", R"("pld": "other")")));
  HasDocument("temp1", "21.5");
  patch.InitIdHistoryValues(3, nullptr);
  EXPECT_THAT(patch.GetMap().History(), ElementsAre(Pair(1, "21.5")));
  ASSERT_THAT(platform().pages.asked, SizeIs(1));
  EXPECT_EQ(platform().pages.asked[0].query, "op1=temp1");
  EXPECT_EQ(platform().pages.asked[0].page, kValuePage);
  EXPECT_EQ(platform().pages.asked[0].velId, 3);
  EXPECT_THAT(Lines(), IsEmpty());
}

TEST_F(MapFileTest, A_value_that_can_not_be_had_leaves_the_id_history_at_0) {
  Loaded(Map(kThermal, Point("1", R"("pld": "own", "event": {"msgid": "m", "arg1Type": "old",
                                     "arg2": "temp1"})")));
  patch.InitIdHistoryValues(3, nullptr);
  EXPECT_THAT(patch.GetMap().History(), ElementsAre(Pair(1, "0")));
  EXPECT_THAT(Lines(), ElementsAre("3 GetPointValuePld: Failed to get pld(temp1)"));
}

}  // namespace
}  // namespace patch_test
