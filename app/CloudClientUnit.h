// SPDX-License-Identifier: Apache-2.0
#ifndef APP_CLOUDCLIENTUNIT_H_
#define APP_CLOUDCLIENTUNIT_H_

namespace cloudclient {

// Log unit of all source files of CloudClient.
constexpr char kUnit[] = "CloudClient";

}  // namespace cloudclient

#endif  // APP_CLOUDCLIENTUNIT_H_
