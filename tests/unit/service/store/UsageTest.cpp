// SPDX-License-Identifier: Apache-2.0
// What the store says that a manager keeps, and how many events it has sent.
#include <stdexcept>

#include <gtest/gtest.h>

#include "StoreTest.h"

namespace cloudservice {
namespace {

constexpr std::int64_t kDay = 86400;
constexpr std::int64_t kMidday = 20000 * kDay + kDay / 2;

class UsageTest : public StoreTest {
 protected:
  UsageTest() { Register("u"); }

  void Register(const std::string& uuid) {
    store->AddManager({uuid, "n", "{}", 1000, {}}, "token of " + uuid);
  }
  void Put(const std::string& path, const std::string& document,
           const std::optional<std::string>& chassis = std::nullopt) {
    store->PutResource({path, "u", chassis, document, 1}, {path, "u", chassis, 1, {}});
  }
  StoredEvent Send(std::int64_t when, const std::string& severity = "OK") {
    return store->AddEvent({0, "u", severity == "OK" ? "" : "c", "m", severity, "{}", when}, "m");
  }
  void Expect(std::int64_t documents, std::int64_t bytes) {
    const Usage usage = store->FindUsage("u");
    EXPECT_EQ(usage.documents, documents);
    EXPECT_EQ(usage.bytes, bytes);
  }
  void RemoveAll() {
    while (store->RemoveNext(3) != Left::kNothing) {
    }
  }

  TestStore store{file};
};

TEST_F(UsageTest, Follows_each_document) {
  Expect(1, 2);
  Put("/r", R"({"a": 1})");
  Expect(2, 10);
  Put("/r", R"({"a": 2})");
  Expect(2, 10);
  Put("/r", R"({"a": "ä"})");
  Expect(2, 13);
  Put("/r", "{}");
  Expect(2, 4);
  store->AddChassis({"c", "u", "{   }", 1});
  Expect(3, 9);
  store->SetChassisDocument("c", "{ }", {"/c", "u", "c", 1, {}});
  Expect(3, 7);
  store->SetManagerDocument("u", R"({"Name": 1})", {"/m", "u", {}, 1, {}});
  Expect(3, 16);
}

TEST_F(UsageTest, Is_each_managers_own) {
  Register("v");
  Put("/r", "{      }");
  Expect(2, 10);
  EXPECT_EQ(store->FindUsage("v").documents, 1);
  EXPECT_EQ(store->FindUsage("v").bytes, 2);
  EXPECT_THROW(store->FindUsage("w"), DatabaseError);
}

TEST_F(UsageTest, Knows_nothing_of_what_was_undone) {
  EXPECT_THROW(store.Write([](Transaction& unit) {
    unit.PutResource({"/r", "u", {}, "{ }", 1}, {"/r", "u", {}, 1, {}});
    EXPECT_EQ(unit.FindUsage("u").documents, 2);
    throw std::runtime_error("undo");
  }),
               std::runtime_error);
  Expect(1, 2);
}

TEST_F(UsageTest, Is_smaller_once_a_chassis_has_gone) {
  store->AddChassis({"c", "u", "{}", 1});
  store->AddChassis({"d", "u", "{}", 1});
  for (const char* path : {"/1", "/2", "/3", "/4"}) Put(path, "{    }", "c");
  Put("/5", "{ }", "d");
  Put("/6", "{ }");
  Expect(9, 36);
  store->DeleteChassis("c");
  RemoveAll();
  Expect(4, 10);
  Put("/1", "{   }", "d");
  Expect(5, 15);
}

TEST_F(UsageTest, Begins_anew_with_a_registration) {
  store->AddChassis({"c", "u", "{}", 1});
  Put("/1", "{    }", "c");
  Send(kMidday);
  Register("u");
  Expect(1, 2);
  RemoveAll();
  Expect(1, 2);
  const StoredEvent sent = Send(kMidday);
  EXPECT_EQ(sent.today, 1);
  EXPECT_EQ(sent.kept, 1);
}

TEST_F(UsageTest, Is_counted_at_the_first_question_after_an_upgrade) {
  store->AddChassis({"c", "u", "{}", 1});
  Put("/1", "{    }", "c");
  Put("/2", "{\"ä\": 1}");
  // As a database of the version before has it.
  store.Execute("UPDATE manager SET documents = NULL, bytes = NULL");
  Put("/3", "{}", "c");
  Put("/2", "{ }");
  Expect(5, 15);
  EXPECT_EQ(store.Count("manager WHERE documents = 5 AND bytes = 15"), 1);
  store->DeleteChassis("c");
  RemoveAll();
  Expect(2, 5);
}

TEST_F(UsageTest, Two_stores_on_one_database_count_together) {
  TestStore other(file);
  Put("/1", "{}");
  other->PutResource({"/2", "u", {}, "{}", 1}, {"/2", "u", {}, 1, {}});
  Expect(3, 6);
  EXPECT_EQ(other->FindUsage("u").documents, 3);
  Send(kMidday);
  EXPECT_EQ(other->AddEvent({0, "u", "", "m", "OK", "{}", kMidday}, "m").today, 2);
}

TEST_F(UsageTest, Events_are_counted_day_by_day) {
  for (std::int64_t n = 1; n < 4; ++n) {
    const StoredEvent sent = Send(kMidday + n);
    EXPECT_EQ(sent.today, n);
    EXPECT_EQ(sent.kept, n);
  }
  const StoredEvent next = Send(kMidday + kDay);
  EXPECT_EQ(next.today, 1);
  EXPECT_EQ(next.kept, 4);
  EXPECT_EQ(Send(kMidday + kDay).kept, 5);
}

TEST_F(UsageTest, Day_that_came_back_with_the_clock_does_not_count_on_for_ever) {
  for (int n = 0; n < 3; ++n) Send(kMidday + 1000 * kDay);
  EXPECT_LE(Send(kMidday).today, 1);
  EXPECT_LE(Send(kMidday).today, 2);
}

TEST_F(UsageTest, Clean_up_makes_room_for_events) {
  store->AddChassis({"c", "u", "{}", 1});
  Send(kMidday, "Alarm");
  for (int n = 0; n < 3; ++n) Send(kMidday);
  EXPECT_EQ(Send(kMidday + 2 * kDay).kept, 5);
  while (store->RemoveOld({0, kMidday + kDay, 100}).more) {
  }
  EXPECT_EQ(store->CountEvents("u"), 2) << "that of the open alarm, and the new one";
  EXPECT_GE(Send(kMidday + 2 * kDay).kept, 3);
  EXPECT_EQ(store->CountEvents("u"), 3);
  const StoredEvent next = Send(kMidday + 3 * kDay);
  EXPECT_EQ(next.kept, 4);
  EXPECT_EQ(next.today, 1);
}

}  // namespace
}  // namespace cloudservice
