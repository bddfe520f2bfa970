// SPDX-License-Identifier: Apache-2.0
// What is removed is gone at once; its rows go in steps.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "StoreTest.h"

namespace cloudservice {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr const char* kTables[] = {"manager_document", "chassis", "resource", "event",  "alarm",
                                   "member",           "reading", "removal",  "message"};

// A store with manager "u", which has two chassis with something of every kind.
class RemovalTest : public StoreTest {
 protected:
  RemovalTest() { Fill("u"); }

  void Fill(const std::string& uuid, std::optional<std::int64_t> account = std::nullopt) {
    store->AddManager({uuid, "n", "{}", 1000, {}, account}, "token of " + uuid);
    store->PutResource({"/own", uuid, {}, "{}", 1}, {"/own", uuid, {}, 1, {{"q", "1"}}});
    for (const std::string& chassis : {uuid + "1", uuid + "2"}) {
      store->AddChassis({chassis, uuid, "{}", 1});
      const std::string path = "/" + chassis;
      for (std::int64_t time = 1; time < 4; ++time) {
        const std::string value = std::to_string(time);
        store->PutResource({path, uuid, chassis, "{}", 1},
                           {path, uuid, chassis, time, {{"p", value}, {"q", value}}});
      }
      store->AddEvent({0, uuid, chassis, "m", "Fault", "{}", 1}, "m");
      store->AddEvent({0, uuid, chassis, "n", "Warning", "{}", 1}, "n");
      store->AddEvent({0, uuid, chassis, "258", "OK", "{}", 1}, "n");
      store->AddMessage(uuid, {chassis, "digest", 1, 1});
    }
  }

  // The number of rows that wait, and with them the rows that stand for them.
  std::int64_t Rows() {
    std::int64_t rows = 0;
    for (const char* table : kTables) rows += store.Count(table);
    return rows;
  }

  // Removes everything that waits, `most` rows a step. No step removes more.
  void RemoveAll(std::int64_t most) {
    for (;;) {
      const std::int64_t before = Rows();
      const Left left = store->RemoveNext(most);
      EXPECT_LE(before - Rows(), most);
      if (left == Left::kNothing) return;
      // On PostgreSQL a member becomes a row of the table of removals.
      if (!OnPostgres()) {
        EXPECT_LT(Rows(), before);
      }
    }
  }

