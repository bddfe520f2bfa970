// SPDX-License-Identifier: Apache-2.0
#ifndef HOST_DEVICE_EVENTSTATES_H_
#define HOST_DEVICE_EVENTSTATES_H_

#include <cstdint>
#include <string>

namespace host {

constexpr uint16_t kCleared = 0;
constexpr uint16_t kAlarm = 3;

// The state code of a text ("Cleared", "Message", "Warning", "Alarm", "Fault"); false for another.
bool EventStateOf(const std::string& text, uint16_t& state);

// The text of a state code; "Unknown" for another.
const char* EventStateText(uint16_t state);

}  // namespace host

#endif  // HOST_DEVICE_EVENTSTATES_H_
