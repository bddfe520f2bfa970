// SPDX-License-Identifier: Apache-2.0
// The configuration file, as the store reads it.
#include <sys/mman.h>
#include <unistd.h>

#include "Input.h"
#include "host/config/ConfigKeys.h"
#include "host/config/ConfigObjects.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static const int file = memfd_create("cloud.json", 0);
  fuzz::Require(ftruncate(file, 0) == 0, "the file can be emptied");
  fuzz::Require(pwrite(file, data, size, 0) == static_cast<ssize_t>(size),
                "the file can be written");
  host::ConfigStore store("/proc/self/fd/" + std::to_string(file), host::CloudKeys());
  const auto cfg = host::CloudOn(store);
  std::map<std::string, cfg_cloud::CfgCloudChassis> chassis;
  unsigned int count = 0;
  fuzz::Require(cfg->GetConfiguredChassis(chassis) == 0 && cfg->GetNumCfgChassis(count) == 0,
                "the chassis list can always be read");
  fuzz::Require(chassis.size() == count, "both count the same chassis");
  fuzz::Require(cfg->AddChassis("17", 0) == 0 && cfg->SetXAuthToken("token") == 0,
                "values can always be set");
  std::string token;
  fuzz::Require(cfg->GetXAuthToken(token) == 0 && token == "token", "a value set is read back");
  return 0;
}
