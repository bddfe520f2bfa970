// SPDX-License-Identifier: Apache-2.0
// The policy in force.
#include "base/Policy.h"

namespace cloudclient {
namespace {

Policy& InForce() {
  static Policy policy;
  return policy;
}

}  // namespace

const Policy& ThePolicy() { return InForce(); }

void UsePolicy(const Policy& policy) { InForce() = policy; }

}  // namespace cloudclient
