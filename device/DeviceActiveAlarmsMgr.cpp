// SPDX-License-Identifier: Apache-2.0
// The tracker: which alarms were posted as active.
#include "device/DeviceActiveAlarmsMgr.h"

namespace cloudclient {

DeviceActiveAlarmsMgr::DeviceActiveAlarmsMgr() = default;

DeviceActiveAlarmsMgr::~DeviceActiveAlarmsMgr() = default;

DeviceActiveAlarmsMgr::AlarmTable* DeviceActiveAlarmsMgr::FindTable(uint32_t velId) const {
  const auto device = m_devices.find(velId);
  return device == m_devices.end() ? nullptr : device->second.get();
}

void DeviceActiveAlarmsMgr::AddActiveAlarm(uint32_t velId, const std::string& messageId,
                                           const CloudAlarm& alarm) {
  std::unique_ptr<AlarmTable>& table = m_devices[velId];
  if (!table) table = std::make_unique<AlarmTable>();
  table->insert_or_assign(messageId, alarm);
}

int32_t DeviceActiveAlarmsMgr::FindActiveAlarmByEventId(uint32_t velId, uint32_t eventId,
                                                        std::string& messageId,
                                                        CloudAlarm& alarm) const {
  const AlarmTable* table = FindTable(velId);
  if (table == nullptr) return 0;
  for (const auto& [key, stored] : *table) {
    // Kept: docs/kept-behaviour.md#first-module
    if (stored.GetEventId() == eventId) {
      messageId = key;
      alarm = stored;
      return 1;
    }
  }
  return 0;
}

int32_t DeviceActiveAlarmsMgr::GetActiveAlarm(uint32_t velId, const std::string& messageId,
                                              CloudAlarm& alarm) const {
  const AlarmTable* table = FindTable(velId);
  if (table == nullptr) return 0;
  const auto stored = table->find(messageId);
  if (stored == table->end()) return 0;
  alarm = stored->second;
  return 1;
}

void DeviceActiveAlarmsMgr::RemoveActiveAlarm(uint32_t velId, const std::string& messageId) {
  AlarmTable* table = FindTable(velId);
  if (table != nullptr) table->erase(messageId);
}

}  // namespace cloudclient
