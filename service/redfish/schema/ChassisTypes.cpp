// SPDX-License-Identifier: Apache-2.0
// Tables: the types of chassis.
#include "service/redfish/schema/Types.h"

namespace cloudservice {

namespace {

const std::vector<Type> kChassisTypes = {
    {"Chassis.v1_27_0.Links",
     Base::kObject,
     {
         {"ContainedBy", Kind::kLink, kWrite, "Chassis"},
         {"Contains", Kind::kLink, kArray | kNull | kWrite, "Chassis"},
         {"CooledBy", Kind::kLink, kArray | kNull},
         {"ManagedBy", Kind::kLink, kArray | kNull, "Manager"},
         {"ManagersInChassis", Kind::kLink, kArray | kNull, "Manager"},
         {"Oem", Kind::kOem},
         {"PoweredBy", Kind::kLink, kArray | kNull},
     }},
    {"Chassis.v1_1_0.PhysicalSecurity",
     Base::kObject,
     {
         {"IntrusionSensor", Kind::kEnum, kNull | kWrite, "Chassis.v1_1_0.IntrusionSensor"},
         {"IntrusionSensorNumber", Kind::kInteger, kNull},
         {"IntrusionSensorReArm", Kind::kEnum, kNull | kWrite,
          "Chassis.v1_1_0.IntrusionSensorReArm"},
     }},
    {"Chassis.v1_28_0.Chassis",
     Base::kResource,
     {
         {"AssetTag", Kind::kText, kNull | kWrite},
         {"ChassisType", Kind::kEnum, kRequired, "Chassis.v1_0_0.ChassisType"},
         {"DepthMm", Kind::kNumber, kNull | kNotNegative},
         {"Description", Kind::kText, kNull},
         {"ElectricalSourceManagerURIs", Kind::kUri, kArray | kNull | kWrite},
         {"ElectricalSourceNames", Kind::kText, kArray | kNull | kWrite},
         {"EnvironmentMetrics", Kind::kLink, 0, "EnvironmentMetrics"},
         {"EnvironmentalClass", Kind::kEnum, kNull | kWrite, "Chassis.v1_9_0.EnvironmentalClass"},
         {"HeatingCoolingEquipmentNames", Kind::kText, kArray | kNull | kWrite},
         {"HeatingCoolingManagerURIs", Kind::kUri, kArray | kNull | kWrite},
         {"HeightMm", Kind::kNumber, kNull | kNotNegative},
         {"HeightRackUnits", Kind::kNumber, kNull},
         {"HotPluggable", Kind::kBoolean, kNull},
         {"Id", Kind::kText, kRequired},
         {"IndicatorLED", Kind::kEnum, kNull | kWrite, "Chassis.v1_0_0.IndicatorLED"},
         {"Links", Kind::kObject, 0, "Chassis.v1_27_0.Links"},
         {"Location", Kind::kObject, 0, "Resource.v1_17_0.Location"},
         {"LocationIndicatorActive", Kind::kBoolean, kNull | kWrite},
         {"Manufacturer", Kind::kText, kNull},
         {"MaxPowerWatts", Kind::kNumber, kNull},
         {"MinPowerWatts", Kind::kNumber, kNull},
         {"Model", Kind::kText, kNull},
         {"Name", Kind::kText, kRequired},
         {"Oem", Kind::kOem},
         {"PartNumber", Kind::kText, kNull},
         {"PhysicalSecurity", Kind::kObject, 0, "Chassis.v1_1_0.PhysicalSecurity"},
         {"PowerState", Kind::kEnum, kNull, "Resource.PowerState"},
         {"PoweredByParent", Kind::kBoolean, kNull},
         {"RackMountCapacityUnits", Kind::kNumber, kNull | kWrite},
         {"RackMountDepthMm", Kind::kNumber, kNull | kWrite | kNotNegative},
         {"RackMountWidth", Kind::kEnum, kNull | kWrite, "Chassis.v1_28_0.RackMountWidth"},
         {"RackUnits", Kind::kEnum, kNull | kWrite, "Chassis.v1_28_0.RackUnits"},
         {"ReadyToRemove", Kind::kBoolean, kNull | kWrite},
         {"Replaceable", Kind::kBoolean, kNull},
         {"SKU", Kind::kText, kNull},
         {"Sensors", Kind::kLink, 0, "SensorCollection"},
         {"SerialNumber", Kind::kText, kNull},
         {"SparePartNumber", Kind::kText, kNull},
         {"Status", Kind::kObject, 0, "Resource.Status"},
         {"Thermal", Kind::kLink, 0, "Thermal"},
         {"ThermalDirection", Kind::kEnum, kNull, "Chassis.v1_20_0.ThermalDirection"},
         {"ThermalManagedByParent", Kind::kBoolean, kNull},
         {"UUID", Kind::kUuid, kNull},
         {"Version", Kind::kText, kNull},
         {"WeightKg", Kind::kNumber, kNull | kNotNegative},
         {"WidthMm", Kind::kNumber, kNull | kNotNegative},
     }},
};

const std::vector<Enumeration> kChassisEnumerations = {
    {"Chassis.v1_0_0.ChassisType",
     {"Rack",          "Blade",         "Enclosure",    "StandAlone", "RackMount",
      "Card",          "Cartridge",     "Row",          "Pod",        "Expansion",
      "Sidecar",       "Zone",          "Sled",         "Shelf",      "Drawer",
      "Module",        "Component",     "IPBasedDrive", "RackGroup",  "StorageEnclosure",
      "ImmersionTank", "HeatExchanger", "PowerStrip",   "Other"}},
    {"Chassis.v1_0_0.IndicatorLED", {"Unknown", "Lit", "Blinking", "Off"}},
    {"Chassis.v1_1_0.IntrusionSensor", {"Normal", "HardwareIntrusion", "TamperingDetected"}},
    {"Chassis.v1_1_0.IntrusionSensorReArm", {"Manual", "Automatic"}},
    {"Chassis.v1_20_0.ThermalDirection", {"FrontToBack", "BackToFront", "TopExhaust", "Sealed"}},
    {"Chassis.v1_28_0.RackMountWidth", {"OpenU", "EIA_310", "EIA_310_Telco", "HalfWidth"}},
    {"Chassis.v1_28_0.RackUnits", {"OpenU", "EIA_310"}},
    {"Chassis.v1_9_0.EnvironmentalClass", {"A1", "A2", "A3", "A4"}},
};

}  // namespace

const std::vector<Type>& ChassisTypes() { return kChassisTypes; }

const std::vector<Enumeration>& ChassisEnumerations() { return kChassisEnumerations; }

}  // namespace cloudservice
