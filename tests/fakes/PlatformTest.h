// SPDX-License-Identifier: Apache-2.0
#ifndef FAKES_PLATFORMTEST_H_
#define FAKES_PLATFORMTEST_H_

#include <gtest/gtest.h>

#include "fakes/Platform.h"

namespace fakes {

// A case that starts from the platform's defaults.
class PlatformTest : public testing::Test {
 protected:
  void SetUp() override { Reset(); }
};

}  // namespace fakes

#endif  // FAKES_PLATFORMTEST_H_
