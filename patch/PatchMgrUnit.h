// SPDX-License-Identifier: Apache-2.0
#ifndef PATCH_PATCHMGRUNIT_H_
#define PATCH_PATCHMGRUNIT_H_

// What the source files of this folder share among themselves.

namespace cloudclient {

// Log unit of all of them: PatchMgr is what runs the others.
constexpr char kUnit[] = "PatchMgr";

}  // namespace cloudclient

#endif  // PATCH_PATCHMGRUNIT_H_
