// SPDX-License-Identifier: Apache-2.0
#ifndef DEVICE_CORE_PATCHDOUBLE_H_
#define DEVICE_CORE_PATCHDOUBLE_H_

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "patch/PatchMgr.h"

namespace device_core {

// One change of value as it was handed over.
struct ProcessedCov {
  uint32_t deviceId;
  int32_t pointId;
  uint16_t extra;
  std::string value;
  const cloudclient::HttpsClient* client;
  std::string chassisId;
  std::string uuid;
  std::string label;
};

// The newest changes of a pass as they were handed over.
struct NewestCovs {
  std::vector<cloudclient::PointChange> changes;
  const cloudclient::HttpsClient* client;
  std::string chassisId;
  std::string uuid;
  std::string label;
  bool goesOn;
};

// What the device manager asks of its patch manager: recorded here and not done.
struct PatchDouble {
  // Pointers are shown by these names when they are the ones below: "https", "proxy"; else "null"
  // or "other".
  const cloudclient::HttpsClient* https = nullptr;
  const LxPldProxy* proxy = nullptr;

  std::vector<ProcessedCov> covs;
  std::vector<NewestCovs> newest;
  // Every other call, in order: "NewDaySyncHumAccumulator(0, https, proxy)".
  std::vector<std::string> calls;
  // Called at each of these after it was recorded; may throw.
  std::function<void()> onCall;
  // Called at each change of value before it is recorded; may throw.
  std::function<void()> onCov;
  // What loading the map file answers.
  int32_t initStatus = 0;
};

PatchDouble& patch();

}  // namespace device_core

#endif  // DEVICE_CORE_PATCHDOUBLE_H_
