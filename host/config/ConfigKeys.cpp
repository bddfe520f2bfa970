// SPDX-License-Identifier: Apache-2.0
// The keys of the configuration files, and the process's stores of them.
#include "host/config/ConfigKeys.h"

#include "host/util/Paths.h"
#include "platform/util/LocalPath.h"

namespace host {
namespace {

using Form = ConfigStore::Form;
using Type = JsonKey::Type;

}  // namespace

std::vector<ConfigStore::Key> CloudKeys() {
  return {
      {{kEnabled, Type::kFlag}},
      {{kUrl, Type::kText}, Form::kUrl},
      {{kUserEmail, Type::kText}},
      {{kRegistrationKey, Type::kText}, Form::kSecret},
      {{kUnitName, Type::kText}},
      {{kUuid, Type::kText}, Form::kUuid},
      {{kXAuthToken, Type::kText}, Form::kSecret},
      {{kChassis, Type::kNamedObjects, {{kVelocityInstance, Type::kInteger}}}},
  };
}

std::vector<ConfigStore::Key> SysInfoKeys() { return {{{kSysName, Type::kText}, Form::kName}}; }

ConfigStore& CloudStore() {
  static auto* store = new ConfigStore(LocalPath(kCloudFile), CloudKeys());
  return *store;
}

ConfigStore& SysInfoStore() {
  static auto* store = new ConfigStore(LocalPath(kSysInfoFile), SysInfoKeys());
  return *store;
}

}  // namespace host
