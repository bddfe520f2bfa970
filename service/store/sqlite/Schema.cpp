// SPDX-License-Identifier: Apache-2.0
// The tables, version by version.
#include "service/store/sqlite/Schema.h"

#include <array>

#include "service/store/copy/Side.h"
#include "service/store/sqlite/Copy.h"

namespace cloudservice {

namespace {

// Marks a database as this program's: "Kcld".
constexpr std::int64_t kApplicationId = 0x4b636c64;

// Step N brings version N to version N + 1. The result of a step that was released never changes.
constexpr std::array<const char*, 11> kSteps = {
    R"sql(
CREATE TABLE manager (
  uuid TEXT PRIMARY KEY,
  name TEXT NOT NULL,
  token_hash TEXT NOT NULL UNIQUE,
  document TEXT NOT NULL,
  registered INTEGER NOT NULL,
  heartbeat_count INTEGER NOT NULL DEFAULT 0,
  heartbeat_last INTEGER,
  heartbeat_interval INTEGER
) STRICT;

CREATE TABLE chassis (
  id TEXT PRIMARY KEY,
  manager TEXT NOT NULL REFERENCES manager (uuid) ON DELETE CASCADE,
  document TEXT NOT NULL,
  created INTEGER NOT NULL
) STRICT;
CREATE INDEX chassis_manager ON chassis (manager);

-- Documents below a manager (chassis is null) or below one of its chassis.
CREATE TABLE resource (
  path TEXT PRIMARY KEY,
  manager TEXT NOT NULL REFERENCES manager (uuid) ON DELETE CASCADE,
  chassis TEXT REFERENCES chassis (id) ON DELETE CASCADE,
  document TEXT NOT NULL,
  changed INTEGER NOT NULL
) STRICT;
CREATE INDEX resource_manager ON resource (manager);
CREATE INDEX resource_chassis ON resource (chassis);

-- The log: an event stays when its chassis goes.
CREATE TABLE event (
  id INTEGER PRIMARY KEY AUTOINCREMENT,
  manager TEXT NOT NULL REFERENCES manager (uuid) ON DELETE CASCADE,
  chassis TEXT NOT NULL,
  message_id TEXT NOT NULL,
  severity TEXT NOT NULL,
  document TEXT NOT NULL,
  received INTEGER NOT NULL
) STRICT;
CREATE INDEX event_manager ON event (manager, chassis);

-- The event is the one that opened the alarm or changed it last.
CREATE TABLE alarm (
  id INTEGER PRIMARY KEY AUTOINCREMENT,
  chassis TEXT NOT NULL REFERENCES chassis (id) ON DELETE CASCADE,
  message_id TEXT NOT NULL,
  severity TEXT NOT NULL,
  event INTEGER NOT NULL UNIQUE REFERENCES event (id) ON DELETE CASCADE,
  opened INTEGER NOT NULL,
  closed INTEGER
) STRICT;
CREATE INDEX alarm_chassis ON alarm (chassis);
CREATE UNIQUE INDEX alarm_open ON alarm (chassis, message_id) WHERE closed IS NULL;
)sql",
    R"sql(
-- The numbers in the documents that a PATCH changes; those of a manager's own have no chassis.
CREATE TABLE member (
  id INTEGER PRIMARY KEY,
  manager TEXT NOT NULL REFERENCES manager (uuid) ON DELETE CASCADE,
  chassis TEXT REFERENCES chassis (id) ON DELETE CASCADE,
  path TEXT NOT NULL,
  name TEXT NOT NULL,
  UNIQUE (path, name)
) STRICT;
CREATE INDEX member_manager ON member (manager);
CREATE INDEX member_chassis ON member (chassis);

-- In the order of arrival. The value is the text of a JSON number.
CREATE TABLE reading (
  id INTEGER PRIMARY KEY AUTOINCREMENT,
  member INTEGER NOT NULL REFERENCES member (id) ON DELETE CASCADE,
  time INTEGER NOT NULL,
  value TEXT NOT NULL
) STRICT;
CREATE INDEX reading_member ON reading (member);
CREATE INDEX reading_time ON reading (time);
CREATE INDEX event_received ON event (received);
)sql",
    R"sql(
-- Who owns appliances, and with which keys they register.
CREATE TABLE account (
  id INTEGER PRIMARY KEY AUTOINCREMENT,
  email TEXT NOT NULL UNIQUE,
  created INTEGER NOT NULL
) STRICT;
CREATE TABLE registration_key (
  id INTEGER PRIMARY KEY AUTOINCREMENT,
  account INTEGER NOT NULL REFERENCES account (id) ON DELETE CASCADE,
  hash TEXT NOT NULL,
  created INTEGER NOT NULL
) STRICT;
CREATE INDEX registration_key_account ON registration_key (account);

-- Who looks at all appliances: by a password, or by a token.
CREATE TABLE operator (
  id INTEGER PRIMARY KEY AUTOINCREMENT,
  name TEXT NOT NULL UNIQUE,
  password_hash TEXT,
  token_hash TEXT UNIQUE,
  created INTEGER NOT NULL
) STRICT;

-- The token_hash of a manager whose account was removed is no hash: "ended UUID".
ALTER TABLE manager ADD COLUMN account INTEGER REFERENCES account (id) ON DELETE SET NULL;
ALTER TABLE manager ADD COLUMN address TEXT;
ALTER TABLE manager ADD COLUMN changed INTEGER NOT NULL DEFAULT 0;
UPDATE manager SET changed = registered;
CREATE INDEX manager_account ON manager (account);
ALTER TABLE chassis ADD COLUMN changed INTEGER NOT NULL DEFAULT 0;
UPDATE chassis SET changed = created;

-- The event that opened the alarm.
ALTER TABLE alarm ADD COLUMN opening INTEGER NOT NULL DEFAULT 0;
-- The least identifier of those that came at a time or later: read backwards once, not once for
-- each alarm.
CREATE TEMP TABLE since AS
  SELECT chassis, message_id, received,
         min(id) OVER (PARTITION BY chassis, message_id ORDER BY received DESC) AS first
  FROM event;
CREATE INDEX temp.since_received ON since (chassis, message_id, received, first);
UPDATE alarm SET opening = coalesce(
  (SELECT first FROM since WHERE since.chassis = alarm.chassis
   AND since.message_id = alarm.message_id AND since.received >= alarm.opened
   ORDER BY since.received LIMIT 1), event);
DROP TABLE since;

CREATE INDEX reading_member_time ON reading (member, time);
-- Beside the one with the chassis: in the order of arrival.
CREATE INDEX event_manager_id ON event (manager);
)sql",
    R"sql(
