// SPDX-License-Identifier: Apache-2.0
#ifndef SERVICE_REDFISH_ROOT_H_
#define SERVICE_REDFISH_ROOT_H_

#include "service/redfish/Call.h"

namespace cloudservice {

// Adds the operations of the service root, of the documents that describe the service as a whole,
// and of the sessions, of which there are none.
void AddRoot(Routes& routes);

}  // namespace cloudservice

#endif  // SERVICE_REDFISH_ROOT_H_
