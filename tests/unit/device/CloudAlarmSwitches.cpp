// SPDX-License-Identifier: Apache-2.0
#include "CloudAlarmSwitches.h"

#include <jansson.h>

namespace {

std::optional<size_t> g_missingElement;

}  // namespace

extern "C" {
// Stands for LxVelEventUtil::TYPE_CLEARED_STRING, which is a constant of the platform.
extern const char* __wrap__ZN14LxVelEventUtil19TYPE_CLEARED_STRINGE;
const char* __wrap__ZN14LxVelEventUtil19TYPE_CLEARED_STRINGE = "Cleared";

json_t* __real_json_array_get(const json_t* array, size_t index);
json_t* __wrap_json_array_get(const json_t* array, size_t index);
}

json_t* __wrap_json_array_get(const json_t* array, size_t index) {
  if (g_missingElement && *g_missingElement == index) return nullptr;
  return __real_json_array_get(array, index);
}

void SetPlatformClearedText(const char* text) {
  __wrap__ZN14LxVelEventUtil19TYPE_CLEARED_STRINGE = text;
}

void SetMissingArrayElement(std::optional<size_t> index) { g_missingElement = index; }
