// Making and unmaking; each concern has a source of its own.
#include "patch/PatchMgr.h"

namespace cloudclient {

PatchMgr::PatchMgr() = default;

PatchMgr::~PatchMgr() = default;

}  // namespace cloudclient
