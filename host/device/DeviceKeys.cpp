// SPDX-License-Identifier: Apache-2.0
// The tables of the keys of the device's file.
#include "host/device/DeviceKeys.h"

#include <cstdint>
#include <limits>

namespace host {

std::vector<JsonKey> DeviceKeys() {
  using Type = JsonKey::Type;
  using Int = std::numeric_limits<int>;
  constexpr int64_t kMostModules = 1024;
  constexpr int64_t kMost16 = std::numeric_limits<uint16_t>::max();
  constexpr int64_t kMost32 = std::numeric_limits<uint32_t>::max();

  const std::vector<JsonKey> point = {
      {"Id", Type::kInteger, 1, kMost16},
      {"Name", Type::kText},
      {"Value", Type::kText, 0, kLongestValue},
      {"Unit", Type::kText},
      {"Decimals", Type::kInteger, 0, 9},
      {"Scale", Type::kNumber},
      {"States", Type::kNamedTexts, 0, kLongestValue},
      {"Modules", Type::kInteger, 1, kMostModules},
      {"Report", Type::kInteger, 0, kMost32},
      {"Source", Type::kOpenObject},
  };
  const std::vector<JsonKey> when = {
      {"Point", Type::kInteger, 1, kMost16},
      {"Above", Type::kNumber},
      {"Below", Type::kNumber},
      {"Equals", Type::kTextOrNumber},
      {"NotEquals", Type::kTextOrNumber},
      {"Missing", Type::kTrue},
      {"Hysteresis", Type::kNumber},
      {"State", Type::kText},
  };
  const std::vector<JsonKey> event = {
      {"GddId", Type::kInteger, 1, kMost16},
      {"Text", Type::kText},
      {"Modules", Type::kInteger, 1, kMostModules},
      {"State", Type::kText},
      {"When", Type::kObject, when},
      {"Source", Type::kOpenObject},
  };
  return {
      {"VelocityId", Type::kInteger, Int::min(), Int::max()},
      {"ProductSequenceId", Type::kText},
      {"Label", Type::kText, 0, kLongestValue},
      {"PollSeconds", Type::kInteger, 1, 86400},
      {"Sources", Type::kNamedObjects, SourceKeys()},
      {"Points", Type::kObjects, point},
      {"Events", Type::kObjects, event},
  };
}

std::vector<JsonKey> SourceKeys() {
  using Type = JsonKey::Type;
  return {{"Type", Type::kText}, {"From", Type::kText}};
}

std::vector<JsonKey> FileSourceKeys() {
  using Type = JsonKey::Type;
  return {{"Type", Type::kText}, {"Path", Type::kText}, {"Scale", Type::kNumber}};
}

std::vector<std::string> UnknownDeviceKeys(const json_t* root) {
  std::vector<std::string> unknown = UnknownKeysOf(root, DeviceKeys());
  const json_t* const points = json_object_get(root, "Points");
  for (size_t i = 0; i < json_array_size(points); ++i) {
    const json_t* const source = json_object_get(json_array_get(points, i), "Source");
    if (JsonText(json_object_get(source, "Type")) != "file") continue;
    for (const std::string& key : UnknownKeysOf(source, FileSourceKeys())) {
      unknown.push_back(key + " in \"Source\" of \"Points\"[" + std::to_string(i) + "]");
    }
  }
  return unknown;
}

}  // namespace host
