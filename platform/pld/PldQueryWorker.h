// SPDX-License-Identifier: Apache-2.0
#ifndef PLATFORM_PLD_PLDQUERYWORKER_H_
#define PLATFORM_PLD_PLDQUERYWORKER_H_

#include <string>

class LxPldProxy;

// Renders the device-data engine's pages.
class PldQueryWorker {
 public:
  // The text of page `page` for device `velId`, rendered with `query` ("op1=supply_temp", or
  // empty); empty on failure. A page's name is relative to the device's data folder or to one above
  // it, up to pld::kDataFolder. Blocks for the engine's time; any thread.
  static std::string GetDocument(LxPldProxy* proxy, const std::string& query,
                                 const std::string& page, int velId);
};

#endif  // PLATFORM_PLD_PLDQUERYWORKER_H_
