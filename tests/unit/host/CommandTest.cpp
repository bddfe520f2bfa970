// SPDX-License-Identifier: Apache-2.0
#include <signal.h>
#include <sys/eventfd.h>

#include "HostTest.h"
#include "SourceDouble.h"
#include "host/device/sources/command/Command.h"

using testing::ElementsAre;
using testing::IsEmpty;
using testing::StartsWith;

namespace {

class CommandTest : public HostTest {
 protected:
  // A connection to a shell's script, with a point for its first line.
  OpenedSource Shell(const std::string& script, const host::SourceLimits& limits = {60000, 0, -1}) {
    Write("/script", script + "\n");
    OpenedSource source(m_module, R"({"Command": ["/bin/sh", ")" + In("/script") + "\"]}", limits);
    source.Point("{}");
    EXPECT_THAT(source.faults, IsEmpty());
    return source;
  }
  std::string FirstLine(const std::string& script) {
    OpenedSource source = Shell(script);
    const std::string problem = source.Read();
    return problem.empty() ? source.told.values[0] : problem;
  }

  const host::CommandModule m_module;
};

}  // namespace

TEST_F(CommandTest, First_line_is_a_number_or_a_text) {
  EXPECT_EQ(FirstLine("echo ' 23.5 '; echo 7"), "23.5");
  EXPECT_EQ(FirstLine("echo on line"), "'on line'");
  EXPECT_EQ(FirstLine("printf 12"), "12");
  EXPECT_EQ(FirstLine("echo; echo 7"), "none: its program writes no first line");
  EXPECT_EQ(FirstLine("true"), "none: its program writes no first line");
}

TEST_F(CommandTest, Pointers_take_their_places_from_one_run) {
  OpenedSource ups = Shell("echo x >> " + In("/runs") + R"(
echo '{"battery": {"charge": 87, "status": "ok"}}')");
  ups.Point(R"({"Pointer": "/battery/charge"})").Point(R"({"Pointer": "/battery/status"})");
  ups.Point(R"({"Pointer": "/battery/age"})");
  EXPECT_EQ(ups.Read(), "");
  EXPECT_EQ(ups.told.values[1], "87");
  EXPECT_EQ(ups.told.values[2], "'ok'");
  EXPECT_EQ(ups.told.values[3], "none: its pointer names nothing");
  EXPECT_EQ(Read("/runs"), "x\n");
  OpenedSource torn = Shell("echo '{\"battery\":'");
  EXPECT_EQ(torn.Point(R"({"Pointer": ""})").Read(), "does not write JSON");
}

TEST_F(CommandTest, Program_that_fails_is_a_problem) {
  EXPECT_EQ(FirstLine("echo 5; exit 3"), "ended with status 3");
  EXPECT_EQ(FirstLine("echo 5; kill -TERM $$"), "was ended by signal 15");
  OpenedSource none(m_module, R"({"Command": ["/nowhere/program"]})");
  EXPECT_EQ(none.Read(), "cannot be started: No such file or directory");
}

TEST_F(CommandTest, Words_are_not_read_by_a_shell) {
  OpenedSource source(m_module, R"({"Command": ["/bin/echo", "$HOME", "a  b", "*"]})");
  EXPECT_EQ(source.Point("{}").Read(), "");
  EXPECT_EQ(source.told.values[0], "'$HOME a  b *'");
}

TEST_F(CommandTest, Program_starts_in_plain_surroundings) {
  setenv("SECRET", "x", 1);
  EXPECT_EQ(FirstLine("env | grep -v -e '^_=' -e '^PWD=' | sort | tr '\\n' ' '"),
            "'LC_ALL=C.UTF-8 "
            "PATH=/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin'");
  EXPECT_EQ(FirstLine("pwd"), "'/'");
  EXPECT_EQ(FirstLine("ls /proc/self/fd | tr '\\n' ' '"), "'0 1 2 3'");  // 3 is the folder itself
  EXPECT_EQ(FirstLine("readlink /proc/self/fd/0 /proc/self/fd/2 | tr '\\n' ' '"),
            "'/dev/null /dev/null'");
  EXPECT_EQ(FirstLine("grep SigBlk /proc/self/status | tr -d 'a-zA-Z:\\t'"), "0");
  EXPECT_EQ(FirstLine("kill -PIPE $$; echo ignored"), "was ended by signal 13");
  EXPECT_EQ(FirstLine("[ $(ps -o pgid= -p $$) = $$ ] && echo own"), "'own'");
}

TEST_F(CommandTest, Program_that_does_not_end_is_killed_with_its_group) {
  // A second of the real clock is not waited for: the limit is a millisecond.
  OpenedSource source = Shell("echo 5; cat /dev/zero > /dev/null & echo $! > " + In("/pid") +
                                  "; mv " + In("/pid") + " " + In("/child") + "; wait",
                              {1, 0, -1});
  EXPECT_EQ(source.Read(), "does not end within 0 s");
  // However far it came by then, nothing of it is left.
  if (!Exists("/child")) return;
  const pid_t child = std::stoi(Read("/child"));
  EXPECT_TRUE(Await([child] {
    if (kill(child, 0) != 0) return true;
    std::string text = "/proc/" + std::to_string(child) + "/stat";
    FILE* const file = fopen(text.c_str(), "r");
    if (file == nullptr) return true;
    char line[256] = {};
    const bool got = fgets(line, sizeof(line), file) != nullptr;
    fclose(file);
    return !got || std::string(line).find(") Z ") != std::string::npos;
  }));
}

TEST_F(CommandTest, What_a_program_leaves_behind_holds_nobody_up) {
  EXPECT_EQ(FirstLine("cat /dev/zero > /dev/null & echo 7"), "7");
}

TEST_F(CommandTest, Program_that_floods_is_ended) {
  EXPECT_EQ(FirstLine("cat /dev/zero"), "writes more than 1048576 bytes");
}

TEST_F(CommandTest, Stop_ends_a_run) {
  const host::Fd stop(eventfd(1, EFD_CLOEXEC | EFD_NONBLOCK));
  OpenedSource source = Shell("cat /dev/zero > /dev/null", {60000, 0, stop.Get()});
  EXPECT_EQ(source.Read(), "is stopped");
}

TEST_F(CommandTest, Settings_without_a_program_are_faults) {
  EXPECT_THAT(OpenedSource(m_module, "{}").faults, ElementsAre("Command is missing"));
  EXPECT_THAT(OpenedSource(m_module, R"({"Command": ["sh", "-c", "echo"]})").faults,
              ElementsAre("Command does not begin with an absolute path"));
  OpenedSource source = Shell("true");
  EXPECT_THAT(source.Point(R"({"Pointer": "battery"})").faults,
              ElementsAre("Pointer is no JSON pointer"));
}
