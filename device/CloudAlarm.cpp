// SPDX-License-Identifier: Apache-2.0
// One alarm: its identifier and the times of its states.
#include "device/CloudAlarm.h"

#include "base/LocalTime.h"
#include "platform/pld/LxVelEventUtil.h"

namespace cloudclient {

const char kSeverityCleared[] = "Cleared";

namespace {

// An array and no string object, so that nothing initialised earlier can see it empty.
const char kMessageIdPrefix[] = "Zarvel.GDD.";

// Kept: docs/kept-behaviour.md#offset-without-colon
std::string AlarmTimeText(time_t when) { return LocalTimeText("%Y-%m-%dT%H:%M:%S%z", 80, when); }

}  // namespace

CloudAlarm::CloudAlarm() : m_severity(kSeverityCleared) {}

CloudAlarm::~CloudAlarm() = default;

void CloudAlarm::SetEventId(uint32_t eventId, int32_t instance) {
  m_eventId = eventId;
  m_messageId = kMessageIdPrefix + std::to_string(eventId);
  if (instance >= 0) m_messageId += ":" + std::to_string(instance);
}

void CloudAlarm::SetState(const std::string& state) {
  m_severity = state;
  SetStateTime(time(nullptr));
}

void CloudAlarm::SetStateTime(time_t when) {
  const bool isCleared = m_severity == LxVelEventUtil::TYPE_CLEARED_STRING;
  (isCleared ? m_clearedTime : m_created) = AlarmTimeText(when);
}

}  // namespace cloudclient
