// SPDX-License-Identifier: Apache-2.0
#ifndef SERVICE_REDFISH_SCHEMA_TYPES_H_
#define SERVICE_REDFISH_SCHEMA_TYPES_H_

#include <limits>
#include <string>
#include <vector>

namespace cloudservice {

// The table of the types of documents that the service answers: the published types, with the
// members that appliances use, and the service's own types. Other members of a published type count
// as unknown.

enum class Kind {
  kText,
  kNumber,
  kInteger,
  kBoolean,
  kTime,      // 2026-03-05T14:07:09+01:00
  kOffset,    // +01:00
  kDuration,  // P1DT2H3M4.5S
  kUuid,      // 8-4-4-4-12 hexadecimal digits
  kUri,
  kEnum,    // `type` names the enumeration
  kObject,  // `type` names the type
  // {"@odata.id": path}; `type` names the schema of the target, without its version. Empty: the
  // target is any item, that is a resource or an element with an address; kItemOrCollection: it may
  // be a collection as well.
  kLink,
  kOem,
};

constexpr const char* kItemOrCollection = "ItemOrCollection";

// Traits of a property.
constexpr unsigned kRequired = 1;
constexpr unsigned kNull = 2;   // may be null; in an array of plain values, each element may
constexpr unsigned kWrite = 4;  // the type allows clients to change it
constexpr unsigned kArray = 8;
constexpr unsigned kNotNegative = 16;

struct Property {
  const char* name;
  Kind kind;
  unsigned traits = 0;
  const char* type = "";
  const char* description = "";                             // of the service's own types
  double least = -std::numeric_limits<double>::infinity();  // of a number
  double most = std::numeric_limits<double>::infinity();

  bool Is(unsigned trait) const { return (traits & trait) != 0; }
};

enum class Base {
  kResource,    // has an address and a type of its own
  kCollection,  // a resource whose members are resources
  kMember,      // an element of an array, with an address inside its resource
  kObject,      // a part of another object, without an address
  kOpen,        // the same, and may have members that the type does not name
};

struct Type {
  const char* name;  // as behind the "#" of @odata.type
  Base base;
  std::vector<Property> properties;
  const char* description = "";  // of the service's own types

  // The property of this name; null when the type has none.
  const Property* Find(const std::string& property) const;
};

struct Enumeration {
  const char* name;
  std::vector<const char*> values;

  bool Has(const std::string& value) const;
};

// Every type, in order of files.
const std::vector<const Type*>& AllTypes();

// The type of this name; throws std::out_of_range when there is none.
const Type& TypeNamed(const std::string& name);
const Enumeration& EnumerationNamed(const std::string& name);

// "Thermal" of "Thermal.v1_7_3.Thermal": the name of its schema without the version.
std::string SchemaOf(const std::string& type);

// "QuorvanEvent.v1_0_0" of "QuorvanEvent.v1_0_0.QuorvanEvent".
std::string NamespaceOf(const std::string& type);

// Whether the service's own schema describes the type, not a published one.
bool IsOwnType(const std::string& type);

// The parts of the table; each file defines one.
const std::vector<Type>& ChassisTypes();
const std::vector<Enumeration>& ChassisEnumerations();
const std::vector<Type>& ManagerTypes();
const std::vector<Enumeration>& ManagerEnumerations();
const std::vector<Type>& OwnTypes();
const std::vector<Type>& ResourceTypes();
const std::vector<Enumeration>& ResourceEnumerations();
const std::vector<Type>& SensorTypes();
const std::vector<Enumeration>& SensorEnumerations();
const std::vector<Type>& ServiceTypes();
const std::vector<Type>& ThermalTypes();
const std::vector<Enumeration>& ThermalEnumerations();

// The names of the types that answers have.
namespace types {

constexpr const char* kServiceRoot = "ServiceRoot.v1_21_0.ServiceRoot";
constexpr const char* kManagerCollection = "ManagerCollection.ManagerCollection";
constexpr const char* kManager = "Manager.v1_25_0.Manager";
constexpr const char* kChassisCollection = "ChassisCollection.ChassisCollection";
constexpr const char* kChassis = "Chassis.v1_28_0.Chassis";
constexpr const char* kThermal = "Thermal.v1_7_3.Thermal";
constexpr const char* kEnvironmentMetrics = "EnvironmentMetrics.v1_6_0.EnvironmentMetrics";
constexpr const char* kSensorCollection = "SensorCollection.SensorCollection";
constexpr const char* kSensor = "Sensor.v1_13_0.Sensor";
constexpr const char* kSessionService = "SessionService.v1_1_5.SessionService";
constexpr const char* kSessionCollection = "SessionCollection.SessionCollection";
constexpr const char* kSchemaCollection = "JsonSchemaFileCollection.JsonSchemaFileCollection";
constexpr const char* kSchemaFile = "JsonSchemaFile.v1_1_3.JsonSchemaFile";
constexpr const char* kRegistryCollection =
    "MessageRegistryFileCollection.MessageRegistryFileCollection";
constexpr const char* kRegistryFile = "MessageRegistryFile.v1_1_2.MessageRegistryFile";
constexpr const char* kDocument = "QuorvanDocument.v1_0_0.QuorvanDocument";
constexpr const char* kEvent = "QuorvanEvent.v1_0_0.QuorvanEvent";
constexpr const char* kEventCollection = "QuorvanEventCollection.QuorvanEventCollection";
constexpr const char* kHistory = "QuorvanHistory.v1_0_0.QuorvanHistory";
// The type of every object Oem.Quorvan.
constexpr const char* kOem = "QuorvanOem.v1_0_0.QuorvanOem";

}  // namespace types

}  // namespace cloudservice

#endif  // SERVICE_REDFISH_SCHEMA_TYPES_H_
