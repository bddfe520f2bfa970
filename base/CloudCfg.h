// SPDX-License-Identifier: Apache-2.0
#ifndef BASE_CLOUDCFG_H_
#define BASE_CLOUDCFG_H_

#include "platform/config/CfgCloud.h"
#include "platform/config/LxCfgSysInfo.h"

namespace cloudclient {

// The two configuration objects of the daemon. Each call asks the platform's factory, which owns
// them; never null. Any thread.
cfg_cloud::CfgCloud* CloudCfg();
cfg_sysinfo::LxCfgSysInfo* SysInfoCfg();

}  // namespace cloudclient

#endif  // BASE_CLOUDCFG_H_
