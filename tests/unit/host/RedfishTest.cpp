// SPDX-License-Identifier: Apache-2.0
#include "HostTest.h"
#include "SourceDouble.h"
#include "host/device/sources/redfish/ChassisOffer.h"
#include "host/device/sources/redfish/Redfish.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

class RedfishTest : public HostTest {
 protected:
  const host::RedfishModule m_module;
};

}  // namespace

TEST_F(RedfishTest, Points_are_places_in_a_resource) {
  std::vector<host::ResourcePoint> points;
  for (const char* pointer : {"/Temperatures/0/ReadingCelsius", "/Status/Health", "/Fans/0"}) {
    points.push_back({points.size(), host::JsonPointer::Parse(pointer).value()});
  }
  ToldValues told;
  host::TellResource(R"({"Temperatures": [{"ReadingCelsius": 41.5}], "Status": {"Health": "OK"}})",
                     points, told);
  EXPECT_EQ(told.values[0], "41.5");
  EXPECT_EQ(told.values[1], "'OK'");
  EXPECT_EQ(told.values[2], "none: its pointer names nothing");
  host::TellResource("<html>", points, told);
  EXPECT_EQ(told.values[1], "none: its controller's answer is no JSON");
}

TEST_F(RedfishTest, Settings_that_reach_no_controller_are_faults) {
  EXPECT_THAT(OpenedSource(m_module, "{}").faults, ElementsAre("Url is missing"));
  const char* const kWrong =
      "Url is no URL of http or https without user, query and slash at its end";
  for (const char* url :
       {"ftp://bmc", "bmc", "https://bmc/", "https://user:pw@bmc", "https://a?b"}) {
    EXPECT_THAT(OpenedSource(m_module, std::string(R"({"Url": ")") + url + "\"}").faults,
                ElementsAre(kWrong))
        << url;
  }
  EXPECT_THAT(OpenedSource(m_module, R"({"Url": "https://bmc", "CaFile": "ca.pem", "Login": "x",
                                         "PinnedPublicKey": "abc", "Credentials": ""})")
                  .faults,
              ElementsAre("CaFile is not an absolute path", "Credentials is not an absolute path",
                          "PinnedPublicKey does not begin with sha256//",
                          "Login is neither basic nor session"));
}

TEST_F(RedfishTest, Settings_that_name_no_place_are_faults) {
  OpenedSource bmc(m_module, R"({"Url": "https://bmc"})");
  bmc.Point("{}").Point(R"({"Path": "x y", "Pointer": "a"})");
  EXPECT_THAT(bmc.faults,
              ElementsAre("Path is missing", "Pointer is missing", "Path does not begin with /",
                          "Path holds a blank", "Pointer is no JSON pointer"));
  OpenedSource good(m_module, R"({"Url": "https://bmc"})");
  EXPECT_THAT(good.Point(R"({"Path": "/redfish/v1", "Pointer": ""})").faults, IsEmpty());
}

namespace {

// A controller's documents by their paths, and what is found in them.
struct Findable {
  std::map<std::string, std::string> documents = {
      {"/redfish/v1/Chassis", R"({"Members": [{"@odata.id": "/c/1U"}]})"},
      {"/c/1U", R"({"Thermal": {"@odata.id": "/c/1U/Thermal"},
                    "Power": {"@odata.id": "@elsewhere.example.org/"},
                    "Sensors": {"@odata.id": "/c/1U/Sensors"}})"},
      {"/c/1U/Thermal", R"({"Temperatures": [
         {"Name": "CPU", "ReadingCelsius": 41.5}, {"Name": "DIMM", "ReadingCelsius": null},
         {"Name": "GPU", "ReadingCelsius": 1, "Status": {"State": "Absent"}},
         {"Name": "CPU", "ReadingCelsius": 2}, {"Name": "Odd", "ReadingCelsius": "hot"}, 7],
         "Fans": [{"Name": "FAN1", "Reading": 40, "ReadingUnits": "Percent"}]})"},
      {"/c/1U/Sensors", R"({"Members": [{"@odata.id": "/s/1"}, {"@odata.id": "/s/2"},
                                        {"@odata.id": "http://x"}, {}]})"},
      {"/s/1", R"({"Name": "Inlet", "Reading": 22.25, "ReadingUnits": "Cel"})"},
      {"/s/2", R"({"Name": "CPU", "Reading": 41.5, "ReadingUnits": "Cel"})"}};
  std::vector<std::string> asked;

  // "name settings value unit" of each point, then "cut"; or the problem.
  std::vector<std::string> Find(const std::string& chassis = "", int64_t untilMs = INT64_MAX,
                                size_t most = 100) {
    const host::FetchResource fetch = [this](const std::string& path, host::JsonRef& resource) {
      asked.push_back(path);
      const auto found = documents.find(path);
      resource.reset(found == documents.end() ? nullptr
                                              : json_loads(found->second.c_str(), 0, nullptr));
      return host::Problem();
    };
    std::vector<host::OfferedPoint> points;
    bool isCut = false;
    if (const host::Problem problem =
            host::FindReadings(fetch, chassis, untilMs, most, points, isCut)) {
      return {problem.Text()};
    }
    std::vector<std::string> texts;
    for (const host::OfferedPoint& point : points) {
      texts.push_back(point.name + " " + point.settings + " " + point.value + " " + point.unit);
    }
    if (isCut) texts.emplace_back("cut");
    return texts;
  }
};

}  // namespace

TEST(ChassisOfferTest, Readings_come_from_all_documents_once) {
  Findable controller;
  EXPECT_THAT(
      controller.Find(),
      testing::ElementsAre(
          R"(CPU {"Path":"/c/1U/Thermal","Pointer":"/Temperatures/0/ReadingCelsius"} 41.5 degC)",
          R"(DIMM {"Path":"/c/1U/Thermal","Pointer":"/Temperatures/1/ReadingCelsius"}  degC)",
          R"(FAN1 {"Path":"/c/1U/Thermal","Pointer":"/Fans/0/Reading"} 40 %)",
          R"(Inlet {"Path":"/s/1","Pointer":"/Reading"} 22.2 degC)"));
}

TEST(ChassisOfferTest, Link_that_leads_elsewhere_is_not_followed) {
  Findable controller;
  controller.Find();
  EXPECT_THAT(controller.asked, testing::Each(testing::StartsWith("/")));
}

TEST(ChassisOfferTest, Number_and_time_are_bounded) {
  Findable controller;
  EXPECT_THAT(controller.Find("", INT64_MAX, 1), testing::ElementsAre(testing::_, "cut"));
  EXPECT_EQ(controller.Find("", 0).back(), "cut");
  EXPECT_THAT(controller.asked, testing::Not(testing::Contains("/s/1")));
}

TEST(ChassisOfferTest, Chassis_is_the_named_or_the_only_one) {
  Findable controller;
  EXPECT_THAT(controller.Find("2U"), testing::ElementsAre("it has no chassis \"2U\", but 1U"));
  controller.documents["/redfish/v1/Chassis"] =
      R"({"Members": [{"@odata.id": "/c/1U"}, {"@odata.id": "/c/2U"}]})";
  EXPECT_THAT(controller.Find(),
              testing::ElementsAre("it has more than one chassis, name one of 1U, 2U"));
  EXPECT_EQ(controller.Find("1U").size(), 4u);
  EXPECT_THAT(controller.Find("2U"), testing::ElementsAre("its chassis /c/2U has no readings"));
  controller.documents.clear();
  EXPECT_THAT(controller.Find(), testing::ElementsAre("it has no chassis"));
}
