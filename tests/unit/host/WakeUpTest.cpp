// SPDX-License-Identifier: Apache-2.0
#include <cerrno>

#include "HostTest.h"
#include "SystemCalls.h"
#include "host/util/Wait.h"
#include "host/util/WakeUp.h"

namespace {

class WakeUpTest : public HostTest {
 protected:
  bool IsGiven() const {
    host::Wait wait;
    wait.ForRead(m_wake.Get());
    return wait.Poll(0) && wait.Ready(m_wake.Get());
  }

  const host::WakeUp m_wake;
};

}  // namespace

TEST_F(WakeUpTest, Is_given_until_it_is_taken) {
  EXPECT_FALSE(IsGiven());
  m_wake.Give();
  m_wake.Give();
  EXPECT_TRUE(IsGiven());
  m_wake.Take();
  EXPECT_FALSE(IsGiven());
  m_wake.Take();
}

TEST_F(WakeUpTest, System_that_refuses_is_asked_again) {
  for (const int error : {EINTR, EIO, EMFILE}) {
    int left = 3;
    g_write = [&](int fd) { return fd == m_wake.Get() && left-- > 0 ? error : 0; };
    m_wake.Give();
    EmptyHooks();
    EXPECT_TRUE(IsGiven());
    m_wake.Take();
  }
  EXPECT_EQ(Log(), "");
}

TEST_F(WakeUpTest, System_that_goes_on_to_refuse_is_told_of) {
  g_write = [&](int fd) { return fd == m_wake.Get() ? EIO : 0; };
  m_wake.Give();
  EmptyHooks();
  EXPECT_FALSE(IsGiven());
  EXPECT_EQ(LogCount("3 Host a thread is not woken: Input/output error"), 1);
}
