// SPDX-License-Identifier: Apache-2.0
#ifndef TESTS_UNIT_SERVICE_OLDSCHEMA_H_
#define TESTS_UNIT_SERVICE_OLDSCHEMA_H_

#include <string>

#include "service/store/sqlite/Database.h"

namespace cloudservice {

// The tables of databases as released versions made them, written down once more.
inline constexpr const char* kVersion1Tables = R"sql(
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

CREATE TABLE resource (
  path TEXT PRIMARY KEY,
  manager TEXT NOT NULL REFERENCES manager (uuid) ON DELETE CASCADE,
  chassis TEXT REFERENCES chassis (id) ON DELETE CASCADE,
  document TEXT NOT NULL,
  changed INTEGER NOT NULL
) STRICT;
CREATE INDEX resource_manager ON resource (manager);
CREATE INDEX resource_chassis ON resource (chassis);

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
)sql";

inline constexpr const char* kVersion2Tables = R"sql(
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

CREATE TABLE reading (
  id INTEGER PRIMARY KEY AUTOINCREMENT,
  member INTEGER NOT NULL REFERENCES member (id) ON DELETE CASCADE,
  time INTEGER NOT NULL,
  value TEXT NOT NULL
) STRICT;
CREATE INDEX reading_member ON reading (member);
CREATE INDEX reading_time ON reading (time);
CREATE INDEX event_received ON event (received);
)sql";

inline constexpr const char* kVersion3Tables = R"sql(
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
CREATE TABLE operator (
  id INTEGER PRIMARY KEY AUTOINCREMENT,
  name TEXT NOT NULL UNIQUE,
  password_hash TEXT,
  token_hash TEXT UNIQUE,
  created INTEGER NOT NULL
) STRICT;
ALTER TABLE manager ADD COLUMN account INTEGER REFERENCES account (id) ON DELETE SET NULL;
ALTER TABLE manager ADD COLUMN address TEXT;
ALTER TABLE manager ADD COLUMN changed INTEGER NOT NULL DEFAULT 0;
CREATE INDEX manager_account ON manager (account);
ALTER TABLE chassis ADD COLUMN changed INTEGER NOT NULL DEFAULT 0;
ALTER TABLE alarm ADD COLUMN opening INTEGER NOT NULL DEFAULT 0;
CREATE INDEX reading_member_time ON reading (member, time);
CREATE INDEX event_manager_id ON event (manager);
)sql";

inline constexpr const char* kVersion4Tables = R"sql(
CREATE TABLE manager_document (
  manager TEXT PRIMARY KEY REFERENCES manager (uuid) ON DELETE CASCADE,
  document TEXT NOT NULL
) STRICT;
ALTER TABLE manager DROP COLUMN document;
ALTER TABLE manager ADD COLUMN label TEXT COLLATE NOCASE NOT NULL DEFAULT '';
ALTER TABLE manager ADD COLUMN model TEXT;
ALTER TABLE manager ADD COLUMN serial TEXT;
ALTER TABLE manager ADD COLUMN firmware TEXT;
ALTER TABLE manager ADD COLUMN faults INTEGER NOT NULL DEFAULT 0;
ALTER TABLE manager ADD COLUMN alarms INTEGER NOT NULL DEFAULT 0;
ALTER TABLE manager ADD COLUMN warnings INTEGER NOT NULL DEFAULT 0;
CREATE INDEX event_manager_received ON event (manager, received);
ALTER TABLE manager ADD COLUMN events INTEGER NOT NULL DEFAULT 0;
CREATE TRIGGER event_comes AFTER INSERT ON event BEGIN
  UPDATE manager SET events = events + 1 WHERE uuid = new.manager;
END;
CREATE TRIGGER event_goes AFTER DELETE ON event BEGIN
  UPDATE manager SET events = events - 1 WHERE uuid = old.manager;
END;
ALTER TABLE manager ADD COLUMN late_at INTEGER AS
  (coalesce(heartbeat_last, registered) + 2 * coalesce(heartbeat_interval, 120)) VIRTUAL;
ALTER TABLE manager ADD COLUMN offline_at INTEGER AS
  (coalesce(heartbeat_last, registered) + 3 * coalesce(heartbeat_interval, 120)) VIRTUAL;
CREATE INDEX manager_late ON manager (late_at, offline_at, label, uuid);
CREATE INDEX manager_offline ON manager (offline_at, heartbeat_last);
ALTER TABLE manager ADD COLUMN heard_at INTEGER AS (coalesce(heartbeat_last, -1)) VIRTUAL;
CREATE INDEX manager_heard ON manager (heard_at, label, uuid);
CREATE INDEX manager_label ON manager (label, uuid);
CREATE INDEX manager_alarms ON manager (faults DESC, alarms DESC, warnings DESC, label, uuid);
CREATE INDEX manager_calm ON manager (faults, alarms, warnings, label, uuid);
CREATE INDEX manager_registered ON manager (registered, label, uuid);
)sql";

inline constexpr const char* kVersion5Tables = R"sql(
DROP INDEX manager_late;
DROP INDEX manager_offline;
ALTER TABLE manager DROP COLUMN late_at;
ALTER TABLE manager DROP COLUMN offline_at;
ALTER TABLE manager ADD COLUMN late_at INTEGER NOT NULL DEFAULT 0;
ALTER TABLE manager ADD COLUMN offline_at INTEGER NOT NULL DEFAULT 0;
CREATE INDEX manager_late ON manager (late_at, offline_at, label, uuid);
CREATE INDEX manager_offline ON manager (offline_at);
ALTER TABLE event ADD COLUMN kind INTEGER NOT NULL DEFAULT 0;
ALTER TABLE alarm ADD COLUMN rank INTEGER NOT NULL DEFAULT 1;
)sql";

// A file as version 1 to 5 of the schema left it, without rows.
inline void MakeOldDatabase(const std::string& file, int version) {
  Database database(file);
  database.Execute(kVersion1Tables);
  if (version > 1) database.Execute(kVersion2Tables);
  if (version > 2) database.Execute(kVersion3Tables);
  if (version > 3) database.Execute(kVersion4Tables);
  if (version > 4) database.Execute(kVersion5Tables);
  database.Execute("PRAGMA application_id = 1264807012");
  database.Execute(("PRAGMA user_version = " + std::to_string(version)).c_str());
}

}  // namespace cloudservice

#endif  // TESTS_UNIT_SERVICE_OLDSCHEMA_H_
