// SPDX-License-Identifier: Apache-2.0
// The configuration objects of the daemon.
#include "base/CloudCfg.h"

namespace cloudclient {

using orv_cfgserver::LxAppCfgFactory;

cfg_cloud::CfgCloud* CloudCfg() {
  return static_cast<cfg_cloud::CfgCloud*>(
      LxAppCfgFactory::GetInstance()->GetCfg(cfg_cloud::CfgCloud::CONFIGURATION_SET));
}

cfg_sysinfo::LxCfgSysInfo* SysInfoCfg() {
  return static_cast<cfg_sysinfo::LxCfgSysInfo*>(
      LxAppCfgFactory::GetInstance()->GetCfg(cfg_sysinfo::LxCfgSysInfo::CONFIGURATION_SET));
}

}  // namespace cloudclient
