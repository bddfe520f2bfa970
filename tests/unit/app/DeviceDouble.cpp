// SPDX-License-Identifier: Apache-2.0
#include "DeviceDouble.h"

#include "Steps.h"
#include "device/DataFiles.h"
#include "device/DeviceMgr.h"
#include "fakes/Pld.h"

std::function<int(std::string& path)> g_findPath;

// The members that the application uses, in the place of those of device/ and patch/: the linker
// takes no object of these folders that would have them again.
namespace cloudclient {

DeviceMgr* DeviceMgr::GetInstance() {
  static auto* const instance = new DeviceMgr();
  return instance;
}

DeviceMgr::DeviceMgr() : m_changeOfCheckerThread(), m_cloudPosterThread() {}

DeviceMgr::~DeviceMgr() { steps().Add("DeviceMgr goes"); }

void DeviceMgr::SetPldProxy(LxPldProxy* proxy) {
  steps().Add("DeviceMgr::SetPldProxy");
  m_pldProxy = proxy;
}

void DeviceMgr::InitDeviceDataPaths(int velId, LxPldProxy* proxy) {
  steps().Add("DeviceMgr::InitDeviceDataPaths(" + std::to_string(velId) +
              (proxy == nullptr ? ", no proxy)" : ", proxy)"));
}

void DeviceMgr::RegisterForDeviceDataChange(int velId) {
  steps().Add("DeviceMgr::RegisterForDeviceDataChange(" + std::to_string(velId) + ")");
}

void DeviceMgr::Start() {
  steps().Add("DeviceMgr::Start");
  m_running = true;
}

void DeviceMgr::Stop() {
  steps().Add("DeviceMgr::Stop");
  m_running = false;
}

int32_t DeviceMgr::FindPath(int velId, std::string& path, const std::string& fileName) {
  steps().Add("DeviceMgr::FindPath(" + std::to_string(velId) + ", " + fileName + ")");
  if (g_findPath) return g_findPath(path);
  const auto* const proxy = static_cast<fakes::PldProxy*>(m_pldProxy);
  if (proxy == nullptr || !proxy->knowsPsi) return 0;
  return FindDataFile(proxy->psi.text, fileName, path) ? 1 : 0;
}

void DeviceMgr::SyncChassisAlarms(int velId, const std::string& chassisId) {
  steps().Add("DeviceMgr::SyncChassisAlarms(" + std::to_string(velId) + ", " + chassisId + ")");
}

void DeviceMgr::SetAlarmSyncRequested(bool requested) {
  steps().Add(requested ? "DeviceMgr::SetAlarmSyncRequested" : "DeviceMgr serves the request");
}

PatchMgr::PatchMgr() = default;
PatchMgr::~PatchMgr() = default;

void PatchMgr::FillSevenDayValues(std::string& document) {
  steps().Add("PatchMgr::FillSevenDayValues");
  document += "[seven days]";
}

void PatchMgr::UpdateDocWithTempUomValues(int32_t deviceId, std::string& document) {
  steps().Add("PatchMgr::UpdateDocWithTempUomValues(" + std::to_string(deviceId) + ")");
  document += "[unit of device " + std::to_string(deviceId) + "]";
}

}  // namespace cloudclient
