// SPDX-License-Identifier: Apache-2.0
#ifndef CTL_DEVICECHECK_H_
#define CTL_DEVICECHECK_H_

#include <string>

#include "ctl/Findings.h"
#include "host/device/DeviceModel.h"
#include "host/util/Json.h"

namespace ctl {

// What in a device's description will not work, as the daemon finds it: its own keys, and those of
// its sources by their modules, which are loaded. `model` becomes what the daemon makes of it.
Findings FindingsOf(const json_t* root, host::DeviceModel& model);

}  // namespace ctl

#endif  // CTL_DEVICECHECK_H_
