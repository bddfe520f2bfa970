// SPDX-License-Identifier: Apache-2.0
// Finding types and enumerations by their names.
#include "service/redfish/schema/Types.h"

#include <algorithm>
#include <stdexcept>

namespace cloudservice {

const Property* Type::Find(const std::string& property) const {
  const auto found = std::find_if(properties.begin(), properties.end(),
                                  [&](const Property& known) { return known.name == property; });
  return found == properties.end() ? nullptr : &*found;
}

bool Enumeration::Has(const std::string& value) const {
  return std::find(values.begin(), values.end(), value) != values.end();
}

const std::vector<const Type*>& AllTypes() {
  static const std::vector<const Type*> all = [] {
    std::vector<const Type*> types;
    for (const auto* part : {&ChassisTypes(), &ManagerTypes(), &OwnTypes(), &ResourceTypes(),
                             &SensorTypes(), &ServiceTypes(), &ThermalTypes()}) {
      for (const Type& type : *part) types.push_back(&type);
    }
    return types;
  }();
  return all;
}

const Type& TypeNamed(const std::string& name) {
  for (const Type* type : AllTypes()) {
    if (type->name == name) return *type;
  }
  throw std::out_of_range("no type " + name);
}

const Enumeration& EnumerationNamed(const std::string& name) {
  for (const auto* part : {&ChassisEnumerations(), &ManagerEnumerations(), &ResourceEnumerations(),
                           &SensorEnumerations(), &ThermalEnumerations()}) {
    for (const Enumeration& enumeration : *part) {
      if (enumeration.name == name) return enumeration;
    }
  }
  throw std::out_of_range("no enumeration " + name);
}

std::string SchemaOf(const std::string& type) { return type.substr(0, type.find('.')); }

std::string NamespaceOf(const std::string& type) { return type.substr(0, type.rfind('.')); }

bool IsOwnType(const std::string& type) { return type.rfind("Quorvan", 0) == 0; }

}  // namespace cloudservice
