// SPDX-License-Identifier: Apache-2.0
// Construction, and the operations that forward to PatchMap; each concern has a source of its own.
#include "patch/PatchMgr.h"

namespace cloudclient {

PatchMgr::PatchMgr() = default;

PatchMgr::~PatchMgr() = default;

PatchResult PatchMgr::InitCovPatchMaps(const std::string& path) { return m_map.Load(path); }

PatchResult PatchMgr::InitResUrlMap(const json_t* root, const std::string& path) {
  return m_map.TakeResources(root, path);
}

PatchResult PatchMgr::InitIdToResAndPatchMaps(json_t* root, const std::string& /*path*/) {
  return m_map.TakePoints(root);
}

void PatchMgr::AddEventInfoToPatch(const json_t* element, PointPatchEntry& entry, int32_t pointId) {
  m_map.TakeEvent(element, entry, pointId);
}

int32_t PatchMgr::ConvertPldQueryArgs(const std::string& text, int32_t* args, int32_t count) {
  return PatchMap::ConvertQueryArgs(text, args, count);
}

}  // namespace cloudclient
