// SPDX-License-Identifier: Apache-2.0
// The check of a map, apart from any device engine.
#include <map>
#include <memory>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "patch/MapCheck.h"

namespace {

using cloudclient::Findings;
using testing::ElementsAre;
using testing::IsEmpty;

// A device that has point 1 alone, "one"; pages as they are set.
class Surroundings : public cloudclient::MapSurroundings {
 public:
  bool knowsDevice = true;
  std::map<std::string, std::string> pages;

  bool KnowsDevice() const override { return knowsDevice; }
  bool HasPoint(uint16_t number) const override {
    EXPECT_TRUE(knowsDevice);
    return number == 1;
  }
  bool HasName(const std::string& name, std::string& hint) const override {
    EXPECT_TRUE(knowsDevice);
    hint = " [hint]";
    return name == "one";
  }
  std::vector<std::string> UnknownKeys(const json_t* object,
                                       const std::vector<std::string>& known) const override {
    if (json_object_get(object, "odd") == nullptr) return {};
    return {"odd of " + std::to_string(known.size())};
  }
  std::string PageFolder() const override { return "FOLDER"; }
  bool ReadPage(const std::string& page, std::string& text) const override {
    const auto found = pages.find(page);
    if (found == pages.end()) return false;
    text = found->second;
    return true;
  }
  void CheckPage(const std::string& where, const std::string& page,
                 const cloudclient::ResourceUrlEntry& resource, Findings& findings) const override {
    findings.push_back(where + "engine: " + page + " " + resource.url);
  }
};

Findings Check(const char* text, const Surroundings& surroundings) {
  const std::unique_ptr<json_t, decltype(&json_decref)> root(json_loads(text, 0, nullptr),
                                                             &json_decref);
  cloudclient::PatchMap map;
  EXPECT_EQ(map.TakeResources(root.get(), "map"), 0);
  map.TakePoints(root.get());
  return CheckMap(map, root.get(), surroundings);
}

TEST(MapCheckTest, Says_first_what_is_written_wrong_then_what_does_not_fit) {
  Surroundings surroundings;
  surroundings.pages["page"] = "7dayhightemp temp_uom_celsius~";
  EXPECT_THAT(Check(R"({"none": 1,
                        "resourceUrls": [{"name": "b", "url": "/<uuid>", "resourceTag": "<uuid>",
                                          "resourcePatch": "page", "odd": 1},
                                         {"name": "a", "url": "x", "resourceTag": "<uuid>",
                                          "resourcePatch": "other"},
                                         {"name": "a"}],
                        "b": [{"id": 2, "pld": "two", "patch": "", "event": {"odd": 1}},
                              {"id": 1, "pldQueryArgs": "3,0,0,0,0", "patch": ""}],
                        "c": [{"id": 1, "pld": "one", "patch": "", "7dayTempAccum": 1}]})",
                    surroundings),
              ElementsAre(R"("none" is not an array)",
                          R"(point 2: its event has no "msgid": it is ignored)",
                          R"(resource "b": unknown key odd of 6)",
                          "point 2: its event: unknown key odd of 8",
                          R"(point 1: "7dayTempAccum" is neither true nor false: it counts as )"
                          "false",
                          R"(resource "a": there is an earlier one of that name)",
                          R"(point 1 of "c": it is listed already in "b")",
                          R"(resource "a": "url" does not hold its tag <uuid>)",
                          R"(resource "a": "url" does not begin with a slash: it is put behind )"
                          "the service's address as it is",
                          R"(resource "a": page "other" is not in FOLDER or above: empty )"
                          "documents are sent",
                          R"(resource "b": page "page": it holds a temperature tag, and the )"
                          R"(resource has no "tempUomCelsius": the tag is sent as it is)",
                          R"(resource "b": page "page": it holds "7dayhightemp", and the )"
                          R"(resource has no "7dayAccum": the word is sent as it is)",
                          R"(resource "b": page "page": engine: 7dayhightemp )"
                          "temp_uom_celsius~ /<uuid>",
                          R"(point 1: "pldQueryArgs" asks for point 3, which the device does )"
                          "not have",
                          R"(point 2: "pld" asks for point "two", which the device does not )"
                          "have [hint]",
                          "point 2: the device has no such point"));
}

TEST(MapCheckTest, Asks_for_no_point_of_a_device_that_is_not_known) {
  Surroundings surroundings;
  surroundings.knowsDevice = false;
  EXPECT_THAT(Check(R"({"resourceUrls": [],
                        "r": [{"id": -1, "pld": "x", "pldQueryArgs": "3,0,0,0,0", "patch": "",
                               "event": {"msgid": "M", "message": "%1", "numargs": 1,
                                         "arg1Type": "pldQueryArgs", "arg1": "9,0,0,0,0"}}]})",
                    surroundings),
              ElementsAre(R"(point -1: its group "r" is no resource: nothing is sent for it)"));
}

TEST(MapCheckTest, Finds_that_the_work_on_a_page_would_not_end) {
  Surroundings surroundings;
  surroundings.pages["page"] = "temp_uom_celsius~1 temp_uom_celsius~1";
  EXPECT_THAT(
      Check(R"({"resourceUrls": [{"name": "r", "url": "/<uuid>", "resourceTag": "<uuid>",
                                  "resourcePatch": "page", "tempUomCelsius": true}]})",
            surroundings),
      ElementsAre(R"(resource "r": page "page": it ends in a temperature tag: the daemon would )"
                  "never come back from it",
                  R"(resource "r": page "page": engine: temp_uom_celsius~1 temp_uom_celsius~1 )"
                  "/<uuid>"));
}

TEST(MapCheckTest, Has_nothing_to_find_in_an_empty_map) {
  EXPECT_THAT(Check(R"({"resourceUrls": []})", Surroundings()), IsEmpty());
}

}  // namespace
