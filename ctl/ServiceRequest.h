// SPDX-License-Identifier: Apache-2.0
#ifndef CTL_SERVICEREQUEST_H_
#define CTL_SERVICEREQUEST_H_

#include <ctime>
#include <optional>
#include <string>

#include "host/util/Problem.h"

namespace ctl {

// What a service answered.
struct ServiceAnswer {
  long status = 0;
  std::string body;                // up to a limit of 1 MiB
  std::optional<time_t> date;      // of its "Date" line
  std::optional<std::string> url;  // where it refers to, as a whole URL
};

// GETs a URL as the policy in force has the daemon do it (proxy, verification, versions), with this
// token unless it is empty, and follows no redirection. Within so many seconds. A problem, which
// does not name the URL, when there was no answer.
host::Problem AskService(const std::string& url, const std::string& token, double seconds,
                         ServiceAnswer& answer);

}  // namespace ctl

#endif  // CTL_SERVICEREQUEST_H_
