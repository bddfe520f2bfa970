// SPDX-License-Identifier: Apache-2.0
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "DaemonOfOneAnswer.h"
#include "ctl/DeviceSocket.h"
#include "host/util/Paths.h"
#include "platform/util/LocalPath.h"

using testing::StartsWith;

namespace {

constexpr double kSeconds = 60;

class DeviceSocketTest : public testing::Test {
 protected:
  // Asks a daemon that answers so; `reads` says whether it takes the request first.
  host::Problem Ask(const std::string& answer, bool reads) {
    host::Problem problem;
    m_daemon.Answers(answer, reads, [&] {
      const host::JsonRef request(json_pack("{s:s}", "op", "list"));
      problem = ctl::RequestFromDaemon(request.get(), kSeconds, m_answer);
    });
    return problem;
  }

  static std::string Path() { return LocalPath(host::kControlSocket); }

  host::JsonRef m_answer;

 private:
  test::DaemonOfOneAnswer m_daemon;
};

TEST_F(DeviceSocketTest, A_line_is_the_answer) {
  EXPECT_FALSE(Ask("{\"points\": []}\nmore", true));
  EXPECT_TRUE(json_is_array(json_object_get(m_answer.get(), "points")));
}

TEST_F(DeviceSocketTest, A_daemon_that_ends_before_it_answers_is_missing) {
  for (const bool reads : {true, false}) {
    const host::Problem problem = Ask("", reads);
    EXPECT_THAT(problem.Text(),
                StartsWith("the daemon ended before it answered at " + Path() + ": "));
    EXPECT_TRUE(ctl::IsDaemonMissing(problem));
  }
  EXPECT_TRUE(ctl::IsDaemonMissing(Ask("{\"points\":", true)));
}

TEST_F(DeviceSocketTest, An_answer_that_cannot_be_read_is_no_missing_daemon) {
  const host::Problem problem = Ask("[]\n", true);
  EXPECT_EQ(problem.Text(), "the answer from " + Path() + " is not a JSON object");
  EXPECT_FALSE(ctl::IsDaemonMissing(problem));
}

}  // namespace
