// SPDX-License-Identifier: Apache-2.0
// Copies of a whole service between files.
#include "CopyTest.h"

#include <algorithm>
#include <fstream>
#include <set>

#include "StoreTest.h"
#include "service/store/Lock.h"
#include "service/store/sqlite/Schema.h"
#include "service/store/sqlite/SqliteStore.h"

namespace cloudservice {
namespace {

using testing::AllOf;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;

class SqliteCopyTest : public testing::Test {
 protected:
  void Fill() {
    SqliteStore store(from);
    FillService(store);
  }
  static std::vector<std::string> Told(const std::string& file) {
    SqliteStore store(file);
    return ToldService(store).Lines();
  }
  void Copy() { CopyService(from, to, progress); }
  std::string CopyFails() {
    try {
      Copy();
    } catch (const DatabaseError& error) {
      return error.what();
    }
    ADD_FAILURE() << "copied";
    return "";
  }
  // What opening the destination as a service does says.
  std::string OpeningFails() const {
    try {
      SqliteStore store(to);
    } catch (const DatabaseError& error) {
      return error.what();
    }
    ADD_FAILURE() << "opened";
    return "";
  }
  // Copies until the destination has been changed `changes` times, and breaks off.
  void CopySome(int changes) {
    SqliteSide source(from, MissingFile::kRefuse);
    WatchedSide target(std::make_unique<SqliteSide>(to, MissingFile::kCreate));
    target.beforeChange = [&, left = changes]() mutable {
      if (left-- == 0) throw std::runtime_error("broken off");
    };
    EXPECT_THROW(CopyService(source, target, progress), std::runtime_error);
  }

