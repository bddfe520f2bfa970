// SPDX-License-Identifier: Apache-2.0
#include <sys/stat.h>

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <thread>
#include <vector>

#include "HostTest.h"
#include "Scarcity.h"
#include "host/util/Log.h"
#include "host/util/Secrets.h"

using LogTest = HostTest;

namespace {

// 2026-03-05T13:07:09.123Z
constexpr struct timespec kMoment = {1772716029, 123999999};

std::string Line(const std::string& text, bool journal = false) {
  setenv("TZ", "CET-1", 1);
  tzset();
  return host::LogLine(kMoment, 5, "DeviceMgr", text, journal);
}

}  // namespace

TEST_F(LogTest, Line_holds_time_level_unit_and_text) {
  EXPECT_EQ(Line("Start: Started"), "2026-03-05T14:07:09.123+0100 5 DeviceMgr Start: Started\n");
}

TEST_F(LogTest, Line_for_the_journal_begins_with_the_level) {
  EXPECT_EQ(Line("Start: Started", true), "<5>DeviceMgr Start: Started\n");
}

TEST_F(LogTest, Line_ends_and_control_bytes_are_escaped_and_backslashes_stay) {
  EXPECT_EQ(host::EscapeControls("a\nb\rc\td\x1b\x7f\\n\xc3\xa4"),
            "a\\nb\\rc\\x09d\\x1B\\x7F\\n\xc3\xa4");
  EXPECT_EQ(host::EscapeControls(std::string("a\0b", 3)), "a\\x00b");
}

TEST_F(LogTest, Level_is_a_digit_from_3_to_7) {
  bool valid = false;
  EXPECT_EQ(host::LogLevel(nullptr, valid), 5);
  EXPECT_TRUE(valid);
  EXPECT_EQ(host::LogLevel("3", valid), 3);
  EXPECT_TRUE(valid);
  EXPECT_EQ(host::LogLevel("7", valid), 7);
  for (const char* text : {"", "2", "8", "55", "x", " 5", "-3"}) {
    EXPECT_EQ(host::LogLevel(text, valid), 5) << text;
    EXPECT_FALSE(valid) << text;
  }
}

TEST_F(LogTest, Wrong_level_costs_one_message_and_5_is_used) {
  setenv("CLOUDCLIENT_LOG_LEVEL", "loud", 1);
  HOST_LOG(6, "a trace");
  HOST_LOG(5, "a notice");
  HOST_LOG(5, "another notice");
  EXPECT_EQ(LogCount("CLOUDCLIENT_LOG_LEVEL is \"loud\", not a level from 3 to 7; 5 is used"), 1);
  EXPECT_EQ(LogCount(" 5 Host a notice"), 1);
  EXPECT_EQ(LogCount("a trace"), 0);
}

TEST_F(LogTest, Levels_above_the_variable_are_not_printed) {
  setenv("CLOUDCLIENT_LOG_LEVEL", "3", 1);
  HOST_LOG(3, "an error");
  HOST_LOG(4, "a warning");
  EXPECT_EQ(LogCount("an error"), 1);
  EXPECT_EQ(LogCount("a warning"), 0);
}

TEST_F(LogTest, Errno_stays) {
  errno = ENOTTY;
  HOST_LOG(3, "%s", "x");
  EXPECT_EQ(errno, ENOTTY);
}

TEST_F(LogTest, Memory_that_fails_costs_a_line_and_the_first_one_no_more) {
  // The first line reads the settings as well, and tells of a wrong one.
  setenv("CLOUDCLIENT_LOG_LEVEL", "loud", 1);
  int failures = 0;
  for (bool failed = true; failed; failures += failed ? 1 : 0) {
    const FailingMemory memory(failures);
    EXPECT_NO_THROW(HOST_LOG(3, "an error"));
    failed = memory.Failed();
  }
  EXPECT_GT(failures, 1);
  HOST_LOG(5, "a notice");
  EXPECT_EQ(LogCount("not a level from 3 to 7; 5 is used"), 1);
  EXPECT_EQ(LogCount(" 5 Host a notice"), 1);
}

TEST_F(LogTest, Lines_for_which_there_was_no_memory_are_counted_before_the_next) {
  HOST_LOG(3, "the first");
  for (int i = 0; i < 2; ++i) {
    const FailingMemory memory(0);
    HOST_LOG(3, "a line that is longer than what a text holds without memory: %d", i);
    EXPECT_TRUE(memory.Failed());
  }
  HOST_LOG(3, "there");
  HOST_LOG(3, "there, too");
  const std::string log = Log();
  EXPECT_EQ(LogCount("a line that is longer"), 0);
  EXPECT_EQ(LogCount(" 4 Host no memory for lines; missing here: "), 1);
  EXPECT_LT(log.find("missing here: 2\n"), log.find(" 3 Host there\n"));
}

