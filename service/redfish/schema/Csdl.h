// SPDX-License-Identifier: Apache-2.0
#ifndef SERVICE_REDFISH_SCHEMA_CSDL_H_
#define SERVICE_REDFISH_SCHEMA_CSDL_H_

#include <map>
#include <string>

namespace cloudservice {

// Where the JSON schema of a type is to be had: a published one at its public address, an own one
// at its path on this service.
std::string JsonSchemaUri(const std::string& type);

// The OData metadata document: references to the schemas of every type of the table.
std::string MetadataDocument();

// The files that describe the service's own types, by name: CSDL ("QuorvanEvent_v1.xml") and JSON
// Schema ("QuorvanEvent.v1_0_0.json"). Made from the table.
const std::map<std::string, std::string>& SchemaFiles();

}  // namespace cloudservice

#endif  // SERVICE_REDFISH_SCHEMA_CSDL_H_
