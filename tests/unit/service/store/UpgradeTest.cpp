// SPDX-License-Identifier: Apache-2.0
// A database of the version before, with many rows of every kind, brought up to date.
#include <map>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "OldSchema.h"
#include "StoreTest.h"

namespace cloudservice {
namespace {

using testing::ElementsAre;
using testing::SizeIs;

// 40 managers with 3 chassis each, and what they sent. The newest event and alarm were removed.
constexpr const char* kOldRows = R"sql(
BEGIN;
CREATE TEMP TABLE row (n INTEGER PRIMARY KEY);
INSERT INTO row WITH RECURSIVE r (n) AS (SELECT 0 UNION ALL SELECT n + 1 FROM r WHERE n < 5999)
SELECT n FROM r;
INSERT INTO account VALUES (1, 'a@b', 1), (2, 'c@d', 1);
DELETE FROM account WHERE id = 2;
INSERT INTO registration_key (account, hash, created) VALUES (1, 'k', 1);
INSERT INTO operator VALUES (1, 'o', NULL, 'h', 1);
INSERT INTO manager (uuid, name, token_hash, registered, account, address, changed, heartbeat_count,
  heartbeat_last, heartbeat_interval, label, model, late_at, offline_at)
SELECT 'u' || n, 'name' || n, 'token' || n, 1000 + n, CASE WHEN n % 2 THEN 1 END, '192.0.2.' || n,
  2000 + n, n, CASE WHEN n > 0 THEN 3000 + n END, CASE WHEN n > 0 THEN 60 + n END, 'Label' || n, 'M',
  3000 + n + 2 * (60 + n), 3000 + n + 3 * (60 + n) FROM row WHERE n < 40;
INSERT INTO manager_document SELECT 'u' || n, '{"n": ' || n || '}' FROM row WHERE n < 40;
-- Not in the order of their names.
INSERT INTO chassis SELECT 'c' || (119 - n), 'u' || (n % 40), '{"c": ' || n || '}', 10 + n, 20 + n
FROM row WHERE n < 120;
INSERT INTO resource SELECT '/r' || n, manager, CASE WHEN n % 10 THEN chassis.id END,
  '{"r": ' || n || '}', n FROM row JOIN chassis ON chassis.rowid = 1 + n % 120 WHERE n < 1000;
INSERT INTO event (manager, chassis, message_id, severity, document, received, kind)
SELECT manager, CASE WHEN n % 7 THEN chassis.id ELSE '' END, 'm' || n, 'Fault', '{"e": ' || n || '}',
  9000 - n, n % 4 FROM row JOIN chassis ON chassis.rowid = 1 + n % 120;
INSERT INTO alarm (chassis, message_id, severity, event, opened, closed, opening, rank)
SELECT chassis.id, 'm' || n, 'Warning', n + 1, n, CASE WHEN n % 4 THEN n + 5 END, n + 1, n % 3
FROM row JOIN chassis ON chassis.rowid = 1 + n % 120 WHERE n < 900 OR n = 5999;
UPDATE manager SET (faults, alarms, warnings) = (
  SELECT coalesce(sum(rank = 0), 0), coalesce(sum(rank = 1), 0), coalesce(sum(rank = 2), 0)
  FROM chassis
  JOIN alarm ON alarm.chassis = chassis.id AND closed IS NULL WHERE chassis.manager = uuid);
INSERT INTO member (id, manager, chassis, path, name)
SELECT 5 * n + 5, manager, chassis, path, 'p' FROM row JOIN resource ON path = '/r' || n
WHERE n < 500;
INSERT INTO reading (member, time, value) SELECT 5 * (n % 500) + 5, n, '' || n FROM row;
DELETE FROM event WHERE id = 6000;
COMMIT;
)sql";

// Each says the same of the tables before and after; what is summed depends on every column.
const std::map<std::string, std::pair<std::string, std::string>> kSums = {
    {"managers",
     {"SELECT count(*) || ' ' || group_concat(uuid || name || token_hash || registered || "
      "coalesce(account, '') || address || changed || heartbeat_count || coalesce(heartbeat_last, "
      "'') || coalesce(heartbeat_interval, '') || label || model || coalesce(serial, '-') || "
      "faults "
      "|| ',' || alarms || ',' || warnings || ',' || events || late_at || offline_at || document) "
      "FROM (SELECT * FROM manager JOIN manager_document ON manager = uuid ORDER BY uuid)",
      "SELECT count(*) || ' ' || group_concat(uuid || name || token_hash || registered || "
      "coalesce(account, '') || address || changed || heartbeat_count || coalesce(heartbeat_last, "
      "'') || coalesce(heartbeat_interval, '') || label || model || coalesce(serial, '-') || "
      "faults "
      "|| ',' || alarms || ',' || warnings || ',' || events || late_at || offline_at || document) "
      "FROM (SELECT * FROM manager JOIN manager_document ON manager = id ORDER BY uuid)"}},
    {"chassis",
     {"SELECT group_concat(id || manager || document || created || changed) "
      "FROM (SELECT * FROM chassis ORDER BY rowid)",
      "SELECT group_concat(chassis.id || uuid || document || created || chassis.changed) FROM "
      "(SELECT * FROM chassis ORDER BY number) AS chassis JOIN manager ON manager.id = manager"}},
    {"resources",
     {"SELECT group_concat(path || manager || coalesce(chassis, '-') || document || changed) "
      "FROM (SELECT * FROM resource ORDER BY path)",
      "SELECT group_concat(path || uuid || coalesce(c, '-') || document || changed) FROM (SELECT "
      "path, uuid, chassis.id AS c, resource.document, resource.changed FROM resource "
      "JOIN manager ON manager.id = resource.manager "
      "LEFT JOIN chassis ON number = chassis ORDER BY path)"}},
    {"events",
     {"SELECT group_concat(id || manager || chassis || message_id || severity || document || "
      "received || kind) FROM (SELECT * FROM event ORDER BY id)",
      "SELECT group_concat(event.id || uuid || chassis || message_id || severity || document || "
      "received || kind) FROM (SELECT * FROM event ORDER BY id) AS event "
      "JOIN manager ON manager.id = manager"}},
    {"alarms",
     {"SELECT group_concat(alarm.id || manager || chassis || message_id || severity || rank || "
      "event || opening || opened || coalesce(closed, '-')) FROM (SELECT * FROM alarm ORDER BY id) "
      "AS alarm JOIN chassis ON chassis.id = chassis",
      "SELECT group_concat(alarm.id || uuid || chassis.id || message_id || severity || rank || "
      "event || opening || opened || coalesce(closed, '-')) FROM (SELECT * FROM alarm ORDER BY id) "
      "AS alarm JOIN chassis ON number = chassis JOIN manager ON manager.id = alarm.manager"}},
    {"numbers",
     {"SELECT group_concat(id || manager || coalesce(chassis, '-') || path || name) "
      "FROM (SELECT * FROM member ORDER BY id)",
      "SELECT group_concat(id || uuid || coalesce(c, '-') || path || name) FROM (SELECT member.id, "
      "uuid, chassis.id AS c, path, member.name FROM member JOIN manager ON "
      "manager.id = member.manager LEFT JOIN chassis ON number = chassis ORDER BY member.id)"}},
    {"readings",
     {"SELECT group_concat(id || ' ' || member || ' ' || time || ' ' || value) "
      "FROM (SELECT * FROM reading ORDER BY id)",
      "SELECT group_concat(id || ' ' || member || ' ' || time || ' ' || value) "
      "FROM (SELECT * FROM reading ORDER BY id)"}},
};

class UpgradeTest : public StoreTest {
 protected:
  UpgradeTest() {
    MakeOldDatabase(file, 5);
    Database old(file);
    old.Execute(kOldRows);
    for (const auto& [what, sums] : kSums) expected[what] = Rows(old, sums.first);
  }

