// SPDX-License-Identifier: Apache-2.0
// The words for the states of an event.
#include "host/device/EventStates.h"

#include <iterator>

namespace host {
namespace {

constexpr const char* kTexts[] = {"Cleared", "Message", "Warning", "Alarm", "Fault"};

}  // namespace

bool EventStateOf(const std::string& text, uint16_t& state) {
  for (size_t code = 0; code < std::size(kTexts); ++code) {
    if (text == kTexts[code]) {
      state = static_cast<uint16_t>(code);
      return true;
    }
  }
  return false;
}

const char* EventStateText(uint16_t state) {
  return state < std::size(kTexts) ? kTexts[state] : "Unknown";
}

}  // namespace host
