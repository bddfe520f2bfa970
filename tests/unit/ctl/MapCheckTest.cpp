// SPDX-License-Identifier: Apache-2.0
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <optional>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "ctl/MapCheck.h"

namespace {

namespace fs = std::filesystem;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

const char kResources[] = R"("resourceUrls": [
  {"name": "thermal", "url": "/Chassis/<chassisid>/Thermal", "resourceTag": "<chassisid>",
   "resourcePatch": "page.txt", "tempUomCelsius": true}])";

// A map file and its pages in a folder of their own.
class MapCheckTest : public testing::Test {
 protected:
  MapCheckTest() {
    unsetenv("CLOUDCLIENT_ROOT");
    std::string name = fs::temp_directory_path() / "map_check.XXXXXX";
    EXPECT_NE(mkdtemp(&name[0]), nullptr);
    m_folder = name;
    Write("page.txt", "{\"ReadingCelsius\": temp_uom_celsius~1201}");
  }
  ~MapCheckTest() override { fs::remove_all(m_folder); }

  void Write(const std::string& name, const std::string& text) const {
    fs::create_directories((m_folder / name).parent_path());
    std::ofstream(m_folder / name, std::ios::binary) << text;
  }

  std::vector<std::string> Check(const std::string& map, const std::string& pages = "") const {
    Write("map.txt", map);
    const std::string path = m_folder / "map.txt";
    cloudclient::PatchMap loaded;
    EXPECT_LT(loaded.Load(path), 2);
    const host::JsonRef root(json_load_file(path.c_str(), 0, nullptr));
    return ctl::CheckMap(loaded, root.get(), m_folder / pages, m_device ? &*m_device : nullptr);
  }

  // The findings in a page of the clean resource, for a device with point 1201 alone.
  std::vector<std::string> CheckPage(const std::string& page) {
    m_device.emplace();
    m_device->points.emplace_back().id = 1201;
    m_device->points.back().value = "21";
    m_device->label = "1";
    Write("page.txt", page);
    return Check(std::string("{") + kResources + "}");
  }

  // The findings in a map with the clean resource and these points.
  std::vector<std::string> CheckPoints(const std::string& points) const {
    return Check(std::string("{") + kResources + R"(, "thermal": [)" + points + "]}");
  }

  // The map is for a device with point 1201, "supply_temp", and the nameless 1202.
  void Describe() {
    m_device.emplace();
    m_device->points.resize(2);
    m_device->points[0].id = 1201;
    m_device->points[0].name = "supply_temp";
    m_device->points[1].id = 1202;
  }

  // The findings in point 1201 of that device, with an event.
  std::vector<std::string> CheckEvent(const std::string& members) {
    Describe();
    return CheckPoints(R"({"id": 1201, "pld": "supply_temp", "patch": "", "event": {
                           "msgid": "M", "message": "%1 %2", )" +
                       members + "}}");
  }

  std::optional<host::DeviceModel> m_device;  // that the map is for, when it is known

 private:
  fs::path m_folder;
};

TEST_F(MapCheckTest, Clean_map_has_no_findings) {
  EXPECT_THAT(CheckPoints(R"({"id": 1, "pld": "a", "patch": "%1"})"), IsEmpty());
}

TEST_F(MapCheckTest, Page_is_found_in_a_folder_above) {
  Write("a/b/other.txt", "");
  EXPECT_THAT(Check(std::string("{") + kResources + "}", "a/b"), IsEmpty());
}

TEST_F(MapCheckTest, Page_may_end_in_a_line_end_behind_a_tag) {
  Write("page.txt", "temp_uom_celsius~1201\n");
  EXPECT_THAT(CheckPoints(""), IsEmpty());
}

TEST_F(MapCheckTest, Page_must_not_end_in_a_tag_without_digits) {
  Write("page.txt", "temp_uom_celsius~1201 temp_uom_celsius~");
  EXPECT_THAT(CheckPoints(""), ElementsAre(HasSubstr("ends in a temperature tag")));
}

TEST_F(MapCheckTest, Points_of_a_page_that_the_device_has_are_none_to_find) {
  EXPECT_THAT(CheckPage("{\"A\": [{{point:1201}}, {{point:4329}}, temp_uom_celsius~1201,\n"
                        " temp_uom_celsius~4329, temp_uom_celsius~66737, temp_uom_celsius~]}"),
              IsEmpty());
}

