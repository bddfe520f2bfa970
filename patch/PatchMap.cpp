// SPDX-License-Identifier: Apache-2.0
// The map file and the tables made of it.
#include "patch/PatchMap.h"

#include <vector>

#include "base/JsonText.h"
#include "patch/PatchMgrUnit.h"
#include "platform/util/LocalPath.h"
#include "platform/util/LxStringUtils.h"
#include "platform/util/dlog.h"

namespace cloudclient {

namespace {

// First argument type of an event whose point is in the id history.
const char kTypeOld[] = "old";

// Value of a point in the id history before its first reading.
const char kNoReading[] = "0";

bool IsTrue(const json_t* object, const char* key) {
  return json_is_true(json_object_get(object, key));
}

}  // namespace

PatchResult PatchMap::Load(const std::string& path) {
  json_error_t error;
  const JsonRef root(json_load_file(LocalPath(path).c_str(), JSON_DECODE_ANY, &error));
  if (!root) {
    __dlog_printf(3, kUnit,
                  "%s: Failed to load patch map file %s.  text: \"%s\"   line: %d  col: %d",
                  "InitCovPatchMaps", path.c_str(), error.text, error.line, error.column);
    return kPatchMapUnreadable;
  }
  const PatchResult result = TakeResources(root.get(), path);
  if (result != kPatchOk) return result;
  return TakePoints(root.get());
}

PatchResult PatchMap::TakeResources(const json_t* root, const std::string& path) {
  const json_t* const resources = json_object_get(root, kResourceUrls);
  if (resources == nullptr) {
    __dlog_printf(3, kUnit, "%s: resourceUrls object not found in patch map %s", "InitResUrlMap",
                  path.c_str());
    return kPatchNoResources;
  }
  size_t index;
  const json_t* element;
  json_array_foreach(resources, index, element) {
    ResourceUrlEntry entry;
    entry.url = JsonMemberText(element, "url");
    entry.resourcePatch = JsonMemberText(element, "resourcePatch");
    entry.resourceTag = JsonMemberText(element, "resourceTag");
    entry.accum7Day = IsTrue(element, "7dayAccum");
    entry.tempUomCelsius = IsTrue(element, "tempUomCelsius");
    m_resources.emplace(JsonMemberText(element, "name"), entry);
  }
  return kPatchOk;
}

PatchResult PatchMap::TakePoints(json_t* root) {
  PatchResult result = kPatchOk;
  const char* name;
  const json_t* group;
  json_object_foreach(root, name, group) {
    if (std::string(name) == kResourceUrls) continue;
    size_t index;
    const json_t* element;
    // Kept: docs/kept-behaviour.md#silent-map
    json_array_foreach(group, index, element) { TakePoint(element, name, result); }
  }
  return result;
}

// Adds one point description to the tables. A bad one sets `result`; one whose id is no number
// does not.
// Kept: docs/kept-behaviour.md#id-no-number
void PatchMap::TakePoint(const json_t* element, const char* resourceName, PatchResult& result) {
  const json_t* const id = json_object_get(element, "id");
  if (id == nullptr) {
    __dlog_printf(3, kUnit, "%s: id not found", "InitIdToResAndPatchMaps");
    result = kPatchFailed;
    return;
  }
  if (!json_is_integer(id)) {
    __dlog_printf(3, kUnit, "%s: id is not type integer", "InitIdToResAndPatchMaps");
    return;
  }
  if (json_object_get(element, "patch") == nullptr) {
    __dlog_printf(3, kUnit, "%s: null patchObj", "InitIdToResAndPatchMaps");
    result = kPatchFailed;
    return;
  }
  const bool hasArgs = json_object_get(element, "pldQueryArgs") != nullptr;
  if (json_object_get(element, "pld") == nullptr && !hasArgs) {
    __dlog_printf(3, kUnit, "%s: null pldObj", "InitIdToResAndPatchMaps");
    result = kPatchFailed;
    return;
  }
  const auto pointId = static_cast<int32_t>(json_integer_value(id));
  PointPatchEntry entry;
  entry.pld = JsonMemberText(element, "pld");
  if (hasArgs) {
    const std::string args = JsonMemberText(element, "pldQueryArgs");
    if (ConvertQueryArgs(args, entry.queryArgs, kQueryArgs) == 0) entry.pldQueryArgs = args;
  }
  entry.patch = JsonMemberText(element, "patch");
  entry.tempAccum = IsTrue(element, "7dayTempAccum");
  entry.humAccum = IsTrue(element, "7dayHumAccum");
  TakeEvent(element, entry, pointId);
  // Kept: docs/kept-behaviour.md#first-entry-stays
  m_pointResources.emplace(pointId, resourceName);
  m_points.emplace(pointId, entry);
}

void PatchMap::TakeEvent(const json_t* element, PointPatchEntry& entry, int32_t pointId) {
  entry.numArgs = 0;
  const json_t* const event = json_object_get(element, "event");
  const std::string msgid = JsonMemberText(event, "msgid");
  if (!msgid.empty()) {
    entry.msgid = msgid;
    entry.message = JsonMemberText(event, "message");
    entry.severity = JsonMemberText(event, "severity");
    entry.numArgs = static_cast<int32_t>(json_integer_value(json_object_get(event, "numargs")));
    entry.arg1 = JsonMemberText(event, "arg1");
    entry.arg1Type = JsonMemberText(event, "arg1Type");
    entry.arg2 = JsonMemberText(event, "arg2");
    entry.arg2Type = JsonMemberText(event, "arg2Type");
  }
  if (entry.arg1Type == kTypeOld) {
    m_idHistory.emplace(pointId, kNoReading);
    __dlog_printf(7, kUnit, "%s: adding pointId: %d to id history", "AddEventInfoToPatch", pointId);
  }
}

int32_t PatchMap::ConvertQueryArgs(const std::string& text, int32_t* args, int32_t count) {
  std::vector<std::string> pieces;
  LxStringUtils::Split(text, ',', pieces);
  if (pieces.size() < static_cast<size_t>(count)) {
    __dlog_printf(3, kUnit, "%s:  pldQueryArgsStr argument list too short: %s   Expected %d args.",
                  "ConvertPldQueryArgs", text.c_str(), count);
    return -1;
  }
  for (int32_t i = 0; i < count; ++i) {
    if (!LxStringUtils::ConvertStringToLong(pieces[static_cast<size_t>(i)], args[i])) {
      __dlog_printf(3, kUnit, "%s: Invalid pldQueryArgsStr argument list: %s",
                    "ConvertPldQueryArgs", text.c_str());
      return -1;
    }
  }
  return 0;
}

}  // namespace cloudclient
