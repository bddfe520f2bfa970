// SPDX-License-Identifier: Apache-2.0
#ifndef STANDIN_PROXY_H_
#define STANDIN_PROXY_H_

#include "platform/pld/LxPldProxy.h"

namespace standin {

// The one proxy, of a device that has neither points nor events. Never destroyed.
LxPldProxy& Proxy();

}  // namespace standin

#endif  // STANDIN_PROXY_H_
