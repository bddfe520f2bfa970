// SPDX-License-Identifier: Apache-2.0
#include "StoreTest.h"

#include <atomic>
#include <filesystem>
#include <fstream>
#include <numeric>
#include <random>
#include <stdexcept>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "OldSchema.h"
#include "service/store/sqlite/Schema.h"

namespace cloudservice {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::UnorderedElementsAre;

TEST_F(SqliteStoreTest, Schema_carries_its_version_and_is_made_once) {
  { TestStore store(file); }
  Database database(file);
  EXPECT_EQ(Number(database, "PRAGMA user_version"), NewestSchemaVersion());
  EXPECT_NO_THROW(TestStore{file});
}

TEST_F(StoreTest, Reader_cannot_change_anything) {
  TestStore store(file);
  store->AddManager({"u", "n", "{}", 1, {}}, "u");
  const std::int64_t last = store->LastChange();
  EXPECT_THROW(store.Read([](Transaction& transaction) { transaction.DeleteManager("u"); }),
               DatabaseError);
  EXPECT_TRUE(store->FindManager("u"));
  EXPECT_EQ(store->CountTotals().managers, 1);
  EXPECT_EQ(store->LastChange(), last);
}

TEST_F(StoreTest, Change_is_told_when_it_is_on_the_disk_and_not_when_it_is_not) {
  TestStore store(file);
  std::atomic<int> told = 0;
  store.Listen([&] {
    EXPECT_TRUE(TestStore(file)->FindManager("u"));
    ++told;
  });
  EXPECT_THROW(store.Write([](Transaction& transaction) {
    transaction.AddManager({"u", "n", "{}", 1, {}}, "u");
    throw std::runtime_error("changed its mind");
  }),
               std::runtime_error);
  EXPECT_EQ(told, 0);
  EXPECT_FALSE(store->FindManager("u"));
  EXPECT_EQ(store.Write([](Transaction& transaction) {
    return transaction.AddManager({"u", "n", "{}", 1, {}}, "u");
  }),
            false);
  EXPECT_GE(told, 1);
  store.Listen(nullptr);
}

TEST_F(SqliteStoreTest, Every_commit_is_on_the_disk) {
  Database database(file);
  EXPECT_EQ(Rows(database, "PRAGMA journal_mode"), std::vector<std::string>{"wal"});
  EXPECT_EQ(Number(database, "PRAGMA synchronous"), 2);
}

TEST_F(StoreTest, Children_are_one_segment_below_and_of_one_manager) {
  TestStore store(file);
  store->AddManager({"u", "n", "{}", 1, {}}, "t");
  store->AddManager({"v", "n", "{}", 1, {}}, "s");
  for (const char* path : {"/a/S", "/a/S/2", "/a/S/1", "/a/S/3/x", "/a/S0", "/a/S-", "/a/T/1"}) {
    store->PutResource({path, "u", {}, "{}", 1}, {});
  }
  store->PutResource({"/a/S/9", "v", {}, "{}", 1}, {});
  EXPECT_THAT(store.All(&Transaction::ListChildren, "u", "/a/S"),
              testing::ElementsAre("/a/S/1", "/a/S/2"));
  EXPECT_TRUE(store->HasChildren("u", "/a/S"));
  EXPECT_FALSE(store->HasChildren("u", "/a/S/3/x"));
  EXPECT_FALSE(store->HasChildren("v", "/a/T"));
  EXPECT_TRUE(store->HasResource("v", "/a/S/9"));
  EXPECT_FALSE(store->HasResource("u", "/a/S/9"));
}

TEST_F(SqliteStoreTest, Database_of_another_program_is_left_alone) {
  Database(file).Execute("CREATE TABLE theirs (x)");
  EXPECT_THAT(OpeningFails(file), HasSubstr("s.db is the database of another program"));
  Database database(file);
  EXPECT_EQ(Count(database, "sqlite_schema"), 1);
}

TEST_F(SqliteStoreTest, Database_of_a_newer_version_is_left_alone) {
  { TestStore store(file); }
  Database(file).Execute("PRAGMA user_version = 999");
  EXPECT_THAT(OpeningFails(file), HasSubstr("s.db was written by a newer cloudservice"));
}

// Names of the files in the folder of `file`.
std::vector<std::string> Beside(const std::string& file) {
  std::vector<std::string> names;
  const std::filesystem::path folder = std::filesystem::path(file).parent_path();
  for (const auto& entry : std::filesystem::directory_iterator(folder)) {
    names.push_back(entry.path().filename());
  }
  return names;
}

constexpr const char* kOldManager =
    "INSERT INTO manager (uuid, name, token_hash, document, registered) "
    "VALUES ('u', 'n', 'hash', '{}', 7)";

TEST_F(SqliteStoreTest, Older_version_is_upgraded_and_kept_beside) {
  MakeOldDatabase(file, 1);
  Database(file).Execute(kOldManager);
  std::ofstream(file + ".v1") << "from some time before";
  TestStore store(file);
  EXPECT_EQ(store.UpgradeBackup(), file + ".v1");
  EXPECT_TRUE(store->FindManager("u"));
  EXPECT_NO_THROW(store->ListHistoryMembers("u", "/x", 0, {{}, 9}));
  EXPECT_THAT(Beside(file), UnorderedElementsAre("s.db", "s.db-wal", "s.db-shm", "s.db.v1"));

  Database kept(file + ".v1");
  EXPECT_EQ(Number(kept, "PRAGMA user_version"), 1);
  EXPECT_EQ(Count(kept, "manager"), 1);
  EXPECT_EQ(Count(kept, "sqlite_schema WHERE name = 'reading'"), 0);
}

TEST_F(SqliteStoreTest, Nothing_is_upgraded_where_the_old_cannot_be_kept) {
  MakeOldDatabase(file, 1);
  std::filesystem::create_directory(file + ".v1");
  EXPECT_THAT(OpeningFails(file), HasSubstr("cannot write " + file + ".v1: "));
  EXPECT_THAT(Beside(file), UnorderedElementsAre("s.db", "s.db.v1"));
  Database database(file);
  EXPECT_EQ(Count(database, "sqlite_schema WHERE name = 'reading'"), 0);
}

TEST_F(SqliteStoreTest, Version_without_accounts_keeps_its_tokens_and_gains_what_is_new) {
  MakeOldDatabase(file, 2);
  {
    Database old(file);
    old.Execute(kOldManager);
    old.Execute("INSERT INTO chassis VALUES ('c', 'u', '{}', 8)");
    for (const char* id : {"3", "4", "5"}) {
      old.Execute((std::string("INSERT INTO event VALUES (") + id +
                   ", 'u', 'c', 'm', 'Alarm', '{}', " + id + ")")
                      .c_str());
    }
    // Opened by event 4, changed by event 5.
    old.Execute("INSERT INTO alarm VALUES (1, 'c', 'm', 'Alarm', 5, 4, NULL)");
  }
  TestStore store(file);
  EXPECT_EQ(store.UpgradeBackup(), file + ".v2");
  const auto sender = store->FindSender("hash");
  ASSERT_TRUE(sender);
  EXPECT_FALSE(sender->account);
  const auto manager = store->FindManager(sender->uuid);
  ASSERT_TRUE(manager);
  EXPECT_FALSE(manager->account);
  EXPECT_EQ(manager->address, "");
  EXPECT_EQ(store->FindAppliance("u")->changed, 7);
  const auto documents = store->ListDocuments("u", {{}, 9});
  ASSERT_EQ(documents.size(), 2u);
  EXPECT_EQ(documents[1].name.kind, DocumentName::Kind::kChassis);
  EXPECT_EQ(documents[1].name.name, "c");
  EXPECT_EQ(documents[1].changed, 8);
  LogFilter all;
  all.manager = "u";
  all.limit = 9;
  const auto log = store->ListLog(all);
  ASSERT_EQ(log.size(), 3u);
  EXPECT_FALSE(log[0].cleared);
  EXPECT_FALSE(log[1].cleared);
  EXPECT_TRUE(log[2].cleared);
}

// What the step's column means, said in the plainest way: it takes the square of the events'
// number.
constexpr const char* kOpenings =
    "SELECT coalesce((SELECT min(event.id) FROM event WHERE event.chassis = alarm.chassis "
    "AND event.message_id = alarm.message_id AND event.received >= alarm.opened), event) "
    "FROM alarm ORDER BY id";

TEST_F(SqliteStoreTest, Upgrade_finds_the_event_that_opened_each_alarm_whatever_the_clock_did) {
  MakeOldDatabase(file, 2);
  std::vector<std::string> expected;
  {
    Database old(file);
    old.Execute(kOldManager);
    old.Execute("INSERT INTO chassis VALUES ('a', 'u', '{}', 8), ('b', 'u', '{}', 8)");
    std::mt19937 random(7);  // NOLINT(cert-msc32-c,cert-msc51-cpp): the same each time
    const auto below = [&](unsigned most) { return std::to_string(random() % most); };
    for (int id = 1; id <= 300; ++id) {
      const std::string chassis = random() % 2 == 0 ? "'a', " : "'b', ";
      const std::string message = "'m" + below(3) + "', ";
      const std::string number = std::to_string(id);
      old.Execute(("INSERT INTO event VALUES (" + number + ", 'u', " + chassis + message +
                   "'Alarm', '{}', " + below(50) + ")")
                      .c_str());
      old.Execute(("INSERT INTO alarm VALUES (" + number + ", " + chassis + message + "'Alarm', " +
                   number + ", " + below(60) + ", 99)")
                      .c_str());
    }
    expected = Rows(old, kOpenings);
  }
  { TestStore store(file); }
  Database database(file);
  EXPECT_EQ(Rows(database, "SELECT opening FROM alarm ORDER BY id"), expected);
  EXPECT_EQ(Count(database, "temp.sqlite_schema"), 0);
}

TEST_F(SqliteStoreTest, Older_version_keeps_what_the_rules_say_of_its_rows) {
  MakeOldDatabase(file, 3);
  {
    Database old(file);
    old.Execute(
        "INSERT INTO manager (uuid, name, token_hash, document, registered, heartbeat_last, "
        "heartbeat_interval) VALUES ('u', 'n', 'u', '{}', 7, NULL, NULL), "
        "('v', 'n', 'v', '{}', 7, 1000, 90)");
    old.Execute("INSERT INTO chassis VALUES ('c', 'u', '{}', 8, 8), ('d', 'u', '{}', 8, 8)");
    old.Execute(
        "INSERT INTO event VALUES (1, 'u', 'c', 'm', 'Fault', '{}', 1), "
        "(2, 'u', 'c', '258', 'OK', '{}', 1), (3, 'u', 'c', 'zarvel.GDD.5', 'MESSAGE', '{}', 1), "
        "(4, 'u', 'c', 'm', 'cleared', '{}', 1), (5, 'u', 'd', 'n', 'Warning', '{}', 1)");
    old.Execute(
        "INSERT INTO alarm VALUES (1, 'c', 'm', 'Fault', 1, 1, NULL, 1), "
        "(2, 'd', 'n', 'Warning', 5, 1, NULL, 5)");
  }
  TestStore store(file);
  LogFilter all;
  all.manager = "u";
  all.limit = 9;
  std::vector<EventKind> kinds;
  for (const LoggedEvent& entry : store->ListLog(all)) {
    kinds.push_back(entry.event.kind);
    EXPECT_EQ(entry.event.kind, KindOf(entry.event.messageId, entry.event.severity));
  }
  EXPECT_EQ(kinds,
            (std::vector<EventKind>{EventKind::kAlarm, EventKind::kPoint, EventKind::kMessage,
                                    EventKind::kClear, EventKind::kAlarm}));
  EXPECT_EQ(store->CountStates(7 + 2 * 120 - 1), (StateCounts{2, 0, 0}));
  EXPECT_EQ(store->CountStates(7 + 2 * 120), (StateCounts{1, 1, 0}));
  EXPECT_EQ(store->CountStates(1000 + 3 * 90), (StateCounts{0, 0, 2}));
  EXPECT_EQ(store->FindAppliance("u")->alarms, (AlarmCounts{1, 0, 1}));
  store->DeleteChassis("d");
  EXPECT_EQ(store->FindAppliance("u")->alarms, (AlarmCounts{1, 0, 0}));
}

TEST_F(SqliteStoreTest, Version_without_columns_for_lists_gains_them) {
  MakeOldDatabase(file, 3);
  {
    Database old(file);
    const auto add = [&](const std::string& uuid, const std::string& document) {
      old.Execute(("INSERT INTO manager (uuid, name, token_hash, document, registered) VALUES ('" +
                   uuid + "', 'own', '" + uuid + "', '" + document + "', 7)")
                      .c_str());
    };
    add("u", R"({"Name": "\u00e9", "Model": "M", "SerialNumber": 5, "FirmwareVersion": null})");
    add("v", R"({"Name": "", "Model": "M", "Model": "N", "Deeper": {"SerialNumber": "S"}})");
    add("w", R"({"Name": "x", "Name": 1, "SerialNumber": "S", "FirmwareVersion": "F"})");
    add("x", R"({"Name": ")" + std::string(300, 'n') + R"("})");
    old.Execute("INSERT INTO chassis VALUES ('c', 'u', '{}', 8, 8), ('d', 'u', '{}', 8, 8)");
    int id = 0;
    for (const char* alarm : {"'c', 'm', 'FAULT'", "'d', 'm', 'critical'", "'c', 'n', 'Warning'",
                              "'c', 'o', 'whatever'", "'c', 'p', 'Alarm'"}) {
      const std::string number = std::to_string(++id);
      old.Execute(
          ("INSERT INTO event VALUES (" + number + ", 'u', 'c', 'm', 's', '{}', 1)").c_str());
      old.Execute(
          ("INSERT INTO alarm VALUES (" + number + ", " + alarm + ", " + number + ", 1, NULL, 1)")
              .c_str());
    }
    old.Execute("UPDATE alarm SET closed = 9 WHERE message_id = 'p'");
  }
  TestStore store(file);
  EXPECT_EQ(store.UpgradeBackup(), file + ".v3");
  const Shown u = store->FindAppliance("u")->shown;
  EXPECT_EQ(u.name, "\u00e9");
  EXPECT_EQ(u.model, "M");
  EXPECT_FALSE(u.serial);
  EXPECT_FALSE(u.firmware);
  const Shown v = store->FindAppliance("v")->shown;
  EXPECT_EQ(v.name, "own");
  EXPECT_EQ(v.model, "N") << "of members with one name the last counts";
  EXPECT_FALSE(v.serial);
  EXPECT_EQ(store->FindAppliance("w")->shown.name, "own");
  EXPECT_EQ(store->FindAppliance("w")->shown.serial, "S");
  EXPECT_EQ(store->FindAppliance("x")->shown.name, std::string(200, 'n'));
  EXPECT_EQ(store->CountEvents("u"), 5);
  EXPECT_EQ(store->CountEvents("v"), 0);
  EXPECT_EQ(store->FindAppliance("u")->alarms, (AlarmCounts{2, 1, 1}));
  EXPECT_EQ(store->FindAppliance("v")->alarms, AlarmCounts{});
  EXPECT_EQ(store->FindManager("u")->document.substr(0, 9), R"({"Name": )");
  EXPECT_EQ(store->ListDocuments("w", {{}, 9}).size(), 1u);
}

TEST_F(SqliteStoreTest, Newest_version_needs_no_copy) {
  EXPECT_EQ(TestStore(file).UpgradeBackup(), "");
  EXPECT_EQ(TestStore(file).UpgradeBackup(), "");
}

TEST_F(SqliteStoreTest, File_that_is_no_database_is_named) {
  std::ofstream(file) << "This is a text of some length that is certainly no database.";
  EXPECT_THAT(OpeningFails(file), HasSubstr("cannot open " + file + ": file is not a database"));
}

TEST_F(SqliteStoreTest, Folder_that_is_not_there_is_named) {
  const std::string name = folder.File("none/s.db");
  EXPECT_THAT(OpeningFails(name), HasSubstr("cannot open " + name + ": unable to open"));
}

TEST_F(SqliteStoreTest, Resource_of_a_manager_or_chassis_that_is_not_there_is_refused) {
  TestStore store(file);
  store->AddManager({"u", "n", "{}", 1, {}}, "u");
  store->AddManager({"v", "n", "{}", 1, {}}, "v");
  store->AddChassis({"c", "v", "{}", 1});
  EXPECT_THROW(store->PutResource({"/r", "none", {}, "{}", 1}, {}), DatabaseError);
  EXPECT_THROW(store->PutResource({"/r", "u", "none", "{}", 1}, {}), DatabaseError);
  EXPECT_THROW(store->PutResource({"/r", "u", "c", "{}", 1}, {}), DatabaseError);
  EXPECT_THROW(store->AddChassis({"d", "none", "{}", 1}), DatabaseError);
  EXPECT_THROW(store->AddEvent({0, "none", "", "m", "OK", "{}", 1}, ""), DatabaseError);
  Database database(file);
  for (const char* table : {"resource", "event"}) EXPECT_EQ(Count(database, table), 0) << table;
}

TEST_F(StoreTest, Event_that_fails_half_way_leaves_nothing) {
  TestStore store(file);
  store->AddManager({"u", "n", "{}", 1, {}}, "hash");
  // No such chassis: the event fits, its alarm does not.
  EXPECT_THROW(store->AddEvent({0, "u", "none", "m", "Alarm", "{}", 1}, "m"), DatabaseError);
  EXPECT_TRUE(store->ListEvents({"u", {}, {}, {}}, {{}, 9}).empty());
  EXPECT_EQ(store->AddEvent({0, "u", "", "m", "MESSAGE", "{}", 1}, "").outcome,
            AlarmOutcome::kNone);
}

TEST_F(StoreTest, Event_numbers_are_never_given_twice) {
  TestStore store(file);
  store->AddManager({"u", "n", "{}", 1, {}}, "hash");
  const auto first = store->AddEvent({0, "u", "", "m", "OK", "{}", 1}, "").id;
  store->AddManager({"u", "n", "{}", 1, {}}, "hash-2");
  EXPECT_GT(store->AddEvent({0, "u", "", "m", "OK", "{}", 1}, "").id, first);
}

TEST_F(StoreTest, Texts_with_nul_and_quotes_come_back_whole) {
  using namespace std::string_literals;
  TestStore store(file);
  const std::string name = "a'\"b\0c"s;
  store->AddManager({"u", name, "{}", 1, {}}, "hash");
  EXPECT_EQ(store->FindSender("hash")->name, name);
  EXPECT_FALSE(store->FindSender("hash' OR '1'='1"));
}

TEST_F(SqliteStoreTest, Transaction_without_commit_did_not_happen) {
  TestStore store(file);
  Database database(file);
  {
    DatabaseTransaction transaction(database);
    database.Execute(
        "INSERT INTO manager (uuid, name, token_hash, registered) VALUES ('u', 'n', 'h', 1)");
  }
  EXPECT_FALSE(store->FindManager("u"));
}

TEST_F(SqliteStoreTest, Change_that_cannot_begin_has_failed) {
  TestStore store(file);
  Database database(file);
  Database waiting(file);
  sqlite3_busy_timeout(waiting.Handle(), 0);
  {
    const DatabaseTransaction held(database);
    EXPECT_THROW(DatabaseTransaction{waiting}, DatabaseError);
    EXPECT_TRUE(waiting.ChangeFailed());
  }
  DatabaseTransaction(waiting).Commit();
  EXPECT_TRUE(waiting.ChangeFailed()) << "nothing was changed";
  DatabaseTransaction change(waiting);
  waiting.Execute(
      "INSERT INTO manager (uuid, name, token_hash, registered) VALUES ('u', 'n', 'h', 1)");
  change.Commit();
  EXPECT_FALSE(waiting.ChangeFailed());
}

TEST_F(SqliteStoreTest, Change_that_was_undone_tells_nothing_about_the_disk) {
  TestStore store(file);
  Database database(file);
  Database waiting(file);
  sqlite3_busy_timeout(waiting.Handle(), 0);
  {
    const DatabaseTransaction held(database);
    EXPECT_THROW(DatabaseTransaction{waiting}, DatabaseError);
  }
  {
    const DatabaseTransaction undone(waiting);
    waiting.Execute(
        "INSERT INTO manager (uuid, name, token_hash, registered) VALUES ('u', 'n', 'h', 1)");
  }
  DatabaseTransaction(waiting).Commit();
  EXPECT_TRUE(waiting.ChangeFailed());
}

TEST_F(StoreTest, Times_of_units_of_work_and_commits_are_kept) {
  const auto store = OpenTested(file, MissingFile::kCreate);
  const auto count = [](const Histogram& histogram) {
    const auto counts = histogram.Now().counts;
    return std::accumulate(counts.begin(), counts.end(), std::uint64_t{0});
  };
  const auto add = [](Transaction& unit) { unit.AddManager({"u", "n", "{}", 1, {}}, "t"); };
  store->Write(add);
  store->Read([](Transaction& unit) { unit.FindManager("u"); });
  EXPECT_THROW(store->Write([&](Transaction& unit) {
    add(unit);
    throw std::runtime_error("undo");
  }),
               std::runtime_error);
  const StoreTimes& times = store->Times();
  EXPECT_EQ(count(times.reads), 1u);
  EXPECT_EQ(count(times.writes), 2u);
  EXPECT_GE(count(times.commits), 1u);
  EXPECT_LE(count(times.commits), 2u);
  EXPECT_EQ(times.units, 1u);
  EXPECT_EQ(times.repeats, 0u);
  EXPECT_GT(times.commits.Now().sum.count(), 0);
}

}  // namespace
}  // namespace cloudservice
