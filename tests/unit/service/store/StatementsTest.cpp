// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <set>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Rows.h"
#include "TempFolder.h"
#include "TestStore.h"
#include "service/store/Store.h"
#include "service/store/sqlite/Schema.h"

namespace cloudservice {
namespace {

using testing::Contains;
using testing::ContainsRegex;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;
using testing::UnorderedElementsAre;

// What has more rows the more appliances there are.
const std::set<std::string> kGrowing = {
    "manager", "manager_document", "chassis", "resource",         "event",   "alarm",
    "member",  "reading",          "account", "registration_key", "removal", "change",
    "session", "failure",          "message", "silence"};

// A scan that is meant so: a piece of the statement, the table, and why.
struct Meant {
  const char* piece;
  const char* table;
  const char* why;
};
constexpr const char* kNoIndex = "an index over the last heartbeats would make each dearer";
constexpr const char* kCopied = "how much there is to copy, once";
const std::vector<Meant> kMeant = {
    {"SELECT 1 FROM manager ORDER BY uuid LIMIT 1", "manager", "the order of an index, with LIMIT"},
    {"SELECT 1 FROM registration_key ORDER BY id LIMIT 1", "registration_key",
     "the order of the key, with LIMIT"},
    {"FROM removal ORDER BY id LIMIT 1", "removal", "the first of all"},
    {"FROM change ORDER BY id DESC LIMIT 1", "change", "the last of all"},
    {"FROM session ORDER BY used LIMIT 1", "session", "the first of an index, and their number"},
    {"FROM failure ORDER BY whole LIMIT 1", "failure", "the first of an index, and their number"},
    {"SELECT count(*) FROM manager WHERE (?2", "manager", "a search by text"},
    {"ORDER BY label", "manager", "the order of an index, with LIMIT"},
    {"ORDER BY faults", "manager", "the order of an index, with LIMIT"},
    {"ORDER BY heard_at", "manager", kNoIndex},
    {"WHERE heard_at > ?1", "manager", kNoIndex},
    {"heartbeat_last IS NULL", "manager", "an index of those alone"},
    {"ORDER BY registered", "manager", "the order of an index, with LIMIT"},
    {"SELECT count(*) FROM account", "account", kCopied},
    {"SELECT count(*) FROM registration_key", "registration_key", kCopied},
    {"SELECT count(*) FROM removal", "removal", kCopied},
    {"SELECT count(*) FROM manager", "manager", kCopied},
    {"SELECT count(*) FROM chassis", "chassis", kCopied},
    {"SELECT count(*) FROM resource", "resource", kCopied},
    {"SELECT count(*) FROM event", "event", kCopied},
    {"SELECT count(*) FROM alarm", "alarm", kCopied},
    {"SELECT count(*) FROM silence", "silence", kCopied},
    {"SELECT count(*) FROM member", "member", kCopied},
    {"SELECT count(*) FROM reading", "reading", kCopied},
    {"SELECT count(*) FROM message", "message", kCopied},
    {"UPDATE total SET (faults", "manager", "once, at the end of a copy"},
    {"UPDATE manager SET state = 3 - rank", "silence", "once, at the end of a copy"},
};

class StatementsTest : public testing::Test {
 protected:
  // The steps of the plan, as SQLite words them.
  std::vector<std::string> Plan(const std::string& sql) {
    constexpr int kDetail = 3;
    return Rows(database, "EXPLAIN QUERY PLAN " + sql, kDetail);
  }

  // The growing table that a step of a plan reads as a whole; empty: it reads none.
  static std::string Scanned(const std::string& step) {
    if (step.rfind("SCAN ", 0) != 0) return "";
    const std::string table = step.substr(5, step.find(' ', 5) - 5);
    return kGrowing.count(table) == 0 ? "" : table;
  }

