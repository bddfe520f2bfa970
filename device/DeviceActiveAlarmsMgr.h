// SPDX-License-Identifier: Apache-2.0
#ifndef DEVICE_DEVICEACTIVEALARMSMGR_H_
#define DEVICE_DEVICEACTIVEALARMSMGR_H_

#include <cstdint>
#include <map>
#include <memory>
#include <string>

#include "device/CloudAlarm.h"

namespace cloudclient {

// The tracker: remembers, for each device instance, the alarms that were posted as active, so that
// the poster can tell a repeated notification from a change of state. Nothing is persisted.
//
// Takes no lock, although the poster thread and a reconciliation on the main thread both use it.
// Kept: docs/kept-behaviour.md#unlocked-tracker
class DeviceActiveAlarmsMgr {
 public:
  DeviceActiveAlarmsMgr();
  virtual ~DeviceActiveAlarmsMgr();
  DeviceActiveAlarmsMgr(const DeviceActiveAlarmsMgr&) = delete;
  DeviceActiveAlarmsMgr& operator=(const DeviceActiveAlarmsMgr&) = delete;

  // Stores a copy of `alarm` under its device and message identifier, in place of an earlier one.
  void AddActiveAlarm(uint32_t velId, const std::string& messageId, const CloudAlarm& alarm);

  // 1, and the first alarm of the device by message identifier whose event number is `eventId` in
  // `messageId` and `alarm`; else 0, and both as they were. The module plays no part.
  int32_t FindActiveAlarmByEventId(uint32_t velId, uint32_t eventId, std::string& messageId,
                                   CloudAlarm& alarm) const;

  // 1, and the alarm stored under both keys in `alarm`; else 0, and `alarm` as it was.
  int32_t GetActiveAlarm(uint32_t velId, const std::string& messageId, CloudAlarm& alarm) const;

  // Forgets the alarm stored under both keys; nothing happens when there is none.
  void RemoveActiveAlarm(uint32_t velId, const std::string& messageId);

 private:
  typedef std::map<std::string, CloudAlarm> AlarmTable;

  // The table of a device, or null. A table stays when its last alarm goes.
  AlarmTable* FindTable(uint32_t velId) const;

  std::map<uint32_t, std::unique_ptr<AlarmTable>> m_devices;
};

}  // namespace cloudclient

#endif  // DEVICE_DEVICEACTIVEALARMSMGR_H_
