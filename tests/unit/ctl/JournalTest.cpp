// SPDX-License-Identifier: Apache-2.0
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "ctl/Journal.h"
#include "ctl/Spawn.h"

namespace fs = std::filesystem;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

// A journalctl of the test's own.
class JournalTest : public testing::Test {
 protected:
  JournalTest() : m_path(std::getenv("PATH")) {
    std::string name = fs::temp_directory_path() / "journal.XXXXXX";
    EXPECT_NE(mkdtemp(&name[0]), nullptr);
    m_folder = name;
    setenv("PATH", (name + ":" + m_path).c_str(), 1);
  }
  ~JournalTest() override {
    setenv("PATH", m_path.c_str(), 1);
    fs::remove_all(m_folder);
  }

  void Does(const std::string& script) const {
    const fs::path program = m_folder / "journalctl";
    std::ofstream(program) << "#!/bin/sh\n" << script << "\n";
    fs::permissions(program, fs::perms(0755));
  }

  // Its lines, and what its end came to.
  std::vector<std::string> Read(ctl::Journal journal) {
    std::vector<std::string> lines;
    EXPECT_FALSE(journal.Open("unit", "--boot"));
    for (std::string line; ctl::ReadLine(journal.Lines(), line);) lines.push_back(line);
    m_failed = std::ferror(journal.Lines()) != 0;
    m_end = journal.End().Text();
    return lines;
  }

  std::string m_end;
  bool m_failed = false;

 private:
  fs::path m_folder;
  const std::string m_path;
};

TEST_F(JournalTest, Is_read_line_by_line) {
  Does(R"(printf '%s\n' "$@")");
  EXPECT_THAT(Read(ctl::Journal(60)),
              ElementsAre("--no-pager", "--quiet", "--output=short-iso", "--unit=unit", "--boot"));
  EXPECT_FALSE(m_failed);
  EXPECT_EQ(m_end, "");
}

TEST_F(JournalTest, That_fails_says_so) {
  Does("echo one; exit 3");
  EXPECT_THAT(Read(ctl::Journal(60)), ElementsAre("one"));
  EXPECT_EQ(m_end, "journalctl has failed");
}

TEST_F(JournalTest, That_is_silent_for_too_long_is_ended) {
  Does("exec sleep 1000");
  EXPECT_THAT(Read(ctl::Journal(0.05)), IsEmpty());
  EXPECT_TRUE(m_failed);
  EXPECT_EQ(m_end, "journalctl has written nothing for 0.05 s");
}

TEST_F(JournalTest, That_has_more_to_write_ends_when_nobody_reads) {
  Does("exec yes");
  ctl::Journal journal(60);
  ASSERT_FALSE(journal.Open("unit", "--boot"));
  std::string line;
  EXPECT_TRUE(ctl::ReadLine(journal.Lines(), line));
  EXPECT_EQ(line, "y");
  EXPECT_EQ(journal.End().Text(), "journalctl has failed");
}

TEST_F(JournalTest, Program_that_does_not_end_is_killed) {
  Does("exec sleep 1000");
  pid_t process = 0;
  ASSERT_FALSE(ctl::Spawn({"journalctl"}, STDERR_FILENO, process));
  EXPECT_EQ(ctl::AwaitEnd("journalctl", process, 0.05).Text(),
            "journalctl has not ended within 0.05 s");
  EXPECT_EQ(kill(process, 0), -1);
}

}  // namespace
