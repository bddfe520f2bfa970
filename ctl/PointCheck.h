// SPDX-License-Identifier: Apache-2.0
#ifndef CTL_POINTCHECK_H_
#define CTL_POINTCHECK_H_

#include <cstdint>

#include "ctl/Findings.h"
#include "host/device/DeviceEngine.h"
#include "patch/PatchMap.h"

namespace ctl {

// What in a point of a map, and in its event, will not work. With a device each number and name by
// which a value is asked for has to be one of its points; null: the device is not known.
void CheckPoint(int32_t id, const cloudclient::PointPatchEntry& point,
                const host::DeviceEngine* device, Findings& findings);

}  // namespace ctl

#endif  // CTL_POINTCHECK_H_