-- Apart from the manager, whose row each heartbeat writes and each list reads.
CREATE TABLE manager_document (
  manager TEXT PRIMARY KEY REFERENCES manager (uuid) ON DELETE CASCADE,
  document TEXT NOT NULL
) STRICT;
INSERT INTO manager_document SELECT uuid, document FROM manager;
ALTER TABLE manager DROP COLUMN document;

-- What lists show of the document; the label is the manager's own name where it has none there, as
-- much of it as a link to the next page of a list can carry.
ALTER TABLE manager ADD COLUMN label TEXT COLLATE NOCASE NOT NULL DEFAULT '';
ALTER TABLE manager ADD COLUMN model TEXT;
ALTER TABLE manager ADD COLUMN serial TEXT;
ALTER TABLE manager ADD COLUMN firmware TEXT;
CREATE TEMP TABLE shown AS
  -- Of members with one name the last counts.
  SELECT manager, key, CASE type WHEN 'text' THEN value END AS value, max(json_each.id)
  FROM manager_document, json_each(document)
  WHERE json_valid(document) AND key IN ('Name', 'Model', 'SerialNumber', 'FirmwareVersion')
  GROUP BY manager, key;
CREATE INDEX temp.shown_manager ON shown (manager, key);
UPDATE manager SET
  label = substr(coalesce(
    nullif((SELECT value FROM shown WHERE manager = uuid AND key = 'Name'), ''), name), 1, 200),
  model = (SELECT value FROM shown WHERE manager = uuid AND key = 'Model'),
  serial = (SELECT value FROM shown WHERE manager = uuid AND key = 'SerialNumber'),
  firmware = (SELECT value FROM shown WHERE manager = uuid AND key = 'FirmwareVersion');
DROP TABLE shown;

-- Open alarms by severity.
ALTER TABLE manager ADD COLUMN faults INTEGER NOT NULL DEFAULT 0;
ALTER TABLE manager ADD COLUMN alarms INTEGER NOT NULL DEFAULT 0;
ALTER TABLE manager ADD COLUMN warnings INTEGER NOT NULL DEFAULT 0;
UPDATE manager SET (faults, alarms, warnings) = (
  SELECT coalesce(sum(lower(severity) IN ('fault', 'critical')), 0),
         coalesce(sum(lower(severity) NOT IN ('fault', 'critical', 'warning')), 0),
         coalesce(sum(lower(severity) = 'warning'), 0)
  FROM chassis CROSS JOIN alarm ON alarm.chassis = chassis.id AND alarm.closed IS NULL
  WHERE chassis.manager = manager.uuid);

