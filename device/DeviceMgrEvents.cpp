// SPDX-License-Identifier: Apache-2.0
// The post of an event, and the device's active events.
#include "base/CloudCfg.h"
#include "base/Masked.h"
#include "base/MutexGuard.h"
#include "base/ServiceUrl.h"
#include "device/DeviceMgr.h"
#include "device/DeviceMgrState.h"
#include "device/EventDocument.h"
#include "platform/pld/LxVelEventUtil.h"
#include "platform/util/dlog.h"

namespace cloudclient {

bool DeviceMgr::PostEventForAlarmToCloud(const CloudAlarm& alarm, const std::string& chassisId,
                                         const std::string& managerId, const std::string& key) {
  const auto track = [&] {
    if (!alarm.IsActive()) return;
    m_activeAlarms.AddActiveAlarm(static_cast<uint32_t>(alarm.GetAlarmKey()), alarm.GetMessageId(),
                                  alarm);
  };
  if (Outbox::IsWanted()) {
    if (m_outbox.PutEvent(EventDocument(alarm, chassisId), chassisId, key)) {
      track();
      return true;
    }
    // It overtakes what waits there: what comes of that is made good.
    if (!m_outbox.IsIdle()) SetAlarmSyncRequested(true);
  }
  const cfg_cloud::CfgCloud* const cfg = CloudCfg();
  std::string token;
  if (cfg->GetXAuthToken(token) != 0) {
    __dlog_printf(3, kUnit, "%s: missing the xauthtoken ", "PostEventForAlarmToCloud");
    return false;
  }
  const std::string document = EventDocument(alarm, chassisId);
  std::string baseUrl;
  if (cfg->GetUrl(baseUrl) != 0) {
    __dlog_printf(3, kUnit, "%s: Failed to get cloud service URL", "PostEventForAlarmToCloud");
    return false;
  }
  const std::string url = EventsUrl(baseUrl, managerId);
  __dlog_printf(7, kUnit, "%s: url(%s)", "PostEventForAlarmToCloud", Masked(url).c_str());
  __dlog_printf(7, kUnit, "%s: doc(%s)", "PostEventForAlarmToCloud", Masked(document).c_str());
  std::string body;
  std::string header;
  long status = 0;
  const HttpsResult result =
      key.empty() ? m_httpsClient->PostJsonDocument(url, body, header, document, token)
                  : m_httpsClient->PostEvent(url, document, token, key, status);
  if (result != kHttpsOk) {
    __dlog_printf(3, kUnit, "%s: Failed to POST Event (%u)  %s  %s", "PostEventForAlarmToCloud",
                  result, Masked(header).c_str(), Masked(body).c_str());
    return false;
  }
  track();
  return true;
}

void DeviceMgr::PostDeviceEvent(const DeviceEvent& event, const std::string& chassisId,
                                const std::string& managerId) {
  CloudAlarm alarm;
  std::string trackedKey;
  if (m_activeAlarms.FindActiveAlarmByEventId(event.velId, event.gddId, trackedKey, alarm) != 0 &&
      alarm.GetMessageArg() == event.module) {
    const std::string eventState = LxVelEventUtil(event.eventState).GetEventStateString();
    if (alarm.GetSeverity() == eventState) {
      m_told.Done(event);
      return;
    }
    alarm.SetState(eventState);
  } else {
    alarm = CloudAlarm();
    InitCloudAlarmFromDeviceEvent(alarm, event);
  }
  const ToldEvents::Telling telling = m_told.TellingOf(event);
  if (IsOfSetClock(telling.time)) alarm.SetStateTime(telling.time);
  __dlog_printf(7, kUnit, "%s: Posting alarm for %d  state %s", "CloudPoster",
                static_cast<int>(alarm.GetEventId()), alarm.GetSeverity().c_str());
  // Kept: docs/kept-behaviour.md#no-second-post
  if (PostEventForAlarmToCloud(alarm, chassisId, managerId, telling.key)) m_told.Done(event);
  // Kept: docs/kept-behaviour.md#cleared-anyway
  if (!alarm.IsActive()) m_activeAlarms.RemoveActiveAlarm(event.velId, alarm.GetMessageId());
}

void DeviceMgr::SendOutbox() {
  const bool isRunning = m_running;
  m_outbox.Send(m_httpsClient, [this, isRunning] {
    return !m_httpsClient->IsStop() && (!isRunning || m_running);
  });
}

// Kept: docs/kept-behaviour.md#clears-the-queue
void DeviceMgr::ClearDeviceActiveAlarms() {
  const MutexGuard guard(m_eventMutex);
  if (guard.Status() != 0) {
    __dlog_printf(3, kUnit, "%s: Failed to lock event list", "ClearDeviceActiveAlarms");
    return;
  }
  ClearEvents();
}

void DeviceMgr::GetDeviceActiveAlarms(int velId) {
  if (m_pldProxy == nullptr) {
    __dlog_printf(3, kUnit, "%s: NULL pldproxy", "GetDeviceActiveAlarms");
    return;
  }
  if (Outbox::IsWanted()) {
    const MutexGuard guard(m_eventMutex);
    m_activeEvents.reset();
  } else {
    ClearDeviceActiveAlarms();
  }
  const int status = m_pldProxy->GetActiveEvents(ActiveEventsCallback, velId);
  if (status != 0) {
    __dlog_printf(3, kUnit, "%s: Could not get active events for managed device: %d; status: %d",
                  "GetDeviceActiveAlarms", velId, status);
  }
}

void DeviceMgr::ActiveEventsCallback(int status,
                                     const std::list<LxPldProxy::ActiveEvent*>& events) {
  if (status != 0) return;
  std::vector<DeviceEvent> deviceEvents;
  for (const LxPldProxy::ActiveEvent* active : events) {
    DeviceEvent event = {};
    event.gddId = active->gddId;
    event.module = static_cast<uint16_t>(active->module);
    event.eventState = active->eventState;
    deviceEvents.push_back(event);
  }
  DeviceMgr* const mgr = GetInstance();
  if (Outbox::IsWanted()) {
    const MutexGuard guard(mgr->m_eventMutex);
    mgr->m_activeEvents = deviceEvents;
    return;
  }
  for (const DeviceEvent& event : deviceEvents) mgr->AddDeviceEvent(event);
}

void DeviceMgr::InitCloudAlarmFromDeviceEvent(CloudAlarm& alarm, const DeviceEvent& event) {
  alarm.SetState(LxVelEventUtil(event.eventState).GetEventStateString());
  std::string text;
  if (m_pldProxy != nullptr) {
    m_pldProxy->GetEventText(text, static_cast<uint16_t>(event.velId),
                             static_cast<uint16_t>(event.gddId), event.module, 0, "%s");
  }
  if (GetMaxModuleCountForPoint(event.velId, event.gddId) == 1) {
    alarm.SetMessage(text);
    alarm.SetEventId(event.gddId, -1);
  } else {
    alarm.SetMessage("[" + std::to_string(event.module + 1) + "] " + text);
    alarm.SetEventId(event.gddId, event.module);
  }
  alarm.SetAlarmKey(static_cast<int32_t>(event.velId));
  alarm.SetMessageArg(event.module);
}

}  // namespace cloudclient
