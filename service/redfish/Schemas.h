// SPDX-License-Identifier: Apache-2.0
#ifndef SERVICE_REDFISH_SCHEMAS_H_
#define SERVICE_REDFISH_SCHEMAS_H_

#include "service/redfish/Call.h"

namespace cloudservice {

// The files of schemas that are this service's own, and the collections that say where schemas and
// registries of messages are published.
void AddSchemas(Routes& routes);

}  // namespace cloudservice

#endif  // SERVICE_REDFISH_SCHEMAS_H_