TEST_F(MapCheckTest, Points_of_a_page_that_the_device_lacks) {
  const std::string where = R"(resource "thermal": page "page.txt": )";
  const std::string lacks = ", which the device does not have";
  EXPECT_THAT(CheckPage("{\"A\": temp_uom_celsius~8,\n"
                        " \"B\": [{{point:9|null}}, {{point:1201}}, \"{{point:9}}\"],\n\n"
                        " \"C\": \"{{point:8}}\", \"D\": temp_uom_celsius~65545}"),
              ElementsAre(where + "line 1: a temperature tag asks for point 8" + lacks,
                          where + "line 2: a mark asks for point 9" + lacks,
                          where + "line 4: a mark asks for point 8" + lacks,
                          where + "line 4: a temperature tag asks for point 9" + lacks));
}

TEST_F(MapCheckTest, Points_of_a_page_need_a_device_to_be_lacking) {
  Write("page.txt", "{\"A\": {{point:9}}, \"B\": temp_uom_celsius~8}");
  EXPECT_THAT(CheckPoints(""), IsEmpty());
}

TEST_F(MapCheckTest, Temperature_tag_that_is_no_tag_of_the_resource_asks_for_nothing) {
  m_device.emplace();
  Write("page.txt", "{\"A\": \"temp_uom_celsius~8\"}");
  EXPECT_THAT(Check(R"({"resourceUrls": [{"name": "thermal", "url": "/<uuid>",
                        "resourceTag": "<uuid>", "resourcePatch": "page.txt"}]})"),
              ElementsAre(HasSubstr("no \"tempUomCelsius\"")));
}

TEST_F(MapCheckTest, Mark_of_a_number_that_no_point_can_have_stays_as_it_is) {
  EXPECT_THAT(
      CheckPage("{\"A\": \"{{point:65536}}\", \"B\": {{point:1201}},\n"
                " \"C\": \"{{point:supply}}\", \"D\": \"{{uuid}} {{other}} {{point:1\"}"),
      ElementsAre(HasSubstr("page.txt\": line 1: {{point:65536}} is no mark, it is sent as it "
                            "is: a point is a number of up to 65535"),
                  HasSubstr("page.txt\": line 2: {{point:supply}} is no mark")));
}

TEST_F(MapCheckTest, Point_whose_change_never_comes) {
  const std::string args = R"("pldQueryArgs": "1201,1,0,0,0", "patch": ""})";
  Describe();
  EXPECT_THAT(CheckPoints(R"({"id": 1201, )" + args), IsEmpty());
  for (const char* id : {"4329", "66737", "-1", "1203"}) {
    EXPECT_THAT(CheckPoints(std::string(R"({"id": )") + id + ", " + args),
                ElementsAre("point " + std::string(id) + ": the device has no such point"));
  }
}

TEST_F(MapCheckTest, Name_that_the_device_lacks) {
  Describe();
  EXPECT_THAT(
      CheckPoints(R"({"id": 1201, "pld": "Suply_temp", "patch": ""})"),
      ElementsAre(R"(point 1201: "pld" asks for point "Suply_temp", which the device does not )"
                  R"(have (is "supply_temp" meant?))"));
  EXPECT_THAT(
      CheckPoints(R"({"id": 1201, "pld": "x", "pldQueryArgs": "1201,1,0,0,0", "patch": ""})"),
      ElementsAre(R"(point 1201: "pld" asks for point "x", which the device does not have)"));
}

TEST_F(MapCheckTest, Names_and_lists_that_the_device_has_are_none_to_find) {
  EXPECT_THAT(CheckEvent(R"("numargs": 2, "arg1Type": "pld", "arg1": "supply_temp",
                            "arg2Type": "pld", "arg2": "supply_temp")"),
              IsEmpty());
  EXPECT_THAT(CheckEvent(R"("numargs": 2, "arg1Type": "pldQueryArgs", "arg1": "1202,1,0,4125,0",
                            "arg2": "4329,1,0,0,0")"),
              IsEmpty());
  EXPECT_THAT(CheckEvent(R"("numargs": 2, "arg1Type": "old", "arg1": "x", "arg2Type": "pld",
                            "arg2": "supply_temp")"),
              IsEmpty());
}