-- The log, and stretches of time in it.
CREATE INDEX event_manager_received ON event (manager, received);
-- How many of the events are its own: a page of their list says it.
ALTER TABLE manager ADD COLUMN events INTEGER NOT NULL DEFAULT 0;
UPDATE manager SET events = (SELECT count(*) FROM event WHERE event.manager = manager.uuid);
CREATE TRIGGER event_comes AFTER INSERT ON event BEGIN
  UPDATE manager SET events = events + 1 WHERE uuid = new.manager;
END;
CREATE TRIGGER event_goes AFTER DELETE ON event BEGIN
  UPDATE manager SET events = events - 1 WHERE uuid = old.manager;
END;

-- When the appliance becomes late, and offline, unless a heartbeat comes.
ALTER TABLE manager ADD COLUMN late_at INTEGER AS
  (coalesce(heartbeat_last, registered) + 2 * coalesce(heartbeat_interval, 120)) VIRTUAL;
ALTER TABLE manager ADD COLUMN offline_at INTEGER AS
  (coalesce(heartbeat_last, registered) + 3 * coalesce(heartbeat_interval, 120)) VIRTUAL;
CREATE INDEX manager_late ON manager (late_at, offline_at, label, uuid);
CREATE INDEX manager_offline ON manager (offline_at, heartbeat_last);

-- The orders of the list of all. Those without a heartbeat stand before all heartbeats; most have no
-- alarm, so that the order of alarms has an index each way.
ALTER TABLE manager ADD COLUMN heard_at INTEGER AS (coalesce(heartbeat_last, -1)) VIRTUAL;
CREATE INDEX manager_heard ON manager (heard_at, label, uuid);
CREATE INDEX manager_label ON manager (label, uuid);
CREATE INDEX manager_alarms ON manager (faults DESC, alarms DESC, warnings DESC, label, uuid);
CREATE INDEX manager_calm ON manager (faults, alarms, warnings, label, uuid);
CREATE INDEX manager_registered ON manager (registered, label, uuid);
)sql",
    R"sql(
-- What counts as what is the program's to say; the columns keep what it said.
DROP INDEX manager_late;
DROP INDEX manager_offline;
ALTER TABLE manager DROP COLUMN late_at;
ALTER TABLE manager DROP COLUMN offline_at;
ALTER TABLE manager ADD COLUMN late_at INTEGER NOT NULL DEFAULT 0;
ALTER TABLE manager ADD COLUMN offline_at INTEGER NOT NULL DEFAULT 0;
UPDATE manager SET
  late_at = coalesce(heartbeat_last, registered) + 2 * coalesce(heartbeat_interval, 120),
  offline_at = coalesce(heartbeat_last, registered) + 3 * coalesce(heartbeat_interval, 120);
CREATE INDEX manager_late ON manager (late_at, offline_at, label, uuid);
CREATE INDEX manager_offline ON manager (offline_at);

-- The number of an EventKind, and that of a Severity.
ALTER TABLE event ADD COLUMN kind INTEGER NOT NULL DEFAULT 0;
UPDATE event SET kind = CASE
  WHEN message_id = '258' THEN 1
  WHEN lower(severity) NOT IN ('message', 'cleared', 'ok') THEN 0
  WHEN message_id LIKE 'Zarvel.GDD.%' THEN 2 ELSE 3 END;
ALTER TABLE alarm ADD COLUMN rank INTEGER NOT NULL DEFAULT 1;
UPDATE alarm SET rank = CASE
  WHEN lower(severity) IN ('fault', 'critical') THEN 0
  WHEN lower(severity) = 'warning' THEN 2 ELSE 1 END;
)sql",
    R"sql(
