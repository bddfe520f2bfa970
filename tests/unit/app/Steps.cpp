// SPDX-License-Identifier: Apache-2.0
#include "Steps.h"

#include <curl/curl.h>

#include "device/DeviceMgr.h"
#include "fakes/Curl.h"
#include "fakes/Platform.h"
#include "patch/PatchMgr.h"

using cloudclient::DeviceMgr;
using cloudclient::PatchMgr;
using fakes::platform;

std::function<int(std::string& path)> g_findPath;

namespace {

bool IsChange(const std::string& operation) {
  return operation.compare(0, 3, "Get") != 0 && operation != "IsFullyConfigured";
}

}  // namespace

Steps& steps() {
  static Steps* const instance = new Steps;
  return *instance;
}

void Steps::Listen(const std::string& baseUrl) {
  m_steps.clear();
  m_messagesTaken = 0;
  platform().cloud.onCall = [this](const std::string& operation) {
    if (IsChange(operation)) Add("cloud." + operation);
  };
  platform().sysInfo.onCall = [this](const std::string& operation) {
    if (IsChange(operation)) Add("sysinfo." + operation);
  };
  platform().sleeps.hook = [this](uint64_t duration) { Add("sleep " + std::to_string(duration)); };
  fakes::curl().onPerform = [this, baseUrl](fakes::Transfer& transfer) {
    const bool here = transfer.url.compare(0, baseUrl.size(), baseUrl) == 0;
    Add(transfer.Method() + " " + (here ? transfer.url.substr(baseUrl.size()) : transfer.url));
  };
}

void Steps::Add(const std::string& step) {
  TakeMessages();
  m_steps.push_back({0, step});
}

const std::vector<std::string>& Steps::All(int level) {
  TakeMessages();
  m_shown.clear();
  for (const Step& step : m_steps) {
    if (step.level <= level) m_shown.push_back(step.text);
  }
  return m_shown;
}

void Steps::Forget() {
  TakeMessages();
  m_steps.clear();
}

void Steps::TakeMessages() {
  const auto& records = platform().log.records;
  for (; m_messagesTaken < records.size(); ++m_messagesTaken) {
    const fakes::LogRecord& record = records[m_messagesTaken];
    if (record.unit != "CloudClient") continue;
    m_steps.push_back({record.level, std::to_string(record.level) + " " + record.text});
  }
}

// The linker puts __wrap_NAME in the place of NAME, which is reached as __real_NAME.
#define STRING "NSt7__cxx1112basic_stringIcSt11char_traitsIcESaIcEEE"

CURLcode RealGlobalInit(long flags) asm("__real_curl_global_init");
CURLcode WrapGlobalInit(long flags) asm("__wrap_curl_global_init");
CURLcode WrapGlobalInit(long flags) {
  steps().Add("curl_global_init");
  return RealGlobalInit(flags);
}

void RealGlobalCleanup() asm("__real_curl_global_cleanup");
void WrapGlobalCleanup() asm("__wrap_curl_global_cleanup");
void WrapGlobalCleanup() {
  steps().Add("curl_global_cleanup");
  RealGlobalCleanup();
}

void RealSetPldProxy(DeviceMgr*, LxPldProxy*) asm(
    "__real__ZN11cloudclient9DeviceMgr11SetPldProxyEP10LxPldProxy");
void WrapSetPldProxy(DeviceMgr*, LxPldProxy*) asm(
    "__wrap__ZN11cloudclient9DeviceMgr11SetPldProxyEP10LxPldProxy");
void WrapSetPldProxy(DeviceMgr* self, LxPldProxy* proxy) {
  steps().Add("DeviceMgr::SetPldProxy");
  RealSetPldProxy(self, proxy);
}

void RealInitDeviceDataPaths(DeviceMgr*, int, LxPldProxy*) asm(
    "__real__ZN11cloudclient9DeviceMgr19InitDeviceDataPathsEiP10LxPldProxy");
void WrapInitDeviceDataPaths(DeviceMgr*, int, LxPldProxy*) asm(
    "__wrap__ZN11cloudclient9DeviceMgr19InitDeviceDataPathsEiP10LxPldProxy");
