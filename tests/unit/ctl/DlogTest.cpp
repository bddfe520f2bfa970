// SPDX-License-Identifier: Apache-2.0
#include <cerrno>

#include <gtest/gtest.h>

#include "ctl/Output.h"
#include "platform/util/dlog.h"

namespace {

TEST(DlogTest, Failures_and_warnings_are_errors_of_the_program) {
  const int before = ctl::ErrorCount();
  testing::internal::CaptureStderr();
  __dlog_printf(3, "Host", "%s: %d", "a failure", 7);
  __dlog_printf(4, "PatchMgr", "a warning");
  EXPECT_EQ(testing::internal::GetCapturedStderr(),
            "cloudclientctl: a failure: 7\ncloudclientctl: a warning\n");
  EXPECT_EQ(ctl::ErrorCount(), before + 2);
}

TEST(DlogTest, Notices_are_not_shown) {
  const int before = ctl::ErrorCount();
  testing::internal::CaptureStderr();
  __dlog_printf(5, "Host", "a notice");
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
  EXPECT_EQ(ctl::ErrorCount(), before);
}

TEST(DlogTest, Errno_stays) {
  errno = ENOTTY;
  __dlog_printf(3, "Host", "a failure");
  EXPECT_EQ(errno, ENOTTY);
}

}  // namespace
