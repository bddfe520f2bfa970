// SPDX-License-Identifier: Apache-2.0
#ifndef CTL_CHECKSERVICE_H_
#define CTL_CHECKSERVICE_H_

#include <string>

#include "base/Policy.h"
#include "ctl/Certificate.h"
#include "ctl/Checkup.h"

namespace ctl {

// Looks at the way to a service and at what it says, as the policy in force (UsePolicy) has it
// done; each request within `seconds`.

// The proxy that stands between this machine and a URL, by a policy or else the environment; empty
// for none.
std::string ProxyTo(const std::string& url, const cloudclient::Policy& policy);

// "connection", "certificate", or "proxy" where one stands between. `shown` becomes the
// certificate, where the service has shown one.
void CheckWay(const std::string& url, double seconds, Checkup& checkup, Certificate& shown);

// "service": its root document. "clock": how far apart its clock and this machine's are.
void CheckRoot(const std::string& url, double seconds, Checkup& checkup);

// How a service knows an appliance.
struct Appliance {
  std::string url;
  std::string uuid;
  std::string token;  // empty when it is not registered
};

// Whether the service knows the token as that of the manager.
bool IsKnown(const Appliance& appliance, double seconds);

// "registration": the same. "heartbeat": when the last one came, as far
// as the service says. False when it is not registered.
bool CheckRegistration(const Appliance& appliance, double seconds, Checkup& checkup);

// "chassis": whether the service has each of those that are configured.
void CheckChassis(const Appliance& appliance, double seconds, Checkup& checkup);

}  // namespace ctl

#endif  // CTL_CHECKSERVICE_H_
