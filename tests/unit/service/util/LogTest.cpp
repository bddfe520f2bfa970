// SPDX-License-Identifier: Apache-2.0
#include <fcntl.h>
#include <unistd.h>

#include <cstdlib>
#include <vector>

#include <gtest/gtest.h>

#include "service/util/Log.h"

namespace cloudservice {
namespace {

class LogTest : public testing::Test {
 protected:
  LogTest() {
    setenv("TZ", "CET-1", 1);
    tzset();
  }
  std::vector<std::string> lines;
  Log log{[this](const std::string& line) { lines.push_back(line); },
          [] { return time_t{1772716029}; }};
};

TEST_F(LogTest, Line_begins_with_the_local_time) {
  log.Line("started");
  EXPECT_EQ(lines.at(0), "2026-03-05T14:07:09+0100 started");
}

TEST_F(LogTest, Routine_is_left_out_where_only_what_is_notable_is_kept) {
  log.Routine("heartbeat");
  EXPECT_EQ(lines.at(0), "2026-03-05T14:07:09+0100 heartbeat");
  const Log notable([this](const std::string& line) { lines.push_back(line); },
                    [] { return time_t{1772716029}; }, LogLevel::kNotice);
  notable.Routine("heartbeat");
  notable.Line("started");
  ASSERT_EQ(lines.size(), 2U);
  EXPECT_EQ(lines.at(1), "2026-03-05T14:07:09+0100 started");
}

TEST_F(LogTest, Control_bytes_are_written_out) {
  log.Line("a\nb\rc\td\x7f\\\xc3\xbc");
  EXPECT_EQ(lines.at(0), "2026-03-05T14:07:09+0100 a\\nb\\rc\\x09d\\x7f\\\xc3\xbc");
}

TEST_F(LogTest, Bytes_that_are_no_utf8_are_written_out) {
  const std::string kept =
      "\xc2\xa0 \xe0\xa0\x80 \xed\x9f\xbf \xef\xbf\xbf \xf0\x90\x80\x80 \xf4\x8f\xbf\xbf";
  EXPECT_EQ(Printable(kept), kept);
  const std::pair<std::string, std::string> cases[] = {
      {"\xff", "\\xff"},
      {"a\x80"
       "b",
       "a\\x80"
       "b"},
      {"\xc3", "\\xc3"},
      {"\xe2\x82", "\\xe2\\x82"},
      {"\xc3\n", "\\xc3\\n"},
      {"\xc0\xaf", "\\xc0\\xaf"},
      {"\xc1\xbf", "\\xc1\\xbf"},
      {"\xe0\x9f\xbf", "\\xe0\\x9f\\xbf"},
      {"\xed\xa0\x80", "\\xed\\xa0\\x80"},
      {"\xf0\x8f\xbf\xbf", "\\xf0\\x8f\\xbf\\xbf"},
      {"\xf4\x90\x80\x80", "\\xf4\\x90\\x80\\x80"},
      {"\xf5\x80\x80\x80", "\\xf5\\x80\\x80\\x80"},
  };
  for (const auto& [bytes, shown] : cases) EXPECT_EQ(Printable(bytes), shown);
}

// Standard error is a pipe of which this is the reading end; nothing blocks there.
class Reader {
 public:
  Reader() {
    int ends[2] = {};
    EXPECT_EQ(pipe2(ends, O_CLOEXEC), 0);
    m_saved = dup(STDERR_FILENO);
    dup2(ends[1], STDERR_FILENO);
    close(ends[1]);
    m_end = ends[0];
    fcntl(m_end, F_SETFL, O_NONBLOCK);
  }
  ~Reader() {
    dup2(m_saved, STDERR_FILENO);
    close(m_saved);
    close(m_end);
  }
  Reader(const Reader&) = delete;
  Reader& operator=(const Reader&) = delete;

  std::string Take() const {
    std::string all;
    char bytes[4096];
    ssize_t n = 0;
    while ((n = read(m_end, bytes, sizeof bytes)) > 0)
      all.append(bytes, static_cast<std::size_t>(n));
    return all;
  }