-- A manager has a number of its own that is never given twice, and what is its refers to that: its
-- rows may stay for a while after it, also when its UUID is registered anew. They go in steps, so
-- that no key deletes them along. The account may be gone: then the token has ended.
DROP TRIGGER event_comes;
DROP TRIGGER event_goes;
CREATE TABLE new_manager (
  id INTEGER PRIMARY KEY AUTOINCREMENT,
  uuid TEXT NOT NULL UNIQUE,
  name TEXT NOT NULL,
  token_hash TEXT NOT NULL UNIQUE,
  registered INTEGER NOT NULL,
  account INTEGER,
  address TEXT,
  changed INTEGER NOT NULL DEFAULT 0,
  heartbeat_count INTEGER NOT NULL DEFAULT 0,
  heartbeat_last INTEGER,
  heartbeat_interval INTEGER,
  late_at INTEGER NOT NULL DEFAULT 0,
  offline_at INTEGER NOT NULL DEFAULT 0,
  heard_at INTEGER AS (coalesce(heartbeat_last, -1)) VIRTUAL,
  label TEXT COLLATE NOCASE NOT NULL DEFAULT '',
  model TEXT,
  serial TEXT,
  firmware TEXT,
  faults INTEGER NOT NULL DEFAULT 0,
  alarms INTEGER NOT NULL DEFAULT 0,
  warnings INTEGER NOT NULL DEFAULT 0,
  events INTEGER NOT NULL DEFAULT 0
) STRICT;
INSERT INTO new_manager (
  uuid, name, token_hash, registered, account, address, changed, heartbeat_count, heartbeat_last,
  heartbeat_interval, late_at, offline_at, label, model, serial, firmware, faults, alarms, warnings,
  events)
SELECT
  uuid, name, token_hash, registered, account, address, changed, heartbeat_count, heartbeat_last,
  heartbeat_interval, late_at, offline_at, label, model, serial, firmware, faults, alarms, warnings,
  events
FROM manager ORDER BY rowid;

CREATE TABLE new_manager_document (
  manager INTEGER PRIMARY KEY REFERENCES manager (id) ON DELETE CASCADE,
  document TEXT NOT NULL
) STRICT;
INSERT INTO new_manager_document
SELECT id, document FROM new_manager JOIN manager_document ON manager = uuid;

CREATE TABLE new_chassis (
  number INTEGER PRIMARY KEY AUTOINCREMENT,
  id TEXT NOT NULL UNIQUE,
  manager INTEGER NOT NULL,
  document TEXT NOT NULL,
  created INTEGER NOT NULL,
  changed INTEGER NOT NULL
) STRICT;
INSERT INTO new_chassis
SELECT chassis.rowid, chassis.id, new_manager.id, document, created, chassis.changed
FROM chassis CROSS JOIN new_manager ON uuid = manager ORDER BY chassis.rowid;

CREATE TABLE new_resource (
  id INTEGER PRIMARY KEY,
  manager INTEGER NOT NULL,
  chassis INTEGER,
  path TEXT NOT NULL,
  document TEXT NOT NULL,
  changed INTEGER NOT NULL,
  UNIQUE (manager, path)
) STRICT;
INSERT INTO new_resource (manager, chassis, path, document, changed)
SELECT new_manager.id, (SELECT number FROM new_chassis WHERE new_chassis.id = chassis), path,
  document, resource.changed
FROM resource CROSS JOIN new_manager ON uuid = manager;

CREATE TABLE new_member (
  id INTEGER PRIMARY KEY,
  manager INTEGER NOT NULL,
  chassis INTEGER,
  path TEXT NOT NULL,
  name TEXT NOT NULL,
  UNIQUE (manager, path, name)
) STRICT;
INSERT INTO new_member
SELECT member.id, new_manager.id, (SELECT number FROM new_chassis WHERE new_chassis.id = chassis),
  path, member.name
FROM member CROSS JOIN new_manager ON uuid = manager;

CREATE TABLE new_event (
  id INTEGER PRIMARY KEY AUTOINCREMENT,
  manager INTEGER NOT NULL,
  chassis TEXT NOT NULL,
  message_id TEXT NOT NULL,
  severity TEXT NOT NULL,
  document TEXT NOT NULL,
  received INTEGER NOT NULL,
  kind INTEGER NOT NULL DEFAULT 0
) STRICT;
INSERT INTO new_event
SELECT event.id, new_manager.id, chassis, message_id, severity, document, received, kind
FROM event CROSS JOIN new_manager ON uuid = manager;

CREATE TABLE new_alarm (
  id INTEGER PRIMARY KEY AUTOINCREMENT,
  manager INTEGER NOT NULL,
  chassis INTEGER NOT NULL,
  message_id TEXT NOT NULL,
  severity TEXT NOT NULL,
  rank INTEGER NOT NULL,
  event INTEGER NOT NULL UNIQUE REFERENCES event (id) ON DELETE CASCADE,
  opening INTEGER NOT NULL,
  opened INTEGER NOT NULL,
  closed INTEGER
) STRICT;
INSERT INTO new_alarm
SELECT alarm.id, manager, number, message_id, severity, rank, event, opening, opened, closed
FROM alarm CROSS JOIN new_chassis ON new_chassis.id = chassis;

