// SPDX-License-Identifier: Apache-2.0
// Delivery of changes of value as PATCH requests of their resources.
#include <map>

#include "base/CloudCfg.h"
#include "base/Masked.h"
#include "base/Policy.h"
#include "patch/PatchMgr.h"
#include "patch/PatchMgrUnit.h"
#include "platform/util/dlog.h"

namespace cloudclient {

namespace {

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
    __dlog_printf(3, kUnit, "%s: Failed to PATCH :\n%s", caller, Masked(document).c_str());
    return kPatchFailed;
  }
  return kPatchOk;
}

}  // namespace

PatchResult PatchMgr::ProcessCOV(uint32_t deviceId, int32_t pointId, uint16_t extra,
                                 const char (&value)[pld::kCovValueSize], HttpsClient* client,
                                 const std::string& chassisId, const std::string& uuid,
                                 const std::string& label) {
  const PointChange change = {deviceId, pointId, extra, ReadingOf(value)};
  std::string name;
  ResourceUrlEntry resource;
  const PatchResult taken = TakeReading(change, name, resource);
  if (taken != kPatchOk) return taken;
  // Kept: docs/kept-behaviour.md#refused-patch-no-event
  const auto device = static_cast<uint16_t>(deviceId);
  if (SendChange(device, resource, client, chassisId, uuid) != kPatchOk && !Outbox::IsWanted()) {
    return kPatchFailed;
  }
  return SendEventOfChange(change, client, chassisId, label);
}

void PatchMgr::ProcessNewestCOVs(const std::vector<PointChange>& changes, HttpsClient* client,
                                 const std::string& chassisId, const std::string& uuid,
                                 const std::string& label, const std::function<bool()>& goOn) {
  struct Due {
    ResourceUrlEntry resource;
    std::vector<PointChange> changes;
  };
  std::map<std::string, Due> due;
  for (const PointChange& change : changes) {
    std::string name;
    ResourceUrlEntry resource;
    if (TakeReading(change, name, resource) != kPatchOk) continue;
    due[name].resource = resource;
    due[name].changes.push_back(change);
  }
  for (const auto& [name, one] : due) {
    if (!goOn()) return;
    const auto device = static_cast<uint16_t>(one.changes.front().deviceId);
    const bool isSent = SendResource(device, one.resource, client, chassisId, uuid) == kPatchOk;
    if (!isSent && !Outbox::IsWanted()) continue;
    for (const PointChange& change : one.changes) {
      if (!goOn()) return;
      SendEventOfChange(change, client, chassisId, label);
    }
  }
}

// Takes the reading of a change into the day, and finds the resource that is to be sent.
PatchResult PatchMgr::TakeReading(const PointChange& change, std::string& resourceName,
                                  ResourceUrlEntry& resource) {
  const auto name = m_map.PointResources().find(change.pointId);
  // Kept: docs/kept-behaviour.md#silent-unknown-point
  if (name == m_map.PointResources().end()) return kPatchUnknownPoint;
  const auto found = m_map.Resources().find(name->second);
  // The reading of a point without a resource does not count for the day either.
  // Kept: docs/kept-behaviour.md#no-resource-no-reading
  if (found == m_map.Resources().end()) return kPatchFailed;
  resourceName = name->second;
  resource = found->second;
  const PointPatchEntry& entry = m_map.Points().at(change.pointId);
  if (entry.tempAccum || entry.humAccum) {
    AccumulatorUpdate(GetDayKey(), change.reading, entry, static_cast<uint16_t>(change.deviceId));
  }
  return kPatchOk;
}

// Posts the event of the change's point, if it has one.
PatchResult PatchMgr::SendEventOfChange(const PointChange& change, HttpsClient* client,
                                        const std::string& chassisId, const std::string& label) {
  const PointPatchEntry entry = m_map.Points().at(change.pointId);
  if (entry.msgid.empty()) return kPatchOk;
  const PatchResult result =
      SendEventForPoint(static_cast<uint16_t>(change.deviceId), change.pointId, change.extra, entry,
                        client, chassisId, label);
  if (result != kPatchOk) {
    __dlog_printf(4, kUnit, "%s: Failed(%d) to send event for point %d", "ProcessCOV", result,
                  change.pointId);
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

// Sends a resource's document. An empty document is sent all the same.
// Kept: docs/kept-behaviour.md#empty-document
PatchResult PatchMgr::SendResource(uint16_t device, const ResourceUrlEntry& resource,
                                   HttpsClient* client, const std::string& chassisId,
                                   const std::string& uuid) {
  return SendResourceToCloud(client, resource, IdentifierFor(resource, chassisId, uuid),
                             RenderResource(device, resource));
}

// The same for a resource that has changed: where the policy wants each change, it waits in the
// outbox, behind those before it.
PatchResult PatchMgr::SendChange(uint16_t device, const ResourceUrlEntry& resource,
                                 HttpsClient* client, const std::string& chassisId,
                                 const std::string& uuid) {
  const std::string document = RenderResource(device, resource);
  const std::string identifier = IdentifierFor(resource, chassisId, uuid);
  const bool isKept = ThePolicy().changes.deliver == Policy::Changes::Deliver::kAll;
  if (isKept && m_outbox != nullptr &&
      m_outbox->PutPatch(WithIdentifier(resource.url, resource.resourceTag, identifier), document,
                         chassisId)) {
    return kPatchOk;
  }
  return SendResourceToCloud(client, resource, identifier, document);
}

std::string PatchMgr::RenderResource(uint16_t device, const ResourceUrlEntry& resource) {
  std::string document = GetPatchDoc(device, resource);
  if (resource.accum7Day) FillSevenDayValues(document);
  if (resource.tempUomCelsius) UpdateDocWithTempUomValues(device, document);
  return document;
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
