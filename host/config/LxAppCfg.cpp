// The factory of the configuration objects.
#include "platform/config/LxAppCfg.h"

#include "host/config/CfgCloudHost.h"
#include "host/config/Configuration.h"
#include "host/config/SysInfoHost.h"

namespace {

class Factory : public orv_cfgserver::LxAppCfgFactory {
 public:
  orv_cfgserver::LxAppCfg* GetCfg(const std::string& configurationSet) override {
    if (configurationSet == cfg_cloud::CfgCloud::CONFIGURATION_SET) return &m_cloud;
    if (configurationSet == cfg_sysinfo::LxCfgSysInfo::CONFIGURATION_SET) return &m_sysInfo;
    return nullptr;
  }

 private:
  host::CfgCloudHost m_cloud{host::CloudStore()};
  host::SysInfoHost m_sysInfo{host::SysInfoStore()};
};

}  // namespace

orv_cfgserver::LxAppCfgFactory* orv_cfgserver::LxAppCfgFactory::GetInstance() {
  static auto* factory = new Factory;
  return factory;
}
