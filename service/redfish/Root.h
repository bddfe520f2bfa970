// SPDX-License-Identifier: Apache-2.0
#ifndef SERVICE_REDFISH_ROOT_H_
#define SERVICE_REDFISH_ROOT_H_

#include "service/redfish/Call.h"

namespace cloudservice {

// The root of the service, what describes it as a whole, and its sessions, of which there are none.
void AddRoot(Routes& routes);

}  // namespace cloudservice

#endif  // SERVICE_REDFISH_ROOT_H_
