// SPDX-License-Identifier: Apache-2.0
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "ctl/MessageTable.h"

namespace {

using ctl::Explanation;
using ctl::MessageTable;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

constexpr char kDocument[] = R"(
# Messages

| level | is |
|---|---|
| 3 | a failure |

| level | message | what happened | what to do |
|---|---|---|---|
| 3 | `A Do: Failed (<Result>) to do <thing>` | it **was** not done, see [how](how.md#it) | do `it` |
| 3 | `A Do: Failed (<Result>) to do nothing` | the same, of nothing | the same |
| 5 | `A Do: done ` | done | |
| 3 | `A Run: ended: <reason>` `B Run: ended: <reason>` | it ended | as above |

| `Result` | meaning |
|---|---|
| 7 | no `token` |
)";

class MessageTableTest : public testing::Test {
 protected:
  Explanation Of(const std::string& line) const {
    const auto found = table.Find(line);
    EXPECT_TRUE(found) << line;
    return found.value_or(Explanation());
  }

  const MessageTable table{kDocument};
};

TEST_F(MessageTableTest, Says_what_happened_and_what_to_do_without_marks) {
  const Explanation explanation = Of("A Do: Failed (3) to do something");
  EXPECT_EQ(explanation.happened, "it was not done, see how");
  EXPECT_EQ(explanation.toDo, "do it");
  EXPECT_THAT(explanation.numbers, IsEmpty());
}

TEST_F(MessageTableTest, Says_what_a_number_means) {
  EXPECT_THAT(Of("A Do: Failed (7) to do it").numbers, ElementsAre("Result 7: no token"));
}

TEST_F(MessageTableTest, Takes_the_message_with_the_most_fixed_text) {
  EXPECT_EQ(Of("A Do: Failed (7) to do nothing").happened, "it was not done, see how, of nothing");
}

TEST_F(MessageTableTest, A_row_that_refers_to_the_one_above_says_what_that_says) {
  EXPECT_EQ(Of("A Do: Failed (7) to do nothing").toDo, "do it");
}

TEST_F(MessageTableTest, A_cell_can_be_empty) { EXPECT_EQ(Of("A Do: done").toDo, ""); }

TEST_F(MessageTableTest, A_row_can_hold_several_messages) {
  EXPECT_EQ(Of("A Run: ended: no memory").happened, "it ended");
  EXPECT_EQ(Of("B Run: ended: ").happened, "it ended");
}

TEST_F(MessageTableTest, Finds_the_message_behind_time_and_level) {
  EXPECT_EQ(Of("2026-03-05T14:07:09.123+0100 5 A Do: done").happened, "done");
  EXPECT_EQ(Of("<5>A Do: done ").happened, "done");
  EXPECT_EQ(Of("2026-03-05T14:07:09+01:00 box cloudclient[123]: A Do: done").happened, "done");
  EXPECT_EQ(Of("A Do: done \r").happened, "done");
}

TEST_F(MessageTableTest, Finds_nothing_in_any_other_line) {
  for (const char* line :
       {"", " ", "A Do: don", "A Do: done and more", "x A Do: done", "]: ", "<5>",
        "A Do: Failed (7", "A Do: Failed (7) to do", "5 ", "3 a failure"}) {
    EXPECT_FALSE(table.Find(line)) << line;
  }
}

TEST_F(MessageTableTest, A_fixed_end_is_that_of_the_line) {
  const MessageTable ends("| 3 | `A <x> end` | h | |\n");
  EXPECT_TRUE(ends.Find("A end end"));
  EXPECT_FALSE(ends.Find("A end"));
  EXPECT_FALSE(ends.Find("A end end."));
}

TEST_F(MessageTableTest, What_is_no_table_of_messages_is_passed_over) {
  EXPECT_EQ(table.Size(), 5u);
  EXPECT_EQ(MessageTable("").Size(), 0u);
  EXPECT_EQ(MessageTable("|\n||||\n| 3 |\n| 3 | x | y | z |").Size(), 0u);
}

TEST_F(MessageTableTest, The_program_carries_the_document) {
  const MessageTable carried(ctl::kMessagesDocument);
  EXPECT_GT(carried.Size(), 230u);
  const auto explanation = carried.Find(
      "2026-03-05T14:07:09.123+0100 3 DeviceMgr SendHeartbeat: heartbeat failed: response: 6  "
      "resp: {}  hdr: HTTP/1.1 500");
  ASSERT_TRUE(explanation);
  EXPECT_THAT(explanation->happened, HasSubstr("a heartbeat was refused"));
}

}  // namespace
