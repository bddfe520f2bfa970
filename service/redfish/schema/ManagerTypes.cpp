// SPDX-License-Identifier: Apache-2.0
// Tables: the types of managers.
#include "service/redfish/schema/Types.h"

namespace cloudservice {

namespace {

const std::vector<Type> kManagerTypes = {
    {"Manager.v1_22_0.Links",
     Base::kObject,
     {
         {"ManagedBy", Kind::kLink, kArray | kNull, "Manager"},
         {"ManagerForChassis", Kind::kLink, kArray | kNull, "Chassis"},
         {"ManagerForManagers", Kind::kLink, kArray | kNull, "Manager"},
         {"ManagerInChassis", Kind::kLink, 0, "Chassis"},
         {"Oem", Kind::kOem},
     }},
    {"Manager.v1_25_0.Manager",
     Base::kResource,
     {
         {"AutoDSTEnabled", Kind::kBoolean, kWrite},
         {"DateTime", Kind::kTime, kNull | kWrite},
         {"DateTimeLocalOffset", Kind::kOffset, kNull | kWrite},
         {"DateTimeSource", Kind::kEnum, kNull | kWrite, "Manager.v1_20_0.DateTimeSource"},
         {"Description", Kind::kText, kNull},
         {"FirmwareVersion", Kind::kText, kNull},
         {"Id", Kind::kText, kRequired},
         {"LastResetTime", Kind::kTime},
         {"Links", Kind::kObject, 0, "Manager.v1_22_0.Links"},
         {"Location", Kind::kObject, 0, "Resource.v1_17_0.Location"},
         {"LocationIndicatorActive", Kind::kBoolean, kNull | kWrite},
         {"ManagerType", Kind::kEnum, 0, "Manager.v1_0_0.ManagerType"},
         {"Manufacturer", Kind::kText, kNull},
         {"Model", Kind::kText, kNull},
         {"Name", Kind::kText, kRequired},
         {"OEMSecurityMode", Kind::kText, kNull},
         {"Oem", Kind::kOem},
         {"PartNumber", Kind::kText, kNull},
         {"PowerState", Kind::kEnum, kNull, "Resource.PowerState"},
         {"ReadyToRemove", Kind::kBoolean, kNull | kWrite},
         {"RemoteRedfishServiceUri", Kind::kUri, kNull},
         {"SerialNumber", Kind::kText, kNull},
         {"ServiceEntryPointUUID", Kind::kUuid, kNull},
         {"ServiceIdentification", Kind::kText, kNull | kWrite},
         {"ServiceUseNotification", Kind::kText, kNull | kWrite},
         {"SparePartNumber", Kind::kText, kNull},
         {"Status", Kind::kObject, 0, "Resource.Status"},
         {"TimeZoneName", Kind::kText, kWrite},
         {"UUID", Kind::kUuid, kNull},
         {"Version", Kind::kText, kNull},
     }},
};

const std::vector<Enumeration> kManagerEnumerations = {
    {"Manager.v1_0_0.ManagerType",
     {"ManagementController", "EnclosureManager", "BMC", "RackManager", "AuxiliaryController",
      "Service", "FabricManager"}},
    {"Manager.v1_20_0.DateTimeSource", {"RTC", "Firmware", "Host", "NTP", "PTP", "DHCP"}},
};

}  // namespace

const std::vector<Type>& ManagerTypes() { return kManagerTypes; }

const std::vector<Enumeration>& ManagerEnumerations() { return kManagerEnumerations; }

}  // namespace cloudservice
