// SPDX-License-Identifier: Apache-2.0
#include "PatchDouble.h"

#include "fakes/Platform.h"

using cloudclient::HttpsClient;
using cloudclient::PatchMgr;

namespace device_core {

PatchDouble& patch() {
  static PatchDouble* const instance = new PatchDouble;
  return *instance;
}

namespace {

template <typename Pointer>
std::string NameOf(const Pointer* pointer, const Pointer* known, const char* name) {
  if (pointer == nullptr) return "null";
  return pointer == known ? name : "other";
}

std::string Name(const HttpsClient* client) { return NameOf(client, patch().https, "https"); }
std::string Name(const LxPldProxy* proxy) { return NameOf(proxy, patch().proxy, "proxy"); }

void Record(const std::string& call) {
  {
    const fakes::RecordLock lock(fakes::RecordMutex());
    patch().calls.push_back(call);
  }
  if (patch().onCall) patch().onCall();
}

std::string DaySync(const char* name, int32_t deviceId, HttpsClient* client, LxPldProxy* proxy) {
  return std::string(name) + "(" + std::to_string(deviceId) + ", " + Name(client) + ", " +
         Name(proxy) + ")";
}

}  // namespace
}  // namespace device_core

using device_core::DaySync;
using device_core::Name;
using device_core::patch;
using device_core::Record;

// The linker leads the manager's calls of these members here.
#define STRING "NSt7__cxx1112basic_stringIcSt11char_traitsIcESaIcEEE"
#define WRAPPED(rest) __asm__("__wrap__ZN11cloudclient8PatchMgr" rest)

int32_t InitCovPatchMaps(PatchMgr* self, const std::string& path)
    WRAPPED("16InitCovPatchMapsERK" STRING);
void InitIdHistoryValues(PatchMgr* self, int32_t deviceId, HttpsClient* client)
    WRAPPED("19InitIdHistoryValuesEiPNS_11HttpsClientE");
int32_t ProcessCOV(PatchMgr* self, uint32_t deviceId, int32_t pointId, uint16_t extra,
                   const char (&value)[pld::kCovValueSize], HttpsClient* client,
                   const std::string& chassisId, const std::string& uuid, const std::string& label)
    WRAPPED("10ProcessCOVEjitRA256_KcPNS_11HttpsClientERK" STRING "SD_SD_");
void SendAllResourcesToCloud(PatchMgr* self, uint32_t deviceId, const std::string& chassisId,
                             const std::string& uuid, HttpsClient* client)
    WRAPPED("23SendAllResourcesToCloudEjRK" STRING "S8_PNS_11HttpsClientE");
void NewDayAccumulators(PatchMgr* self) WRAPPED("18NewDayAccumulatorsEv");
void NewDaySyncAccumulators(PatchMgr* self, int32_t deviceId, HttpsClient* client,
                            LxPldProxy* proxy)
    WRAPPED("22NewDaySyncAccumulatorsEiPNS_11HttpsClientEP10LxPldProxy");
void NewDaySyncTempAccumulator(PatchMgr* self, int32_t deviceId, HttpsClient* client,
                               LxPldProxy* proxy)
    WRAPPED("25NewDaySyncTempAccumulatorEiPNS_11HttpsClientEP10LxPldProxy");
void NewDaySyncHumAccumulator(PatchMgr* self, int32_t deviceId, HttpsClient* client,
                              LxPldProxy* proxy)
    WRAPPED("24NewDaySyncHumAccumulatorEiPNS_11HttpsClientEP10LxPldProxy");

int32_t InitCovPatchMaps(PatchMgr*, const std::string& path) {
  Record("InitCovPatchMaps(" + path + ")");
  return patch().initStatus;
}

void InitIdHistoryValues(PatchMgr*, int32_t deviceId, HttpsClient* client) {
  Record("InitIdHistoryValues(" + std::to_string(deviceId) + ", " + Name(client) + ")");
}

int32_t ProcessCOV(PatchMgr*, uint32_t deviceId, int32_t pointId, uint16_t extra,
                   const char (&value)[pld::kCovValueSize], HttpsClient* client,
                   const std::string& chassisId, const std::string& uuid,
                   const std::string& label) {
  if (patch().onCov) patch().onCov();
  const fakes::RecordLock lock(fakes::RecordMutex());
  patch().covs.push_back(
      {deviceId, pointId, extra, std::string(value, sizeof value), client, chassisId, uuid, label});
  return 0;
}

void SendAllResourcesToCloud(PatchMgr*, uint32_t deviceId, const std::string& chassisId,
                             const std::string& uuid, HttpsClient* client) {
  Record("SendAllResourcesToCloud(" + std::to_string(deviceId) + ", " + chassisId + ", " + uuid +
         ", " + Name(client) + ")");
}

void NewDayAccumulators(PatchMgr*) { Record("NewDayAccumulators()"); }

void NewDaySyncAccumulators(PatchMgr*, int32_t deviceId, HttpsClient* client, LxPldProxy* proxy) {
  Record(DaySync("NewDaySyncAccumulators", deviceId, client, proxy));
}

void NewDaySyncTempAccumulator(PatchMgr*, int32_t deviceId, HttpsClient* client,
                               LxPldProxy* proxy) {
  Record(DaySync("NewDaySyncTempAccumulator", deviceId, client, proxy));
}

void NewDaySyncHumAccumulator(PatchMgr*, int32_t deviceId, HttpsClient* client, LxPldProxy* proxy) {
  Record(DaySync("NewDaySyncHumAccumulator", deviceId, client, proxy));
}
