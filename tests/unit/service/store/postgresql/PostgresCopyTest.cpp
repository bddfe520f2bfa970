// SPDX-License-Identifier: Apache-2.0
// Copies of a whole service between a file and a server.
#include <chrono>
#include <optional>

#include "PostgresDatabase.h"
#include "Rows.h"
#include "service/store/postgresql/Days.h"
#include "service/store/postgresql/EventDays.h"
#include "service/store/postgresql/PostgresSide.h"
#include "service/store/postgresql/PostgresStore.h"
#include "service/store/sqlite/SqliteStore.h"
#include "store/CopyTest.h"

namespace cloudservice::postgresql {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::Pair;
using testing::StartsWith;

TEST(EventDaysTest, Number_gets_the_day_of_arrival_in_its_upper_half) {
  EventDays days;
  EXPECT_TRUE(days.Add(5, 3 * kSecondsOfDay));
  EXPECT_FALSE(days.Add(6, 3 * kSecondsOfDay + 5));
  EXPECT_TRUE(days.Add(8, 7 * kSecondsOfDay));
  EXPECT_EQ(days.NumberOf(5), (std::int64_t{3} << 32) + 5);
  EXPECT_EQ(days.NumberOf(7), (std::int64_t{3} << 32) + 7);
  EXPECT_EQ(days.NumberOf(8), (std::int64_t{7} << 32) + 8);
  EXPECT_EQ(days.NumberOf(900), (std::int64_t{7} << 32) + 900);
  EXPECT_EQ(days.NumberOf(4), 4);
}

TEST(EventDaysTest, Days_never_fall) {
  EventDays days;
  days.Add(1, 5 * kSecondsOfDay);
  EXPECT_FALSE(days.Add(2, 3 * kSecondsOfDay));
  EXPECT_EQ(days.NumberOf(2), (std::int64_t{5} << 32) + 2);
  // Asked again, what has a day keeps it.
  EXPECT_TRUE(days.Add(3, 6 * kSecondsOfDay));
  EXPECT_FALSE(days.Add(1, 5 * kSecondsOfDay));
  EXPECT_FALSE(days.Add(2, 9 * kSecondsOfDay));
  EXPECT_THAT(days.Days(), ElementsAre(Pair(1, 5), Pair(3, 6)));
}

TEST(EventDaysTest, Number_that_has_a_day_keeps_it) {
  const std::int64_t first = (std::int64_t{10} << 32) + 77;
  EventDays days;
  days.Add(first, 9 * kSecondsOfDay);
  EXPECT_EQ(days.NumberOf(first), first);
  const std::int64_t gone = (std::int64_t{12} << 32) + 3;
  EXPECT_EQ(days.NumberOf(gone), gone);
  // Those that a file has counted on get the days of their arrival.
  EXPECT_TRUE(days.Add(first + 1, 11 * kSecondsOfDay));
  EXPECT_EQ(days.NumberOf(first + 1), (std::int64_t{11} << 32) + 78);
}

class PostgresCopyTest : public testing::Test {
 protected:
  // The server notices the end of a connection a moment later: who comes next waits for it.
  static constexpr std::chrono::milliseconds kLong = std::chrono::minutes(1);
  static constexpr std::chrono::milliseconds kAtOnce{0};

  std::unique_ptr<CopySide> Server(const PostgresDatabase& of,
                                   std::chrono::milliseconds wait = kLong) {
    return std::make_unique<PostgresSide>(of.Url(), wait);
  }
  std::unique_ptr<CopySide> File(const std::string& name) {
    return std::make_unique<SqliteSide>(folder.File(name), MissingFile::kCreate);
  }
  void Copy(std::unique_ptr<CopySide> from, std::unique_ptr<CopySide> to) {
    CopyService(*from, *to, progress);
  }
  std::string CopyFails(std::unique_ptr<CopySide> from, std::unique_ptr<CopySide> to) {
    try {
      Copy(std::move(from), std::move(to));
    } catch (const DatabaseError& error) {
      return error.what();
    }
    ADD_FAILURE() << "copied";
    return "";
  }
  std::string CopyFails() { return CopyFails(File("a"), Server(database)); }
  void FillFile() {
    SqliteStore store(folder.File("a"));
    FillService(store);
  }
  void FillServer() {
    PostgresStore store(database.Url(), {}, kLong);
    FillService(store);
  }
  std::vector<std::string> ToldByFile(const std::string& name) {
    SqliteStore store(folder.File(name));
    return ToldService(store).Lines();
  }
  std::vector<std::string> ToldByServer(const PostgresDatabase& of) {
    PostgresStore store(of.Url(), {}, kLong);
    return ToldService(store).Lines();
  }
  std::vector<std::string> Texts(const std::string& query) {
    const Sql sql(query, Sql::Plan::kEachTime);
    Connection connection = database.Connect();
    const Result result = connection.Run(sql);
    std::vector<std::string> texts;
    for (const Row row : result) texts.push_back(row.Text(0));
    return texts;
  }
  // Breaks the copy off before its change of this number; true when it came to its end.
  bool CopySome(std::unique_ptr<CopySide> from, std::unique_ptr<CopySide> to, int changes) {
    WatchedSide target(std::move(to));
    target.beforeChange = [&] {
      if (changes-- == 0) throw std::runtime_error("broken off");
    };
    try {
      CopyService(*from, target, progress);
      return true;
    } catch (const std::runtime_error& error) {
      EXPECT_STREQ(error.what(), "broken off");
      return false;
    }
  }
  std::string OpeningFails(std::chrono::milliseconds wait = kLong) {
    try {
      PostgresStore store(database.Url(), {}, wait);
    } catch (const DatabaseError& error) {
      return error.what();
    }
    ADD_FAILURE() << "opened";
    return "";
  }

