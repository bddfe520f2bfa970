// SPDX-License-Identifier: Apache-2.0
// Delivery of changes of value as PATCH requests of their resources.
#include "base/CloudCfg.h"
#include "patch/PatchMgr.h"
#include "patch/PatchMgrUnit.h"
#include "platform/util/dlog.h"

namespace cloudclient {

namespace {

// The reading of a change of value: the first 16 bits of its buffer, high byte first on every
// machine.
uint16_t RawReading(const char (&value)[pld::kCovValueSize]) {
  const auto high = static_cast<unsigned char>(value[0]);
  const auto low = static_cast<unsigned char>(value[1]);
  return static_cast<uint16_t>(high << 8 | low);
}

// What stands for a resource's tag in its URL.
std::string IdentifierFor(const ResourceUrlEntry& resource, const std::string& chassisId,
                          const std::string& uuid) {
  if (resource.resourceTag == kChassisIdTag) return chassisId;
  if (resource.resourceTag == kUuidTag) return uuid;
  return {};
}

// `url` with the first occurrence of `tag` replaced; unchanged without one.
std::string WithIdentifier(std::string url, const std::string& tag, const std::string& identifier) {
  const size_t position = tag.empty() ? std::string::npos : url.find(tag);
  if (position != std::string::npos) url.replace(position, tag.size(), identifier);
  return url;
}

// One PATCH. `caller` names the operation in the messages; kPatchOk or kPatchFailed.
PatchResult SendPatch(HttpsClient* client, const std::string& uri, const std::string& document,
                      const char* caller) {
  std::string token;
  const int status = CloudCfg()->GetXAuthToken(token);
  if (status != 0) {
    __dlog_printf(3, kUnit, "%s: Failed(%d) to get xauthtoken", caller, status);
    return kPatchFailed;
  }
  if (client->PatchResource(uri, token, document) != kHttpsOk) {
    __dlog_printf(3, kUnit, "%s: Failed to PATCH :\n%s", caller, document.c_str());
    return kPatchFailed;
  }
  return kPatchOk;
}

}  // namespace

PatchResult PatchMgr::ProcessCOV(uint32_t deviceId, int32_t pointId, uint16_t extra,
                                 const char (&value)[pld::kCovValueSize], HttpsClient* client,
                                 const std::string& chassisId, const std::string& uuid,
                                 const std::string& label) {
  const auto name = m_map.PointResources().find(pointId);
  // Kept: docs/kept-behaviour.md#silent-unknown-point
  if (name == m_map.PointResources().end()) return kPatchUnknownPoint;
  const auto found = m_map.Resources().find(name->second);
  // The reading of a point without a resource does not count for the day either.
  // Kept: docs/kept-behaviour.md#no-resource-no-reading
  if (found == m_map.Resources().end()) return kPatchFailed;
  const ResourceUrlEntry resource = found->second;
  const PointPatchEntry entry = m_map.Points().at(pointId);
  const auto device = static_cast<uint16_t>(deviceId);
  if (entry.tempAccum || entry.humAccum) {
    AccumulatorUpdate(GetDayKey(), RawReading(value), entry, device);
  }
  // Kept: docs/kept-behaviour.md#refused-patch-no-event
  if (SendResource(device, resource, client, chassisId, uuid) != kPatchOk) return kPatchFailed;
  if (entry.msgid.empty()) return kPatchOk;
  const PatchResult result =
      SendEventForPoint(device, pointId, extra, entry, client, chassisId, label);
  if (result != kPatchOk) {
    __dlog_printf(4, kUnit, "%s: Failed(%d) to send event for point %d", "ProcessCOV", result,
                  pointId);
  }
  return result;
}

void PatchMgr::SendAllResourcesToCloud(uint32_t deviceId, const std::string& chassisId,
                                       const std::string& uuid, HttpsClient* client) {
  const auto device = static_cast<uint16_t>(deviceId);
  for (const auto& entry : m_map.Resources()) {
    SendResource(device, entry.second, client, chassisId, uuid);
  }
}

// Renders, edits and sends a resource's document. An empty document is sent all the same.
// Kept: docs/kept-behaviour.md#empty-document
PatchResult PatchMgr::SendResource(uint16_t device, const ResourceUrlEntry& resource,
                                   HttpsClient* client, const std::string& chassisId,
                                   const std::string& uuid) {
  std::string document = GetPatchDoc(device, resource);
  if (resource.accum7Day) FillSevenDayValues(document);
  if (resource.tempUomCelsius) UpdateDocWithTempUomValues(device, document);
  return SendResourceToCloud(client, resource, IdentifierFor(resource, chassisId, uuid), document);
}

PatchResult PatchMgr::SendResourceToCloud(HttpsClient* client, const ResourceUrlEntry& resource,
                                          const std::string& idValue, const std::string& document) {
  std::string baseUrl;
  const int status = CloudCfg()->GetUrl(baseUrl);
  if (status != 0) {
    __dlog_printf(3, kUnit, "%s: Failed(%d) to get resource URI", "SendResourceToCloud", status);
    return kPatchFailed;
  }
  return SendPatch(client, baseUrl + WithIdentifier(resource.url, resource.resourceTag, idValue),
                   document, "SendResourceToCloud");
}

PatchResult PatchMgr::SendPatchToCloud(HttpsClient* client, const std::string& url,
                                       const std::string& chassisId, const std::string& document) {
  std::string baseUrl;
  const int status = CloudCfg()->GetUrl(baseUrl);
  if (status != 0) {
    __dlog_printf(3, kUnit, "%s: Failed(%d) to get chassis URI", "SendPatchToCloud", status);
    return kPatchFailed;
  }
  return SendPatch(client, baseUrl + WithIdentifier(url, kChassisIdTag, chassisId), document,
                   "SendPatchToCloud");
}

}  // namespace cloudclient