TEST_F(MapCheckTest, Arguments_that_ask_for_what_the_device_lacks) {
  const std::string lacks = ", which the device does not have";
  EXPECT_THAT(CheckEvent(R"("numargs": 2, "arg1Type": "pld", "arg1": "supply_tmp",
                            "arg2Type": "pld", "arg2": "")"),
              ElementsAre(R"(point 1201: "arg1" asks for point "supply_tmp")" + lacks +
                              R"( (is "supply_temp" meant?))",
                          R"(point 1201: "arg2" asks for point "")" + lacks));
  EXPECT_THAT(CheckEvent(R"("numargs": 2, "arg1Type": "pldQueryArgs", "arg1": "7,1,0,0,0",
                            "arg2": "8,1,0,0,0")"),
              ElementsAre(R"(point 1201: "arg1" asks for point 7)" + lacks,
                          R"(point 1201: "arg2" asks for point 8)" + lacks));
  EXPECT_THAT(CheckEvent(R"("numargs": 2, "arg1Type": "pldQueryArgs", "arg1": "7,1,0,0,0",
                            "arg2Type": "pld", "arg2": "8,1,0,0,0")"),
              ElementsAre(R"(point 1201: "arg1" asks for point 7)" + lacks,
                          R"(point 1201: "arg2" asks for point "8,1,0,0,0")" + lacks));
}

TEST_F(MapCheckTest, Value_before_is_read_by_the_second_argument_at_first) {
  EXPECT_THAT(CheckEvent(R"("numargs": 1, "arg1Type": "old", "arg2": "x")"),
              ElementsAre(HasSubstr(R"("arg2" asks for point "x", which)")));
}

TEST_F(MapCheckTest, Arguments_that_nobody_asks_for) {
  EXPECT_THAT(CheckEvent(R"("numargs": 1, "arg1Type": "old", "arg1": "x", "arg2": "supply_temp")"),
              IsEmpty());
  EXPECT_THAT(CheckEvent(R"("numargs": 1, "arg1Type": "pld", "arg1": "supply_temp",
                            "arg2Type": "pld", "arg2": "x")"),
              IsEmpty());
  EXPECT_THAT(CheckEvent(R"("numargs": 1, "arg1Type": "pldQueryArgs", "arg1": "1201,1,0,0,0",
                            "arg2": "x")"),
              IsEmpty());
  EXPECT_THAT(CheckEvent(R"("numargs": 0, "arg1Type": "pld", "arg1": "x")"), IsEmpty());
}

TEST_F(MapCheckTest, Arguments_that_are_no_list_of_five_numbers) {
  EXPECT_THAT(
      CheckPoints(R"({"id": 1, "pld": "a", "patch": "", "event": {
                "msgid": "M", "message": "%1 %2", "numargs": 2, "arg1Type": "pldQueryArgs",
                "arg1": "1201,1,0,0", "arg2": "1201,1,0,0,x"}})"),
      ElementsAre(R"(point 1: "arg1" is "1201,1,0,0", not five numbers: arg1 has no value)",
                  R"(point 1: "arg2" is "1201,1,0,0,x", not five numbers: arg2 has no value)"));
}

TEST_F(MapCheckTest, Point_numbers_count_as_the_loader_takes_them) {
  EXPECT_THAT(CheckPoints(R"({"id": 1, "pld": "a", "patch": ""},
                             {"id": 4294967297, "pld": "a", "patch": ""})"),
              ElementsAre(R"(point 1 of "thermal": it is listed already in "thermal")"));
}

TEST_F(MapCheckTest, Second_argument_after_a_query_needs_no_type) {
  EXPECT_THAT(CheckPoints(R"({"id": 1, "pld": "a", "patch": "", "event": {
                "msgid": "M", "message": "%1 %2", "numargs": 2, "arg1Type": "pldQueryArgs",
                "arg1": "1,0,0,0,0", "arg2": "2,0,0,0,0"}})"),
              IsEmpty());
}

TEST_F(MapCheckTest, Event_without_arguments_needs_no_placeholder) {
  EXPECT_THAT(CheckPoints(R"({"id": 1, "pld": "a", "patch": "", "event": {"msgid": "M"}})"),
              IsEmpty());
}

TEST_F(MapCheckTest, Resources_that_are_no_array) {
  EXPECT_THAT(
      Check(R"({"resourceUrls": {}, "g": [{"id": 1, "pld": "a", "patch": ""}]})"),
      ElementsAre(R"("resourceUrls" is not an array)", HasSubstr(R"(its group "g" is no)")));
}

}  // namespace
