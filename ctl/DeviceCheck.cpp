// SPDX-License-Identifier: Apache-2.0
// What the daemon finds wrong in a device's description.
#include "ctl/DeviceCheck.h"

#include <vector>

#include "host/device/DeviceKeys.h"
#include "host/device/SourceSetup.h"

namespace ctl {

Findings FindingsOf(const json_t* root, host::DeviceModel& model) {
  Findings findings;
  model = host::ParseDeviceModel(root, findings);
  std::vector<std::string> unknown = host::UnknownDeviceKeys(root);
  std::vector<host::MissingModule> missing;
  host::SourceLoader loader;
  static_cast<void>(host::PrepareSources(model, loader, findings, unknown, missing));
  for (const std::string& key : unknown) findings.push_back("unknown key " + key);
  for (const host::MissingModule& module : missing) {
    findings.push_back("sources of the type \"" + module.type +
                       "\" are not read: " + module.reason);
  }
  return findings;
}

}  // namespace ctl
