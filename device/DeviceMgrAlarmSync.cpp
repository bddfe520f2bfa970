// SPDX-License-Identifier: Apache-2.0
// Alarm synchronisation: the service's open alarms are made those of the device.
#include <unistd.h>

#include <algorithm>
#include <optional>

#include "base/CloudCfg.h"
#include "base/MutexGuard.h"
#include "base/Policy.h"
#include "device/DeviceMgr.h"
#include "device/DeviceMgrState.h"
#include "platform/pld/LxVelEventUtil.h"
#include "platform/util/dlog.h"

namespace cloudclient {

namespace {

// Seconds before a synchronisation that was put off is made again.
constexpr long kFirstSyncWait = 5;
constexpr long kLongestSyncWait = 300;

// Raises a plain flag for a scope.
class FlagRaised {
 public:
  explicit FlagRaised(bool& flag) : m_flag(flag) { m_flag = true; }
  ~FlagRaised() { m_flag = false; }
  FlagRaised(const FlagRaised&) = delete;
  FlagRaised& operator=(const FlagRaised&) = delete;

 private:
  bool& m_flag;
};

// Whether an alarm of the service is that of a device's event.
bool IsOf(const CloudAlarm& alarm, const DeviceEvent& event) {
  return alarm.GetEventId() == event.gddId && alarm.GetMessageArg() == event.module;
}

bool IsCleared(const DeviceEvent& event) {
  return LxVelEventUtil(event.eventState).GetEventStateString() ==
         LxVelEventUtil::TYPE_CLEARED_STRING;
}

// The device's active events with what was notified since put over them. What was notified has been
// posted: only what the service holds as an alarm is left to be compared.
std::vector<DeviceEvent> WithNotified(std::vector<DeviceEvent> active,
                                      const std::vector<DeviceEvent>& notified,
                                      const std::vector<CloudAlarm>& cloudAlarms) {
  for (const DeviceEvent& event : notified) {
    const auto isSame = [&event](const DeviceEvent& other) {
      return other.gddId == event.gddId && other.module == event.module;
    };
    active.erase(std::remove_if(active.begin(), active.end(), isSame), active.end());
    const bool isHeld =
        std::any_of(cloudAlarms.begin(), cloudAlarms.end(),
                    [&event](const CloudAlarm& alarm) { return IsOf(alarm, event); });
    if (isHeld && !IsCleared(event)) active.push_back(event);
  }
  return active;
}

}  // namespace

void DeviceMgr::SyncChassisAlarms(int velId, const std::string& chassisId) {
  SendOutbox();
  if (!m_outbox.IsIdle()) {
    SetAlarmSyncRequested(true);
    return;
  }
  std::string managerId;
  if (CloudCfg()->GetUUID(managerId) == 0) {
    m_patchMgr.SendAllResourcesToCloud(static_cast<uint32_t>(velId), chassisId, managerId,
                                       m_httpsClient);
  }
  SyncAlarms();
}

void DeviceMgr::SyncAlarms() {
  std::map<std::string, cfg_cloud::CfgCloudChassis> configured;
  CloudCfg()->GetConfiguredChassis(configured);
  std::string managerId;
  const int status = CloudCfg()->GetUUID(managerId);
  if (status != 0) {
    __dlog_printf(3, kUnit, "%s: Failed(%d) to get manager instance", "SyncAlarms", status);
    return;
  }
  for (const auto& [id, chassis] : configured) SyncAlarmsOfChassis(id, chassis, managerId);
}

void DeviceMgr::SyncAlarmsOfChassis(const std::string& chassisId,
                                    const cfg_cloud::CfgCloudChassis& chassis,
                                    const std::string& managerId) {
  std::vector<CloudAlarm> cloudAlarms;
  // Kept: docs/kept-behaviour.md#failed-read-posts
  if (!Outbox::IsWanted()) ReadAlarmsFromCloudForChassis(m_httpsClient, chassisId, cloudAlarms);
  int velId = 0;
  const int status = chassis.GetVelocityInstance(velId);
  if (status != 0) {
    __dlog_printf(3, kUnit, "%s: Failed(%d) to get velocity instance for chassis: %s", "SyncAlarms",
                  status, chassisId.c_str());
    return;
  }
  const FlagRaised inProgress(m_syncInProgress);
  // Kept: docs/kept-behaviour.md#failed-query-clears
  GetDeviceActiveAlarms(velId);
  // Kept: docs/kept-behaviour.md#two-second-wait
  sleep(2);  // the engine may answer on a thread of its own
  std::vector<DeviceEvent> deviceEvents;
  // Kept: docs/kept-behaviour.md#silent-skip
  if (TakeEvents(deviceEvents) != 0) return;
  if (Outbox::IsWanted() &&
      !CompareThroughOutbox(cloudAlarms, deviceEvents, chassisId, managerId)) {
    return;
  }

  if (ThePolicy().alarms.pairAll) {
    PairAllAlarms(cloudAlarms, deviceEvents, chassisId, managerId);
  } else {
    PairFirstAlarm(cloudAlarms, deviceEvents, chassisId, managerId);
  }

  __dlog_printf(7, kUnit, "%s: unprocessed cloud events (%u) that need cleared", "SyncAlarms",
                static_cast<unsigned int>(cloudAlarms.size()));
  for (const CloudAlarm& cloudAlarm : cloudAlarms) {
    CloudAlarm cleared = cloudAlarm;
    cleared.SetState(kSeverityCleared);
    // Kept: docs/kept-behaviour.md#tracked-after-sync
    PostEventForAlarmToCloud(cleared, chassisId, managerId);
  }
  __dlog_printf(7, kUnit, "%s: unprocessed device events (%u) that need posted", "SyncAlarms",
                static_cast<unsigned int>(deviceEvents.size()));
  for (const DeviceEvent& event : deviceEvents) {
    CloudAlarm alarm;
    InitCloudAlarmFromDeviceEvent(alarm, event);
    PostEventForAlarmToCloud(alarm, chassisId, managerId);
  }
  SendOutbox();
}

// With an outbox no notification is lost, and nothing posted twice. Takes what was notified before
// and while the device was asked (`deviceEvents`), posts it, and reads the service's alarms when
// the outbox is empty: they are to be compared with what the device answered, and with what was
// notified since. False, and the synchronisation is requested anew, when one of the two can't be
// had at present.
bool DeviceMgr::CompareThroughOutbox(std::vector<CloudAlarm>& cloudAlarms,
                                     std::vector<DeviceEvent>& deviceEvents,
                                     const std::string& chassisId, const std::string& managerId) {
  const std::vector<DeviceEvent> notified = deviceEvents;
  for (const DeviceEvent& event : notified) PostDeviceEvent(event, chassisId, managerId);
  SendOutbox();
  std::optional<std::vector<DeviceEvent>> active;
  {
    const MutexGuard guard(m_eventMutex);
    active = m_activeEvents;
  }
  const bool isAnswered = active.has_value();
  if (!isAnswered || !m_outbox.IsIdle() ||
      !ReadAlarmsFromCloudForChassis(m_httpsClient, chassisId, cloudAlarms)) {
    __dlog_printf(4, kUnit, "%s: put off, %s", "SyncAlarms",
                  isAnswered ? "the service does not answer" : "the device does not answer");
    m_syncWait.Begin(RetryWait::Now(), kFirstSyncWait, kLongestSyncWait);
    SetAlarmSyncRequested(true);
    return false;
  }
  m_syncWait.Reset();
  deviceEvents = WithNotified(*active, notified, cloudAlarms);
  return true;
}

// Handles one pair at most; the caller clears, then posts anew, what would have paired after it.
// Kept: docs/kept-behaviour.md#one-pair
void DeviceMgr::PairFirstAlarm(std::vector<CloudAlarm>& cloudAlarms,
                               std::vector<DeviceEvent>& deviceEvents, const std::string& chassisId,
                               const std::string& managerId) {
  for (auto event = deviceEvents.begin(); event != deviceEvents.end(); ++event) {
    for (auto cloud = cloudAlarms.begin(); cloud != cloudAlarms.end(); ++cloud) {
      if (!IsOf(*cloud, *event)) continue;
      HandlePair(*cloud, *event, chassisId, managerId);
      cloudAlarms.erase(cloud);
      deviceEvents.erase(event);
      return;
    }
  }
}

// Handles all pairs, so that only what one side holds is left. Of alarms that the service holds
// twice one stands for both: to clear the other would clear what the device still has.
void DeviceMgr::PairAllAlarms(std::vector<CloudAlarm>& cloudAlarms,
                              std::vector<DeviceEvent>& deviceEvents, const std::string& chassisId,
                              const std::string& managerId) {
  std::vector<CloudAlarm> paired;
  std::vector<DeviceEvent> unpaired;
  for (const DeviceEvent& event : deviceEvents) {
    const auto isOfEvent = [&event](const CloudAlarm& alarm) { return IsOf(alarm, event); };
    const std::string state = LxVelEventUtil(event.eventState).GetEventStateString();
    // What was paired before stands for what the service holds by now.
    auto known = std::find_if(paired.begin(), paired.end(), isOfEvent);
    if (known == paired.end()) {
      const auto rest = std::stable_partition(cloudAlarms.begin(), cloudAlarms.end(),
                                              [&](const auto& alarm) { return !isOfEvent(alarm); });
      if (rest == cloudAlarms.end()) {
        unpaired.push_back(event);
        continue;
      }
      const auto same = std::find_if(
          rest, cloudAlarms.end(), [&](const auto& alarm) { return alarm.GetSeverity() == state; });
      known = paired.insert(paired.end(), same == cloudAlarms.end() ? *rest : *same);
      cloudAlarms.erase(rest, cloudAlarms.end());
    }
    HandlePair(*known, event, chassisId, managerId);
    known->SetState(state);
  }
  deviceEvents = unpaired;
}

// An alarm that both sides hold: posts the device's state where the service's is another.
void DeviceMgr::HandlePair(const CloudAlarm& cloud, const DeviceEvent& event,
                           const std::string& chassisId, const std::string& managerId) {
  const std::string eventState = LxVelEventUtil(event.eventState).GetEventStateString();
  if (cloud.GetSeverity() == eventState) {
    __dlog_printf(7, kUnit, "%s: gdd(%lu) event state the same (%s)", "SyncAlarms",
                  static_cast<unsigned long>(event.gddId), cloud.GetSeverity().c_str());
    return;
  }
  CloudAlarm alarm;
  InitCloudAlarmFromDeviceEvent(alarm, event);
  PostEventForAlarmToCloud(alarm, chassisId, managerId);
  __dlog_printf(7, kUnit, "%s: gdd(%u) needs updated to new event state(%s)  old event state(%s)",
                "SyncAlarms", cloud.GetEventId(), eventState.c_str(), cloud.GetSeverity().c_str());
}

}  // namespace cloudclient
