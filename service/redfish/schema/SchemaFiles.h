// SPDX-License-Identifier: Apache-2.0
#ifndef SERVICE_REDFISH_SCHEMA_SCHEMAFILES_H_
#define SERVICE_REDFISH_SCHEMA_SCHEMAFILES_H_

#include <map>
#include <string>

namespace cloudservice {

// The texts of the files that describe the service's own types, by file name: CSDL
// ("QuorvanEvent_v1.xml") and JSON Schema ("QuorvanEvent.v1_0_0.json"). Made from the table of
// types.
const std::map<std::string, std::string>& SchemaFiles();

}  // namespace cloudservice

#endif  // SERVICE_REDFISH_SCHEMA_SCHEMAFILES_H_
