// SPDX-License-Identifier: Apache-2.0
#ifndef HOST_DEVICE_SOURCELOADER_H_
#define HOST_DEVICE_SOURCELOADER_H_

#include <map>
#include <string>
#include <vector>

#include "host/device/sources/SourceModule.h"
#include "host/util/Problem.h"

namespace host {

// Where modules are looked for, in this order: the folder `sources` beside the program, which a
// build has, and that of the installation. Both are told from the program's own file: nothing that
// a file or the environment says decides what code is run.
std::vector<std::string> SourceFolders();

// Loads modules, each once, and keeps them to the end of the process. One thread.
class SourceLoader {
 public:
  explicit SourceLoader(std::vector<std::string> folders = SourceFolders());

  // The module of a kind, which consists of small letters; null, and a problem, when there is none.
  const SourceModule* Load(const std::string& type, Problem& problem);

 private:
  struct Loaded {
    const SourceModule* module = nullptr;
    Problem problem;
  };

  Loaded Find(const std::string& type) const;

  const std::vector<std::string> m_folders;
  std::map<std::string, Loaded> m_loaded;
};

}  // namespace host

#endif  // HOST_DEVICE_SOURCELOADER_H_
