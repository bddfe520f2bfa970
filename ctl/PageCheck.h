// SPDX-License-Identifier: Apache-2.0
#ifndef CTL_PAGECHECK_H_
#define CTL_PAGECHECK_H_

#include <string>

#include "ctl/Findings.h"
#include "host/device/DeviceModel.h"
#include "patch/PatchMap.h"

namespace ctl {

// Adds what in the page of a resource will not work, as far as the engine that renders it knows;
// `where` begins each finding. With a device the page is rendered by its engine, with the values at
// start, once with a value of each source and once without; and the device must have each point
// that a mark or a tag asks for.
void CheckPage(const std::string& where, const std::string& page,
               const cloudclient::ResourceUrlEntry& resource, const host::DeviceModel* device,
               Findings& findings);

}  // namespace ctl

#endif  // CTL_PAGECHECK_H_
