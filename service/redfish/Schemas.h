// SPDX-License-Identifier: Apache-2.0
#ifndef SERVICE_REDFISH_SCHEMAS_H_
#define SERVICE_REDFISH_SCHEMAS_H_

#include "service/redfish/Call.h"

namespace cloudservice {

// Adds the operations that serve the files of this service's own schemas, and those of the
// collections that say where schemas and message registries are published.
void AddSchemas(Routes& routes);

}  // namespace cloudservice

#endif  // SERVICE_REDFISH_SCHEMAS_H_
