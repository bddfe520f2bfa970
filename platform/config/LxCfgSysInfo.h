// SPDX-License-Identifier: Apache-2.0
#ifndef PLATFORM_CONFIG_LXCFGSYSINFO_H_
#define PLATFORM_CONFIG_LXCFGSYSINFO_H_

#include <string>

#include "platform/config/LxAppCfg.h"

namespace cfg_sysinfo {

// The appliance's system information.
class LxCfgSysInfo : public orv_cfgserver::LxAppCfg {
 public:
  // Name of the set at the factory, of its section, and of the system name's key in that section,
  // as they stand in configuration events.
  static const char* const CONFIGURATION_SET;
  static const char* const CFG_SECTION_INFO;
  static const char* const CFG_KEY_INFO_SYS_NAME;

  // The appliance's system name; "Uninitialized" until somebody gave it one. 0 on success, else
  // an error code, and `name` as it was.
  virtual int GetSysName(std::string& name) const = 0;
};

}  // namespace cfg_sysinfo

#endif  // PLATFORM_CONFIG_LXCFGSYSINFO_H_
