// SPDX-License-Identifier: Apache-2.0
#ifndef PLATFORM_CONFIG_LXAPPCFG_H_
#define PLATFORM_CONFIG_LXAPPCFG_H_

#include <string>

namespace orv_cfgserver {

// A configuration object: one named set of values. Values are read and written in memory and
// reach storage with `Save`. Objects are owned by the factory and live as long as the process.
// All operations of all configuration objects may be called from any thread.
class LxAppCfg {
 public:
  virtual ~LxAppCfg() = default;

  // Writes the object to persistent storage. True on success; on failure storage is as it was.
  virtual bool Save() = 0;
};

// Hands out configuration objects.
class LxAppCfgFactory {
 public:
  virtual ~LxAppCfgFactory() = default;

  // The one factory of the process.
  static LxAppCfgFactory* GetInstance();

  // The object of a named set, the same at each call; null for a set that does not exist.
  virtual LxAppCfg* GetCfg(const std::string& configurationSet) = 0;
};

}  // namespace orv_cfgserver

#endif  // PLATFORM_CONFIG_LXAPPCFG_H_
