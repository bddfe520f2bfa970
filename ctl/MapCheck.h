#ifndef CTL_MAPCHECK_H_
#define CTL_MAPCHECK_H_

#include <string>
#include <vector>

#include "host/Json.h"
#include "patch/PatchMgr.h"

namespace ctl {

// What in a loaded patch map will not work, in plain words, beyond what the loader says itself:
// `map` has loaded the file, `root` is its parsed text, in which what the loader drops is still to
// be seen. The pages of resources are looked for in `pages` and the folders above it.
std::vector<std::string> CheckMap(const cloudclient::PatchMgr& map, json_t* root,
                                  const std::string& pages);

}  // namespace ctl

#endif  // CTL_MAPCHECK_H_
