// SPDX-License-Identifier: Apache-2.0
#ifndef TESTS_UNIT_SERVICE_REDFISHTEST_H_
#define TESTS_UNIT_SERVICE_REDFISHTEST_H_

#include <map>
#include <string>
#include <vector>

#include "ServiceTest.h"

namespace cloudservice {

// An appliance with something of every kind, as good and as bad as it may send it.
class RedfishTest : public ServiceTest {
 protected:
  RedfishTest() {
    for (const char* path :
         {"Thermal", "EnvironmentMetrics", "Sensors/a", "Sensors/b%20c", "Room/1", "Sensors"}) {
      EXPECT_EQ(Ask("PATCH", chassis + "/" + path, token, kDocument).status, 204u) << path;
    }
    EXPECT_EQ(Ask("PATCH", chassis, token, kDocument).status, 204u);
    EXPECT_EQ(Ask("PATCH", kManager, token, kDocument).status, 204u);
    EXPECT_EQ(Ask("PATCH", kManager + "/Network", token, kDocument).status, 204u);
    Ask("POST", "/hb/u-1", token, R"({"HeartbeatInterval": 90})");
    for (const std::string& origin : {chassis, std::string()}) {
      const Json event = {{"MessageId", "x"},
                          {"Severity", "MESSAGE"},
                          {"Message", "m"},
                          {"Created", origin.empty() ? "" : "2016-05-04T13:02:11-0500"},
                          {"MessageArgs", {"a", nullptr}},
                          {"Name", 7},
                          {"OriginOfCondition", {{"@odata.id", origin}}}};
      EXPECT_EQ(Ask("POST", kManager + "/Oem/Quorvan:Events", token, event.dump()).status, 201u);
    }
  }

  // Every resource that links lead to; the checks of Ask() have looked at each.
  std::map<std::string, Json> Walk() {
    std::map<std::string, Json> found;
    std::vector<std::string> waiting = {"/redfish/v1/"};
    while (!waiting.empty()) {
      const std::string path = waiting.back();
      waiting.pop_back();
      if (found.count(path) != 0) continue;
      found[path] = Got(200, Ask("GET", path, token));
      for (const std::string& link : LinksOf(found[path])) waiting.push_back(link);
    }
    return found;
  }

  static constexpr const char* kDocument = R"({"Name": 7, "Id": "mine", "Reading": 21.5, "T": 1,
      "Temperatures": [{"ReadingCelsius": 21, "Status": "fine"}], "Members": [1], "Thermal": {},
      "HumidityPercent": {"Reading": 44, "Unit": "%"}, "Links": {"ManagedBy": "me", "X": 1},
      "Status": {"State": 5}, "Oem": {"Acme": 1}, "UUID": "x", "Sensors": {"@odata.id": "/x"}})";
  const std::string kManager = "/redfish/v1/Managers/u-1";
  const std::string token = Token("u-1");
  const std::string chassis = "/redfish/v1/Chassis/" + Chassis(token, kDocument);
};

}  // namespace cloudservice

#endif  // TESTS_UNIT_SERVICE_REDFISHTEST_H_
