#include "service/redfish/Service.h"

namespace cloudservice {

Response RedfishService::GetVersions(const Call&) {
  return JsonResponse(200, {{"v1", "/redfish/v1/"}});
}

Response RedfishService::GetRoot(const Call&) {
  return JsonResponse(200, {{"@odata.id", "/redfish/v1/"},
                            {"@odata.type", "#ServiceRoot.v1_5_0.ServiceRoot"},
                            {"Id", "RootService"},
                            {"Name", "Cloud service"},
                            {"RedfishVersion", "1.8.0"},
                            {"Managers", Reference("/redfish/v1/Managers")},
                            {"Chassis", Reference("/redfish/v1/Chassis")}});
}

}  // namespace cloudservice
