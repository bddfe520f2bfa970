// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <cstdlib>
#include <set>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "PostgresDatabase.h"
#include "service/store/postgresql/PostgresStore.h"
#include "service/store/postgresql/Schema.h"

namespace cloudservice::postgresql {
namespace {

using testing::ContainsRegex;
using testing::Not;

// What has more rows the more appliances there are.
constexpr const char* kGrowing =
    "Seq Scan on (manager|manager_document|heartbeat|chassis|resource|event|event_[0-9]+|alarm|"
    "member|reading|reading_[0-9]+|account|registration_key|event_count|change|message)( |$)";
// Any row will do.
const std::set<std::string> kMeant = {"SELECT 1 FROM reading WHERE time >= $1 LIMIT 1",
                                      "SELECT 1 FROM event WHERE day >= 0 LIMIT 1"};

class PostgresStatementsTest : public testing::Test {
 protected:
  PostgresStatementsTest() { connection.Execute(kMakeCopyNotes); }

  static bool IsQuery(const std::string& text) {
    for (const char* start : {"SELECT", "INSERT", "UPDATE", "DELETE", "WITH"}) {
      if (text.rfind(start, 0) == 0) return true;
    }
    return false;
  }
  // The number of the statement's last parameter.
  static int ParametersOf(const std::string& text) {
    int last = 0;
    for (std::size_t at = text.find('$'); at != std::string::npos; at = text.find('$', at + 1)) {
      last = std::max(last, std::atoi(text.c_str() + at + 1));
    }
    return last;
  }
  std::string Plan(const std::string& text) {
    connection.Execute("PREPARE one AS " + text);
    std::string values;
    for (int i = 0; i < ParametersOf(text); ++i) values += i == 0 ? "(NULL" : ", NULL";
    if (!values.empty()) values += ")";
    const Sql explain("EXPLAIN (COSTS OFF) EXECUTE one" + values, Sql::Plan::kEachTime);
    const Result result = connection.Run(explain);
    std::string plan;
    for (const Row row : result) plan += row.Text(0) + "\n";
    connection.Execute("DEALLOCATE one");
    return plan;
  }

  PostgresDatabase database;
  PostgresStore store{database.Url()};
  Connection connection = database.Connect();
};

TEST_F(PostgresStatementsTest, Each_is_accepted_and_none_scans_what_grows_with_the_fleet) {
  // The tables are empty: a scan is left only where there is no other way.
  connection.Execute(
      "SET enable_seqscan = off; SET plan_cache_mode = force_generic_plan;"
      "SELECT make_day('event', 1), make_day('reading', 1)");
  const std::vector<const Sql*> all = Sql::All();
  ASSERT_GT(all.size(), 100u);
  for (const Sql* sql : all) {
    const std::string& text = sql->Text();
    if (!IsQuery(text)) continue;
    const std::string plan = Plan(text);
    if (kMeant.count(text) > 0) continue;
    // Once in a while: an index over the last heartbeats would make each dearer.
    if (text.find("WHERE heard > $1") != std::string::npos) continue;
    EXPECT_THAT(plan, Not(ContainsRegex(kGrowing))) << text;
  }
}

// A new version of a row stays on its page only where nothing that an index has is changed.
TEST_F(PostgresStatementsTest, Heartbeat_changes_no_index) {
  store.Write([](Transaction& work) {
    work.AddManager({"u", "n", "{}", 1000, {}}, "hash");
    work.AddHeartbeat("u", 1010, 60, "");
  });
  const Sql indexed(
      "SELECT coalesce(string_agg(attname, ' '), '') FROM pg_index "
      "JOIN pg_attribute ON attrelid = indrelid AND attnum = ANY (indkey) "
      "WHERE indrelid = 'heartbeat'::regclass "
      "AND attname IN ('count', 'last', 'interval', 'heard', 'late_at', 'offline_at', 'address')",
      Sql::Plan::kEachTime);
  EXPECT_EQ(connection.Run(indexed).First().Text(0), "");
  const Sql values("SELECT state || ' ' || next_at || ' ' || silent FROM heartbeat",
                   Sql::Plan::kEachTime);
  const std::string before = connection.Run(values).First().Text(0);
  store.Write([](Transaction& work) { work.AddHeartbeat("u", 1070, 60, ""); });
  EXPECT_EQ(connection.Run(values).First().Text(0), before);
}

}  // namespace
}  // namespace cloudservice::postgresql
