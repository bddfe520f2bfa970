// SPDX-License-Identifier: Apache-2.0
#ifndef HOST_CONFIG_CONFIGKEYS_H_
#define HOST_CONFIG_CONFIGKEYS_H_

#include <vector>

#include "host/config/ConfigStore.h"

namespace host {

// Keys of the cloud section.
constexpr char kEnabled[] = "Enabled";
constexpr char kUrl[] = "Url";
constexpr char kUserEmail[] = "UserEmail";
constexpr char kRegistrationKey[] = "RegistrationKey";
constexpr char kUnitName[] = "UnitName";
constexpr char kUuid[] = "UUID";
constexpr char kXAuthToken[] = "XAuthToken";
constexpr char kChassis[] = "Chassis";
constexpr char kVelocityInstance[] = "VelocityInstance";
// Key of the system information.
constexpr char kSysName[] = "SysName";

// Every key of each file, in the order in which a person sees them.
std::vector<ConfigStore::Key> CloudKeys();
std::vector<ConfigStore::Key> SysInfoKeys();

// The stores of this process, made at the first call. They live as long as the process, also while
// static objects are destroyed.
ConfigStore& CloudStore();
ConfigStore& SysInfoStore();

}  // namespace host

#endif  // HOST_CONFIG_CONFIGKEYS_H_
