// SPDX-License-Identifier: Apache-2.0
// The map file: files that are not what they should be, and bad points in them.
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "PatchTest.h"

namespace patch_test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;
using testing::SizeIs;

class MapBadInputTest : public PatchTest {
 protected:
  void ExpectNothingLoaded() {
    EXPECT_THAT(patch.GetMap().Resources(), IsEmpty());
    EXPECT_THAT(patch.GetMap().Points(), IsEmpty());
    EXPECT_THAT(patch.GetMap().PointResources(), IsEmpty());
    EXPECT_THAT(patch.GetMap().History(), IsEmpty());
  }

  // The line of a load that failed with this text and position.
  static std::string Failed(const std::string& text, int line, int column) {
    return "3 InitCovPatchMaps: Failed to load patch map file "
           "/var/local/orv/pldserver/0/1/covpatchmap.txt.  text: \"" +
           text + "\"   line: " + std::to_string(line) + "  col: " + std::to_string(column);
  }
};

TEST_F(MapBadInputTest, A_missing_file) {
  EXPECT_EQ(patch.InitCovPatchMaps(kMapPath), 2);
  EXPECT_THAT(Lines(), ElementsAre(Failed("unable to open " + rootFolder + kMapPath +
                                              ": No such file or directory",
                                          -1, -1)));
  ExpectNothingLoaded();
}

TEST_F(MapBadInputTest, An_empty_path) {
  EXPECT_EQ(patch.InitCovPatchMaps(""), 2);
  EXPECT_THAT(Lines(),
              ElementsAre("3 InitCovPatchMaps: Failed to load patch map file .  text: \"unable to "
                          "open : No such file or directory\"   line: -1  col: -1"));
}

TEST_F(MapBadInputTest, A_loop_of_links) {
  const std::string file = rootFolder + kMapPath;
  ASSERT_EQ(symlink(file.c_str(), file.c_str()), 0);
  EXPECT_EQ(patch.InitCovPatchMaps(kMapPath), 2);
  EXPECT_THAT(Lines(),
              ElementsAre(Failed("unable to open " + file + ": Too many levels of symbolic links",
                                 -1, -1)));
  ExpectNothingLoaded();
}

TEST_F(MapBadInputTest, A_folder_in_place_of_the_file) {
  ASSERT_EQ(mkdir((rootFolder + kMapPath).c_str(), 0700), 0);
  EXPECT_EQ(patch.InitCovPatchMaps(kMapPath), 2);
  EXPECT_THAT(Lines(), SizeIs(1));
  ExpectNothingLoaded();
}

TEST_F(MapBadInputTest, An_empty_file) {
  EXPECT_EQ(Load(""), 2);
  EXPECT_THAT(Lines(), ElementsAre(Failed("unexpected token near end of file", 1, 0)));
  ExpectNothingLoaded();
}

TEST_F(MapBadInputTest, A_truncated_file) {
  EXPECT_EQ(Load("{\"resourceUrls\": [\n  {\"name\": \"thermal\"},\n  {\"name\""), 2);
  EXPECT_THAT(Lines(), ElementsAre(Failed("':' expected near end of file", 3, 9)));
  ExpectNothingLoaded();
}

