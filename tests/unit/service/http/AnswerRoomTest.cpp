// SPDX-License-Identifier: Apache-2.0
#include <memory>

#include <gtest/gtest.h>

#include "service/http/AnswerRoom.h"

namespace cloudservice {
namespace {

TEST(AnswerRoomTest, Is_taken_up_to_its_limit_until_the_answer_is_gone) {
  const auto room = std::make_shared<AnswerRoom>(AnswerRoom::Limits{100, 100, 0});
  auto first = room->Take("a", 60);
  EXPECT_TRUE(first);
  EXPECT_FALSE(room->Take("b", 41));
  EXPECT_EQ(room->Refused(), 1U);
  const auto second = room->Take("b", 40);
  EXPECT_TRUE(second);
  first.reset();
  EXPECT_EQ(room->Taken(), 40U);
  EXPECT_TRUE(room->Take("a", 60));
}

TEST(AnswerRoomTest, One_sender_leaves_room_to_the_others) {
  const auto room = std::make_shared<AnswerRoom>(AnswerRoom::Limits{100, 30, 0});
  const auto first = room->Take("a", 30);
  EXPECT_FALSE(room->Take("a", 1));
  EXPECT_TRUE(room->Take("b", 30));
}

TEST(AnswerRoomTest, Answer_alone_is_never_too_large) {
  const auto room = std::make_shared<AnswerRoom>(AnswerRoom::Limits{100, 30, 0});
  const auto alone = room->Take("a", 1000);
  EXPECT_TRUE(alone);
  EXPECT_FALSE(room->Take("b", 1));
}

TEST(AnswerRoomTest, Small_answers_need_none) {
  const AnswerRoom room({100, 30, 10});
  EXPECT_FALSE(room.Needs(10));
  EXPECT_TRUE(room.Needs(11));
}

}  // namespace
}  // namespace cloudservice
