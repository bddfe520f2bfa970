// SPDX-License-Identifier: Apache-2.0
// The map file: a wrong type for each of its keys.
#include "PatchTest.h"

namespace patch_test {
namespace {

using cloudclient::PointPatchEntry;
using cloudclient::ResourceUrlEntry;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;
using testing::SizeIs;

// A JSON text, and what it is.
struct Json {
  const char* name;
  const char* text;
};

std::ostream& operator<<(std::ostream& out, const Json& json) { return out << json.name; }

const Json kNoTexts[] = {{"integer", "5"},
                         {"real", "2.5"},
                         {"true", "true"},
                         {"false", "false"},
                         {"null", "null"},
                         {"array", "[\"x\"]"},
                         {"object", "{\"x\": \"y\"}"}};
const Json kNoArrays[] = {{"integer", "5"},
                          {"true", "true"},
                          {"null", "null"},
                          {"text", "\"id\""},
                          {"object", "{\"x\": [{\"id\": 1}]}"}};
const Json kNotTrue[] = {
    {"text", "\"true\""}, {"integer", "1"}, {"real", "1.0"},     {"empty_text", "\"\""},
    {"false", "false"},   {"null", "null"}, {"array", "[true]"}, {"object", "{\"true\": true}"}};
const Json kNoIntegers[] = {{"text", "\"1201\""}, {"real", "1201.0"},
                            {"true", "true"},     {"null", "null"},
                            {"array", "[1201]"},  {"object", "{\"id\": 1201}"}};
const Json kNoObjects[] = {{"integer", "5"},
                           {"real", "2.5"},
                           {"true", "true"},
                           {"null", "null"},
                           {"text", "\"resourceUrls\""},
                           {"empty_array", "[]"},
                           {"array", "[{\"id\": 1}]"}};

// Loads with each of several JSON texts in place of one value.
class MapTypeTest : public PatchTest, public testing::WithParamInterface<Json> {
 protected:
  std::string Value() const { return GetParam().text; }
};

std::string NameOf(const testing::TestParamInfo<Json>& info) { return info.param.name; }

class MapTextTest : public MapTypeTest {};

TEST_P(MapTextTest, A_resource_reads_as_empty_what_is_no_text) {
  const char* const keys[] = {"name", "url", "resourcePatch", "resourceTag"};
  for (const char* const wrong : keys) {
    cloudclient::PatchMgr fresh;
    std::string members;
    for (const char* const key : keys) {
      const std::string value = key == wrong ? Value() : "\"" + std::string(key) + "\"";
      members += (members.empty() ? "\"" : ", \"") + std::string(key) + "\": " + value;
    }
    Write(R"({"resourceUrls": [{)" + members + "}]}");
    EXPECT_EQ(fresh.InitCovPatchMaps(kMapPath), 0);
    ResourceUrlEntry entry;
    entry.url = wrong == keys[1] ? "" : "url";
    entry.resourcePatch = wrong == keys[2] ? "" : "resourcePatch";
    entry.resourceTag = wrong == keys[3] ? "" : "resourceTag";
    EXPECT_THAT(fresh.GetMap().Resources(),
                ElementsAre(Pair(wrong == keys[0] ? "" : "name", entry)));
  }
  EXPECT_THAT(Lines(), IsEmpty());
}

TEST_P(MapTextTest, A_point_reads_as_empty_what_is_no_text) {
  EXPECT_EQ(Load(Map(kThermal, R"({"id": 1, "pld": )" + Value() + R"(, "patch": "p"}, )" +
                                   R"({"id": 2, "pld": "v", "patch": )" + Value() + "}")),
            0);
  PointPatchEntry nameless;
  nameless.patch = "p";
  PointPatchEntry withoutTemplate;
  withoutTemplate.pld = "v";
  EXPECT_THAT(patch.GetMap().Points(), ElementsAre(Pair(1, nameless), Pair(2, withoutTemplate)));
  EXPECT_THAT(Lines(), IsEmpty());
}

TEST_P(MapTextTest, Query_arguments_that_are_no_text_are_too_short) {
  EXPECT_EQ(Load(Map(kThermal, Point("1", R"("pldQueryArgs": )" + Value()))), 0);
  PointPatchEntry entry;
  entry.patch = "{%1}";
  EXPECT_THAT(patch.GetMap().Points(), ElementsAre(Pair(1, entry)));
  EXPECT_THAT(Lines(),
              ElementsAre("3 ConvertPldQueryArgs:  pldQueryArgsStr argument list too short: "
                          "   Expected 5 args."));
}

TEST_P(MapTextTest, An_event_reads_as_empty_what_is_no_text) {
  const std::string wrong = Value();
  EXPECT_EQ(Load(Map(kThermal, Point("1", R"("pld": "v", "event": {"msgid": "m", "numargs": 1,
                     "message": )" + wrong + R"(, "severity": )" +
                                              wrong + R"(, "arg1": )" + wrong +
                                              R"(, "arg1Type": )" + wrong + R"(, "arg2": )" +
                                              wrong + R"(, "arg2Type": )" + wrong + "}"))),
            0);
  PointPatchEntry entry;
  entry.patch = "{%1}";
  entry.pld = "v";
  entry.msgid = "m";
  entry.numArgs = 1;
  EXPECT_THAT(patch.GetMap().Points(), ElementsAre(Pair(1, entry)));
  EXPECT_THAT(patch.GetMap().History(), IsEmpty());
}

TEST_P(MapTextTest, An_identifier_that_is_no_text_leaves_the_event_out) {
  EXPECT_EQ(Load(Map(kThermal, Point("1", R"("pld": "v", "event": {"msgid": )" + Value() +
                                              R"(, "message": "x", "arg1Type": "old"})"))),
            0);
  EXPECT_EQ(patch.GetMap().Points().at(1).msgid, "");
  EXPECT_EQ(patch.GetMap().Points().at(1).message, "");
  EXPECT_THAT(patch.GetMap().History(), IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(Values, MapTextTest, testing::ValuesIn(kNoTexts), NameOf);

class MapArrayTest : public MapTypeTest {};

TEST_P(MapArrayTest, A_group_that_is_no_array_is_skipped) {
  EXPECT_EQ(Load(R"({"resourceUrls": [], "thermal": )" + Value() + R"(, "fan": [)" +
                 Point("2", R"("pld": "v")") + "]}"),
            0);
  EXPECT_THAT(patch.GetMap().PointResources(), ElementsAre(Pair(2, "fan")));
  EXPECT_THAT(Lines(), IsEmpty());
}

TEST_P(MapArrayTest, Resources_that_are_no_array_are_none) {
  EXPECT_EQ(
      Load(R"({"resourceUrls": )" + Value() + R"(, "fan": [)" + Point("2", R"("pld": "v")") + "]}"),
      0);
  EXPECT_THAT(patch.GetMap().Resources(), IsEmpty());
  EXPECT_THAT(patch.GetMap().PointResources(), ElementsAre(Pair(2, "fan")));
  EXPECT_THAT(Lines(), IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(Values, MapArrayTest, testing::ValuesIn(kNoArrays), NameOf);

class MapFlagTest : public MapTypeTest {};

TEST_P(MapFlagTest, Only_true_sets_a_flag) {
  const std::string wrong = Value();
  EXPECT_EQ(Load(Map(R"("7dayAccum": )" + wrong + R"(, "tempUomCelsius": )" + wrong,
                     Point("1", R"("pld": "v", "7dayTempAccum": )" + wrong +
                                    R"(, "7dayHumAccum": )" + wrong))),
            0);
  EXPECT_FALSE(patch.GetMap().Resources().at("thermal").accum7Day);
  EXPECT_FALSE(patch.GetMap().Resources().at("thermal").tempUomCelsius);
  EXPECT_FALSE(patch.GetMap().Points().at(1).tempAccum);
  EXPECT_FALSE(patch.GetMap().Points().at(1).humAccum);
  EXPECT_THAT(Lines(), IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(Values, MapFlagTest, testing::ValuesIn(kNotTrue), NameOf);

class MapIntegerTest : public MapTypeTest {};

TEST_P(MapIntegerTest, An_id_that_is_no_integer_costs_the_point_and_not_the_result) {
  EXPECT_EQ(
      Load(Map(kThermal, Point(Value(), R"("pld": "v")") + "," + Point("2", R"("pld": "v")"))), 0);
  EXPECT_THAT(patch.GetMap().PointResources(), ElementsAre(Pair(2, "thermal")));
  EXPECT_THAT(Lines(), ElementsAre("3 InitIdToResAndPatchMaps: id is not type integer"));
}

TEST_P(MapIntegerTest, A_number_of_arguments_that_is_no_integer_is_0) {
  EXPECT_EQ(Load(Map(kThermal, Point("1", R"("pld": "v", "event": {"msgid": "m", "numargs": )" +
                                              Value() + "}"))),
            0);
  EXPECT_EQ(patch.GetMap().Points().at(1).numArgs, 0);
  EXPECT_EQ(patch.GetMap().Points().at(1).msgid, "m");
}

INSTANTIATE_TEST_SUITE_P(Values, MapIntegerTest, testing::ValuesIn(kNoIntegers), NameOf);

// Events and elements that are no objects.
class MapObjectTest : public MapTypeTest {};

TEST_P(MapObjectTest, An_event_that_is_no_object_is_left_out) {
  EXPECT_EQ(Load(Map(kThermal, Point("1", R"("pld": "v", "event": )" + Value()))), 0);
  EXPECT_THAT(patch.GetMap().PointResources(), SizeIs(1));
  EXPECT_EQ(patch.GetMap().Points().at(1).msgid, "");
  EXPECT_THAT(Lines(), IsEmpty());
}

TEST_P(MapObjectTest, A_point_that_is_no_object_has_no_id) {
  EXPECT_EQ(Load(Map(kThermal, Value() + "," + Point("2", R"("pld": "v")"))), 1);
  EXPECT_THAT(patch.GetMap().PointResources(), ElementsAre(Pair(2, "thermal")));
  EXPECT_THAT(Lines(), ElementsAre("3 InitIdToResAndPatchMaps: id not found"));
}

TEST_P(MapObjectTest, A_resource_that_is_no_object_is_a_nameless_empty_one) {
  EXPECT_EQ(Load(R"({"resourceUrls": [)" + Value() + R"(, {"name": "fan"}]})"), 0);
  EXPECT_THAT(patch.GetMap().Resources(),
              ElementsAre(Pair("", ResourceUrlEntry()), Pair("fan", ResourceUrlEntry())));
  EXPECT_THAT(Lines(), IsEmpty());
}

TEST_P(MapObjectTest, A_root_that_is_no_object_has_no_resources) {
  EXPECT_EQ(Load(Value()), 3);
  EXPECT_THAT(patch.GetMap().Points(), IsEmpty());
  EXPECT_THAT(Lines(), ElementsAre("3 InitResUrlMap: resourceUrls object not found in patch map "
                                   "/var/local/orv/pldserver/0/1/covpatchmap.txt"));
}

INSTANTIATE_TEST_SUITE_P(Values, MapObjectTest, testing::ValuesIn(kNoObjects), NameOf);

}  // namespace
}  // namespace patch_test
