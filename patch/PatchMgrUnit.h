#ifndef PATCH_PATCHMGRUNIT_H_
#define PATCH_PATCHMGRUNIT_H_

// What the source files of PatchMgr share among themselves.

namespace cloudclient {

// Log unit of all of them.
constexpr char kUnit[] = "PatchMgr";

// Markers of a resource's URL, also the values of its tag.
constexpr char kChassisIdTag[] = "<chassisid>";
constexpr char kUuidTag[] = "<uuid>";

}  // namespace cloudclient

#endif  // PATCH_PATCHMGRUNIT_H_
