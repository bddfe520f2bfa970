// SPDX-License-Identifier: Apache-2.0
// Where a path of the appliance lies on this machine.
#include "platform/util/LocalPath.h"

#include <cstdlib>

std::string LocalPath(const std::string& path) {
  const char* root = std::getenv("CLOUDCLIENT_ROOT");
  if (root == nullptr || path.empty() || path.front() != '/') return path;
  std::string prefix(root);
  while (!prefix.empty() && prefix.back() == '/') prefix.pop_back();
  return prefix + path;
}
