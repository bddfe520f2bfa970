// SPDX-License-Identifier: Apache-2.0
#include "PatchDouble.h"

#include "fakes/Platform.h"

using cloudclient::HttpsClient;

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

// The members that the device manager uses, in the place of those of patch/: the linker takes no
// object of that folder that would have them again.
namespace cloudclient {

PatchMgr::PatchMgr() = default;
PatchMgr::~PatchMgr() = default;

PatchResult PatchMgr::InitCovPatchMaps(const std::string& path) {
  Record("InitCovPatchMaps(" + path + ")");
  return patch().initStatus;
}

void PatchMgr::InitIdHistoryValues(int32_t deviceId, HttpsClient* client) {
  Record("InitIdHistoryValues(" + std::to_string(deviceId) + ", " + Name(client) + ")");
}

PatchResult PatchMgr::ProcessCOV(uint32_t deviceId, int32_t pointId, uint16_t extra,
                                 const char (&value)[pld::kCovValueSize], HttpsClient* client,
                                 const std::string& chassisId, const std::string& uuid,
                                 const std::string& label) {
  if (patch().onCov) patch().onCov();
  const fakes::RecordLock lock(fakes::RecordMutex());
  patch().covs.push_back(
      {deviceId, pointId, extra, std::string(value, sizeof value), client, chassisId, uuid, label});
  return kPatchOk;
}

void PatchMgr::ProcessNewestCOVs(const std::vector<PointChange>& changes, HttpsClient* client,
                                 const std::string& chassisId, const std::string& uuid,
                                 const std::string& label, const std::function<bool()>& goOn) {
  const fakes::RecordLock lock(fakes::RecordMutex());
  patch().newest.push_back({changes, client, chassisId, uuid, label, goOn()});
}

void PatchMgr::SendAllResourcesToCloud(uint32_t deviceId, const std::string& chassisId,
                                       const std::string& uuid, HttpsClient* client) {
  Record("SendAllResourcesToCloud(" + std::to_string(deviceId) + ", " + chassisId + ", " + uuid +
         ", " + Name(client) + ")");
}

void PatchMgr::NewDayAccumulators() { Record("NewDayAccumulators()"); }

void PatchMgr::NewDaySyncAccumulators(int32_t deviceId, HttpsClient* client, LxPldProxy* proxy) {
  Record(DaySync("NewDaySyncAccumulators", deviceId, client, proxy));
}

void PatchMgr::NewDaySyncTempAccumulator(int32_t deviceId, HttpsClient* client, LxPldProxy* proxy) {
  Record(DaySync("NewDaySyncTempAccumulator", deviceId, client, proxy));
}

void PatchMgr::NewDaySyncHumAccumulator(int32_t deviceId, HttpsClient* client, LxPldProxy* proxy) {
  Record(DaySync("NewDaySyncHumAccumulator", deviceId, client, proxy));
}

}  // namespace cloudclient