void WrapInitDeviceDataPaths(DeviceMgr* self, int velId, LxPldProxy* proxy) {
  steps().Add("DeviceMgr::InitDeviceDataPaths(" + std::to_string(velId) +
              (proxy == nullptr ? ", no proxy)" : ", proxy)"));
  RealInitDeviceDataPaths(self, velId, proxy);
}

void RealRegisterForDeviceDataChange(DeviceMgr*, int) asm(
    "__real__ZN11cloudclient9DeviceMgr27RegisterForDeviceDataChangeEi");
void WrapRegisterForDeviceDataChange(DeviceMgr*, int) asm(
    "__wrap__ZN11cloudclient9DeviceMgr27RegisterForDeviceDataChangeEi");
void WrapRegisterForDeviceDataChange(DeviceMgr* self, int velId) {
  steps().Add("DeviceMgr::RegisterForDeviceDataChange(" + std::to_string(velId) + ")");
  RealRegisterForDeviceDataChange(self, velId);
}

void RealStart(DeviceMgr*) asm("__real__ZN11cloudclient9DeviceMgr5StartEv");
void WrapStart(DeviceMgr*) asm("__wrap__ZN11cloudclient9DeviceMgr5StartEv");
void WrapStart(DeviceMgr* self) {
  steps().Add("DeviceMgr::Start");
  RealStart(self);
}

void RealStop(DeviceMgr*) asm("__real__ZN11cloudclient9DeviceMgr4StopEv");
void WrapStop(DeviceMgr*) asm("__wrap__ZN11cloudclient9DeviceMgr4StopEv");
void WrapStop(DeviceMgr* self) {
  steps().Add("DeviceMgr::Stop");
  RealStop(self);
}

int32_t RealFindPath(DeviceMgr*, int, std::string&,
                     const std::string&) asm("__real__ZN11cloudclient9DeviceMgr8FindPathEiR" STRING
                                             "RKS6_");
int32_t WrapFindPath(DeviceMgr*, int, std::string&,
                     const std::string&) asm("__wrap__ZN11cloudclient9DeviceMgr8FindPathEiR" STRING
                                             "RKS6_");
int32_t WrapFindPath(DeviceMgr* self, int velId, std::string& path, const std::string& fileName) {
  steps().Add("DeviceMgr::FindPath(" + std::to_string(velId) + ", " + fileName + ")");
  return g_findPath ? g_findPath(path) : RealFindPath(self, velId, path, fileName);
}

void RealSyncChassisAlarms(DeviceMgr*, int, const std::string&) asm(
    "__real__ZN11cloudclient9DeviceMgr17SyncChassisAlarmsEiRK" STRING);
void WrapSyncChassisAlarms(DeviceMgr*, int, const std::string&) asm(
    "__wrap__ZN11cloudclient9DeviceMgr17SyncChassisAlarmsEiRK" STRING);
// The synchronisation sleeps and asks the service on its own account: not the application's steps.
void WrapSyncChassisAlarms(DeviceMgr*, int velId, const std::string& chassisId) {
  steps().Add("DeviceMgr::SyncChassisAlarms(" + std::to_string(velId) + ", " + chassisId + ")");
}

// The two edits leave marks in the document.
void WrapFillSevenDayValues(PatchMgr*, std::string&) asm(
    "__wrap__ZN11cloudclient8PatchMgr18FillSevenDayValuesER" STRING);
void WrapFillSevenDayValues(PatchMgr*, std::string& document) {
  steps().Add("PatchMgr::FillSevenDayValues");
  document += "[seven days]";
}

void WrapUpdateDocWithTempUomValues(PatchMgr*, int32_t, std::string&) asm(
    "__wrap__ZN11cloudclient8PatchMgr26UpdateDocWithTempUomValuesEiR" STRING);
void WrapUpdateDocWithTempUomValues(PatchMgr*, int32_t deviceId, std::string& document) {
  steps().Add("PatchMgr::UpdateDocWithTempUomValues(" + std::to_string(deviceId) + ")");
  document += "[unit of device " + std::to_string(deviceId) + "]";
}

void RealPatchMgrGoes(PatchMgr*) asm("__real__ZN11cloudclient8PatchMgrD1Ev");
void WrapPatchMgrGoes(PatchMgr*) asm("__wrap__ZN11cloudclient8PatchMgrD1Ev");
void WrapPatchMgrGoes(PatchMgr* self) {
  steps().Add("PatchMgr goes");
  RealPatchMgrGoes(self);
}
