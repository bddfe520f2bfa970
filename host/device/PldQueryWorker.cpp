// SPDX-License-Identifier: Apache-2.0
// A page of the device, asked for by the daemon.
#include "platform/pld/PldQueryWorker.h"

#include "host/config/ConfigKeys.h"
#include "host/device/DeviceProxy.h"
#include "host/device/Pages.h"

std::string PldQueryWorker::GetDocument(LxPldProxy* proxy, const std::string& query,
                                        const std::string& page, int /*velId*/) {
  const auto* device = dynamic_cast<host::DeviceProxy*>(proxy);
  if (device == nullptr) return "";
  return host::GetPage(device->Engine(), host::CloudStore().Text(host::kUuid), query, page);
}
