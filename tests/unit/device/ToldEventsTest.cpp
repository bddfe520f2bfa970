// SPDX-License-Identifier: Apache-2.0
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "base/Policy.h"
#include "device/ToldEvents.h"
#include "fakes/PlatformTest.h"

namespace cloudclient {
namespace {

using fakes::platform;
using testing::ElementsAre;
using testing::IsEmpty;

// What the device told, on the disk, over several lives of the process.
class ToldEventsTest : public fakes::PlatformTest {
 protected:
  ToldEventsTest() {
    std::string name = std::filesystem::temp_directory_path() / "told.XXXXXX";
    EXPECT_NE(mkdtemp(name.data()), nullptr);
    m_root = name;
  }
  ~ToldEventsTest() override { std::filesystem::remove_all(m_root); }

  void SetUp() override {
    fakes::PlatformTest::SetUp();
    platform().root = m_root.string();
    Policy policy;
    policy.outbox.folder = "/var/outbox";
    UsePolicy(policy);
  }

  static DeviceEvent Event(uint32_t gddId, uint16_t module = 0, uint16_t state = 3) {
    DeviceEvent event = {};
    event.gddId = gddId;
    event.module = module;
    event.eventState = state;
    return event;
  }
  static DeviceEvent Put(ToldEvents& told, DeviceEvent event) {
    told.Put(event);
    return event;
  }
  // The numbers of what a new process finds.
  static std::vector<uint32_t> Found() {
    ToldEvents told;
    std::vector<DeviceEvent> queue;
    told.Open(queue);
    std::vector<uint32_t> numbers;
    numbers.reserve(queue.size());
    for (const DeviceEvent& event : queue) numbers.push_back(event.gddId);
    return numbers;
  }
  static std::vector<std::string> Log(int level) {
    std::vector<std::string> lines;
    for (const auto& record : platform().log.records) {
      if (record.level <= level && record.unit == "ToldEvents") lines.push_back(record.text);
    }
    return lines;
  }

  std::filesystem::path Folder() const { return m_root / "var" / "outbox" / "told"; }

  ToldEvents told;
  std::vector<DeviceEvent> queue;

 private:
  std::filesystem::path m_root;
};

TEST_F(ToldEventsTest, An_event_outlives_the_process_as_it_was_told) {
  ToldEvents::Telling telling;
  {
    ToldEvents earlier;
    earlier.Open(queue);
    EXPECT_THAT(queue, IsEmpty());
    const DeviceEvent event = Put(earlier, Event(4000000000U, 65535, 4));
    EXPECT_NE(event.told, 0u);
    telling = earlier.TellingOf(event);
    EXPECT_EQ(telling.key.size(), 32u);
    EXPECT_EQ(telling.time, platform().clock.now);
    EXPECT_THAT(Log(5), IsEmpty());
  }
  platform().clock.now += 3600;
  told.Open(queue);
  ASSERT_EQ(queue.size(), 1u);
  EXPECT_EQ(queue[0].velId, 0u);
  EXPECT_EQ(queue[0].gddId, 4000000000U);
  EXPECT_EQ(queue[0].module, 65535);
  EXPECT_EQ(queue[0].eventState, 4);
  EXPECT_EQ(told.TellingOf(queue[0]).key, telling.key);
  EXPECT_EQ(told.TellingOf(queue[0]).time, telling.time);
  EXPECT_THAT(Log(5), ElementsAre("Open: 1 events were told before the start"));
}

TEST_F(ToldEventsTest, What_an_earlier_process_was_told_comes_first_and_once) {
  {
    ToldEvents earlier;
    earlier.Open(queue);
    Put(earlier, Event(10));
    Put(earlier, Event(11));
  }
  queue = {Event(12)};
  EXPECT_TRUE(told.Open(queue));
  EXPECT_FALSE(told.Open(queue));
  ASSERT_EQ(queue.size(), 3u);
  EXPECT_LT(queue[1].told, queue[2].told);
  EXPECT_EQ(queue[0].gddId, 10u);
  EXPECT_EQ(queue[1].gddId, 11u);
  EXPECT_EQ(queue[2].gddId, 12u);
}

TEST_F(ToldEventsTest, What_is_done_is_gone_and_nothing_else) {
  {
    ToldEvents earlier;
    earlier.Open(queue);
    Put(earlier, Event(10));
    const DeviceEvent second = Put(earlier, Event(11));
    Put(earlier, Event(12));
    earlier.Done(second);
    EXPECT_EQ(earlier.TellingOf(second).key, "");
  }
  EXPECT_THAT(Found(), ElementsAre(10u, 12u));
}

TEST_F(ToldEventsTest, Each_event_has_a_key_of_its_own) {
  told.Open(queue);
  const DeviceEvent first = Put(told, Event(10));
  const DeviceEvent second = Put(told, Event(10));
  EXPECT_LT(first.told, second.told);
  EXPECT_NE(told.TellingOf(first).key, told.TellingOf(second).key);
}

TEST_F(ToldEventsTest, Before_the_folder_is_open_nothing_is_put) {
  const DeviceEvent event = Put(told, Event(10));
  EXPECT_EQ(event.told, 0u);
  EXPECT_EQ(told.TellingOf(event).key, "");
  told.Done(event);
  EXPECT_THAT(Found(), IsEmpty());
  EXPECT_THAT(Log(7), IsEmpty());
}

TEST_F(ToldEventsTest, A_folder_that_can_not_be_made_is_told_of_once_and_tried_again) {
  std::filesystem::create_directories(Folder().parent_path());
  std::ofstream(Folder()) << "in the way";
  told.Open(queue);
  told.Open(queue);
  EXPECT_THAT(Log(7),
              ElementsAre("Open: what the device tells is not on the disk until it is posted "
                          "(" +
                          Folder().string() + ": Not a directory)"));
  EXPECT_EQ(Put(told, Event(10)).told, 0u);
  std::filesystem::remove(Folder());
  told.Open(queue);
  Put(told, Event(11));
  EXPECT_THAT(Log(7), testing::SizeIs(1));
}

TEST_F(ToldEventsTest, An_event_that_can_not_be_written_has_no_number) {
  told.Open(queue);
  std::filesystem::remove_all(Folder());
  EXPECT_EQ(Put(told, Event(10)).told, 0u);
  EXPECT_THAT(Log(7), ElementsAre("Put: Failed to keep what the device told (" +
                                  (Folder() / "00000001.outbox").string() +
                                  ": No such file or directory)"));
}

TEST_F(ToldEventsTest, A_mutex_that_can_not_be_locked_does_no_harm) {
  told.Open(queue);
  DeviceEvent event = Put(told, Event(10));
  platform().mutexes.lockStatus = 5;
  EXPECT_EQ(told.TellingOf(event).key, "");
  told.Done(event);
  EXPECT_EQ(Put(told, Event(11)).told, 0u);
  ToldEvents other;
  other.Open(queue);
  EXPECT_THAT(queue, IsEmpty());
}

}  // namespace
}  // namespace cloudclient