  TempFolder folder;
  PostgresDatabase database;
  std::vector<std::string> lines;
  CopyProgress progress = {[this](const std::string& line) { lines.push_back(line); }};
};

TEST_F(PostgresCopyTest, File_to_server_and_back_tells_the_same) {
  FillFile();
  const std::vector<std::string> before = ToldByFile("a");
  ASSERT_GT(before.size(), 1000u);
  Copy(File("a"), Server(database));
  EXPECT_EQ(ToldByServer(database), before);
  Copy(Server(database), File("b"));
  EXPECT_EQ(ToldByFile("b"), before);
}

TEST_F(PostgresCopyTest, Server_to_file_and_back_tells_the_same) {
  FillServer();
  const std::vector<std::string> before = ToldByServer(database);
  Copy(Server(database), File("a"));
  EXPECT_EQ(ToldByFile("a"), before);
  const PostgresDatabase other;
  Copy(File("a"), Server(other));
  EXPECT_EQ(ToldByServer(other), before);
  const PostgresDatabase third;
  Copy(Server(other), Server(third));
  EXPECT_EQ(ToldByServer(third), before);
}

TEST_F(PostgresCopyTest, Service_goes_on_on_the_server) {
  FillFile();
  const std::int64_t accounts = File("a")->LastNumbers().at("account");
  Copy(File("a"), Server(database));
  PostgresStore store(database.Url(), {}, kLong);
  const auto newest = [&] {
    return store.Read([](Transaction& look) {
      LogFilter filter;
      filter.manager = "u";
      filter.limit = 1;
      return look.ListLog(filter).front().event;
    });
  };
  const std::int64_t before = newest().id;
  const auto add = [&](const std::string& severity, const std::string& alarm,
                       std::int64_t received) {
    return store.Write([&](Transaction& work) {
      return work.AddEvent(
          {0, "u", "chassisu1", severity == "OK" ? "258" : alarm, severity, "{}", received}, alarm);
    });
  };
  EXPECT_EQ(add("OK", "back", kNoon + 3 * kDaySeconds).outcome, AlarmOutcome::kClosed);
  EXPECT_GT(newest().id, before);
  EXPECT_EQ(newest().received, kNoon + 3 * kDaySeconds);
  EXPECT_EQ(DayOfEvent(add("Fault", "new", kNoon + 9 * kDaySeconds).id), DayOf(kNoon) + 9);
  // Numbers of accounts that are gone are not given again.
  store.Write([](Transaction& work) { work.AddRegistrationKey("n@b", "h", false, 1); });
  EXPECT_EQ(store.Read([](Transaction& look) { return look.FindAccount("n@b")->id; }),
            accounts + 1);
  store.Write([](Transaction& work) {
    work.AddManager({"new", "new", "{}", 1, {}}, "t");
    work.AddChassis({"chassisnew", "new", "{}", 1});
    work.PutResource({"/r", "new", "chassisnew", "{}", kNoon},
                     {"/r", "new", "chassisnew", kNoon, {{"n", "1"}}});
    work.AddOperator({0, "new", "h", std::nullopt, 1});
  });
  // What was removed with its account goes on to go.
  while (store.Write([](Transaction& work) { return work.RemoveNext(1000); }) != Left::kNothing) {
  }
  EXPECT_FALSE(store.Read([](Transaction& look) { return look.FindManager("x"); }));
  // A reading that says nothing new is known from the last one.
  const auto values = [&] {
    return store.Read([](Transaction& look) {
      return look.ListHistory({"u", "/t", "b", 0, 0, 1000}).size();
    });
  };
  const std::size_t known = values();
  store.Write([](Transaction& work) {
    work.PutResource({"/t", "u", "chassisu1", "{}", kNoon},
                     {"/t", "u", "chassisu1", kNoon + 129 * 3600, {{"b", "1.5"}}});
  });
  EXPECT_EQ(values(), known);
  // Retention finds the partitions.
  const OldRows old = {kNoon + 100 * kDaySeconds, kNoon + 100 * kDaySeconds, 1000};
  while (store.Write([&](Transaction& work) { return work.RemoveOld(old); }).more) {
  }
  EXPECT_EQ(values(), 0u);
  const AlarmCounts open = store.Read([](Transaction& look) { return look.CountTotals().alarms; });
  EXPECT_EQ(Texts("SELECT id FROM event").size(),
            static_cast<std::size_t>(open[0] + open[1] + open[2]));
}

TEST_F(PostgresCopyTest, Oldest_events_of_open_alarms_need_no_partitions) {
  FillFile();
  Copy(File("a"), Server(database));
  EXPECT_THAT(Texts("SELECT id >> 32 FROM event WHERE day = -1"),
              ElementsAre(std::to_string(DayOf(kNoon) - 400), std::to_string(DayOf(kNoon) - 399)));
  EXPECT_THAT(Texts("SELECT relname FROM pg_class WHERE relname ~ '^event_[0-9]+$' ORDER BY 1"),
              ElementsAre("event_" + std::to_string(DayOf(kNoon) - 300),
                          "event_" + std::to_string(DayOf(kNoon)),
                          "event_" + std::to_string(DayOf(kNoon) + 1),
                          "event_" + std::to_string(DayOf(kNoon) + 2),
                          "event_" + std::to_string(DayOf(kNoon) + 3)));
}

TEST_F(PostgresCopyTest, Day_of_the_next_event_has_a_partition_after_a_clock_that_was_ahead) {
  {
    SqliteStore store(folder.File("a"));
    FillService(store);
  }
  Database(folder.File("a"))
      .Execute("UPDATE sqlite_sequence SET seq = 30000 << 32 WHERE name = 'event'");
  Copy(File("a"), Server(database));
  PostgresStore store(database.Url(), {}, kLong);
  const StoredEvent stored = store.Write([](Transaction& work) {
    return work.AddEvent({0, "u", "", "m", "OK", "{}", kNoon}, "m");
  });
  EXPECT_EQ(stored.id, (std::int64_t{30000} << 32) + 1);
}

TEST_F(PostgresCopyTest, Many_rows_of_each_kind_are_carried) {
  FillFile();
  Database(folder.File("a"))
      .Execute(
          "CREATE TEMP TABLE n AS WITH RECURSIVE n (i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n "
          "WHERE i < 5200) SELECT i FROM n;"
          "INSERT INTO resource (manager, path, document, changed) SELECT 1, '/' || (i * 7919 % "
          "11003), '', i FROM n;"
          "INSERT INTO event (manager, chassis, message_id, severity, document, received) "
          "SELECT 2, '', 'm', 'OK', '{}', 1728345600 + i FROM n;"
          "INSERT INTO member (id, manager, path, name) SELECT 1000 + i, 1, '/many', i FROM n "
          "WHERE i <= 100;"
          "INSERT INTO reading (member, time, value) SELECT 1001 + i % 100, 1728345600 + 16 * i, "
          "i FROM n");
  const std::vector<std::string> before = ToldByFile("a");
  Copy(File("a"), Server(database));
  EXPECT_EQ(ToldByServer(database), before);
  Copy(Server(database), File("b"));
  EXPECT_EQ(ToldByFile("b"), before);
}

TEST_F(PostgresCopyTest, Copy_to_a_server_that_is_broken_off_anywhere_goes_on) {
  FillFile();
  const std::vector<std::string> before = ToldByFile("a");
  int changes = 0;
  for (bool complete = false; !complete; changes += 3) {
    const PostgresDatabase other;
    complete = CopySome(File("a"), Server(other), changes);
    if (!complete) {
      EXPECT_THROW(PostgresStore store(other.Url(), {}, kLong), DatabaseError) << changes;
      Copy(File("a"), Server(other));
    }
    ASSERT_EQ(ToldByServer(other), before) << changes;
  }
  EXPECT_GT(changes, 24);
}

TEST_F(PostgresCopyTest, Copy_from_a_server_that_is_broken_off_anywhere_goes_on) {
  FillServer();
  const std::vector<std::string> before = ToldByServer(database);
  int changes = 0;
  for (bool complete = false; !complete; changes += 3) {
    const std::string name = std::to_string(changes);
    complete = CopySome(Server(database), File(name), changes);
    if (!complete) Copy(Server(database), File(name));
    ASSERT_EQ(ToldByFile(name), before) << changes;
  }
}

TEST_F(PostgresCopyTest, Reading_begins_behind_any_place) {
  FillServer();
  for (const CopiedTable& table : CopiedTables()) {
    const std::unique_ptr<CopySide> side = Server(database);
    side->BeginReading();
    CopySide::Rows all = side->Next(table, "");
    if (all.rows.empty()) continue;
    const std::string end = all.place;
    EXPECT_THAT(side->Next(table, end).rows, IsEmpty()) << table.name;
    const CopySide::Rows again = side->Next(table, "");
    EXPECT_EQ(again.rows, all.rows) << table.name;
    EXPECT_EQ(again.place, end);
  }
}

TEST_F(PostgresCopyTest, Unfinished_copy_is_not_served) {
  FillFile();
  CopySome(File("a"), Server(database), 5);
  const std::string shown = ShownUrl(database.Url());
  EXPECT_EQ(OpeningFails(), shown + " is a copy that is not finished: run cloudservice copy again");
  EXPECT_THAT(CopyFails(Server(database), File("b")), HasSubstr("that is not finished"));
}

TEST_F(PostgresCopyTest, Source_that_has_changed_since_is_refused) {
  FillServer();
  CopySome(Server(database), File("b"), 20);
  {
    PostgresStore store(database.Url(), {}, kLong);
    store.Write([](Transaction& work) { work.AddHeartbeat("u", kNoon + 70, 60, ""); });
  }
  EXPECT_THAT(CopyFails(Server(database), File("b")), HasSubstr("has changed since"));
}

TEST_F(PostgresCopyTest, Destination_with_something_in_it_is_refused) {
  FillFile();
  {
    PostgresStore store(database.Url(), {}, kLong);
    store.Write([](Transaction& work) { work.AddOperator({0, "o", "h", std::nullopt, 1}); });
  }
  EXPECT_EQ(CopyFails(),
            ShownUrl(database.Url()) + " is not empty, and a copy begins with an empty database");
  PostgresStore store(database.Url(), {}, kLong);
}

TEST_F(PostgresCopyTest, Database_of_another_program_is_refused_on_both_sides) {
  FillFile();
  database.Connect().Execute("CREATE TABLE other (id int)");
  const std::string why = ShownUrl(database.Url()) + " is the database of another program";
  EXPECT_EQ(CopyFails(), why);
  EXPECT_EQ(CopyFails(Server(database), File("b")), why);
}

TEST_F(PostgresCopyTest, Newer_schema_is_refused_on_both_sides) {
  FillFile();
  { PostgresStore store(database.Url(), {}, kLong); }
  database.Connect().Execute("UPDATE cloudservice_schema SET version = version + 1");
  const std::string why = ShownUrl(database.Url()) + " was written by a newer cloudservice";
  EXPECT_THAT(CopyFails(), StartsWith(why));
  EXPECT_THAT(CopyFails(Server(database), File("b")), StartsWith(why));
}

TEST_F(PostgresCopyTest, Source_without_tables_is_refused) {
  EXPECT_EQ(CopyFails(Server(database), File("b")), ShownUrl(database.Url()) + " is empty");
}

TEST_F(PostgresCopyTest, One_database_is_not_source_and_destination) {
  FillServer();
  EXPECT_THAT(CopyFails(Server(database), Server(database)), HasSubstr(" are one database"));
}

TEST_F(PostgresCopyTest, Nobody_uses_source_or_destination_meanwhile) {
  FillFile();
  const std::string shown = ShownUrl(database.Url());
  {
    PostgresStore store(database.Url(), {}, kLong);
    const std::string why = shown + " is in use by a service, a command or another copy";
    EXPECT_EQ(CopyFails(File("a"), Server(database, kAtOnce)), why);
    EXPECT_EQ(CopyFails(Server(database, kAtOnce), File("b")), why);
  }
  { const std::unique_ptr<CopySide> ended = Server(database); }
  const std::unique_ptr<CopySide> source = Server(database);
  source->BeginReading();
  EXPECT_EQ(OpeningFails(kAtOnce), shown + " is being copied");
  // Nor does somebody who asks nobody change it.
  Connection other = database.Connect();
  EXPECT_THAT([&] { other.Execute("SET lock_timeout = 1; DELETE FROM manager"); },
              testing::Throws<ServerError>());
}

TEST_F(PostgresCopyTest, Row_that_the_server_refuses_is_named) {
  FillFile();
  // Longer than an entry of an index can be, also compressed.
  std::string path = "/";
  for (std::uint64_t x = 1; path.size() < 9000; x = x * 6364136223846793005U + 1) {
    path += "0123456789abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ_-"[x >> 58];
  }
  {
    SqliteStore store(folder.File("a"));
    store.Write([&](Transaction& work) {
      work.PutResource({path, "v", {}, "{}", 1}, {path, "v", {}, 1, {}});
    });
  }
  const std::string why = CopyFails();
  EXPECT_THAT(why, StartsWith("cannot keep resource 2 " + path.substr(0, 100)));
  EXPECT_THAT(why, HasSubstr("... in " + ShownUrl(database.Url()) + ": index row "));
  EXPECT_LT(why.size(), 500u);
}

TEST_F(PostgresCopyTest, Difference_is_found) {
  FillFile();
  std::unique_ptr<CopySide> source = File("a");
  WatchedSide target(Server(database));
  target.change = [](const CopiedTable& table, CopiedRow& row) {
    if (table.name == "alarm") row[PlaceOf(table, "opening")] = std::int64_t{1};
  };
  EXPECT_THAT([&] { CopyService(*source, target, progress); },
              testing::Throws<DatabaseError>(testing::Property(
                  &DatabaseError::what, HasSubstr("the copy is not the same: alarm has"))));
}

TEST_F(PostgresCopyTest, Only_the_owner_of_the_tables_writes_a_copy) {
  FillFile();
  { PostgresStore store(database.Url(), {}, kLong); }
  const std::string role = "clerk_" + database.Name();
  PostgresDatabase::Server().Execute("CREATE ROLE " + role + " LOGIN");
  database.Connect().Execute(
      "GRANT SELECT, INSERT, UPDATE, DELETE ON ALL TABLES IN SCHEMA public "
      "TO " +
      role + "; GRANT SELECT ON ALL SEQUENCES IN SCHEMA public TO " + role);
  std::string url = database.Url();
  url.replace(url.find("user=postgres"), 13, "user=" + role);
  EXPECT_EQ(CopyFails(File("a"), std::make_unique<PostgresSide>(url)),
            "only the owner of the tables of " + ShownUrl(url) + " can copy into it");
  // The service's role can read.
  Copy(std::make_unique<PostgresSide>(url), File("b"));
  database.Connect().Execute("DROP OWNED BY " + role);
  PostgresDatabase::Server().Execute("DROP ROLE " + role);
}

TEST_F(PostgresCopyTest, Every_column_is_known) {
  { PostgresStore store(database.Url(), {}, kLong); }
  EXPECT_THAT(
      Texts("SELECT relname || ': ' || string_agg(attname, ' ' ORDER BY attnum) FROM pg_class "
            "JOIN pg_attribute ON attrelid = pg_class.oid AND attnum > 0 AND NOT attisdropped "
            "WHERE relnamespace = 'public'::regnamespace AND relkind IN ('r', 'p') "
            "AND NOT relispartition GROUP BY relname ORDER BY relname COLLATE \"C\""),
      ElementsAre(
          "account: id email created",
          "alarm: id manager chassis message_id severity rank event opening opened closed "
          "acknowledged acknowledged_by note",
          "change: id what manager event kind name time",
          "chassis: number id manager document created changed", "cloudservice_schema: version",
          "event: id day manager chassis message_id severity document received kind",
          "event_count: manager day count before", "failure: sender whole",
          "heartbeat: manager count last interval heard late_at offline_at address state next_at "
          "went_at "
          "silent",
          "manager: key uuid name token_hash registered account changed label sorted model serial "
          "firmware faults alarms warnings revision documents bytes",
          "manager_document: manager document",
          "member: id manager chassis path name last_time last_value",
          "message: id manager key digest event received",
          "operator: id name password_hash token_hash created", "reading: id member time value",
          "registration_key: id account hash created", "removal: kind key",
          "resource: manager path chassis document changed", "session: hash operator used",
          "silence: id manager rank opened offline closed acknowledged acknowledged_by note",
          "total: managers chassis faults alarms warnings faulty alarmed warned late offline"));
}

}  // namespace
}  // namespace cloudservice::postgresql
