// SPDX-License-Identifier: Apache-2.0
#ifndef PLATFORM_PLD_PLDCONSTANTS_H_
#define PLATFORM_PLD_PLDCONSTANTS_H_

#include <cstddef>
#include <cstdint>

// What the daemon asks for by number or name, and the device-data engine has to know by it. An
// engine that gives these others changes them here.
namespace pld {

// The point whose value is the managed device's label.
constexpr uint16_t kLabelPoint = 4329;

// Fourth argument of a point-value query that asks for degrees Celsius; 0 asks for the point's own
// unit.
constexpr int32_t kCelsius = 4125;

// Bytes of the value buffer of a change of value.
constexpr size_t kCovValueSize = 256;

// The page that is rendered, with the query "op1=NAME", as `op1="VALUE"`: the value of the point of
// that name.
constexpr char kValuePage[] = "httpGetSet/httpGet.htm";

// The folder of all data files and pages, a path of the appliance. A device's own lie below it, in
// the folder of its product sequence identifier ("1.2.3": 1/2/3); what that folder lacks is looked
// for in the folders above it.
constexpr char kDataFolder[] = "/var/local/orv/pldserver/0";

// The data files that the daemon looks for: the patch map, and the page of the chassis's document.
constexpr char kPatchMapFile[] = "covpatchmap.txt";
constexpr char kChassisTemplateFile[] = "cloudchassis.txt";

}  // namespace pld

#endif  // PLATFORM_PLD_PLDCONSTANTS_H_
