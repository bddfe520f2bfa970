#include "patch/PatchMgr.h"

namespace cloudclient {

PatchMgr::PatchMgr() = default;

PatchMgr::~PatchMgr() = default;

}  // namespace cloudclient
