// SPDX-License-Identifier: Apache-2.0
// Events of points: message, document and post.
#include <algorithm>
#include <cstdlib>
#include <memory>

#include "base/CloudCfg.h"
#include "base/JsonText.h"
#include "base/LocalTime.h"
#include "base/Masked.h"
#include "base/ServiceUrl.h"
#include "patch/PatchMgr.h"
#include "patch/PatchMgrUnit.h"
#include "platform/util/dlog.h"

namespace cloudclient {

namespace {

// The text from `position` on; empty from the end on.
std::string Tail(const std::string& text, size_t position) {
  return text.substr(std::min(position, text.size()));
}

// Where a placeholder stands; a missing one counts as standing at the end.
size_t Placeholder(const std::string& message, const char* placeholder) {
  return std::min(message.find(placeholder), message.size());
}

// Sets a text member. False when the text is no UTF-8.
bool SetText(json_t* object, const char* key, const std::string& text) {
  return json_object_set_new(object, key, json_stringn(text.data(), text.size())) == 0;
}

// Appends a text. False when it is no UTF-8.
bool AppendText(json_t* array, const std::string& text) {
  return json_array_append_new(array, json_stringn(text.data(), text.size())) == 0;
}

}  // namespace

std::string PatchMgr::BuildEventMessage(uint32_t deviceId, int32_t pointId,
                                        const PointPatchEntry& entry, std::string& arg1Out,
                                        std::string& arg2Out) {
  if (entry.numArgs <= 0) return {};
  const auto device = static_cast<int32_t>(deviceId);
  std::string value;
  if (entry.arg1Type == "pld") {
    value = arg1Out = DocumentValue(device, entry.arg1);
  } else if (entry.arg1Type == "pldQueryArgs") {
    value = arg1Out = GetPointValueQueryArgsStr(device, entry.arg1);
  } else if (entry.arg1Type == "old") {
    value = arg1Out = m_map.History()[pointId];
  }
  const std::string& message = entry.message;
  const size_t first = Placeholder(message, "%1");
  std::string text = message.substr(0, first) + value;
  size_t end = first;
  if (entry.numArgs > 1) {
    const size_t second = Placeholder(message, "%2");
    // The position of the second placeholder is taken as the length of the part between the two.
    // Kept: docs/kept-behaviour.md#second-position-as-length
    text += Tail(message, first + 2).substr(0, second);
    text += SecondArgument(deviceId, pointId, entry, value, arg2Out);
    end = second;
  }
  return text + Tail(message, end + 2);
}

// The second argument as the message shows it: a document's value when its own type is "pld", a
// query's when the first argument's type is "pldQueryArgs", else the first value again, with
// `arg2Out` as it was.
// Kept: docs/kept-behaviour.md#second-by-first-type
std::string PatchMgr::SecondArgument(uint32_t deviceId, int32_t pointId,
                                     const PointPatchEntry& entry, const std::string& first,
                                     std::string& arg2Out) {
  const auto device = static_cast<int32_t>(deviceId);
  if (entry.arg2Type == "pld") {
    arg2Out = DocumentValue(device, entry.arg2);
  } else if (entry.arg1Type == "pldQueryArgs") {
    arg2Out = GetPointValueQueryArgsStr(device, entry.arg2);
  } else {
    return first;
  }
  if (entry.arg1Type == "old") m_map.History()[pointId] = arg2Out;
  return arg2Out;
}

PatchResult PatchMgr::SendEventForPoint(uint32_t deviceId, int32_t pointId, uint16_t /*extra*/,
                                        const PointPatchEntry& entry, HttpsClient* client,
                                        const std::string& chassisId, const std::string& label) {
  const cfg_cloud::CfgCloud* const cfg = CloudCfg();
  std::string arg1;
  std::string arg2;
  const std::string message = BuildEventMessage(deviceId, pointId, entry, arg1, arg2);
  std::string unitName;
  if (cfg->GetUnitName(unitName) != 0) {
    __dlog_printf(3, kUnit, "%s: Failed to find unit name", "SendEventForPoint");
  }
  const JsonRef event(json_object());
  const JsonRef args(json_array());
  const JsonRef origin(json_object());
  // Kept: docs/kept-behaviour.md#severity-unused
  // Kept: docs/kept-behaviour.md#local-time-z
  const bool built = SetText(event.get(), "Severity", "MESSAGE") &&
                     SetText(event.get(), "Message", message) &&
                     SetText(event.get(), "MessageId", entry.msgid) &&
                     AppendText(args.get(), unitName) && AppendText(args.get(), label) &&
                     AppendText(args.get(), arg1) && AppendText(args.get(), arg2) &&
                     json_object_set(event.get(), "MessageArgs", args.get()) == 0 &&
                     SetText(event.get(), "Created", LocalTimeText("%FT%TZ", 100)) &&
                     SetText(origin.get(), "@odata.id", OriginOfPoint(pointId, chassisId)) &&
                     json_object_set(event.get(), "OriginOfCondition", origin.get()) == 0;
  if (!built) return kPatchEventNotBuilt;
  const std::unique_ptr<char, decltype(&free)> text(json_dumps(event.get(), JSON_PRESERVE_ORDER),
                                                    &free);
  if (!text) {
    __dlog_printf(3, kUnit, "%s: null return from json_dumps", "SendEventForPoint");
    return kPatchOk;
  }
  return PostPointEvent(text.get(), chassisId, client);
}

// Where the event comes from: the point's resource, as far as the chassis. Empty when the resource
// is not one of a chassis.
std::string PatchMgr::OriginOfPoint(int32_t pointId, const std::string& chassisId) {
  const auto name = m_map.PointResources().find(pointId);
  if (name == m_map.PointResources().end()) return {};
  const auto resource = m_map.Resources().find(name->second);
  if (resource == m_map.Resources().end()) return {};
  const ResourceUrlEntry& entry = resource->second;
  if (entry.resourceTag != kChassisIdTag) {
    __dlog_printf(3, kUnit, "%s: unknown resource tag: %s", "SendEventForPoint",
                  entry.resourceTag.c_str());
    return {};
  }
  const size_t tag = entry.url.find(kChassisIdTag);
  if (tag == std::string::npos) return {};
  return entry.url.substr(0, tag) + chassisId;
}

// Posts a point event's document. A refused one is logged and counts as sent: it is not retried.
// Kept: docs/kept-behaviour.md#event-counts-as-sent
PatchResult PatchMgr::PostPointEvent(const std::string& document, const std::string& chassisId,
                                     HttpsClient* client) {
  if (m_outbox != nullptr && m_outbox->PutEvent(document, chassisId)) return kPatchOk;
  const cfg_cloud::CfgCloud* const cfg = CloudCfg();
  std::string baseUrl;
  if (cfg->GetUrl(baseUrl) != 0) {
    __dlog_printf(3, kUnit, "%s: Failed to get the cloud service URL", "SendEventForPoint");
    return kPatchFailed;
  }
  std::string uuid;
  if (cfg->GetUUID(uuid) != 0) {
    __dlog_printf(3, kUnit, "%s: Failed to get the UUID", "SendEventForPoint");
    return kPatchFailed;
  }
  const std::string uri = EventsUrl(baseUrl, uuid);
  __dlog_printf(7, kUnit, "%s: uri: %s ", "SendEventForPoint", Masked(uri).c_str());
  std::string token;
  // Kept: docs/kept-behaviour.md#event-without-token
  if (cfg->GetXAuthToken(token) != 0) {
    __dlog_printf(3, kUnit, "%s: Failed to get xauthtoken", "SendEventForPoint");
  }
  std::string body;
  std::string header;
  const HttpsResult result = client->PostJsonDocument(uri, body, header, document, token);
  if (result == kHttpsOk) {
    __dlog_printf(7, kUnit, "%s: hdr: %s", "SendEventForPoint", Masked(header).c_str());
    __dlog_printf(7, kUnit, "%s: resp: %s", "SendEventForPoint", Masked(body).c_str());
  } else {
    __dlog_printf(3, kUnit, "%s: Failed (%d) to send event to cloud", "SendEventForPoint",
                  static_cast<int>(result));
    __dlog_printf(3, kUnit, "%s: uri: %s  evt: %s", "SendEventForPoint", Masked(uri).c_str(),
                  Masked(document).c_str());
  }
  return kPatchOk;
}

}  // namespace cloudclient
