// SPDX-License-Identifier: Apache-2.0
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "DaemonOfOneAnswer.h"
#include "ctl/CheckDaemon.h"

using testing::ElementsAre;

namespace {

// What the checks of a daemon with these messages say, a text each.
std::vector<std::string> Seen(const std::string& messages) {
  test::DaemonOfOneAnswer daemon;
  ctl::Checkup checkup;
  daemon.Answers("{\"messages\": [" + messages + "]}\n", true,
                 [&] { ctl::CheckDaemon(60, checkup); });
  std::vector<std::string> texts;
  for (const ctl::Look& look : checkup.All()) {
    const bool isGood = look.verdict == ctl::Look::Verdict::kGood;
    texts.push_back((isGood ? "good " : "notice ") + look.subject + " " + look.text);
  }
  return texts;
}

std::string Message(int level, const std::string& time, const std::string& text) {
  return R"({"level": )" + std::to_string(level) + R"(, "time": ")" + time +
         R"(", "unit": "DeviceMgr", "text": ")" + text + "\"}";
}

TEST(CheckDaemonTest, Without_a_message_nothing_was_dropped_and_nothing_failed) {
  EXPECT_THAT(
      Seen(Message(4, "1", "TakeEvents: another one")),
      ElementsAre("good daemon runs", "good queues nothing was dropped, by the newest messages",
                  "good log no failure among the newest messages"));
}

TEST(CheckDaemonTest, Tells_of_a_queue_that_was_full_last) {
  const std::string dropped = ": queue full, the oldest 2 were dropped";
  const auto texts =
      Seen(Message(4, "1", "TakeEvents" + dropped) + "," + Message(4, "2", "TakeCovs" + dropped));
  ASSERT_EQ(texts.size(), 3u);
  EXPECT_THAT(texts[1],
              testing::StartsWith("notice queues at 2: more changes of value waited than"));
}

TEST(CheckDaemonTest, Tells_of_the_last_failure) {
  const auto texts = Seen(Message(3, "1", "one") + "," + Message(3, "2", "unheard") + "," +
                          Message(4, "3", "three"));
  ASSERT_EQ(texts.size(), 3u);
  EXPECT_EQ(texts[2], "notice log the last failure, at 2: DeviceMgr unheard");
}

}  // namespace
