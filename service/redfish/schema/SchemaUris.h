// SPDX-License-Identifier: Apache-2.0
#ifndef SERVICE_REDFISH_SCHEMA_SCHEMAURIS_H_
#define SERVICE_REDFISH_SCHEMA_SCHEMAURIS_H_

#include <string>

namespace cloudservice {

// Addresses of schemas: public addresses for published ones, paths on this service for its own.

// The JSON Schema of a type ("QuorvanEvent.v1_0_0.QuorvanEvent").
std::string JsonSchemaUri(const std::string& type);

// The CSDL file of a schema ("QuorvanEvent").
std::string CsdlUri(const std::string& schema);

}  // namespace cloudservice

#endif  // SERVICE_REDFISH_SCHEMA_SCHEMAURIS_H_