  TestStore store{file};
};

// On PostgreSQL a step holds nobody up: its size is about right, and no more.
class SqliteRemovalTest : public RemovalTest {};

TEST_F(RemovalTest, Nothing_waits_where_nothing_was_removed) {
  EXPECT_EQ(store->RemoveNext(9), Left::kNothing);
  EXPECT_TRUE(store->FindManager("u"));
}

TEST_F(RemovalTest, Manager_is_gone_at_once_and_its_rows_go_in_steps_of_every_size) {
  for (const std::int64_t most : {1, 2, 3, 7, 100}) {
    store->DeleteManager("u");
    EXPECT_FALSE(store->FindManager("u"));
    EXPECT_FALSE(store->FindSender("token of u"));
    EXPECT_FALSE(store->FindAppliance("u"));
    EXPECT_FALSE(store->HasChassis("u", "u1"));
    EXPECT_FALSE(store->FindEvent("u", 1));
    EXPECT_FALSE(store->HasResource("u", "/own"));
    EXPECT_THAT(store.All(&Transaction::ListDocuments, "u"), IsEmpty());
    EXPECT_EQ(store->CountTotals().managers, 0);
    EXPECT_EQ(store->CountTotals().chassis, 0);
    EXPECT_EQ(store->CountTotals().alarms, AlarmCounts{});
    EXPECT_EQ(store->CountTotals().alarmed, AlarmCounts{});
    RemoveAll(most);
    for (const char* table : kTables) EXPECT_EQ(store.Count(table), 0) << table;
    Fill("u");
  }
}

TEST_F(RemovalTest, Goes_on_after_a_restart) {
  store->DeleteManager("u");
  EXPECT_EQ(store->RemoveNext(5), Left::kRows);
  TestStore other(file);
  while (other->RemoveNext(5) != Left::kNothing) {
  }
  EXPECT_EQ(Rows(), 0);
}

TEST_F(RemovalTest, Manager_that_registers_anew_has_nothing_of_what_it_had) {
  EXPECT_TRUE(store->AddManager({"u", "n", "{}", 2000, {}}, "token of u"));
  EXPECT_EQ(store->CountEvents("u"), 0);
  EXPECT_EQ(store->CountTotals().chassis, 0);
  EXPECT_THAT(store.All(&Transaction::ListDocuments, "u"), testing::SizeIs(1));
  EXPECT_THAT(store.All(&Transaction::ListMembers, "u", std::nullopt), IsEmpty());
  EXPECT_THAT(store.All(&Transaction::ListOpenAlarms, "u"), IsEmpty());
  // The same paths and names as before.
  store->PutResource({"/own", "u", {}, R"({"new": 1})", 2}, {"/own", "u", {}, 2, {{"q", "7"}}});
  EXPECT_THAT(store.All(&Transaction::ListHistoryMembers, "u", "/own", 0), ElementsAre("q"));
  ASSERT_EQ(store->ListHistory({"u", "/own", "q", 0, 0, 9}).size(), 1u);
  EXPECT_EQ(store->ListHistory({"u", "/own", "q", 0, 0, 9})[0].value, "7");
  RemoveAll(4);
  EXPECT_EQ(store->FindResource("u", "/own")->document, R"({"new": 1})");
  EXPECT_EQ(store->ListHistory({"u", "/own", "q", 0, 0, 9}).size(), 1u);
  EXPECT_EQ(store->CountTotals().managers, 1);
  EXPECT_EQ(Rows(), 4) << "document, resource, number, reading";
}

TEST_F(RemovalTest, Chassis_is_gone_at_once_and_its_events_stay) {
  EXPECT_EQ(store->FindAppliance("u")->alarms, (AlarmCounts{2, 0, 0}));
  store->DeleteChassis("u1");
  EXPECT_EQ(store->FindAppliance("u")->alarms, (AlarmCounts{1, 0, 0}));
  EXPECT_EQ(store->CountTotals().alarms, (AlarmCounts{1, 0, 0}));
  EXPECT_EQ(store->CountTotals().chassis, 1);
  EXPECT_FALSE(store->HasChassis("u", "u1"));
  const auto expectOthers = [&] {
    EXPECT_FALSE(store->HasResource("u", "/u1"));
    EXPECT_TRUE(store->HasResource("u", "/u2"));
    EXPECT_FALSE(store->FindDocument("u", {DocumentName::Kind::kResource, "/u1"}));
    EXPECT_THAT(store.All(&Transaction::ListDocuments, "u"), testing::SizeIs(4));
    EXPECT_THAT(store.All(&Transaction::ListMembers, "u", std::nullopt), testing::SizeIs(3));
    EXPECT_THAT(store.All(&Transaction::ListResources, "u", "u1"), IsEmpty());
    EXPECT_THAT(store.All(&Transaction::ListHistoryMembers, "u", "/u1", 0), IsEmpty());
    EXPECT_THAT(store.All(&Transaction::ListHistoryMembers, "u", "/u2", 0), testing::SizeIs(2));
    EXPECT_THAT(store->ListHistory({"u", "/u1", "p", 0, 0, 9}), IsEmpty());
    EXPECT_THAT(store->ListHistory({"u", "/u2", "p", 0, 0, 9}), testing::SizeIs(3));
    EXPECT_THAT(store.All(&Transaction::ListOpenAlarms, "u"), testing::SizeIs(1));
    EXPECT_THAT(store.All(&Transaction::ListEvents, EventFilter{"u", {}, false, {}}),
                ElementsAre(4));
    EXPECT_THAT(store.All(&Transaction::ListEvents, EventFilter{"u", {}, true, {}}),
                ElementsAre(5));
    LogFilter log;
    log.manager = "u";
    log.limit = 9;
    std::vector<bool> cleared;
    for (const LoggedEvent& entry : store->ListLog(log)) cleared.push_back(entry.cleared);
    EXPECT_THAT(cleared, ElementsAre(false, true, false, false, true, true));
  };
  expectOthers();
  RemoveAll(2);
  expectOthers();
  EXPECT_EQ(store->CountEvents("u"), 6);
  EXPECT_EQ(store.Count("alarm"), 2);
  EXPECT_EQ(store.Count("resource"), 2);
  EXPECT_EQ(store.Count("reading"), 7);
  EXPECT_EQ(store->CountTotals().chassis, 1);
}

TEST_F(RemovalTest, Chassis_of_a_removed_manager_goes_once) {
  store->DeleteChassis("u1");
  store->DeleteManager("u");
  store->DeleteChassis("u2");
  EXPECT_EQ(store->CountTotals().chassis, 0);
  RemoveAll(3);
  EXPECT_EQ(Rows(), 0);
}

TEST_F(RemovalTest, Account_goes_at_once_and_its_managers_before_all_rows) {
  store->AddRegistrationKey("a@b", "hash", false, 1);
  const std::int64_t account = store->FindAccount("a@b")->id;
  for (const char* uuid : {"v", "w", "x"}) Fill(uuid, account);
  store->DeleteManager("u");
  store->DeleteAccount(account, true);
  EXPECT_FALSE(store->FindSender("token of v"));
  EXPECT_TRUE(store->FindAppliance("v"));
  EXPECT_FALSE(store->FindAppliance("v")->email);
  const std::int64_t last = store->LastChange();
  EXPECT_EQ(store->RemoveNext(4), Left::kManagers);
  EXPECT_EQ(store->CountTotals().managers, 2);
  EXPECT_EQ(store->RemoveNext(8), Left::kManagers);
  EXPECT_EQ(store->CountTotals().managers, 0);
  std::vector<std::string> gone;
  for (const ChangeRecord& one : store->ListChanges({last, 9})) {
    EXPECT_EQ(one.change.what, Change::What::kGone);
    gone.push_back(one.change.manager);
  }
  EXPECT_THAT(gone, testing::UnorderedElementsAre("v", "w", "x"));
  EXPECT_EQ(store->RemoveNext(1), Left::kRows);
  RemoveAll(50);
  EXPECT_EQ(Rows(), 0);
}

TEST_F(RemovalTest, Manager_whose_account_went_stays_until_another_registers_it) {
  store->AddRegistrationKey("a@b", "hash", false, 1);
  const std::int64_t account = store->FindAccount("a@b")->id;
  Fill("v", account);
  store->DeleteAccount(account, false);
  EXPECT_EQ(store->RemoveNext(9), Left::kNothing);
  EXPECT_FALSE(store->FindSender("token of v"));
  EXPECT_FALSE(store->FindManager("v")->account);
  EXPECT_EQ(store->CountEvents("v"), 6);
  store->AddRegistrationKey("c@d", "hash", false, 1);
  EXPECT_NE(store->FindAccount("c@d")->id, account) << "no number is given twice";
  EXPECT_EQ(store->FindAccount("c@d")->managers, 0);
}

TEST_F(SqliteRemovalTest, Step_is_no_larger_for_a_manager_with_many_events) {
  constexpr int kEvents = 20000;
  store.Execute(("INSERT INTO event (manager, chassis, message_id, severity, document, received, "
                 "kind) WITH RECURSIVE row (n) AS (SELECT 1 UNION ALL SELECT n + 1 FROM row "
                 "WHERE n < " +
                 std::to_string(kEvents) + ") SELECT 1, '', 'm', 'OK', '{}', n, 3 FROM row")
                    .c_str());
  EXPECT_EQ(store->CountEvents("u"), kEvents + 6);
  store->DeleteManager("u");
  EXPECT_EQ(store.Count("event"), kEvents + 6) << "they do not go with it";
  int steps = 1;
  for (std::int64_t before = Rows(); store->RemoveNext(1000) != Left::kNothing; ++steps) {
    EXPECT_LE(before - Rows(), 1000);
    before = Rows();
  }
  EXPECT_EQ(steps, kEvents / 1000 + 1);
  EXPECT_EQ(Rows(), 0);
}

TEST_F(SqliteRemovalTest, Large_document_counts_as_several_rows) {
  store->DeleteManager("u");
  RemoveAll(100);
  const std::string large = "\"" + std::string(3 * 4096, 'x') + "\"";
  store->AddManager({"v", "n", "{}", 1, {}}, "v");
  for (const char* path : {"/a", "/b", "/c", "/d"})
    store->PutResource({path, "v", {}, large, 1}, {});
  store->DeleteManager("v");
  store->RemoveNext(5);
  EXPECT_EQ(store.Count("resource"), 2);
  store->RemoveNext(4);
  EXPECT_EQ(store.Count("resource"), 1);
}

}  // namespace
}  // namespace cloudservice
