// SPDX-License-Identifier: Apache-2.0
#ifndef SERVICE_REDFISH_SCHEMA_SCHEMAURIS_H_
#define SERVICE_REDFISH_SCHEMA_SCHEMAURIS_H_

#include <string>

namespace cloudservice {

// Where schemas are to be had: published ones at their public addresses, own ones at their paths on
// this service.

// The JSON Schema of a type ("QuorvanEvent.v1_0_0.QuorvanEvent").
std::string JsonSchemaUri(const std::string& type);

// The CSDL file of a schema ("QuorvanEvent").
std::string CsdlUri(const std::string& schema);

}  // namespace cloudservice

#endif  // SERVICE_REDFISH_SCHEMA_SCHEMAURIS_H_
