#include "platform/pld/LxVelEventUtil.h"

#include <iterator>

#include "host/device/EventStates.h"

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

const char* const LxVelEventUtil::TYPE_CLEARED_STRING = "Cleared";

struct LxVelEventUtil::Impl {
  uint16_t state;
};

LxVelEventUtil::LxVelEventUtil(uint16_t eventState) : m_impl(new Impl{eventState}) {}
LxVelEventUtil::~LxVelEventUtil() { delete m_impl; }

std::string LxVelEventUtil::GetEventStateString() const {
  return host::EventStateText(m_impl->state);
}