TEST_F(MapBadInputTest, Every_truncation_of_a_good_file_loads_nothing) {
  const std::string whole = Map(kThermal, Point("1", R"("pld": "v", "pldQueryArgs": "1,2,3,4,5",
                                       "event": {"msgid": "m", "numargs": 2, "arg1Type": "old"})"));
  for (size_t length = 0; length < whole.size(); ++length) {
    ASSERT_EQ(Load(whole.substr(0, length)), 2) << length;
  }
  ExpectNothingLoaded();
  EXPECT_EQ(Load(whole), 0);
}

TEST_F(MapBadInputTest, A_misplaced_comma_is_named_by_line_and_column) {
  EXPECT_EQ(Load("{\"resourceUrls\": [],\n \"fan\": [,]}"), 2);
  EXPECT_THAT(Lines(), ElementsAre(Failed("unexpected token near ','", 2, 10)));
  ExpectNothingLoaded();
}

TEST_F(MapBadInputTest, Something_behind_the_object) {
  EXPECT_EQ(Load("{\"resourceUrls\": []} x"), 2);
  EXPECT_THAT(Lines(), ElementsAre(Failed("end of file expected near 'x'", 1, 22)));
}

TEST_F(MapBadInputTest, Text_that_is_not_UTF8) {
  EXPECT_EQ(Load("{\"resourceUrls\": [{\"name\": \"\xC3\x28\"}]}"), 2);
  EXPECT_THAT(Lines(), SizeIs(1));
  ExpectNothingLoaded();
}

TEST_F(MapBadInputTest, An_endless_nesting) {
  EXPECT_EQ(Load("{\"resourceUrls\": " + std::string(200000, '[')), 2);
  EXPECT_THAT(Lines(), SizeIs(1));
  ExpectNothingLoaded();
}

TEST_F(MapBadInputTest, A_top_level_array_holds_no_resources) {
  EXPECT_EQ(Load("[{\"resourceUrls\": []}]"), 3);
  EXPECT_THAT(Lines(), ElementsAre("3 InitResUrlMap: resourceUrls object not found in patch map " +
                                   std::string(kMapPath)));
  ExpectNothingLoaded();
}

TEST_F(MapBadInputTest, A_top_level_text_holds_no_resources) {
  EXPECT_EQ(Load("\"resourceUrls\""), 3);
  EXPECT_THAT(Lines(), ElementsAre("3 InitResUrlMap: resourceUrls object not found in patch map " +
                                   std::string(kMapPath)));
  ExpectNothingLoaded();
}

TEST_F(MapBadInputTest, Without_resources_no_point_is_loaded) {
  EXPECT_EQ(Load(R"({"ResourceUrls": [], "thermal": [)" + Point("1", R"("pld": "v")") + "]}"), 3);
  EXPECT_THAT(Lines(), ElementsAre("3 InitResUrlMap: resourceUrls object not found in patch map " +
                                   std::string(kMapPath)));
  ExpectNothingLoaded();
}

TEST_F(MapBadInputTest, A_large_file_is_loaded_whole) {
  constexpr int kPoints = 500;
  const std::string filler(100000, 'x');
  std::string map = R"({"resourceUrls": [], "big": [)";
  for (int id = 1; id <= kPoints; ++id) {
    map += R"({"id": )" + std::to_string(id) + R"(, "pld": "v", "patch": ")" + filler + "\"}" +
           (id < kPoints ? "," : "]}");
  }
  ASSERT_GT(map.size(), 50000000u);
  EXPECT_EQ(Load(map), 0);
  EXPECT_THAT(patch.GetMap().Points(), SizeIs(kPoints));
  EXPECT_EQ(patch.GetMap().Points().at(kPoints).patch, filler);
}

TEST_F(MapBadInputTest, A_large_file_that_is_cut_loads_nothing) {
  EXPECT_EQ(Load("{\"resourceUrls\": [\"" + std::string(50000000, 'x')), 2);
  ExpectNothingLoaded();
}

// Bad points.

TEST_F(MapBadInputTest, A_point_without_an_id) {
  EXPECT_EQ(Load(Map(kThermal, R"({"patch": "p", "pld": "v"}, )" + Point("2", R"("pld": "v")"))),
            1);
  EXPECT_THAT(Lines(), ElementsAre("3 InitIdToResAndPatchMaps: id not found"));
  EXPECT_THAT(patch.GetMap().PointResources(), ElementsAre(Pair(2, "thermal")));
}

TEST_F(MapBadInputTest, A_point_without_a_template) {
  EXPECT_EQ(Load(Map(kThermal, R"({"id": 1, "pld": "v"}, )" + Point("2", R"("pld": "v")"))), 1);
  EXPECT_THAT(Lines(), ElementsAre("3 InitIdToResAndPatchMaps: null patchObj"));
  EXPECT_THAT(patch.GetMap().PointResources(), ElementsAre(Pair(2, "thermal")));
  EXPECT_THAT(patch.GetMap().Points(), SizeIs(1));
}

TEST_F(MapBadInputTest, A_point_without_a_source) {
  EXPECT_EQ(Load(Map(kThermal, R"({"id": 1, "patch": "p"}, )" + Point("2", R"("pld": "v")"))), 1);
  EXPECT_THAT(Lines(), ElementsAre("3 InitIdToResAndPatchMaps: null pldObj"));
  EXPECT_THAT(patch.GetMap().PointResources(), ElementsAre(Pair(2, "thermal")));
}

TEST_F(MapBadInputTest, A_bad_point_is_not_enrolled_in_the_id_history) {
  EXPECT_EQ(Load(Map(kThermal, R"({"id": 1, "patch": "p",
                                   "event": {"msgid": "m", "arg1Type": "old"}})")),
            1);
  EXPECT_THAT(patch.GetMap().History(), IsEmpty());
}

TEST_F(MapBadInputTest, Only_the_first_fault_of_a_point_is_told) {
  EXPECT_EQ(Load(Map(kThermal, "{}, {\"id\": \"1\"}, {\"id\": 1}")), 1);
  EXPECT_THAT(Lines(), ElementsAre("3 InitIdToResAndPatchMaps: id not found",
                                   "3 InitIdToResAndPatchMaps: id is not type integer",
                                   "3 InitIdToResAndPatchMaps: null patchObj"));
}

TEST_F(MapBadInputTest, A_later_good_point_does_not_mend_the_result) {
  EXPECT_EQ(Load(R"({"resourceUrls": [], "a": [{}], "b": [)" + Point("2", R"("pld": "v")") + "]}"),
            1);
  EXPECT_THAT(patch.GetMap().PointResources(), ElementsAre(Pair(2, "b")));
}

}  // namespace
}  // namespace patch_test
