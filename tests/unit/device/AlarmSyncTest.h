// SPDX-License-Identifier: Apache-2.0
#ifndef TESTS_UNIT_DEVICE_ALARMSYNCTEST_H_
#define TESTS_UNIT_DEVICE_ALARMSYNCTEST_H_

#include <string>
#include <vector>

#include "AlarmTest.h"

namespace cloudclient {

// One chassis, 17, of device instance 1. Events 10, 11 and 12 have a single module, 20 has four.
class AlarmSyncTest : public AlarmTest {
 protected:
  void SetUp() override {
    AlarmTest::SetUp();
    fakes::platform().cloud.chassis["17"] = 1;
    for (const uint16_t gddId : {10, 11, 12}) {
      fakes::platform().proxy.HasModules(gddId, 1);
      fakes::platform().proxy.eventTexts[gddId] = "Event " + std::to_string(gddId);
    }
    fakes::platform().proxy.HasModules(20, 4);
    fakes::platform().proxy.eventTexts[20] = "Event 20";
  }

  // The messages of the synchronisation itself.
  std::vector<std::string> SyncLog() const {
    std::vector<std::string> lines;
    for (const std::string& line : Log()) {
      if (line.find(" SyncAlarms: ") != std::string::npos) lines.push_back(line);
    }
    return lines;
  }

  // The chassis whose lists of faults were asked for, in order.
  std::vector<std::string> ChassisAsked() const {
    std::vector<std::string> asked;
    const std::string begin = "GET /redfish/v1/Oem/Quorvan:Events?OriginOfCondition=";
    const std::string end = "&Cleared=false&Severity=Fault";
    for (const std::string& line : service.lines()) {
      if (line.compare(0, begin.size(), begin) != 0) continue;
      const size_t cut = line.find(end);
      if (cut != std::string::npos) asked.push_back(line.substr(begin.size(), cut - begin.size()));
    }
    return asked;
  }
};

}  // namespace cloudclient

#endif  // TESTS_UNIT_DEVICE_ALARMSYNCTEST_H_