-- The numbers that were given go on to count.
DELETE FROM sqlite_sequence WHERE name IN ('new_event', 'new_alarm');
INSERT INTO sqlite_sequence
SELECT 'new_' || name, seq FROM sqlite_sequence WHERE name IN ('event', 'alarm');

DROP TABLE alarm;
DROP TABLE event;
DROP TABLE member;
DROP TABLE resource;
DROP TABLE chassis;
DROP TABLE manager_document;
DROP TABLE manager;
ALTER TABLE new_manager RENAME TO manager;
ALTER TABLE new_manager_document RENAME TO manager_document;
ALTER TABLE new_chassis RENAME TO chassis;
ALTER TABLE new_resource RENAME TO resource;
ALTER TABLE new_member RENAME TO member;
ALTER TABLE new_event RENAME TO event;
ALTER TABLE new_alarm RENAME TO alarm;

CREATE INDEX manager_account ON manager (account);
CREATE INDEX manager_late ON manager (late_at, uuid);
CREATE INDEX manager_offline ON manager (offline_at, uuid);
CREATE INDEX manager_heard ON manager (heard_at, label, uuid);
CREATE INDEX manager_label ON manager (label, uuid);
CREATE INDEX manager_alarms ON manager (faults DESC, alarms DESC, warnings DESC, label, uuid);
CREATE INDEX manager_calm ON manager (faults, alarms, warnings, label, uuid);
CREATE INDEX manager_registered ON manager (registered, label, uuid);
CREATE INDEX chassis_manager ON chassis (manager);
CREATE INDEX resource_owner ON resource (manager, chassis, path);
CREATE INDEX member_chassis ON member (chassis);
CREATE INDEX event_manager ON event (manager, chassis);
CREATE INDEX event_manager_id ON event (manager);
CREATE INDEX event_manager_received ON event (manager, received);
CREATE INDEX event_received ON event (received);
CREATE UNIQUE INDEX alarm_open ON alarm (chassis, message_id) WHERE closed IS NULL;
CREATE INDEX alarm_chassis ON alarm (chassis, closed, rank);
CREATE INDEX alarm_manager ON alarm (manager) WHERE closed IS NULL;
CREATE INDEX alarm_event ON alarm (manager, closed IS NULL, event);

CREATE TRIGGER event_comes AFTER INSERT ON event BEGIN
  UPDATE manager SET events = events + 1 WHERE id = new.manager;
END;
CREATE TRIGGER event_goes AFTER DELETE ON event BEGIN
  UPDATE manager SET events = events - 1 WHERE id = old.manager;
END;

-- Counts over all managers, in one row. The last three count managers that have such an alarm open.
CREATE TABLE total (
  id INTEGER PRIMARY KEY CHECK (id = 1),
  managers INTEGER NOT NULL,
  chassis INTEGER NOT NULL,
  faults INTEGER NOT NULL,
  alarms INTEGER NOT NULL,
  warnings INTEGER NOT NULL,
  with_fault INTEGER NOT NULL,
  with_alarm INTEGER NOT NULL,
  with_warning INTEGER NOT NULL
) STRICT;
INSERT INTO total
SELECT 1, count(*), (SELECT count(*) FROM chassis), coalesce(sum(faults), 0),
  coalesce(sum(alarms), 0), coalesce(sum(warnings), 0), coalesce(sum(faults > 0), 0),
  coalesce(sum(alarms > 0), 0), coalesce(sum(warnings > 0), 0)
FROM manager;
CREATE TRIGGER manager_comes AFTER INSERT ON manager BEGIN
  UPDATE total SET managers = managers + 1;
END;
CREATE TRIGGER manager_goes BEFORE DELETE ON manager BEGIN
  UPDATE total SET
    managers = managers - 1,
    chassis = chassis - (SELECT count(*) FROM chassis WHERE chassis.manager = old.id),
    faults = faults - old.faults,
    alarms = alarms - old.alarms,
    warnings = warnings - old.warnings,
    with_fault = with_fault - (old.faults > 0),
    with_alarm = with_alarm - (old.alarms > 0),
    with_warning = with_warning - (old.warnings > 0);
END;
CREATE TRIGGER manager_alarms_change AFTER UPDATE OF faults, alarms, warnings ON manager BEGIN
  UPDATE total SET
    faults = faults + new.faults - old.faults,
    alarms = alarms + new.alarms - old.alarms,
    warnings = warnings + new.warnings - old.warnings,
    with_fault = with_fault + (new.faults > 0) - (old.faults > 0),
    with_alarm = with_alarm + (new.alarms > 0) - (old.alarms > 0),
    with_warning = with_warning + (new.warnings > 0) - (old.warnings > 0);
