#include "host/config/Configuration.h"

#include "host/config/CfgCloudHost.h"
#include "host/config/SysInfoHost.h"
#include "host/util/Paths.h"
#include "platform/config/LxAppCfg.h"
#include "platform/util/LocalPath.h"

namespace host {
namespace {

class Factory : public orv_cfgserver::LxAppCfgFactory {
 public:
  orv_cfgserver::LxAppCfg* GetCfg(const std::string& configurationSet) override {
    if (configurationSet == cfg_cloud::CfgCloud::CONFIGURATION_SET) return &m_cloud;
    if (configurationSet == cfg_sysinfo::LxCfgSysInfo::CONFIGURATION_SET) return &m_sysInfo;
    return nullptr;
  }

 private:
  CfgCloudHost m_cloud{CloudStore()};
  SysInfoHost m_sysInfo{SysInfoStore()};
};

}  // namespace

std::vector<ConfigStore::Key> CloudKeys() {
  using Type = ConfigStore::Type;
  return {{kEnabled, Type::kFlag, nullptr},      {kUrl, Type::kText, nullptr},
          {kUserEmail, Type::kText, nullptr},    {kRegistrationKey, Type::kSecret, nullptr},
          {kUnitName, Type::kText, nullptr},     {kUuid, Type::kText, nullptr},
          {kXAuthToken, Type::kSecret, nullptr}, {kChassis, Type::kObject, kVelocityInstance}};
}

std::vector<ConfigStore::Key> SysInfoKeys() {
  return {{kSysName, ConfigStore::Type::kText, nullptr}};
}

ConfigStore& CloudStore() {
  static auto* store = new ConfigStore(LocalPath(kCloudFile), CloudKeys());
  return *store;
}

ConfigStore& SysInfoStore() {
  static auto* store = new ConfigStore(LocalPath(kSysInfoFile), SysInfoKeys());
  return *store;
}

}  // namespace host

orv_cfgserver::LxAppCfgFactory* orv_cfgserver::LxAppCfgFactory::GetInstance() {
  static auto* factory = new host::Factory;
  return factory;
}
