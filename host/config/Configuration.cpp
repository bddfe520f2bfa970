// The keys of the configuration files, and the process's stores of them.
#include "host/config/Configuration.h"

#include "host/util/Paths.h"
#include "platform/util/LocalPath.h"

namespace host {

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
