// SPDX-License-Identifier: Apache-2.0
#include "HostTest.h"
#include "SourceDouble.h"
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
