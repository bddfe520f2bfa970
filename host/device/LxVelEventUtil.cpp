// SPDX-License-Identifier: Apache-2.0
// The text of an event's state.
#include "platform/pld/LxVelEventUtil.h"

#include "host/device/EventStates.h"

const char* const LxVelEventUtil::TYPE_CLEARED_STRING = "Cleared";

struct LxVelEventUtil::Impl {
  uint16_t state;
};

LxVelEventUtil::LxVelEventUtil(uint16_t eventState) : m_impl(new Impl{eventState}) {}
LxVelEventUtil::~LxVelEventUtil() { delete m_impl; }

std::string LxVelEventUtil::GetEventStateString() const {
  return host::EventStateText(m_impl->state);
}