  std::map<std::string, std::vector<std::string>> expected;
};

TEST_F(UpgradeTest, Every_row_is_kept_as_it_was) {
  EXPECT_EQ(TestStore(file).UpgradeBackup(), file + ".v5");
  Database database(file);
  for (const auto& [what, sums] : kSums) {
    EXPECT_GT(expected[what].at(0).size(), 1000u) << what;
    EXPECT_EQ(Rows(database, sums.second), expected[what]) << what;
  }
  EXPECT_EQ(Count(database, "registration_key"), 1);
  EXPECT_EQ(Count(database, "operator"), 1);
  EXPECT_EQ(Rows(database, "PRAGMA foreign_key_check"), std::vector<std::string>());
  EXPECT_EQ(Rows(database, "PRAGMA integrity_check"), std::vector<std::string>{"ok"});
  EXPECT_EQ(Number(database, "SELECT count(*) FROM sqlite_schema WHERE name LIKE 'new%'"), 0);
}

TEST_F(UpgradeTest, Totals_are_those_of_the_rows) {
  TestStore store(file);
  const Totals totals = store->CountTotals();
  EXPECT_EQ(totals.managers, 40);
  EXPECT_EQ(totals.chassis, 120);
  Database database(file);
  const auto sum = [&](const std::string& what) {
    return Number(database, "SELECT sum(" + what + ") FROM manager");
  };
  EXPECT_EQ(totals.alarms, (AlarmCounts{sum("faults"), sum("alarms"), sum("warnings")}));
  EXPECT_EQ(totals.alarmed,
            (AlarmCounts{sum("faults > 0"), sum("alarms > 0"), sum("warnings > 0")}));
  for (const std::int64_t count : totals.alarms) EXPECT_GT(count, 0);
}

// The tables of version 10, of version 9 from there and of version 6 from there: what came later is
// taken away again.
constexpr const char* kBackToVersion10 = R"sql(
DROP TRIGGER manager_falls_silent;
DROP TRIGGER manager_stays_silent;
DROP TRIGGER manager_is_heard;
DROP TABLE silence;
DROP INDEX alarm_worst;
DROP INDEX alarm_ended;
ALTER TABLE alarm DROP COLUMN acknowledged;
ALTER TABLE alarm DROP COLUMN acknowledged_by;
ALTER TABLE alarm DROP COLUMN note;
PRAGMA user_version = 10;
)sql";
constexpr const char* kBackToVersion9 = R"sql(
DROP TRIGGER manager_state_changes;
DROP TRIGGER manager_state_goes;
ALTER TABLE total DROP COLUMN late;
ALTER TABLE total DROP COLUMN offline;
PRAGMA user_version = 9;
)sql";
constexpr const char* kBackToVersion6 = R"sql(
DROP TRIGGER resource_document_comes;
DROP TRIGGER resource_document_changes;
DROP TRIGGER resource_document_goes;
DROP TRIGGER chassis_document_comes;
DROP TRIGGER chassis_document_changes;
DROP TRIGGER chassis_document_goes;
DROP TRIGGER manager_document_comes;
DROP TRIGGER manager_document_changes;
DROP TRIGGER event_comes;
CREATE TRIGGER event_comes AFTER INSERT ON event BEGIN
  UPDATE manager SET events = events + 1 WHERE id = new.manager;
