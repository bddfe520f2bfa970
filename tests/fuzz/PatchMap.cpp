// SPDX-License-Identifier: Apache-2.0
// The map file's loader, and what its tables are used for.
#include <sys/mman.h>
#include <unistd.h>

#include "Fuzz.h"
#include "https/HttpsClient.h"
#include "patch/PatchMgr.h"

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static const int file = memfd_create("map", 0);
  static const std::string path = "/proc/self/fd/" + std::to_string(file);
  static fakes::Service service;
  static cloudclient::HttpsClient client;
  static uint32_t code = 0;
  static const cloudclient::HttpsResult initialised = client.InitCurl(code);
  fuzz::Require(initialised == cloudclient::kHttpsOk, "the transport is ready");
  service.answers("PATCH", "*", 204).answers("POST", "*", 201);
  fuzz::Require(ftruncate(file, 0) == 0, "the map file can be emptied");
  fuzz::Require(pwrite(file, data, size, 0) == static_cast<ssize_t>(size),
                "the map file can be written");

  cloudclient::PatchMgr patch;
  patch.SetPldProxy(&fakes::platform().proxy);
  const int32_t result = patch.InitCovPatchMaps(path);
  fuzz::Require(result >= 0 && result <= 3, "a load answers 0 to 3");
  fuzz::Require(patch.GetMap().Points().size() == patch.GetMap().PointResources().size(),
                "both point tables hold the same points");
  fuzz::Require(result < 2 || (patch.GetMap().Points().empty() && patch.GetMap().History().empty()),
                "a failed load loads no point");
  patch.InitIdHistoryValues(1, &client);
  patch.NewDaySyncAccumulators(1, &client, &fakes::platform().proxy);
  const char value[pld::kCovValueSize] = {};
  for (const auto& [id, entry] : patch.GetMap().Points()) {
    fuzz::Require(patch.GetMap().PointResources().count(id) == 1, "each point has a group");
    const int32_t delivered = patch.ProcessCOV(1, id, 0, value, &client, "17", "uuid", "label");
    fuzz::Require(delivered == 0 || delivered == 1 || delivered == 5, "a known point is no 4");
    if (fakes::platform().log.records.size() > 1000) break;
  }
  service.forget();
  fuzz::Forget();
  return 0;
}
