// SPDX-License-Identifier: Apache-2.0
// What several processes share through the store.
#include <stdexcept>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "StoreTest.h"

namespace cloudservice {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class SharedTest : public StoreTest {
 protected:
  // A change, in one word each.
  static std::string Worded(const Change& change) {
    static const char* const kWords[] = {"appliance", "event", "document",
                                         "gone",      "any",   "heartbeat"};
    std::string text = std::string(kWords[static_cast<int>(change.what)]) + " " + change.manager;
    if (change.number > 0) text += " " + std::to_string(change.number);
    if (change.what == Change::What::kDocument) {
      text +=
          " " + std::to_string(static_cast<int>(change.document.kind)) + " " + change.document.name;
    }
    return text;
  }
  std::vector<std::string> Kept(std::int64_t after = 0) {
    std::vector<std::string> changes;
    for (const ChangeRecord& one : store->ListChanges({after, 1000})) {
      changes.push_back(Worded(one.change));
    }
    return changes;
  }

  TestStore store{file};
};

TEST_F(SharedTest, Heartbeat_that_tells_nothing_else_is_a_change_of_its_own) {
  store->AddManager({"u", "name", "{}", 1000, {}}, "t");
  const std::int64_t before = store->LastChange();
  store->AddHeartbeat("u", 1005, 60, "::1");
  store->AddHeartbeat("u", 1065, 60, "::1");
  store->AddHeartbeat("u", 1066, 60, "");
  store->AddHeartbeat("u", 1067, 60, "::2");
  store->AddHeartbeat("u", 1068, 50, "");
  store->AddHeartbeat("u", 1068 + 99, 50, "");
  store->AddHeartbeat("u", 1167 + 100, 50, "");
  store->AddHeartbeat("u", 1267, 50, "");
  EXPECT_THAT(Kept(before),
              ElementsAre("appliance u", "heartbeat u 1065", "heartbeat u 1066", "appliance u",
                          "appliance u", "heartbeat u 1167", "appliance u", "heartbeat u 1267"));
}

TEST_F(SharedTest, Heartbeat_of_an_appliance_that_was_found_late_tells_more) {
  store->AddManager({"u", "name", "{}", 1000, {}}, "t");
  store->AddHeartbeat("u", 1000, 60, "");
  EXPECT_EQ(store->Settle(1120, 9), 1);
  const std::int64_t before = store->LastChange();
  // By a process whose clock is behind.
  store->AddHeartbeat("u", 1119, 60, "");
  store->AddHeartbeat("u", 1120, 60, "");
  EXPECT_THAT(Kept(before), ElementsAre("appliance u", "heartbeat u 1120"));
}

TEST_F(SharedTest, Heartbeats_of_one_unit_of_work_are_told_each_by_what_it_changes) {
  store->AddManager({"u", "name", "{}", 1000, {}}, "t");
  const std::int64_t before = store->LastChange();
  store.Store::Write([](Transaction& work) {
    for (const std::int64_t interval : {60, 60, 50, 50}) work.AddHeartbeat("u", 1005, interval, "");
  });
  EXPECT_THAT(Kept(before),
              ElementsAre("appliance u", "heartbeat u 1005", "appliance u", "heartbeat u 1005"));
}

TEST_F(SharedTest, Every_change_is_kept_in_its_order) {
  store->AddManager({"u", "n", "{}", 1, {}}, "u");
  store->AddChassis({"c", "u", "{}", 1});
  store->PutResource({"/r", "u", "c", "{}", 1}, {});
  store->SetManagerDocument("u", "{}", {"/u", "u", {}, 1, {}});
  store->SetChassisDocument("c", "{}", {"/c", "u", "c", 1, {}});
  store->AddEvent({0, "u", "c", "m", "Alarm", "{}", 1}, "m");
  store->AddHeartbeat("u", 5, 60, "");
  store->DeleteChassis("c");
  store->AddManager({"u", "n", "{}", 1, {}}, "u");
  store->DeleteManager("u");
  EXPECT_THAT(Kept(), ElementsAre("appliance u", "document u 1 c", "appliance u", "document u 2 /r",
                                  "document u 0 u", "appliance u", "document u 1 c", "event u 1",
                                  "appliance u", "appliance u", "document u 1 c", "appliance u",
                                  "gone u", "appliance u", "gone u"));
}

TEST_F(SharedTest, Change_of_another_process_is_seen_behind_the_last_one_known) {
  store->AddManager({"u", "n", "{}", 1, {}}, "u");
  const std::int64_t last = store->LastChange();
  EXPECT_THAT(Kept(last), IsEmpty());
  TestStore(file)->AddHeartbeat("u", 5, 60, "");
  EXPECT_THAT(Kept(last), ElementsAre("appliance u"));
  EXPECT_EQ(store->ListChanges({last, 9}).front().id, store->LastChange());
}

TEST_F(SharedTest, Account_that_goes_changes_appliances_of_which_none_is_named) {
  store->AddRegistrationKey("a@b", "hash", false, 1);
  EXPECT_THAT(Kept(), IsEmpty());
  store->DeleteAccount(store.Read([](Transaction& kept) { return kept.FindAccount("a@b")->id; }),
                       false);
  EXPECT_THAT(Kept(), ElementsAre("any "));
}

TEST_F(SharedTest, Change_that_is_undone_is_not_kept) {
  EXPECT_EQ(store->LastChange(), 0);
  EXPECT_THROW(store.Write([](Transaction& kept) {
    kept.AddManager({"u", "n", "{}", 1, {}}, "u");
    throw std::runtime_error("changed its mind");
  }),
               std::runtime_error);
  EXPECT_THAT(Kept(), IsEmpty());
  EXPECT_EQ(store->LastChange(), 0);
}

TEST_F(SharedTest, Changes_are_listed_in_pages) {
  for (int i = 0; i < 5; ++i)
    store->AddManager({std::to_string(i), "n", "{}", 1, {}}, "u" + std::to_string(i));
  const auto first = store->ListChanges({std::nullopt, 2});
  ASSERT_EQ(first.size(), 2u);
  EXPECT_EQ(first[1].change.manager, "1");
  EXPECT_THAT(Kept(KeyOf(first.back())), ElementsAre("appliance 2", "appliance 3", "appliance 4"));
}

TEST_F(SharedTest, Old_changes_go_in_steps_and_the_last_one_stays_known) {
  store->AddManager({"u", "n", "{}", 1, {}}, "u");
  for (int i = 0; i < 4; ++i) store->AddHeartbeat("u", 5, 60, "");
  store.Execute(
      "UPDATE change SET time = "
      "10 * (SELECT count(*) FROM change AS other WHERE other.id <= change.id)");
  const std::int64_t last = store->LastChange();
  EXPECT_FALSE(store->RemoveChanges(10, 2)) << "none is older";
  EXPECT_EQ(Kept().size(), 5u);
  EXPECT_TRUE(store->RemoveChanges(40, 2));
  EXPECT_EQ(Kept().size(), 3u);
  EXPECT_FALSE(store->RemoveChanges(40, 2));
  EXPECT_EQ(Kept().size(), 2u);
  EXPECT_FALSE(store->RemoveChanges(1000, 9));
  EXPECT_EQ(Kept().size(), 1u);
  EXPECT_EQ(store->LastChange(), last);
}

TEST_F(SharedTest, Changes_from_before_the_clock_was_set_back_go_too) {
  store->AddManager({"u", "n", "{}", 1, {}}, "u");
  store->AddHeartbeat("u", 5, 60, "");
  store->AddHeartbeat("u", 5, 60, "");
  const std::int64_t last = store->LastChange();
  store.Execute("UPDATE change SET time = CASE id WHEN " + std::to_string(last) +
                " THEN 100 ELSE 5000 END");
  EXPECT_FALSE(store->RemoveChanges(50, 9));
  EXPECT_EQ(store->ListChanges({std::nullopt, 9}).front().id, last);
}

TEST_F(SharedTest, Session_is_found_by_its_hash_until_it_or_its_operator_goes) {
  store->AddOperator({0, "olga", {}, "t", 1});
  const std::int64_t olga = store->FindOperator("olga")->id;
  EXPECT_FALSE(store->FindSession("s"));
  store->AddSession("s", olga, 5, 9);
  store->AddSession("t", olga, 6, 9);
  EXPECT_EQ(store->FindSession("s")->person, olga);
  EXPECT_EQ(store->FindSession("s")->used, 5);
  TestStore(file)->UseSession("s", 7);
  EXPECT_EQ(store->FindSession("s")->used, 7);
  EXPECT_EQ(store->FindSession("t")->used, 6);
  store->EndSession("t");
  EXPECT_FALSE(store->FindSession("t"));
  store->UseSession("t", 8);
  EXPECT_FALSE(store->FindSession("t"));
  store->DeleteOperator("olga");
  EXPECT_FALSE(store->FindSession("s"));
  EXPECT_THROW(store->AddSession("s", olga, 5, 9), DatabaseError);
}

TEST_F(SharedTest, Session_that_was_used_longest_ago_gives_way) {
  store->AddOperator({0, "olga", {}, "t", 1});
  const std::int64_t olga = store->FindOperator("olga")->id;
  for (const char* hash : {"a", "b", "c"}) store->AddSession(hash, olga, 10, 3);
  store->UseSession("a", 20);
  store->UseSession("b", 15);
  store->AddSession("d", olga, 30, 3);
  EXPECT_FALSE(store->FindSession("c"));
  store->AddSession("e", olga, 30, 3);
  EXPECT_FALSE(store->FindSession("b"));
  for (const char* hash : {"a", "d", "e"}) EXPECT_TRUE(store->FindSession(hash)) << hash;
}

TEST_F(SharedTest, Failures_add_up_from_now_on) {
  EXPECT_EQ(store->FindFailures("192.0.2.7"), 0);
  EXPECT_EQ(store->AddFailure("192.0.2.7", 100, 30, 9), 130);
  EXPECT_EQ(TestStore(file)->AddFailure("192.0.2.7", 101, 30, 9), 160);
  EXPECT_EQ(store->FindFailures("192.0.2.7"), 160);
  EXPECT_EQ(store->AddFailure("192.0.2.7", 500, 30, 9), 530);
  EXPECT_EQ(store->FindFailures("192.0.2.8"), 0);
}

TEST_F(SharedTest, Failures_of_before_the_clock_was_set_back_count_no_more) {
  EXPECT_EQ(store->AddFailure("192.0.2.7", 200000, 30, 9), 200030);
  EXPECT_EQ(store->AddFailure("192.0.2.7", 200030 - 86400, 30, 9), 200060) << "a day ahead";
  EXPECT_EQ(store->AddFailure("192.0.2.7", 200060 - 86401, 30, 9), 200060 - 86401 + 30);
}

TEST_F(SharedTest, Sender_with_the_fewest_failures_is_forgotten) {
  store->AddFailure("a", 100, 30, 3);
  store->AddFailure("a", 100, 30, 3);
  store->AddFailure("b", 50, 30, 3);
  store->AddFailure("c", 100, 30, 3);
  store->AddFailure("d", 100, 31, 3);
  EXPECT_EQ(store->FindFailures("b"), 0);
  store->AddFailure("e", 100, 32, 3);
  EXPECT_EQ(store->FindFailures("c"), 0);
  EXPECT_EQ(store->FindFailures("a"), 160);
  EXPECT_EQ(store.Count("failure"), 3);
}

}  // namespace
}  // namespace cloudservice
