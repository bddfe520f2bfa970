// SPDX-License-Identifier: Apache-2.0
// Tables: the types of thermal documents.
#include "service/redfish/schema/Types.h"

namespace cloudservice {

namespace {

const std::vector<Type> kThermalTypes = {
    {"Thermal.v1_7_3.Fan",
     Base::kMember,
     {
         {"FanName", Kind::kText, kNull},
         {"HotPluggable", Kind::kBoolean, kNull},
         {"IndicatorLED", Kind::kEnum, kNull | kWrite, "Resource.IndicatorLED"},
         {"Location", Kind::kObject, 0, "Resource.v1_17_0.Location"},
         {"LowerThresholdCritical", Kind::kInteger, kNull},
         {"LowerThresholdFatal", Kind::kInteger, kNull},
         {"LowerThresholdNonCritical", Kind::kInteger, kNull},
         {"Manufacturer", Kind::kText, kNull},
         {"MaxReadingRange", Kind::kInteger, kNull},
         {"MemberId", Kind::kText, kRequired},
         {"MinReadingRange", Kind::kInteger, kNull},
         {"Model", Kind::kText, kNull},
         {"Name", Kind::kText, kNull},
         {"Oem", Kind::kOem},
         {"PartNumber", Kind::kText, kNull},
         {"PhysicalContext", Kind::kEnum, 0, "PhysicalContext.PhysicalContext"},
         {"Reading", Kind::kInteger, kNull},
         {"ReadingUnits", Kind::kEnum, kNull, "Thermal.v1_0_1.ReadingUnits"},
         {"RelatedItem", Kind::kLink, kArray | kNull},
         {"SensorNumber", Kind::kInteger, kNull},
         {"SerialNumber", Kind::kText, kNull},
         {"SparePartNumber", Kind::kText, kNull},
         {"Status", Kind::kObject, 0, "Resource.Status"},
         {"UpperThresholdCritical", Kind::kInteger, kNull},
         {"UpperThresholdFatal", Kind::kInteger, kNull},
         {"UpperThresholdNonCritical", Kind::kInteger, kNull},
     }},
    {"Thermal.v1_7_3.Temperature",
     Base::kMember,
     {
         {"AdjustedMaxAllowableOperatingValue", Kind::kInteger, kNull},
         {"AdjustedMinAllowableOperatingValue", Kind::kInteger, kNull},
         {"DeltaPhysicalContext", Kind::kEnum, 0, "PhysicalContext.PhysicalContext"},
         {"DeltaReadingCelsius", Kind::kNumber, kNull},
         {"LowerThresholdCritical", Kind::kNumber, kNull},
         {"LowerThresholdFatal", Kind::kNumber, kNull},
         {"LowerThresholdNonCritical", Kind::kNumber, kNull},
         {"LowerThresholdUser", Kind::kInteger, kNull | kWrite},
         {"MaxAllowableOperatingValue", Kind::kInteger, kNull},
         {"MaxReadingRangeTemp", Kind::kNumber, kNull},
         {"MemberId", Kind::kText, kRequired},
         {"MinAllowableOperatingValue", Kind::kInteger, kNull},
         {"MinReadingRangeTemp", Kind::kNumber, kNull},
         {"Name", Kind::kText, kNull},
         {"Oem", Kind::kOem},
         {"PhysicalContext", Kind::kEnum, 0, "PhysicalContext.PhysicalContext"},
         {"ReadingCelsius", Kind::kNumber, kNull},
         {"RelatedItem", Kind::kLink, kArray | kNull},
         {"SensorNumber", Kind::kInteger, kNull},
         {"Status", Kind::kObject, 0, "Resource.Status"},
         {"UpperThresholdCritical", Kind::kNumber, kNull},
         {"UpperThresholdFatal", Kind::kNumber, kNull},
         {"UpperThresholdNonCritical", Kind::kNumber, kNull},
         {"UpperThresholdUser", Kind::kInteger, kNull | kWrite},
     }},
    {"Thermal.v1_7_3.Thermal",
     Base::kResource,
     {
         {"Description", Kind::kText, kNull},
         {"Fans", Kind::kObject, kArray | kNull | kWrite, "Thermal.v1_7_3.Fan"},
         {"Id", Kind::kText, kRequired},
         {"Name", Kind::kText, kRequired},
         {"Oem", Kind::kOem},
         {"Status", Kind::kObject, 0, "Resource.Status"},
         {"Temperatures", Kind::kObject, kArray | kNull | kWrite, "Thermal.v1_7_3.Temperature"},
     }},
};

const std::vector<Enumeration> kThermalEnumerations = {
    {"Thermal.v1_0_1.ReadingUnits", {"RPM", "Percent"}},
};

}  // namespace

const std::vector<Type>& ThermalTypes() { return kThermalTypes; }

const std::vector<Enumeration>& ThermalEnumerations() { return kThermalEnumerations; }

}  // namespace cloudservice
