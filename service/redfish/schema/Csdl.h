// SPDX-License-Identifier: Apache-2.0
#ifndef SERVICE_REDFISH_SCHEMA_CSDL_H_
#define SERVICE_REDFISH_SCHEMA_CSDL_H_

#include <string>

namespace cloudservice {

// The OData metadata document: references to the schemas of all types of the table.
std::string MetadataDocument();

// The CSDL file of one of the service's own schemas ("QuorvanEvent"), made from the table of types.
std::string CsdlOf(const std::string& schema);

}  // namespace cloudservice

#endif  // SERVICE_REDFISH_SCHEMA_CSDL_H_
