// SPDX-License-Identifier: Apache-2.0
// The daily alarm, and what it does.
#include "base/LocalTime.h"
#include "device/DeviceMgr.h"
#include "device/DeviceMgrState.h"
#include "platform/util/dlog.h"

namespace cloudclient {

namespace {

// The daily work touches accumulators and pages of this device number.
constexpr int kDailyDeviceId = 0;

}  // namespace

bool DeviceMgr::ArmTimeOfDayAlarm(const char* caller) {
  struct tm when = {};
  if (!m_timerMgr.ComputeTomorrow(&when)) {
    __dlog_printf(3, kUnit, "%s: Failed to compute tomorrow", caller);
    return false;
  }
  when.tm_sec = 1;
  when.tm_min = 0;
  when.tm_hour = 0;
  g_todAlarmId =
      m_timerMgr.CreateLocalTODAlarm(&when, TimeOfDayAlarmCB, TimeOfDayCancelCB, nullptr);
  __dlog_printf(5, kUnit, "%s: Started tod alarm(alarmid: %u)", caller,
                static_cast<unsigned int>(g_todAlarmId));
  return true;
}

void DeviceMgr::TimeOfDayAlarmCB(unsigned short alarmId, void* /*context*/) {
  DeviceMgr* const mgr = GetInstance();
  const struct tm now = LocalTimeNow();
  __dlog_printf(5, kUnit, "%s: TOD Alarm(alarmid: %u) Expired %02d/%02d/%02d %02d:%02d:%02d",
                "TimeOfDayAlarmCB", static_cast<unsigned int>(alarmId), now.tm_mon + 1, now.tm_mday,
                now.tm_year + 1900, now.tm_hour, now.tm_min, now.tm_sec);
  // Without a next alarm there is no new day either.
  // Kept: docs/kept-behaviour.md#no-next-alarm
  if (!mgr->ArmTimeOfDayAlarm("TimeOfDayAlarmCB")) return;
  PatchMgr& patch = mgr->m_patchMgr;
  Guarded([&] { patch.NewDayAccumulators(); }, "TimeOfDayAlarmCB");
  Guarded(
      [&] { patch.NewDaySyncHumAccumulator(kDailyDeviceId, mgr->m_httpsClient, mgr->m_pldProxy); },
      "TimeOfDayAlarmCB");
  Guarded(
      [&] { patch.NewDaySyncTempAccumulator(kDailyDeviceId, mgr->m_httpsClient, mgr->m_pldProxy); },
      "TimeOfDayAlarmCB");
  SetAlarmSyncRequested(true);
}

void DeviceMgr::TimeOfDayCancelCB(unsigned short alarmId, void* /*context*/) {
  DeviceMgr* const mgr = GetInstance();
  const struct tm now = LocalTimeNow();
  __dlog_printf(5, kUnit, "%s: TOD Alarm(alarmid: %u) Cancelled now(%02d/%02d/%02d %02d:%02d:%02d)",
                "TimeOfDayCancelCB", static_cast<unsigned int>(alarmId), now.tm_mon + 1,
                now.tm_mday, now.tm_year + 1900, now.tm_hour, now.tm_min, now.tm_sec);
  if (mgr->m_running) mgr->ArmTimeOfDayAlarm("TimeOfDayCancelCB");
}

}  // namespace cloudclient
