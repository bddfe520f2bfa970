// SPDX-License-Identifier: Apache-2.0
// The factory of the configuration objects.
#include "platform/config/LxAppCfg.h"

#include "host/config/ConfigKeys.h"
#include "host/config/ConfigObjects.h"

namespace {

class Factory : public orv_cfgserver::LxAppCfgFactory {
 public:
  orv_cfgserver::LxAppCfg* GetCfg(const std::string& configurationSet) override {
    if (configurationSet == cfg_cloud::CfgCloud::CONFIGURATION_SET) return m_cloud.get();
    if (configurationSet == cfg_sysinfo::LxCfgSysInfo::CONFIGURATION_SET) return m_sysInfo.get();
    return nullptr;
  }

 private:
  const std::unique_ptr<cfg_cloud::CfgCloud> m_cloud = host::CloudOn(host::CloudStore());
  const std::unique_ptr<cfg_sysinfo::LxCfgSysInfo> m_sysInfo =
      host::SysInfoOn(host::SysInfoStore());
};

}  // namespace

orv_cfgserver::LxAppCfgFactory* orv_cfgserver::LxAppCfgFactory::GetInstance() {
  static auto* factory = new Factory;
  return factory;
}
