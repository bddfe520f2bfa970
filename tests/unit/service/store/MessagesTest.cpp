// SPDX-License-Identifier: Apache-2.0
// What managers have posted under keys of their choice.
#include <stdexcept>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "StoreTest.h"

namespace cloudservice {
namespace {

class MessagesTest : public StoreTest {
 protected:
  MessagesTest() {
    for (const char* uuid : {"u", "v"}) store->AddManager({uuid, "n", "{}", 1, {}}, uuid);
  }

  TestStore store{file};
};

TEST_F(MessagesTest, Message_is_found_by_its_manager_and_its_key) {
  store->AddMessage("u", {"k", "digest", 7, 100});
  store->AddMessage("v", {"k", "other", 8, 101});
  const auto found = store->FindMessage("u", "k");
  ASSERT_TRUE(found);
  EXPECT_EQ(found->key, "k");
  EXPECT_EQ(found->digest, "digest");
  EXPECT_EQ(found->event, 7);
  EXPECT_EQ(found->received, 100);
  EXPECT_EQ(store->FindMessage("v", "k")->event, 8);
  EXPECT_FALSE(store->FindMessage("u", "K"));
  EXPECT_FALSE(store->FindMessage("w", "k"));
}

TEST_F(MessagesTest, Second_message_of_a_key_is_refused) {
  store->AddMessage("u", {"k", "digest", 7, 100});
  // PostgreSQL has the unit of work run again, which this store says by an exception of its own.
  EXPECT_THROW(store->AddMessage("u", {"k", "other", 8, 101}), std::runtime_error);
  EXPECT_EQ(store->FindMessage("u", "k")->event, 7);
}

TEST_F(MessagesTest, Manager_that_registers_anew_has_no_messages) {
  store->AddMessage("u", {"k", "digest", 7, 100});
  store->AddManager({"u", "n", "{}", 2, {}}, "u");
  EXPECT_FALSE(store->FindMessage("u", "k"));
  store->AddMessage("u", {"k", "digest", 9, 100});
  EXPECT_EQ(store->FindMessage("u", "k")->event, 9);
}

TEST_F(MessagesTest, Old_ones_go_in_steps) {
  for (int i = 0; i < 5; ++i) store->AddMessage("u", {"k" + std::to_string(i), "d", i, 100 + i});
  EXPECT_TRUE(store->RemoveMessages(103, 2));
  EXPECT_EQ(store.Count("message"), 3);
  EXPECT_FALSE(store->RemoveMessages(103, 2));
  EXPECT_EQ(store.Count("message"), 2);
  EXPECT_FALSE(store->FindMessage("u", "k2"));
  EXPECT_TRUE(store->FindMessage("u", "k3"));
}

}  // namespace
}  // namespace cloudservice