END;
ALTER TABLE manager DROP COLUMN documents;
ALTER TABLE manager DROP COLUMN bytes;
ALTER TABLE manager DROP COLUMN day;
ALTER TABLE manager DROP COLUMN day_events;
DROP TABLE message;
DROP INDEX manager_state;
DROP INDEX manager_went;
DROP INDEX manager_silent;
ALTER TABLE manager DROP COLUMN state;
ALTER TABLE manager DROP COLUMN next_at;
ALTER TABLE manager DROP COLUMN went_at;
CREATE INDEX manager_late ON manager (late_at, uuid);
CREATE INDEX manager_offline ON manager (offline_at, uuid);
CREATE INDEX manager_heard ON manager (heard_at, label, uuid);
PRAGMA user_version = 6;
)sql";

TEST_F(UpgradeTest, What_is_kept_of_each_manager_is_counted_at_the_first_question) {
  TestStore(file).Check();
  Database(file).Execute(kBackToVersion10);
  Database(file).Execute(kBackToVersion9);
  Database(file).Execute(kBackToVersion6);
  TestStore store(file);
  EXPECT_EQ(store.UpgradeBackup(), file + ".v6");
  EXPECT_EQ(store.Count("manager WHERE documents IS NOT NULL"), 0);
  Database database(file);
  const std::string own = " WHERE manager = (SELECT id FROM manager WHERE uuid = 'u7')";
  const Usage usage = store->FindUsage("u7");
  EXPECT_EQ(usage.documents, 4 + Number(database, "SELECT count(*) FROM resource" + own));
  EXPECT_EQ(usage.bytes, Number(database,
                                "SELECT sum(length(document)) FROM ("
                                "SELECT document FROM resource" +
                                    own +
                                    " UNION ALL "
                                    "SELECT document FROM chassis" +
                                    own +
                                    " UNION ALL "
                                    "SELECT document FROM manager_document" +
                                    own + ")"));
  EXPECT_EQ(store->AddEvent({0, "u7", "", "m", "OK", "{}", 1}, "").kept, 151);
}

