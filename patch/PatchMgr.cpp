#include "patch/PatchMgr.h"

namespace cloudclient {

PatchMgr::PatchMgr() : m_pldProxy(nullptr) {}

PatchMgr::~PatchMgr() = default;

}  // namespace cloudclient
