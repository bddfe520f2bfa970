// SPDX-License-Identifier: Apache-2.0
#ifndef CTL_NEWFILES_H_
#define CTL_NEWFILES_H_

#include <string>
#include <vector>

#include "host/util/Problem.h"

namespace ctl {

struct NewFile {
  std::string path;  // this machine's
  std::string text;
};

// Writes all of these files, or none of them; each for all to read, and its folder made where it is
// missing. A file that is there already is a problem (EEXIST), unless it is to be replaced.
host::Problem WriteNewFiles(const std::vector<NewFile>& files, bool replace);

}  // namespace ctl

#endif  // CTL_NEWFILES_H_