  TempFolder folder;
  TestStore store{folder.File("s.db")};
  Database database{folder.File("s.db")};
};

TEST_F(StatementsTest, None_scans_what_grows_with_the_fleet_unless_it_is_meant_so) {
  ASSERT_GT(Sql::All().size(), 60u);
  database.Execute(kMakeCopyNotes);
  std::set<const Meant*> used;
  for (const Sql* sql : Sql::All()) {
    for (const std::string& step : Plan(sql->Text())) {
      EXPECT_THAT(step, Not(ContainsRegex("AUTOMATIC"))) << sql->Text();
      const std::string table = Scanned(step);
      if (table.empty()) continue;
      const auto meant = std::find_if(kMeant.begin(), kMeant.end(), [&](const Meant& one) {
        return table == one.table && sql->Text().find(one.piece) != std::string::npos;
      });
      if (meant == kMeant.end()) {
        ADD_FAILURE() << step << " of " << sql->Text();
      } else {
        used.insert(&*meant);
      }
    }
  }
  for (const Meant& meant : kMeant) EXPECT_EQ(used.count(&meant), 1u) << meant.piece;
}

TEST_F(StatementsTest, Lists_in_the_order_of_an_index_do_not_sort_all_for_it) {
  for (const Sql* sql : Sql::All()) {
    const std::string& text = sql->Text();
    if (text.rfind("SELECT uuid FROM manager WHERE (", 0) != 0) continue;
    if (text.find("state = ?2") != std::string::npos) continue;  // the few that are in a state
    if (text.find("heard_at") != std::string::npos) continue;    // without an index
    for (const std::string& step : Plan(text)) {
      EXPECT_NE(step, "USE TEMP B-TREE FOR ORDER BY") << text;
    }
  }
}

TEST_F(StatementsTest, Pages_of_lists_are_read_from_their_first_entry_on_without_sorting) {
  const std::set<std::string> lists = {"SELECT id, path, name FROM member",
                                       "SELECT alarm.id, alarm.event",
                                       "SELECT event.id FROM alarm",
                                       "SELECT name FROM member",
                                       "SELECT alarm.id, uuid,",
                                       "SELECT silence.id, uuid,",
                                       "SELECT chassis.id, number FROM",
                                       "SELECT chassis.id, uuid,",
                                       "SELECT path FROM resource",
                                       "SELECT id FROM event",
                                       "SELECT path, document, changed",
                                       "SELECT id, document, changed"};
  for (const std::string& list : lists) {
    int seen = 0;
    for (const Sql* sql : Sql::All()) {
      if (sql->Text().rfind(list, 0) != 0) continue;
      if (sql->Text().find("AND uuid = ?6") != std::string::npos) continue;  // of one appliance
      ++seen;
      EXPECT_THAT(Plan(sql->Text()), Not(Contains(StartsWith("USE TEMP B-TREE")))) << sql->Text();
    }
    EXPECT_GT(seen, 0) << list;
  }
}

TEST_F(StatementsTest, Log_is_read_from_the_event_or_the_time_it_is_asked_from) {
  std::vector<std::string> plans;
  for (const Sql* sql : Sql::All()) {
    if (sql->Text().find("kind = 0 AND NOT open") == std::string::npos) continue;
    const std::vector<std::string> plan = Plan(sql->Text());
    plans.push_back(plan.front());
    EXPECT_THAT(plan, Not(Contains(StartsWith("USE TEMP B-TREE"))));
  }
  EXPECT_THAT(plans, UnorderedElementsAre(
                         "SEARCH event USING INDEX event_received (received>? AND received<?)",
                         "SEARCH event USING INDEX event_manager_id (manager=? AND rowid<?)",
                         "SEARCH event USING INDEX event_manager_received "
                         "(manager=? AND received>? AND received<?)"));
}

TEST_F(StatementsTest, What_follows_a_place_in_the_fleet_is_a_stretch_of_an_index) {
  std::multiset<std::string> plans;
  for (const Sql* sql : Sql::All()) {
    const std::string& text = sql->Text();
    if (text.rfind("SELECT uuid FROM manager WHERE (", 0) != 0 ||
        text.find("OFFSET") != std::string::npos || text.find("heard_at") != std::string::npos)
      continue;
    plans.insert(Plan(text).front());
  }
  const auto by = [](const std::string& index, const std::string& columns) {
    return "SEARCH manager USING INDEX manager_" + index + " (" + columns + ")";
  };
  const std::string alarms = "faults=? AND alarms=? AND warnings=? AND (label,uuid)>(?,?)";
  EXPECT_THAT(plans, UnorderedElementsAre(
                         by("label", "label=? AND uuid>?"), by("label", "label=? AND uuid>?"),
                         by("label", "label>?"), by("label", "label<?"), by("calm", alarms),
                         by("calm", alarms), by("calm", "(faults,alarms,warnings)>(?,?,?)"),
                         by("alarms", "(faults,alarms,warnings)<(?,?,?)"),
                         by("registered", "registered=? AND (label,uuid)>(?,?)"),
                         by("registered", "registered=? AND (label,uuid)>(?,?)"),
                         by("registered", "registered>?"), by("registered", "registered<?")));
}

TEST_F(StatementsTest, Heartbeat_changes_no_index) {
  const std::set<std::string> changed = {"heartbeat_count", "heartbeat_last", "heartbeat_interval",
                                         "heard_at",        "late_at",        "offline_at",
                                         "address"};
  const std::vector<std::string> indexed =
      Rows(database,
           "SELECT info.name FROM pragma_index_list('manager') AS list, "
           "pragma_index_info(list.name) AS info");
  EXPECT_THAT(indexed, Contains("next_at"));
  for (const std::string& column : indexed) EXPECT_EQ(changed.count(column), 0u) << column;
  for (const Sql* sql : Sql::All()) {
    const std::string& text = sql->Text();
    if (text.rfind("UPDATE manager SET heartbeat_count", 0) != 0) continue;
    for (const char* column : {"state", "next_at", "went_at"}) {
      EXPECT_EQ(text.find(column + std::string(" = ")), std::string::npos) << text;
    }
  }
}

TEST_F(StatementsTest, Counting_states_reads_those_alone_whose_time_has_come) {
  for (const Sql* sql : Sql::All()) {
    if (sql->Text().rfind("SELECT (SELECT count(*) FROM manager WHERE state = 1", 0) != 0) continue;
    EXPECT_THAT(Plan(sql->Text()),
                Contains(HasSubstr("manager_state (state=? AND next_at<?)")).Times(3));
    return;
  }
  FAIL() << "no such statement";
}

TEST_F(StatementsTest, None_is_made_that_this_test_does_not_see) {
  TestStore(folder.File("s.db")).Check();
  EXPECT_THROW(Sql("SELECT 1"), std::logic_error);
}

TEST_F(StatementsTest, Each_that_is_deleted_through_another_is_found_by_an_index) {
  for (const std::string& table :
       Rows(database, "SELECT name FROM sqlite_schema WHERE type = 'table'")) {
    const std::string keys = "pragma_foreign_key_list('" + table + "')";
    for (const std::string& column : Rows(database, "SELECT \"from\" FROM " + keys)) {
      EXPECT_THAT(Plan("SELECT 1 FROM " + table + " WHERE " + column + " = ?").front(),
                  StartsWith("SEARCH "))
          << table << "." << column;
    }
  }
}

}  // namespace
}  // namespace cloudservice
