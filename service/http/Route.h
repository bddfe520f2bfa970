// SPDX-License-Identifier: Apache-2.0
#ifndef SERVICE_HTTP_ROUTE_H_
#define SERVICE_HTTP_ROUTE_H_

#include <string>
#include <utility>

#include "service/util/Histogram.h"

namespace cloudservice {

// The requests of one kind: those whose paths fit a pattern, and how long their answers took.
struct Route {
  explicit Route(std::string name) : path(std::move(name)) {}

  const std::string path;  // the pattern, "/redfish/v1/Chassis/*", or a word for several
  Histogram looks;         // GET and HEAD
  Histogram changes;       // all others
};

}  // namespace cloudservice

#endif  // SERVICE_HTTP_ROUTE_H_
