// SPDX-License-Identifier: Apache-2.0
// Current values of points.
#include <algorithm>

#include "patch/PatchMgr.h"
#include "patch/PatchMgrUnit.h"
#include "platform/pld/LxPldProxy.h"
#include "platform/pld/PldConstants.h"
#include "platform/pld/PldQueryWorker.h"
#include "platform/util/dlog.h"

namespace cloudclient {

namespace {

// The value when a document cannot be had. After a failed query it is an empty text.
// Kept: docs/kept-behaviour.md#zero-or-nothing
const char kNoValue[] = "0";

}  // namespace

void PatchMgr::InitIdHistoryValues(int32_t deviceId, HttpsClient* /*client*/) {
  for (auto& [pointId, value] : m_map.History()) {
    const auto point = m_map.Points().find(pointId);
    // Kept: docs/kept-behaviour.md#history-by-document
    if (point != m_map.Points().end()) value = DocumentValue(deviceId, point->second.arg2);
  }
}

std::string PatchMgr::GetPointValue(int32_t deviceId, const PointPatchEntry& entry) {
  if (entry.pldQueryArgs.empty()) return GetPointValuePld(deviceId, entry);
  std::string text;
  if (QueryPoint(text, deviceId, entry.queryArgs) != 0) {
    __dlog_printf(3, kUnit, "%s: Error retrieving value for point %d from PLD engine",
                  "GetPointValue", entry.queryArgs[0]);
  }
  return text;
}

std::string PatchMgr::GetPointValuePld(int32_t deviceId, const PointPatchEntry& entry) {
  return DocumentValue(deviceId, entry.pld);
}

std::string PatchMgr::GetPointValueQueryArgsStr(int32_t deviceId, const std::string& argsText) {
  int32_t args[kQueryArgs] = {};
  if (PatchMap::ConvertQueryArgs(argsText, args, kQueryArgs) != 0) return {};
  std::string text;
  if (QueryPoint(text, deviceId, args) != 0) {
    __dlog_printf(3, kUnit, "%s: Error retrieving value for point %d from PLD engine",
                  "GetPointValueQueryArgsStr", args[0]);
  }
  return text;
}

// The value in the document named `name`.
std::string PatchMgr::DocumentValue(int32_t deviceId, const std::string& name) {
  std::string document;
  if (m_pldProxy != nullptr) {
    document = PldQueryWorker::GetDocument(m_pldProxy, "op1=" + name, pld::kValuePage, deviceId);
  }
  if (document.empty()) {
    __dlog_printf(3, kUnit, "%s: Failed to get pld(%s)", "GetPointValuePld", name.c_str());
    return kNoValue;
  }
  const size_t equals = document.find('=');
  if (equals == std::string::npos) return kNoValue;
  document.erase(0, equals + 1);
  document.erase(std::remove(document.begin(), document.end(), '"'), document.end());
  return document;
}

// The point-value query: its arguments are cut to the engine's widths.
// Kept: docs/kept-behaviour.md#sixteen-bits
int PatchMgr::QueryPoint(std::string& text, int32_t deviceId, const int32_t (&args)[kQueryArgs]) {
  if (m_pldProxy == nullptr) return -1;
  return m_pldProxy->GetPointText(text, static_cast<uint16_t>(deviceId),
                                  static_cast<uint16_t>(args[0]), static_cast<uint16_t>(args[1]),
                                  static_cast<uint16_t>(args[2]), args[3],
                                  static_cast<int16_t>(args[4]), 0);
}

}  // namespace cloudclient