 private:
  int m_saved = -1;
  int m_end = -1;
};

TEST_F(LogTest, Lines_that_nobody_reads_stop_nothing) {
  StandardError out([] { return time_t{1772716029}; });
  const Reader reader;
  out.Write("first");
  EXPECT_EQ(reader.Take(), "first\n");
  const std::string line(1000, 'x');
  for (int i = 0; i < 1000; ++i) out.Write(line);
  const std::string taken = reader.Take();
  const std::size_t kept = taken.size() / (line.size() + 1);
  EXPECT_EQ(taken.size() % (line.size() + 1), 0u);
  EXPECT_LT(kept, 1000u);
  out.Write("next");
  EXPECT_EQ(reader.Take(),
            "2026-03-05T14:07:09+0100 lines dropped: " + std::to_string(1000 - kept) + "\nnext\n");
  out.Write("last");
  EXPECT_EQ(reader.Take(), "last\n");
}

TEST_F(LogTest, Dropped_lines_are_counted_one_by_one_also_when_they_come_together) {
  StandardError out([] { return time_t{1772716029}; });
  const Reader reader;
  const std::string line(1000, 'x');
  std::size_t sent = 0;
  for (; sent < 1000; sent += 2) out.Write(line + "\n" + line);
  const std::size_t kept = reader.Take().size() / (line.size() + 1);
  EXPECT_LT(kept, sent);
  out.Write("next");
  EXPECT_EQ(reader.Take(),
            "2026-03-05T14:07:09+0100 lines dropped: " + std::to_string(sent - kept) + "\nnext\n");
}

TEST_F(LogTest, Lines_together_go_out_at_once_in_pieces_that_a_pipe_takes) {
  constexpr std::size_t kPipeTakes = 4096;
  const std::string text(500, 'x');
  {
    const Log::Together together(log);
    for (int i = 0; i < 20; ++i) log.Line(text);
    const Log other([this](const std::string& line) { lines.push_back(line); },
                    [] { return time_t{1772716029}; });
    lines.clear();
    other.Line("of another log");
    EXPECT_EQ(lines.size(), 1u);
    lines.clear();
  }
  ASSERT_EQ(lines.size(), 1u);
  lines.clear();
  {
    const Log::Together together(log);
    for (int i = 0; i < 20; ++i) log.Line(text);
  }
  std::string all;
  for (const std::string& piece : lines) {
    EXPECT_LT(piece.size(), kPipeTakes);
    all += piece + "\n";
  }
  const std::string line = "2026-03-05T14:07:09+0100 " + text + "\n";
  std::string expected;
  for (int i = 0; i < 20; ++i) expected += line;
  EXPECT_EQ(all, expected);
  EXPECT_LT(lines.size(), 10u);
  lines.clear();
  log.Line("alone");
  EXPECT_EQ(lines.size(), 1u);
}

TEST_F(LogTest, Long_line_ends_between_two_characters) {
  std::string text;
  for (int i = 0; i < 1000; ++i) text += "\xc3\xbc";
  log.Line(text);
  const std::string& line = lines.at(0);
  EXPECT_LE(line.size(), 1003u);
  EXPECT_EQ(line.substr(line.size() - 5), "\xc3\xbc...");
}

TEST_F(LogTest, Times_follow_the_second_and_the_zone) {
  EXPECT_EQ(LogTime(1772716029), "2026-03-05T14:07:09+0100");
  EXPECT_EQ(LogTime(1772716030), "2026-03-05T14:07:10+0100");
  EXPECT_EQ(HttpDate(1772716029), "Thu, 05 Mar 2026 13:07:09 GMT");
  EXPECT_EQ(HttpDate(1772716030), "Thu, 05 Mar 2026 13:07:10 GMT");
  setenv("TZ", "EET-2", 1);
  tzset();
  EXPECT_EQ(LogTime(1772716030), "2026-03-05T15:07:10+0200");
}

TEST_F(LogTest, Times_for_redfish_and_http) {
  EXPECT_EQ(RedfishTime(1772716029), "2026-03-05T14:07:09+01:00");
  EXPECT_EQ(HttpDate(1772716029), "Thu, 05 Mar 2026 13:07:09 GMT");
}

}  // namespace
}  // namespace cloudservice
