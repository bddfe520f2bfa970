// SPDX-License-Identifier: Apache-2.0
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include <boost/asio/io_context.hpp>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "service/http/AnswerQueue.h"

namespace cloudservice {
namespace {

using testing::ElementsAre;
using testing::EndsWith;
using testing::SizeIs;

// A queue whose answers have a line in the log each. What happens is noted in its order.
class AnswerQueueTest : public testing::Test {
 protected:
  void Add(const std::string& name) {
    answers.Add(
        [this, name] {
          log.Line(name);
          Response response;
          response.body = name;
          return response;
        },
        [this](const Response& response) { noted.push_back("answer " + response.body); });
  }

  std::vector<std::string> noted;
  Log log{[this](const std::string& lines) { noted.push_back(lines); }, [] { return time_t{0}; }};
  boost::asio::io_context io;
  AnswerQueue answers{io, log};
};

TEST_F(AnswerQueueTest, Nothing_is_made_on_the_thread_that_adds) {
  Add("a");
  EXPECT_THAT(noted, SizeIs(0));
}

TEST_F(AnswerQueueTest, Lines_of_several_answers_are_written_at_once_and_before_them) {
  for (const char* name : {"a", "b"}) Add(name);
  EXPECT_EQ(io.run(), 1u) << "one wakes the thread for both";
  ASSERT_THAT(noted, SizeIs(3));
  EXPECT_EQ(noted[0], LogTime(0) + " a\n" + LogTime(0) + " b");
  EXPECT_EQ(noted[1], "answer a");
  EXPECT_EQ(noted[2], "answer b");
}

TEST_F(AnswerQueueTest, Many_are_shared_between_threads_and_answered_in_their_order) {
  std::vector<std::string> expected;
  for (int i = 0; i < 40; ++i) {
    Add(std::to_string(i));
    expected.push_back("answer " + std::to_string(i));
  }
  EXPECT_EQ(io.run(), 3u);
  std::vector<std::string> answered;
  for (const std::string& one : noted) {
    if (one.rfind("answer ", 0) == 0) answered.push_back(one);
  }
  EXPECT_EQ(answered, expected);
}

TEST_F(AnswerQueueTest, What_comes_after_the_last_answer_is_answered_too) {
  Add("a");
  io.run();
  io.restart();
  Add("b");
  io.run();
  EXPECT_EQ(noted.back(), "answer b");
}

TEST_F(AnswerQueueTest, Answer_that_cannot_be_made_or_sent_keeps_no_other_from_its_own) {
  const auto kept = std::make_shared<int>();
  answers.Add([]() -> Response { throw std::runtime_error("not made"); },
              [this, kept](const Response&) { noted.emplace_back("never"); });
  answers.Add([] { return Response(); },
              [](const Response&) { throw std::runtime_error("not sent"); });
  Add("a");
  io.run();
  EXPECT_THAT(
      noted,
      ElementsAre(EndsWith("error: a connection is given up: not made\n" + LogTime(0) + " a"),
                  EndsWith("error: a connection is given up: not sent"), "answer a"));
  EXPECT_EQ(kept.use_count(), 1) << "its connection ends";
}

}  // namespace
}  // namespace cloudservice
