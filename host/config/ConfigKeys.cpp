// SPDX-License-Identifier: Apache-2.0
// The keys of the configuration files, and the process's stores of them.
#include "host/config/ConfigKeys.h"

#include "host/util/Paths.h"
#include "platform/util/LocalPath.h"

namespace host {
namespace {

std::vector<ConfigStore::Key> KeysOf(ConfigStore& (*store)()) {
  std::vector<ConfigStore::Key> keys;
  for (const ConfigKey& entry : ConfigKeys()) {
    if (entry.store == store) keys.push_back(entry.key);
  }
  return keys;
}

}  // namespace

std::vector<ConfigKey> ConfigKeys() {
  using Type = ConfigStore::Type;
  return {
      {{kEnabled, Type::kFlag, nullptr}, CloudStore},
      {{kUrl, Type::kText, nullptr}, CloudStore},
      {{kUserEmail, Type::kText, nullptr}, CloudStore},
      {{kRegistrationKey, Type::kSecret, nullptr}, CloudStore},
      {{kUnitName, Type::kText, nullptr}, CloudStore},
      {{kUuid, Type::kText, nullptr}, CloudStore},
      {{kXAuthToken, Type::kSecret, nullptr}, CloudStore},
      {{kChassis, Type::kObject, kVelocityInstance}, CloudStore},
      {{kSysName, Type::kText, nullptr}, SysInfoStore},
  };
}

std::vector<ConfigStore::Key> CloudKeys() { return KeysOf(CloudStore); }

std::vector<ConfigStore::Key> SysInfoKeys() { return KeysOf(SysInfoStore); }

ConfigStore& CloudStore() {
  static auto* store = new ConfigStore(LocalPath(kCloudFile), CloudKeys());
  return *store;
}

ConfigStore& SysInfoStore() {
  static auto* store = new ConfigStore(LocalPath(kSysInfoFile), SysInfoKeys());
  return *store;
}

}  // namespace host
