#include "patch/PatchMgr.h"

namespace cloudclient {

PatchMgr::PatchMgr() : m_pldProxy(nullptr) {}

PatchMgr::~PatchMgr() = default;

int32_t PatchMgr::InitCovPatchMaps(const std::string& /*path*/) { return 0; }

void PatchMgr::InitIdHistoryValues(int32_t /*deviceId*/, HttpsClient* /*client*/) {}

int32_t PatchMgr::ProcessCOV(uint32_t /*deviceId*/, int32_t /*pointId*/, uint16_t /*extra*/,
                             const char (&/*value*/)[kCovValueSize], HttpsClient* /*client*/,
                             const std::string& /*chassisId*/, const std::string& /*uuid*/,
                             const std::string& /*label*/) {
  return 4;
}

void PatchMgr::SendAllResourcesToCloud(uint32_t /*deviceId*/, const std::string& /*chassisId*/,
                                       const std::string& /*uuid*/, HttpsClient* /*client*/) {}

void PatchMgr::FillSevenDayValues(std::string& /*document*/) {}

void PatchMgr::UpdateDocWithTempUomValues(int32_t /*deviceId*/, std::string& /*document*/) {}

void PatchMgr::NewDayAccumulators() {}

void PatchMgr::NewDaySyncAccumulators(int32_t deviceId, HttpsClient* client, LxPldProxy* proxy) {
  NewDaySyncTempAccumulator(deviceId, client, proxy);
  NewDaySyncHumAccumulator(deviceId, client, proxy);
}

void PatchMgr::NewDaySyncTempAccumulator(int32_t /*deviceId*/, HttpsClient* /*client*/,
                                         LxPldProxy* /*proxy*/) {}

void PatchMgr::NewDaySyncHumAccumulator(int32_t /*deviceId*/, HttpsClient* /*client*/,
                                        LxPldProxy* /*proxy*/) {}

}  // namespace cloudclient