TEST_F(UpgradeTest, States_are_those_that_the_times_say) {
  TestStore store(file);
  const StateCounts before = store->CountStates(3150);
  EXPECT_GT(before[0], 0);
  EXPECT_GT(before[1], 0);
  EXPECT_EQ(before[0] + before[1] + before[2], 40);
  EXPECT_EQ(store->Settle(3150, 99), 40);
  EXPECT_EQ(store->CountStates(3150), before);
  EXPECT_EQ(store->Settle(3150, 99), 0);
}

TEST_F(UpgradeTest, States_that_were_found_before_are_counted) {
  StateCounts states = {};
  {
    TestStore before(file);
    ASSERT_EQ(before->Settle(3150, 99), 40);
    states = before->CountStates(3150);
  }
  Database(file).Execute(kBackToVersion10);
  Database(file).Execute(kBackToVersion9);
  TestStore store(file);
  EXPECT_EQ(store.UpgradeBackup(), file + ".v9");
  EXPECT_EQ(store->CountStates(3150), states);
}

TEST_F(UpgradeTest, Appliances_that_were_found_late_or_offline_are_silent_since_then) {
  StateCounts states = {};
  {
    TestStore before(file);
    before->Settle(3150, 99);
    before->Settle(3199, 99);
    states = before->CountStates(3199);
  }
  Database(file).Execute(kBackToVersion10);
  TestStore store(file);
  EXPECT_EQ(store.UpgradeBackup(), file + ".v10");
  const std::string silent = "silence JOIN manager ON manager.id = silence.manager WHERE ";
  EXPECT_GT(states[1], 0);
  EXPECT_GT(states[2], 0);
  EXPECT_EQ(store.Count(silent + "state = 1 AND rank = 2 AND opened = late_at AND offline IS NULL"),
            states[1]);
  EXPECT_EQ(
      store.Count(silent + "state = 2 AND rank = 1 AND opened = late_at AND offline = offline_at"),
      states[2]);
  EXPECT_EQ(store->CountStates(3199), states);
}

TEST_F(UpgradeTest, Service_goes_on_where_it_was) {
  TestStore store(file);
  EXPECT_EQ(store->FindSender("token7")->uuid, "u7");
  EXPECT_EQ(store->FindSender("token7")->account, 1);
  EXPECT_EQ(store->FindSender("token8")->account, std::nullopt);
  EXPECT_THAT(store.All(&Transaction::ListChassis, "u7"), SizeIs(3));
  EXPECT_EQ(store.All(&Transaction::ListChassis, "u7").front().id, "c112");
  EXPECT_EQ(store->AddEvent({0, "u7", "", "m", "OK", "{}", 1}, "").id, 6001)
      << "no number is given twice";
  EXPECT_EQ(store->CountEvents("u7"), 151);
  EXPECT_EQ(store->AddHeartbeat("u7", 9999, 60, ""), 8);
  store->AddRegistrationKey("e@f", "hash", false, 1);
  EXPECT_EQ(store->FindAccount("e@f")->id, 3);
  store->DeleteManager("u7");
  while (store->RemoveNext(100) != Left::kNothing) {
  }
  Database database(file);
  EXPECT_EQ(Count(database, "event"), 5999 - 150);
  EXPECT_EQ(Count(database, "chassis"), 117);
  EXPECT_THAT(Rows(database, "PRAGMA foreign_key_check"), ElementsAre());
}

}  // namespace
}  // namespace cloudservice
