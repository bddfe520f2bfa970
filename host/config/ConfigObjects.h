// SPDX-License-Identifier: Apache-2.0
#ifndef HOST_CONFIG_CONFIGOBJECTS_H_
#define HOST_CONFIG_CONFIGOBJECTS_H_

#include <memory>

#include "host/config/ConfigStore.h"
#include "platform/config/CfgCloud.h"
#include "platform/config/LxCfgSysInfo.h"

namespace host {

// The platform's configuration objects on a store, which they borrow. Getters never fail; a setter
// answers 1 for a text that is not UTF-8.
std::unique_ptr<cfg_cloud::CfgCloud> CloudOn(ConfigStore& store);
std::unique_ptr<cfg_sysinfo::LxCfgSysInfo> SysInfoOn(ConfigStore& store);

}  // namespace host

#endif  // HOST_CONFIG_CONFIGOBJECTS_H_
