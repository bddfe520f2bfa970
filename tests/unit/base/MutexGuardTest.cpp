// SPDX-License-Identifier: Apache-2.0
#include <stdexcept>

#include <gtest/gtest.h>

#include "base/MutexGuard.h"
#include "fakes/PlatformTest.h"

namespace unit {
namespace {

using cloudclient::MutexGuard;
using fakes::platform;

class MutexGuardTest : public fakes::PlatformTest {
 protected:
  LxLinuxMutex mutex;
};

TEST_F(MutexGuardTest, Holds_the_mutex_for_its_scope) {
  {
    const MutexGuard guard(mutex);
    EXPECT_EQ(guard.Status(), 0u);
    EXPECT_EQ(platform().mutexes.Held(), 1);
  }
  EXPECT_EQ(platform().mutexes.Held(), 0);
}

TEST_F(MutexGuardTest, Releases_it_when_the_scope_is_left_by_an_exception) {
  const auto leave = [this] {
    const MutexGuard guard(mutex);
    throw std::runtime_error("raised");
  };
  EXPECT_THROW(leave(), std::runtime_error);
  EXPECT_EQ(platform().mutexes.Held(), 0);
}

TEST_F(MutexGuardTest, Does_not_release_what_it_could_not_lock) {
  platform().mutexes.lockStatus = 35;
  {
    const MutexGuard guard(mutex);
    EXPECT_EQ(guard.Status(), 35u);
  }
  EXPECT_EQ(platform().mutexes.unlocks, 0);
}

}  // namespace
}  // namespace unit