END;
CREATE TRIGGER chassis_comes AFTER INSERT ON chassis BEGIN
  UPDATE total SET chassis = chassis + 1;
END;
-- Those of a removed manager are no longer counted.
CREATE TRIGGER chassis_goes AFTER DELETE ON chassis
WHEN EXISTS (SELECT 1 FROM manager WHERE id = old.manager) BEGIN
  UPDATE total SET chassis = chassis - 1;
END;

-- What was removed and has rows left: all of a manager, all of a chassis, or the managers of an
-- account.
CREATE TABLE removal (
  id INTEGER PRIMARY KEY,
  account INTEGER,
  manager INTEGER,
  chassis INTEGER
) STRICT;
CREATE INDEX removal_account ON removal (account) WHERE account IS NOT NULL;

-- What changed, for other processes. The manager is a UUID: it may be gone. The last row stays, so
-- that no number is given twice: to keep count in another table would make each heartbeat dearer.
CREATE TABLE change (
  id INTEGER PRIMARY KEY,
  what INTEGER NOT NULL,
  manager TEXT NOT NULL,
  event INTEGER NOT NULL,
  kind INTEGER NOT NULL,
  name TEXT NOT NULL,
  time INTEGER NOT NULL DEFAULT (unixepoch())
) STRICT;

-- Operators who are signed in, by the hash of the cookie's value.
CREATE TABLE session (
  hash TEXT PRIMARY KEY,
  operator INTEGER NOT NULL REFERENCES operator (id) ON DELETE CASCADE,
  used INTEGER NOT NULL
) STRICT, WITHOUT ROWID;
CREATE INDEX session_operator ON session (operator);
CREATE INDEX session_used ON session (used);

-- Who presented wrong keys or passwords, and when such a sender has all its tries again.
CREATE TABLE failure (
  sender TEXT PRIMARY KEY,
  whole INTEGER NOT NULL
) STRICT, WITHOUT ROWID;
CREATE INDEX failure_whole ON failure (whole);
)sql",
    R"sql(
-- What a manager keeps in documents, with those that a removed chassis has left. Null: not counted
-- yet. To count for all managers would hold the start up; the first who asks counts for one.
ALTER TABLE manager ADD COLUMN documents INTEGER;
ALTER TABLE manager ADD COLUMN bytes INTEGER;
CREATE TRIGGER resource_document_comes AFTER INSERT ON resource BEGIN
  UPDATE manager SET documents = documents + 1, bytes = bytes + length(CAST(new.document AS BLOB))
  WHERE id = new.manager;
END;
CREATE TRIGGER resource_document_changes AFTER UPDATE OF document ON resource
WHEN length(CAST(new.document AS BLOB)) <> length(CAST(old.document AS BLOB)) BEGIN
  UPDATE manager SET
    bytes = bytes + length(CAST(new.document AS BLOB)) - length(CAST(old.document AS BLOB))
  WHERE id = new.manager;
END;
CREATE TRIGGER resource_document_goes AFTER DELETE ON resource BEGIN
  UPDATE manager SET documents = documents - 1, bytes = bytes - length(CAST(old.document AS BLOB))
  WHERE id = old.manager;
END;
CREATE TRIGGER chassis_document_comes AFTER INSERT ON chassis BEGIN
  UPDATE manager SET documents = documents + 1, bytes = bytes + length(CAST(new.document AS BLOB))
  WHERE id = new.manager;
END;
CREATE TRIGGER chassis_document_changes AFTER UPDATE OF document ON chassis
WHEN length(CAST(new.document AS BLOB)) <> length(CAST(old.document AS BLOB)) BEGIN
  UPDATE manager SET
    bytes = bytes + length(CAST(new.document AS BLOB)) - length(CAST(old.document AS BLOB))
  WHERE id = new.manager;
END;
CREATE TRIGGER chassis_document_goes AFTER DELETE ON chassis BEGIN
  UPDATE manager SET documents = documents - 1, bytes = bytes - length(CAST(old.document AS BLOB))
  WHERE id = old.manager;
END;
CREATE TRIGGER manager_document_comes AFTER INSERT ON manager_document BEGIN
  UPDATE manager SET documents = documents + 1, bytes = bytes + length(CAST(new.document AS BLOB))
  WHERE id = new.manager;
