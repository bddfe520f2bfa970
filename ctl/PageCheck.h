// SPDX-License-Identifier: Apache-2.0
#ifndef CTL_PAGECHECK_H_
#define CTL_PAGECHECK_H_

#include <string>

#include "ctl/Findings.h"
#include "host/device/DeviceModel.h"
#include "patch/PatchMap.h"

namespace ctl {

// What in the page of a resource will not work, as far as the engine that renders it tells; `where`
// begins each finding. With a device the page is rendered as its engine does: each value at start,
// and those of sources once there and once missing; and each point that a mark or a tag asks for
// has to be one of the device's.
void CheckPage(const std::string& where, const std::string& page,
               const cloudclient::ResourceUrlEntry& resource, const host::DeviceModel* device,
               Findings& findings);

}  // namespace ctl

#endif  // CTL_PAGECHECK_H_
