// SPDX-License-Identifier: Apache-2.0
#ifndef SERVICE_HTTP_RESOURCEPATHS_H_
#define SERVICE_HTTP_RESOURCEPATHS_H_

#include <cstdint>
#include <string>

namespace cloudservice {

// The paths of the resources that appliances keep at this service.

constexpr const char* kRootPath = "/redfish/v1";
constexpr const char* kManagersPath = "/redfish/v1/Managers";
constexpr const char* kChassisPath = "/redfish/v1/Chassis";
constexpr const char* kEventsPath = "/redfish/v1/Oem/Quorvan:Events";

inline std::string ManagerPath(const std::string& uuid) { return kManagersPath + ("/" + uuid); }
inline std::string ChassisPath(const std::string& id) { return kChassisPath + ("/" + id); }
inline std::string EventPath(std::int64_t id) { return kEventsPath + ("/" + std::to_string(id)); }

}  // namespace cloudservice

#endif  // SERVICE_HTTP_RESOURCEPATHS_H_
