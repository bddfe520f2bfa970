// SPDX-License-Identifier: Apache-2.0
// The appliance's paths.
#ifndef HOST_UTIL_PATHS_H_
#define HOST_UTIL_PATHS_H_

namespace host {

// The appliance's paths; each is opened through LocalPath.
constexpr char kConfigFolder[] = "/etc/cloudclient";
constexpr char kCloudFile[] = "/etc/cloudclient/cloud.json";
constexpr char kSysInfoFile[] = "/etc/cloudclient/sysinfo.json";
constexpr char kDeviceFile[] = "/etc/cloudclient/device.json";
constexpr char kControlSocket[] = "/run/cloudclient/device.sock";

}  // namespace host

#endif  // HOST_UTIL_PATHS_H_
