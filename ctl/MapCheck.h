// SPDX-License-Identifier: Apache-2.0
#ifndef CTL_MAPCHECK_H_
#define CTL_MAPCHECK_H_

#include <string>

#include "ctl/Findings.h"
#include "host/device/DeviceModel.h"
#include "host/util/Json.h"
#include "patch/PatchMap.h"

namespace ctl {

// What in a loaded patch map will not work: as cloudclient::CheckMap. The pages of resources are
// looked for in `pages` and the folders above it. `device` is the one that the map is for; null:
// not known.
Findings CheckMap(const cloudclient::PatchMap& map, json_t* root, const std::string& pages,
                  const host::DeviceModel* device);

}  // namespace ctl

#endif  // CTL_MAPCHECK_H_
