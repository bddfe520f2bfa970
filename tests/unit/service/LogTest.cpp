#include <cstdlib>
#include <vector>

#include <gtest/gtest.h>

#include "service/Log.h"

namespace cloudservice {
namespace {

class LogLines : public testing::Test {
 protected:
  LogLines() {
    setenv("TZ", "CET-1", 1);
    tzset();
  }
  std::vector<std::string> lines;
  Log log{[this](const std::string& line) { lines.push_back(line); },
          [] { return time_t{1772716029}; }};
};

TEST_F(LogLines, Line_begins_with_the_local_time) {
  log.Line("started");
  EXPECT_EQ(lines.at(0), "2026-03-05T14:07:09+0100 started");
}

TEST_F(LogLines, Control_bytes_are_written_out) {
  log.Line("a\nb\rc\td\x7f\\\xc3\xbc");
  EXPECT_EQ(lines.at(0), "2026-03-05T14:07:09+0100 a\\nb\\rc\\x09d\\x7f\\\xc3\xbc");
}

TEST_F(LogLines, Long_line_ends_between_two_characters) {
  std::string text;
  for (int i = 0; i < 1000; ++i) text += "\xc3\xbc";
  log.Line(text);
  const std::string& line = lines.at(0);
  EXPECT_LE(line.size(), 1003u);
  EXPECT_EQ(line.substr(line.size() - 5), "\xc3\xbc...");
}

TEST_F(LogLines, Times_for_redfish_and_http) {
  EXPECT_EQ(RedfishTime(1772716029), "2026-03-05T14:07:09+01:00");
  EXPECT_EQ(HttpDate(1772716029), "Thu, 05 Mar 2026 13:07:09 GMT");
}

}  // namespace
}  // namespace cloudservice
