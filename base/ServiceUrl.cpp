// SPDX-License-Identifier: Apache-2.0
// URLs of the service.
#include "base/ServiceUrl.h"

namespace cloudclient {

std::string ManagerUrl(const std::string& baseUrl, const std::string& uuid) {
  return baseUrl + "/redfish/v1/Managers/" + uuid;
}

std::string EventsUrl(const std::string& baseUrl, const std::string& uuid) {
  return ManagerUrl(baseUrl, uuid) + "/Oem/Quorvan:Events";
}

}  // namespace cloudclient