END;
CREATE TRIGGER manager_document_changes AFTER UPDATE OF document ON manager_document
WHEN length(CAST(new.document AS BLOB)) <> length(CAST(old.document AS BLOB)) BEGIN
  UPDATE manager SET
    bytes = bytes + length(CAST(new.document AS BLOB)) - length(CAST(old.document AS BLOB))
  WHERE id = new.manager;
END;

-- How many events came on the day of the last one, a number of days since 1970.
ALTER TABLE manager ADD COLUMN day INTEGER NOT NULL DEFAULT 0;
ALTER TABLE manager ADD COLUMN day_events INTEGER NOT NULL DEFAULT 0;
DROP TRIGGER event_comes;
CREATE TRIGGER event_comes AFTER INSERT ON event BEGIN
  UPDATE manager SET
    events = events + 1,
    day = new.received / 86400,
    day_events = CASE day WHEN new.received / 86400 THEN day_events + 1 ELSE 1 END
  WHERE id = new.manager;
END;
)sql",
    R"sql(
-- What a manager has posted under a key of its choice, so that it is taken once. The event may be
-- gone.
CREATE TABLE message (
  id INTEGER PRIMARY KEY,
  manager INTEGER NOT NULL,
  key TEXT NOT NULL,
  digest TEXT NOT NULL,
  event INTEGER NOT NULL,
  received INTEGER NOT NULL,
  UNIQUE (manager, key)
) STRICT;
CREATE INDEX message_received ON message (received);
)sql",
    R"sql(
-- A heartbeat changes no index: with three over its times it cost a large fleet's file half as much
-- again as a small one's. What an index needs changes with the appliance's state alone: the state
-- that was found last (of Rules.h), before when it can be no other, which is never later than it
-- is, and since when it is late or offline. A state is exact where that time has come by the times
-- of the row, and is found anew every few seconds.
DROP INDEX manager_late;
DROP INDEX manager_offline;
DROP INDEX manager_heard;
ALTER TABLE manager ADD COLUMN state INTEGER NOT NULL DEFAULT 0;
ALTER TABLE manager ADD COLUMN next_at INTEGER NOT NULL DEFAULT 0;
ALTER TABLE manager ADD COLUMN went_at INTEGER NOT NULL DEFAULT 0;
CREATE INDEX manager_state ON manager (state, next_at);
CREATE INDEX manager_went ON manager (went_at, uuid) WHERE state > 0;
CREATE INDEX manager_silent ON manager (id) WHERE heartbeat_last IS NULL;
)sql",
    R"sql(
-- By the states that were found last, so that counting a fleet of which much is offline costs no
-- more.
ALTER TABLE total ADD COLUMN late INTEGER NOT NULL DEFAULT 0;
ALTER TABLE total ADD COLUMN offline INTEGER NOT NULL DEFAULT 0;
UPDATE total SET late = (SELECT count(*) FROM manager WHERE state = 1),
  offline = (SELECT count(*) FROM manager WHERE state = 2);
CREATE TRIGGER manager_state_changes AFTER UPDATE OF state ON manager
WHEN new.state <> old.state BEGIN
  UPDATE total SET
    late = late + (new.state = 1) - (old.state = 1),
    offline = offline + (new.state = 2) - (old.state = 2);
END;
CREATE TRIGGER manager_state_goes BEFORE DELETE ON manager WHEN old.state > 0 BEGIN
  UPDATE total SET late = late - (old.state = 1), offline = offline - (old.state = 2);
END;
)sql",
    R"sql(
-- Who looks after an open alarm; nobody any more once it has become worse.
ALTER TABLE alarm ADD COLUMN acknowledged INTEGER;
ALTER TABLE alarm ADD COLUMN acknowledged_by TEXT;
ALTER TABLE alarm ADD COLUMN note TEXT;
-- The order of the fleet's list.
CREATE INDEX alarm_worst ON alarm (rank, opened, id) WHERE closed IS NULL;
CREATE INDEX alarm_ended ON alarm (closed, id) WHERE closed IS NOT NULL;

