// SPDX-License-Identifier: Apache-2.0
#ifndef SERVICE_REDFISH_SCHEMA_JSONSCHEMA_H_
#define SERVICE_REDFISH_SCHEMA_JSONSCHEMA_H_

#include <string>

namespace cloudservice {

// The JSON Schema file of one of the service's own schemas ("QuorvanEvent"), made from the table.
std::string JsonSchemaOf(const std::string& schema);

}  // namespace cloudservice

#endif  // SERVICE_REDFISH_SCHEMA_JSONSCHEMA_H_