  TempFolder folder;
  const std::string from = folder.File("from.db");
  const std::string to = folder.File("to.db");
  std::vector<std::string> lines;
  CopyProgress progress = {[this](const std::string& line) { lines.push_back(line); }};
};

TEST_F(SqliteCopyTest, Copy_tells_what_the_source_tells) {
  Fill();
  const std::vector<std::string> before = Told(from);
  ASSERT_GT(before.size(), 1000u);
  Copy();
  EXPECT_EQ(Told(to), before);
  EXPECT_EQ(Told(from), before);
  EXPECT_THAT(lines.front(), "copy begins: from " + from + " to " + to);
  EXPECT_THAT(lines, testing::Contains("copied manager: 5 rows"));
  EXPECT_THAT(lines.back(), AllOf(StartsWith("copy complete: "),
                                  EndsWith(" rows, the same in " + from + " and " + to)));
}

TEST_F(SqliteCopyTest, Nothing_of_what_was_removed_is_carried) {
  Fill();
  Copy();
  Database database(to);
  EXPECT_EQ(Number(database, "SELECT count(*) FROM chassis WHERE id = 'chassisu2'"), 0);
  EXPECT_EQ(Number(database,
                   "SELECT count(*) FROM event WHERE manager NOT IN "
                   "(SELECT id FROM manager)"),
            0);
  EXPECT_EQ(Number(database,
                   "SELECT count(*) FROM reading WHERE member NOT IN "
                   "(SELECT id FROM member)"),
            0);
  EXPECT_EQ(Number(database, "SELECT count(*) FROM removal"), 1);
  SqliteStore store(to);
  while (store.Write([](Transaction& work) { return work.RemoveNext(1000); }) != Left::kNothing) {
  }
  EXPECT_FALSE(store.Read([](Transaction& look) { return look.FindManager("x"); }));
  EXPECT_EQ(store.Read([](Transaction& look) { return look.CountTotals(); }).managers, 4);
}

TEST_F(SqliteCopyTest, Numbers_go_on_where_the_source_has_ended) {
  Fill();
  SqliteSide::Numbers numbers = SqliteSide(from, MissingFile::kRefuse).LastNumbers();
  EXPECT_GT(numbers["account"], 3);
  Copy();
  SqliteSide::Numbers copied = SqliteSide(to, MissingFile::kRefuse).LastNumbers();
  // Those of members and messages may be given again; changes begin behind those of the source.
  for (const char* table : {"member", "message"}) {
    numbers.erase(table);
    copied.erase(table);
  }
  ++numbers["change"];
  EXPECT_EQ(copied, numbers);
}

TEST_F(SqliteCopyTest, Sessions_and_failed_tries_stay_behind) {
  Fill();
  Copy();
  SqliteStore store(to);
  EXPECT_FALSE(store.Read([](Transaction& look) { return look.FindSession("session"); }));
  EXPECT_EQ(store.Read([](Transaction& look) { return look.FindFailures("192.0.2.5"); }), 0);
}

TEST_F(SqliteCopyTest, Copy_that_is_broken_off_anywhere_goes_on_and_is_not_served_before) {
  Fill();
  const std::vector<std::string> before = Told(from);
  int changes = 0;
  for (bool complete = false; !complete; changes += 2) {
    const std::string file = folder.File("to" + std::to_string(changes));
    const auto run = [&](int most) {
      SqliteSide source(from, MissingFile::kRefuse);
      WatchedSide target(std::make_unique<SqliteSide>(file, MissingFile::kCreate));
      target.beforeChange = [&] {
        if (most-- == 0) throw std::runtime_error("broken off");
      };
      CopyService(source, target, progress);
    };
    try {
      run(changes);
      complete = true;
    } catch (const std::runtime_error&) {
      EXPECT_THROW(SqliteStore store(file), DatabaseError) << changes;
      run(-1);
      EXPECT_THAT(lines, testing::Contains(
                             HasSubstr(changes == 0 ? "copy begins: from" : "copy goes on: from")));
    }
    ASSERT_EQ(Told(file), before) << changes;
  }
  EXPECT_GT(changes, 24);
}

TEST_F(SqliteCopyTest, Rows_that_are_there_are_not_copied_again) {
  Fill();
  CopySome(20);
  SqliteSide source(from, MissingFile::kRefuse);
  WatchedSide target(std::make_unique<SqliteSide>(to, MissingFile::kCreate));
  int changes = 0;
  target.beforeChange = [&] { ++changes; };
  CopyService(source, target, progress);
  EXPECT_LT(changes, 10);
}

TEST_F(SqliteCopyTest, Unfinished_copy_says_how_it_is_finished) {
  Fill();
  CopySome(5);
  EXPECT_EQ(OpeningFails(), to + " is a copy that is not finished: run cloudservice copy again");
  // Nor is it copied on.
  EXPECT_THAT([&] { CopyService(to, folder.File("third.db"), progress); },
              testing::Throws<DatabaseError>(
                  testing::Property(&DatabaseError::what, HasSubstr("that is not finished"))));
}

TEST_F(SqliteCopyTest, Source_that_has_changed_since_is_refused) {
  for (const char* change :
       {"INSERT INTO account (email, created) VALUES ('new', 1)",
        "UPDATE registration_key SET hash = 'other'", "UPDATE operator SET password_hash = 'other'",
        "INSERT INTO change (what, manager, event, kind, name) VALUES (0, 'u', 0, 0, '')"}) {
    std::filesystem::remove(to);
    std::filesystem::remove(from);
    Fill();
    CopySome(20);
    Database(from).Execute(change);
    EXPECT_EQ(CopyFails(), to + " holds a part of a copy, and " + from +
                               " has changed since or is another service: begin with an empty "
                               "database")
        << change;
  }
}

// Each table has a case to itself: each column takes a copy, and each copy many writes to the disk.
class SqliteCopiedTableTest : public SqliteCopyTest,
                              public testing::WithParamInterface<CopiedTable> {};

TEST_P(SqliteCopiedTableTest, Differences_are_found_in_every_column) {
  const CopiedTable& table = CopiedTables().at(GetParam().number);
  Fill();
  for (std::size_t i = 0; i < table.columns.size(); ++i) {
    if (!table.columns[i].compared) continue;
    std::filesystem::remove(to);
    SqliteSide source(from, MissingFile::kRefuse);
    WatchedSide target(std::make_unique<SqliteSide>(to, MissingFile::kCreate));
    bool changed = false;
    target.change = [&](const CopiedTable& one, CopiedRow& row) {
      if (&one != &table || std::exchange(changed, true)) return;
      if (auto* number = std::get_if<std::int64_t>(&row[i])) *number += 1000000;
      if (auto* text = std::get_if<std::string>(&row[i])) *text += "!";
      if (row[i].index() == 0 && table.columns[i].type == CopiedColumn::Type::kNumber) {
        row[i] = std::int64_t{0};
      } else if (row[i].index() == 0) {
        row[i] = "";
      }
    };
    EXPECT_THROW(CopyService(source, target, progress), DatabaseError) << table.columns[i].name;
    EXPECT_TRUE(changed);
  }
}

INSTANTIATE_TEST_SUITE_P(Tables, SqliteCopiedTableTest, testing::ValuesIn(CopiedTables()),
                         [](const testing::TestParamInfo<CopiedTable>& one) {
                           return one.param.name;
                         });

TEST_F(SqliteCopyTest, Difference_names_the_table_with_both_counts_and_sums) {
  Fill();
  SqliteSide source(from, MissingFile::kRefuse);
  WatchedSide target(std::make_unique<SqliteSide>(to, MissingFile::kCreate));
  target.change = [](const CopiedTable& table, CopiedRow& row) {
    if (table.name == "reading") row[PlaceOf(table, "value")] = "9";
  };
  try {
    CopyService(source, target, progress);
    ADD_FAILURE();
  } catch (const DatabaseError& error) {
    EXPECT_THAT(error.what(),
                testing::MatchesRegex("the copy is not the same: reading has ([0-9]+) rows with "
                                      "the sum [0-9]+ in .*from.db, [0-9]+ rows with the sum "
                                      "[0-9]+ in .*to.db: begin with an empty database"));
  }
  EXPECT_THAT(OpeningFails(), HasSubstr("not finished"));
}

TEST_F(SqliteCopyTest, Destination_with_something_in_it_is_refused) {
  Fill();
  for (const char* row :
       {"INSERT INTO account (email, created) VALUES ('a', 1)",
        "INSERT INTO operator (name, created) VALUES ('a', 1)",
        "INSERT INTO event (manager, chassis, message_id, severity, document, received) VALUES "
        "(1, '', '', '', '', 1)"}) {
    std::filesystem::remove(to);
    { SqliteStore store(to); }
    Database(to).Execute(row);
    EXPECT_EQ(CopyFails(), to + " is not empty, and a copy begins with an empty database");
    SqliteStore store(to);
  }
}

TEST_F(SqliteCopyTest, Empty_tables_are_a_destination) {
  Fill();
  { SqliteStore store(to); }
  Copy();
  EXPECT_EQ(Told(to), Told(from));
}

TEST_F(SqliteCopyTest, Nobody_uses_source_or_destination_meanwhile) {
  Fill();
  {
    const DatabaseLock service(from);
    EXPECT_THAT(CopyFails(), from + " is in use by another service");
  }
  {
    const DatabaseLock service(to);
    EXPECT_THAT(CopyFails(), to + " is in use by another service");
  }
  SqliteSide source(from, MissingFile::kRefuse);
  source.BeginReading();
  EXPECT_THROW(DatabaseLock service(from), DatabaseError);
  Database other(from);
  other.Execute("PRAGMA busy_timeout = 0");
  EXPECT_THROW(DatabaseTransaction writing(other), DatabaseError);
}

TEST_F(SqliteCopyTest, One_database_is_not_source_and_destination) {
  Fill();
  std::filesystem::create_symlink(from, to);
  EXPECT_EQ(CopyFails(), from + " and " + to + " are one database");
}

TEST_F(SqliteCopyTest, Source_that_is_missing_or_empty_is_refused) {
  EXPECT_EQ(CopyFails(), "cannot open " + from + ": it is not there");
  EXPECT_FALSE(std::filesystem::exists(to));
  { Database empty(from); }
  EXPECT_EQ(CopyFails(), from + " is empty");
}

TEST_F(SqliteCopyTest, Newer_schema_is_refused_on_both_sides) {
  Fill();
  { SqliteStore store(to); }
  for (const std::string& file : {from, to}) {
    Database database(file);
    const std::int64_t version = Number(database, "PRAGMA user_version");
    database.Execute(("PRAGMA user_version = " + std::to_string(version + 1)).c_str());
    EXPECT_THAT(CopyFails(), StartsWith(file + " was written by a newer cloudservice"));
    database.Execute(("PRAGMA user_version = " + std::to_string(version)).c_str());
  }
}

TEST_F(SqliteCopyTest, Unfinished_copy_by_another_version_is_refused) {
  Fill();
  CopySome(5);
  Database(to).Execute("PRAGMA user_version = 3");
  EXPECT_EQ(CopyFails(), to + " holds a part of a copy by another version of cloudservice: begin "
                              "with an empty database");
}

TEST_F(SqliteCopyTest, Row_that_cannot_be_kept_is_named) {
  Fill();
  SqliteSide source(from, MissingFile::kRefuse);
  WatchedSide target(std::make_unique<SqliteSide>(to, MissingFile::kCreate));
  target.change = [](const CopiedTable& table, CopiedRow& row) {
    if (table.name == "operator") row[PlaceOf(table, "name")] = "same";
  };
  try {
    CopyService(source, target, progress);
    ADD_FAILURE();
  } catch (const DatabaseError& error) {
    EXPECT_EQ(error.what(),
              "cannot keep operator 2 in " + to + ": UNIQUE constraint failed: operator.name");
  }
}

TEST_F(SqliteCopyTest, Progress_is_told_every_few_seconds_with_percent) {
  Fill();
  std::chrono::steady_clock::time_point now;
  progress.now = [&] { return now += std::chrono::seconds(2); };
  {
    Database(from).Execute(
        "WITH RECURSIVE n (i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n "
        "WHERE i < 40000) INSERT INTO reading (member, time, value) "
        "SELECT (SELECT id FROM member WHERE manager = 1 LIMIT 1), i, '1' "
        "FROM n");
  }
  Copy();
  std::vector<std::string> told;
  for (const std::string& line : lines) {
    if (line.find("ing: ") != std::string::npos) told.push_back(line);
  }
  ASSERT_THAT(told, testing::SizeIs(testing::Ge(6u)));
  EXPECT_THAT(told[0], testing::MatchesRegex("copied reading: 15000 of 406[0-9]+ rows, 36 %"));
  EXPECT_THAT(told[1], testing::MatchesRegex("copied reading: 30000 of 406[0-9]+ rows, 73 %"));
  EXPECT_THAT(told[3], "copied reading: 40521 rows");
  EXPECT_THAT(told[4], testing::MatchesRegex("compared reading: [0-9]+ of 813[0-9]+ rows, .*"));
  EXPECT_THAT(told.back(), StartsWith("compared reading: "));
}

TEST_F(SqliteCopyTest, Rows_at_once_are_few_and_bounded_in_bytes) {
  {
    SqliteStore store(from);
    store.Write([](Transaction& work) {
      work.AddManager({"u", "n", "{}", 1, {}}, "t");
      for (int i = 0; i < 5; ++i) {
        const std::string path = "/r" + std::to_string(i);
        work.PutResource({path, "u", {}, std::string(3u << 20, 'x'), 1}, {path, "u", {}, 1, {}});
      }
    });
  }
  SqliteSide side(from, MissingFile::kRefuse);
  const CopiedTable& resource = CopiedTableOf("resource");
  CopySide::Rows some = side.Next(resource, "");
  EXPECT_EQ(some.rows.size(), 2u);
  some = side.Next(resource, some.place);
  EXPECT_EQ(some.rows.size(), 2u);
  some = side.Next(resource, some.place);
  EXPECT_EQ(some.rows.size(), 1u);
  EXPECT_THAT(side.Next(resource, some.place).rows, IsEmpty());
}

// A new column has to be carried, or to be one that need not be.
TEST_F(SqliteCopyTest, Every_column_is_known) {
  { SqliteStore store(from); }
  Database database(from);
  std::string all;
  for (const std::string& table :
       Rows(database, "SELECT name FROM sqlite_schema WHERE type = 'table' ORDER BY name")) {
    all += table + ":";
    for (const std::string& column :
         Rows(database, "SELECT name FROM pragma_table_xinfo('" + table + "')")) {
      all += " " + column;
    }
    all += "\n";
  }
  EXPECT_EQ(all, R"(account: id email created
alarm: id manager chassis message_id severity rank event opening opened closed acknowledged acknowledged_by note
change: id what manager event kind name time
chassis: number id manager document created changed
event: id manager chassis message_id severity document received kind
failure: sender whole
manager: id uuid name token_hash registered account address changed heartbeat_count heartbeat_last heartbeat_interval late_at offline_at heard_at label model serial firmware faults alarms warnings events documents bytes day day_events state next_at went_at
manager_document: manager document
member: id manager chassis path name
message: id manager key digest event received
operator: id name password_hash token_hash created
reading: id member time value
registration_key: id account hash created
removal: id account manager chassis
resource: id manager chassis path document changed
session: hash operator used
silence: id manager rank opened offline closed acknowledged acknowledged_by note
sqlite_sequence: name seq
total: id managers chassis faults alarms warnings with_fault with_alarm with_warning late offline
)");
}

}  // namespace
}  // namespace cloudservice