-- When an appliance was late or offline, as the state that was found tells. A copy brings an open
-- one along before it finds the state.
CREATE TABLE silence (
  id INTEGER PRIMARY KEY AUTOINCREMENT,
  manager INTEGER NOT NULL,
  rank INTEGER NOT NULL,
  opened INTEGER NOT NULL,
  offline INTEGER,
  closed INTEGER,
  acknowledged INTEGER,
  acknowledged_by TEXT,
  note TEXT
) STRICT;
CREATE INDEX silence_manager ON silence (manager);
CREATE UNIQUE INDEX silence_open ON silence (manager) WHERE closed IS NULL;
CREATE INDEX silence_worst ON silence (rank, opened, id) WHERE closed IS NULL;
CREATE INDEX silence_ended ON silence (closed, id) WHERE closed IS NOT NULL;
INSERT INTO silence (manager, rank, opened, offline)
SELECT id, 3 - state, late_at, CASE state WHEN 2 THEN offline_at END FROM manager WHERE state > 0;
CREATE TRIGGER manager_falls_silent AFTER UPDATE OF state ON manager
WHEN old.state = 0 AND new.state > 0 BEGIN
  INSERT INTO silence (manager, rank, opened, offline)
  SELECT new.id, 3 - new.state, new.late_at, CASE new.state WHEN 2 THEN new.offline_at END
  WHERE NOT EXISTS (SELECT 1 FROM silence WHERE manager = new.id AND closed IS NULL);
END;
CREATE TRIGGER manager_stays_silent AFTER UPDATE OF state ON manager
WHEN old.state = 1 AND new.state = 2 BEGIN
  UPDATE silence SET rank = 1, offline = new.offline_at, acknowledged = NULL
  WHERE manager = new.id AND closed IS NULL;
END;
-- A state that was found by a clock that was set back since may end before it began.
CREATE TRIGGER manager_is_heard AFTER UPDATE OF state ON manager
WHEN old.state > 0 AND new.state = 0 BEGIN
  UPDATE silence SET closed = max(opened, coalesce(new.heartbeat_last, opened))
  WHERE manager = new.id AND closed IS NULL;
END;
)sql",
};

const Sql kApplication("PRAGMA application_id");
const Sql kVersion("PRAGMA user_version");
const Sql kTables("SELECT count(*) FROM sqlite_schema");

std::int64_t Number(Database& database, const Sql& sql) {
  Statement statement(database, sql);
  return statement.Step() ? statement.Number(0) : 0;
}

void SetPragma(Database& database, const std::string& name, std::int64_t value) {
  database.Execute(("PRAGMA " + name + " = " + std::to_string(value)).c_str());
}

// Makes one step; false when there is none left.
bool Advance(Database& database, const std::string& file) {
  DatabaseTransaction transaction(database);
  const std::int64_t version = CheckedVersion(database, file);
  if (version == NewestSchemaVersion()) return false;
  database.Execute(kSteps.at(static_cast<std::size_t>(version)));
  SetPragma(database, "application_id", kApplicationId);
  SetPragma(database, "user_version", version + 1);
  transaction.Commit();
  return true;
}

const Sql kHasCopyNotes("SELECT count(*) FROM sqlite_schema WHERE name = 'copy_note'");

}  // namespace

const char* const kMakeCopyNotes =
    "CREATE TABLE copy_note (name TEXT PRIMARY KEY, value TEXT NOT NULL) STRICT, WITHOUT ROWID";

namespace {

std::int64_t KnownVersion(Database& database, const std::string& file) {
  const std::int64_t version = Number(database, kVersion);
  if (Number(database, kTables) > 0 && Number(database, kApplication) != kApplicationId) {
    throw DatabaseError(file + " is the database of another program");
  }
  if (version > NewestSchemaVersion()) {
    throw DatabaseError(file + " was written by a newer cloudservice (version " +
                        std::to_string(version) + " of its schema, known up to " +
                        std::to_string(NewestSchemaVersion()) + ")");
  }
  return version;
}

}  // namespace

std::int64_t CheckedVersion(Database& database, const std::string& file) {
  const std::int64_t version = KnownVersion(database, file);
  if (Number(database, kHasCopyNotes) > 0) throw DatabaseError(UnfinishedCopy(file));
  return version;
}

bool IsUnfinishedCopy(Database& database, const std::string& file) {
  const std::int64_t version = KnownVersion(database, file);
  if (Number(database, kHasCopyNotes) == 0) return false;
  if (version == NewestSchemaVersion()) return true;
  throw DatabaseError(CopyOfOtherVersion(file));
}

int NewestSchemaVersion() { return static_cast<int>(kSteps.size()); }

std::string UpgradeSchema(Database& database, const std::string& file) {
  std::string kept;
  const std::int64_t before = CheckedVersion(database, file);
  if (before > 0 && before < NewestSchemaVersion()) {
    kept = file + ".v" + std::to_string(before);
    CopyDatabase(database, kept);
  }
  // A step that makes a table anew drops the old one: what refers to it must not go along.
  SetPragma(database, "foreign_keys", 0);
  while (Advance(database, file)) {
  }
  SetPragma(database, "foreign_keys", 1);
  return kept;
}

}  // namespace cloudservice
