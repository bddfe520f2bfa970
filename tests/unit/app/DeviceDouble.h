// SPDX-License-Identifier: Apache-2.0
#ifndef TESTS_UNIT_APP_DEVICEDOUBLE_H_
#define TESTS_UNIT_APP_DEVICEDOUBLE_H_

#include <functional>
#include <string>

// A device manager without threads, timer and requests: it writes the application's calls down as
// steps ("DeviceMgr::Start"), finds data files, and knows whether it runs. Its edits of a document
// leave marks at the end: "[seven days]", "[unit of device 3]".

// Stands in for the search of the device's files when it is set: gives the result and the path.
extern std::function<int(std::string& path)> g_findPath;

#endif  // TESTS_UNIT_APP_DEVICEDOUBLE_H_
