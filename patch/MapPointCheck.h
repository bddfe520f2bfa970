// SPDX-License-Identifier: Apache-2.0
#ifndef PATCH_MAPPOINTCHECK_H_
#define PATCH_MAPPOINTCHECK_H_

#include <cstdint>

#include "patch/MapSurroundings.h"
#include "patch/PatchMap.h"

namespace cloudclient {

// Adds what in a point of a map, and in its event, will not work. Of a known device each number
// and name by which a value is asked for has to be one of its points.
void CheckPoint(int32_t id, const PointPatchEntry& point, const MapSurroundings& surroundings,
                Findings& findings);

}  // namespace cloudclient

#endif  // PATCH_MAPPOINTCHECK_H_
