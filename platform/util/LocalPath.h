// SPDX-License-Identifier: Apache-2.0
#ifndef PLATFORM_UTIL_LOCALPATH_H_
#define PLATFORM_UTIL_LOCALPATH_H_

#include <string>

// Where an absolute path of the appliance lies on this machine. The daemon opens every file and
// folder through it and keeps the appliance's path in its own texts, so that its walk up a folder
// tree ends where it would end on the appliance.
//
// On the appliance: returns its argument. Off it: prepends the root folder chosen at start. An
// empty path stays empty. Any thread; never fails.
std::string LocalPath(const std::string& path);

#endif  // PLATFORM_UTIL_LOCALPATH_H_
