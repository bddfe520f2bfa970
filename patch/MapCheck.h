// SPDX-License-Identifier: Apache-2.0
#ifndef PATCH_MAPCHECK_H_
#define PATCH_MAPCHECK_H_

#include <jansson.h>

#include "patch/MapSurroundings.h"
#include "patch/PatchMap.h"

namespace cloudclient {

// What in a loaded map will not work, in plain words, beyond what the loader says itself: `map` has
// loaded the file, `root` is its parsed text, in which what the loader drops is still to be seen.
// First what is written wrong, then resource by resource and point by point what does not fit.
Findings CheckMap(const PatchMap& map, json_t* root, const MapSurroundings& surroundings);

}  // namespace cloudclient

#endif  // PATCH_MAPCHECK_H_