TEST_F(LogTest, Message_of_any_length_is_one_line) {
  const std::string text(3000000, 'y');
  HOST_LOG(3, "begin %s end", text.c_str());
  EXPECT_EQ(LogCount(" 3 Host begin " + text + " end"), 1);
}

TEST_F(LogTest, Lines_of_several_threads_stay_whole) {
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([i] {
      const std::string text(PIPE_BUF * 3, static_cast<char>('a' + i));
      for (int turn = 0; turn < 50; ++turn) HOST_LOG(3, "%s.", text.c_str());
    });
  }
  for (std::thread& thread : threads) thread.join();
  for (int i = 0; i < 4; ++i) {
    const std::string text(PIPE_BUF * 3, static_cast<char>('a' + i));
    EXPECT_EQ(LogCount(" 3 Host " + text + "."), 50);
  }
}

TEST_F(LogTest, Nothing_goes_to_standard_output) {
  testing::internal::CaptureStdout();
  HOST_LOG(3, "an error");
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
}

TEST_F(LogTest, Journal_is_known_by_device_and_inode_of_the_stream) {
  struct stat status = {};
  ASSERT_EQ(fstat(STDERR_FILENO, &status), 0);
  const std::string stream = std::to_string(status.st_dev) + ":" + std::to_string(status.st_ino);
  EXPECT_TRUE(host::IsJournal(stream.c_str(), STDERR_FILENO));
  EXPECT_FALSE(host::IsJournal((stream + "1").c_str(), STDERR_FILENO));
  EXPECT_FALSE(host::IsJournal("", STDERR_FILENO));
  EXPECT_FALSE(host::IsJournal(nullptr, STDERR_FILENO));
  EXPECT_FALSE(host::IsJournal(stream.c_str(), -1));
}

TEST_F(LogTest, Log_on_the_journals_stream_has_its_prefix) {
  struct stat status = {};
  ASSERT_EQ(fstat(STDERR_FILENO, &status), 0);
  setenv("JOURNAL_STREAM",
         (std::to_string(status.st_dev) + ":" + std::to_string(status.st_ino)).c_str(), 1);
  __dlog_printf(4, "PatchMgr", "%s: text", "Send");
  EXPECT_EQ(Log(), "<4>PatchMgr Send: text\n");
}

namespace {

std::vector<std::string> KeptTexts() {
  std::vector<std::string> texts;
  for (const host::LogMessage& message : host::RecentMessages()) texts.push_back(message.text);
  return texts;
}

}  // namespace

TEST_F(LogTest, Newest_20_messages_of_levels_3_and_4_are_kept) {
  setenv("CLOUDCLIENT_LOG_LEVEL", "3", 1);
  __dlog_printf(2, "Unit", "too low");
  HOST_LOG(5, "too high");
  for (int i = 0; i < 21; ++i) __dlog_printf(3 + i % 2, "Unit", "message %d", i);
  const std::vector<host::LogMessage> kept = host::RecentMessages();
  ASSERT_EQ(kept.size(), 20u);
  EXPECT_EQ(kept.front().text, "message 1");
  EXPECT_EQ(kept.front().level, 4);
  EXPECT_EQ(kept.front().unit, "Unit");
  EXPECT_EQ(kept.back().text, "message 20");
  EXPECT_EQ(kept.back().level, 3);
  EXPECT_EQ(LogCount(kept.back().time + " 3 Unit message 20"), 1);
  EXPECT_EQ(LogCount("message 1 "), 0);
}

TEST_F(LogTest, Kept_messages_are_short_escaped_and_hold_no_secret) {
  host::KeepSecret("s3cret");
  HOST_LOG(3, "the\nkey is s3cret, s3cret");
  HOST_LOG(3, "%s", (std::string(999, 'x') + "\xc3\xa4 and more").c_str());
  HOST_LOG(3, "%s", (std::string(998, 's') + "s3cret").c_str());
  EXPECT_THAT(KeptTexts(),
              testing::ElementsAre("the\\nkey is ********, ********", std::string(999, 'x'),
                                   std::string(998, 's') + "**"));
  EXPECT_EQ(LogCount("s3cret"), 2);  // the log itself is as it was
}

TEST_F(LogTest, Longer_secret_is_masked_before_one_that_it_holds) {
  host::KeepSecret("key1");
  host::KeepSecret("key1-more");
  EXPECT_EQ(host::WithoutSecrets("key1-more key1"), "******** ********");
}

TEST_F(LogTest, Former_secrets_stay_secret_and_short_texts_are_none) {
  host::KeepSecret("");
  host::KeepSecret("abc");
  for (int i = 0; i < 17; ++i) host::KeepSecret("secret" + std::to_string(10 + i));
  EXPECT_EQ(host::WithoutSecrets("abc secret10 secret11 secret26"),
            "abc secret10 ******** ********");
}
