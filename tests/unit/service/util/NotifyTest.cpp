// SPDX-License-Identifier: Apache-2.0
#include <unistd.h>

#include <chrono>
#include <cstdint>
#include <ctime>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "NotifyManager.h"
#include "TempFolder.h"
#include "service/util/Notify.h"

namespace cloudservice {
namespace {

using namespace std::chrono_literals;
using testing::HasSubstr;
using testing::StartsWith;

class NotifyTest : public testing::Test {
 protected:
  TempFolder folder;
  std::string lines;
  Log log{[this](const std::string& line) { lines += line + "\n"; }, [] { return time_t{0}; }};
};

TEST_F(NotifyTest, Each_message_is_a_datagram) {
  const NotifyManager manager(folder.File("notify"));
  const Notify notify(folder.File("notify").c_str(), log);
  notify.Send("READY=1\nSTATUS=x");
  notify.Send("STOPPING=1");
  EXPECT_EQ(manager.ReadNow(), "READY=1\nSTATUS=x");
  EXPECT_EQ(manager.ReadNow(), "STOPPING=1");
  EXPECT_EQ(manager.ReadNow(), "");
  EXPECT_EQ(lines, "");
}

TEST_F(NotifyTest, Address_may_be_an_abstract_name) {
  const std::string name = "@cloudservice-test-" + std::to_string(getpid());
  const NotifyManager manager(name);
  Notify(name.c_str(), log).Send("READY=1");
  EXPECT_EQ(manager.ReadNow(), "READY=1");
}

TEST_F(NotifyTest, Without_an_address_nothing_is_sent_and_nothing_said) {
  Notify(nullptr, log).Send("READY=1");
  Notify("", log).Send("READY=1");
  EXPECT_EQ(lines, "");
}

TEST_F(NotifyTest, Address_that_is_none_is_said_once) {
  const std::string endless = "/" + std::string(200, 'x');
  for (const std::string& address : {std::string("vsock:2:1"), endless}) {
    lines.clear();
    const Notify notify(address.c_str(), log);
    notify.Send("READY=1");
    EXPECT_THAT(lines, testing::EndsWith(" NOTIFY_SOCKET is neither a path nor an abstract name: " +
                                         address + "\n"));
    EXPECT_EQ(lines.find('\n'), lines.size() - 1);
  }
}

TEST_F(NotifyTest, Message_that_cannot_be_sent_is_said) {
  Notify(folder.File("none").c_str(), log).Send("READY=1");
  EXPECT_THAT(lines, HasSubstr(" not sent to NOTIFY_SOCKET " + folder.File("none") +
                               ": READY=1: No such file or directory\n"));
}

TEST(WatchdogIntervalTest, Is_half_of_its_time) {
  EXPECT_EQ(WatchdogInterval("30000000", nullptr), 15s);
  EXPECT_EQ(WatchdogInterval("30000001", nullptr), 15s);
  EXPECT_EQ(WatchdogInterval("2", std::to_string(getpid()).c_str()), 1us);
}

TEST(WatchdogIntervalTest, Is_none_without_a_watchdog_or_for_another_process) {
  EXPECT_EQ(WatchdogInterval(nullptr, nullptr), 0s);
  for (const char* usec : {"", "0", "1", "many", "-5", "1e6", "9999999999999999999"}) {
    EXPECT_EQ(WatchdogInterval(usec, nullptr), 0s) << usec;
  }
  EXPECT_EQ(WatchdogInterval("30000000", std::to_string(getpid() + 1).c_str()), 0s);
  EXPECT_EQ(WatchdogInterval("30000000", "x"), 0s);
}

TEST(ReloadingTest, Carries_the_time_since_the_machine_started) {
  const auto usec = [] {
    struct timespec now = {};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return std::int64_t{now.tv_sec} * 1000000 + now.tv_nsec / 1000;
  };
  const std::int64_t before = usec();
  const std::string text = Reloading();
  const std::string begin = "RELOADING=1\nMONOTONIC_USEC=";
  ASSERT_THAT(text, StartsWith(begin));
  EXPECT_GE(std::stoll(text.substr(begin.size())), before);
  EXPECT_LE(std::stoll(text.substr(begin.size())), usec());
}

}  // namespace
}  // namespace cloudservice
