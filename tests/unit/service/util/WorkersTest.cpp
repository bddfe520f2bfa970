// SPDX-License-Identifier: Apache-2.0
#include <sys/resource.h>

#include <future>
#include <stdexcept>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "service/util/Workers.h"

namespace cloudservice {
namespace {

using testing::ElementsAre;
using testing::EndsWith;

class WorkersTest : public testing::Test {
 protected:
  std::vector<std::string> lines;
  Log log{[this](const std::string& line) { lines.push_back(line); }, [] { return time_t{0}; }};
};

TEST_F(WorkersTest, Tasks_run_in_their_order_and_all_of_them_before_the_end) {
  std::vector<int> ran;
  {
    Workers workers({1, 100, 0}, log);
    for (int i = 0; i < 5; ++i) EXPECT_TRUE(workers.Post([&ran, i] { ran.push_back(i); }));
  }
  EXPECT_THAT(ran, ElementsAre(0, 1, 2, 3, 4));
}

TEST_F(WorkersTest, No_more_tasks_wait_than_may) {
  std::promise<void> begun;
  std::promise<void> go;
  int ran = 0;
  {
    Workers workers({1, 2, 0}, log);
    workers.Post([&] {
      begun.set_value();
      go.get_future().wait();
    });
    begun.get_future().wait();
    EXPECT_TRUE(workers.Post([&] { ++ran; }));
    EXPECT_TRUE(workers.Post([&] { ++ran; }));
    EXPECT_EQ(workers.Waiting(), 2U);
    EXPECT_FALSE(workers.Post([&] { ++ran; }));
    go.set_value();
  }
  EXPECT_EQ(ran, 2);
}

TEST_F(WorkersTest, Threads_work_side_by_side) {
  Workers workers({2, 10, 0}, log);
  std::promise<void> one;
  std::promise<void> other;
  std::promise<void> done;
  workers.Post([&] {
    one.set_value();
    other.get_future().wait();
    done.set_value();
  });
  workers.Post([&] {
    one.get_future().wait();
    other.set_value();
  });
  done.get_future().wait();
}

TEST_F(WorkersTest, Exception_of_a_task_is_a_line_in_the_log) {
  bool next = false;
  {
    Workers workers({1, 10, 0}, log);
    workers.Post([] { throw std::runtime_error("no memory"); });
    workers.Post([&] { next = true; });
  }
  EXPECT_TRUE(next);
  EXPECT_THAT(lines, ElementsAre(EndsWith("error: a task is given up: no memory")));
}

TEST_F(WorkersTest, Threads_are_as_nice_as_they_should_be) {
  std::promise<int> niceness;
  Workers workers({1, 10, 7}, log);
  workers.Post([&] { niceness.set_value(getpriority(PRIO_PROCESS, 0)); });
  EXPECT_EQ(niceness.get_future().get(), std::min(19, getpriority(PRIO_PROCESS, 0) + 7));
}

}  // namespace
}  // namespace cloudservice
