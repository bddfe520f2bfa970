// SPDX-License-Identifier: Apache-2.0
// The daily alarm, and where the device's data files lie.
#include <dirent.h>
#include <unistd.h>

#include <memory>

#include "base/LocalTime.h"
#include "device/DeviceMgr.h"
#include "device/DeviceMgrState.h"
#include "platform/pld/LxProductIdentSeq.h"
#include "platform/util/LocalPath.h"
#include "platform/util/dlog.h"

namespace cloudclient {

namespace {

const char kPldServerDir[] = "/var/local/orv/pldserver/0/";

// The daily work touches accumulators and pages of this device number.
constexpr int kDailyDeviceId = 0;

bool FolderHolds(const std::string& folder, const std::string& fileName) {
  struct Close {
    void operator()(DIR* dir) const { closedir(dir); }
  };
  const std::unique_ptr<DIR, Close> dir(opendir(LocalPath(folder).c_str()));
  if (!dir) return false;
  while (const struct dirent* entry = readdir(dir.get())) {
    if (fileName == entry->d_name) return true;
  }
  return false;
}

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
  Guarded([&] { patch.NewDayAccumulators(); });
  Guarded(
      [&] { patch.NewDaySyncHumAccumulator(kDailyDeviceId, mgr->m_httpsClient, mgr->m_pldProxy); });
  Guarded([&] {
    patch.NewDaySyncTempAccumulator(kDailyDeviceId, mgr->m_httpsClient, mgr->m_pldProxy);
  });
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

void DeviceMgr::InitDeviceDataPaths(int velId, LxPldProxy* proxy) {
  std::string path;
  if (FindPath(velId, path, "covpatchmap.txt") != 0) {
    m_patchMgr.InitCovPatchMaps(path);
    m_patchMgr.InitIdHistoryValues(velId, m_httpsClient);
  }
  m_patchMgr.NewDaySyncAccumulators(velId, m_httpsClient, proxy);
}

int32_t DeviceMgr::FindPath(int velId, std::string& path, const std::string& fileName) {
  LxProductIdentSeq* psi = nullptr;
  if (m_pldProxy == nullptr ||
      !m_pldProxy->GetProdSeqId(&psi, static_cast<unsigned short>(velId))) {
    __dlog_printf(3, kUnit, "%s: Failed to get the product sequence id", "FindPath");
    return 0;
  }
  std::string sequence;
  psi->ConvertPsiToStr(sequence);
  std::string folder = kPldServerDir;
  for (const char c : sequence) folder += c == '.' ? '/' : c;

  // Only an empty sequence and one that begins with a full stop meet the base, which ends in a
  // slash. Any other search for a file that is nowhere on the way up never ends: its folder is
  // empty then and stays so.
  // Kept: docs/kept-behaviour.md#endless-search
  while (folder != kPldServerDir) {
    if (FolderHolds(folder, fileName)) {
      path = folder;
      path += '/';
      path += fileName;
      return 1;
    }
    const size_t slash = folder.rfind('/');
    if (slash != std::string::npos) folder.erase(slash);
    if (folder.empty()) usleep(100000);
  }
  return 0;
}

}  // namespace cloudclient
