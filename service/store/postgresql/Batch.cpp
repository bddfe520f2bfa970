// SPDX-License-Identifier: Apache-2.0
// Frequent changes, each kind by one statement.
#include "service/store/postgresql/Batch.h"

#include <algorithm>

namespace cloudservice::postgresql {

namespace {

const Sql kOwn(
    "UPDATE manager SET revision = revision + 1 WHERE key = ANY ((SELECT $1::bigint[])::bigint[])");
const Sql kAddHeartbeats(
    "UPDATE heartbeat SET count = heartbeat.count + sent.count, last = sent.last, "
    "interval = sent.interval, late_at = sent.late_at, offline_at = sent.offline_at, "
    "state = 0, next_at = least(next_at, sent.late_at), silent = false, "
    "address = coalesce(nullif(sent.address, ''), heartbeat.address) "
    "FROM unnest((SELECT $1::bigint[]), (SELECT $2::bigint[]), (SELECT $3::bigint[]), (SELECT "
    "$4::bigint[]), (SELECT $5::bigint[]), "
    "(SELECT $6::bigint[]), (SELECT $7::text[])) "
    "AS sent (manager, count, last, interval, late_at, offline_at, address) "
    "WHERE heartbeat.manager = sent.manager");
const Sql kAddBack("INSERT INTO total VALUES (0, 0, 0, 0, 0, 0, 0, 0, -$1::bigint, -$2::bigint)");
// What the manager keeps changes with its documents.
const Sql kPutResources(
    "WITH sent AS (SELECT * FROM unnest((SELECT $1::bigint[]), (SELECT $2::text[]), (SELECT "
    "$3::text[]), (SELECT $4::text[]), "
    "(SELECT $5::bigint[])) AS one (manager, path, chassis, document, changed)), "
    "old AS (SELECT manager, path, octet_length(resource.document) AS size "
    "FROM sent JOIN resource USING (manager, path)), "
    "new AS (INSERT INTO resource (manager, path, chassis, document, changed) "
    "SELECT manager, path, chassis, document, changed FROM sent ON CONFLICT (manager, path) "
    "DO UPDATE SET document = excluded.document, changed = excluded.changed "
    "RETURNING manager, path, octet_length(document) AS size), "
    "more AS (SELECT manager, sum((old.size IS NULL)::int) AS documents, "
    "sum(new.size - coalesce(old.size, 0)) AS bytes FROM new LEFT JOIN old USING (manager, path) "
    "WHERE old.size IS DISTINCT FROM new.size GROUP BY manager) "
    "UPDATE manager SET documents = manager.documents + more.documents, "
    "bytes = manager.bytes + more.bytes FROM more WHERE key = more.manager");
// Stores readings, all but those that need not be stored: the last one has the same value and is of
// the same hour. Returns the places of the documents in which a number has no member.
const Sql kAddReadings(
    "WITH sent AS (SELECT * FROM unnest((SELECT $1::bigint[]), (SELECT $2::bigint[]), (SELECT "
    "$3::text[]), (SELECT $4::bigint[]), "
    "(SELECT $5::text[]), (SELECT $6::text[])) WITH ORDINALITY "
    "AS one (place, manager, path, time, name, value, number)), "
    "known AS (SELECT id, number, sent.time, sent.value, last_value IS DISTINCT FROM sent.value "
    "OR last_time / 3600 <> sent.time / 3600 AS differs "
    "FROM sent JOIN member USING (manager, path, name)), "
    "new AS (UPDATE member SET last_time = known.time, last_value = known.value FROM known "
    "WHERE member.id = known.id AND differs RETURNING member.id, known.time, known.value), "
    "stored AS (INSERT INTO reading (member, time, value) SELECT id, time, value FROM new) "
    "SELECT DISTINCT place FROM sent "
    "WHERE NOT EXISTS (SELECT 1 FROM known WHERE known.number = sent.number)");
// Members that a document does not have yet, as long as there is room for them.
const Sql kAddMembers(
    "INSERT INTO member (manager, chassis, path, name) "
    "SELECT $1, $2, $3, name FROM unnest((SELECT $4::text[])) WITH ORDINALITY AS new (name, place) "
    "WHERE NOT EXISTS (SELECT 1 FROM member WHERE manager = $1 AND path = $3 "
    "AND member.name = new.name) ORDER BY place "
    "LIMIT greatest(0, $5 - (SELECT count(*) FROM member WHERE manager = $1 AND path = $3))");

using Sent = std::pair<std::int64_t, Readings>;

std::vector<std::string> NamesOf(const Readings& readings) {
  std::vector<std::string> names;
  for (const NumberRecord& number : readings.numbers) names.push_back(number.member);
  return names;
}

// Stores the readings of all these documents. Returns those in which a number has no member.
std::vector<Sent> StoreReadings(Connection& connection, const std::vector<Sent>& documents) {
  std::vector<std::int64_t> places;
  std::vector<std::int64_t> managers;
  std::vector<std::string> paths;
  std::vector<std::int64_t> times;
  std::vector<std::string> names;
  std::vector<std::string> values;
  for (std::size_t i = 0; i < documents.size(); ++i) {
    const auto& [manager, readings] = documents[i];
    for (const NumberRecord& number : readings.numbers) {
      places.push_back(static_cast<std::int64_t>(i));
      managers.push_back(manager);
      paths.push_back(readings.path);
      times.push_back(readings.time);
      names.push_back(number.member);
      values.push_back(number.value);
    }
  }
  std::vector<Sent> unknown;
  const Result result =
      connection.Run(kAddReadings, {places, managers, paths, times, names, values});
  for (const Row row : result)
    unknown.push_back(documents.at(static_cast<std::size_t>(row.Number(0))));
  return unknown;
}

}  // namespace

void Batch::AddHeartbeat(std::int64_t manager, std::int64_t when, std::int64_t interval,
                         const std::string& address) {
  Beats& beats = m_beats[manager];
  ++beats.count;
  beats.last = when;
  beats.interval = interval;
  if (!address.empty()) beats.address = address;
}

void Batch::PutResource(std::int64_t manager, const ResourceRecord& resource) {
  m_documents.insert({manager, resource.path});
  m_resources.emplace_back(manager, resource);
}

void Batch::AddReadings(std::int64_t manager, const Readings& readings) {
  m_documents.insert({manager, readings.path});
  m_readings.emplace_back(manager, readings);
}

void Batch::Write(Connection& connection) {
  const Batch batch = std::exchange(*this, {});
  if (!batch.m_owned.empty()) {
    connection.Defer(kOwn,
                     {{std::vector<std::int64_t>(batch.m_owned.begin(), batch.m_owned.end())}});
  }
  batch.WriteBeats(connection);
  batch.WriteResources(connection);
  batch.WriteReadings(connection);
}

void Batch::WriteBeats(Connection& connection) const {
  if (m_beats.empty()) return;
  std::vector<std::int64_t> managers;
  std::vector<std::int64_t> counts;
  std::vector<std::int64_t> lasts;
  std::vector<std::int64_t> intervals;
  std::vector<std::int64_t> lates;
  std::vector<std::int64_t> offlines;
  std::vector<std::string> addresses;
  for (const auto& [manager, beats] : m_beats) {
    const DueTimes due = DueTimesOf(beats.last, beats.last, beats.interval);
    managers.push_back(manager);
    counts.push_back(beats.count);
    lasts.push_back(beats.last);
    intervals.push_back(beats.interval);
    lates.push_back(due.late);
    offlines.push_back(due.offline);
    addresses.push_back(beats.address);
  }
  connection.Defer(kAddHeartbeats,
                   {managers, counts, lasts, intervals, lates, offlines, addresses});
  if (m_back != StateCounts{}) connection.Defer(kAddBack, {m_back[1], m_back[2]});
}

void Batch::WriteResources(Connection& connection) const {
  if (m_resources.empty()) return;
  std::vector<std::int64_t> managers;
  std::vector<std::string> paths;
  ArrayLiteral chassis;
  std::vector<std::string> documents;
  std::vector<std::int64_t> times;
  for (const auto& [manager, resource] : m_resources) {
    managers.push_back(manager);
    paths.push_back(resource.path);
    if (resource.chassis) {
      chassis.Add(*resource.chassis);
    } else {
      chassis.AddNull();
    }
    documents.push_back(resource.document);
    times.push_back(resource.changed);
  }
  connection.Defer(kPutResources, {managers, paths, std::move(chassis), documents, times});
}

void Batch::WriteReadings(Connection& connection) const {
  if (m_readings.empty()) return;
  const std::vector<Sent> unknown = StoreReadings(connection, m_readings);
  if (unknown.empty()) return;
  for (const auto& [manager, readings] : unknown) {
    connection.Defer(kAddMembers, {manager, readings.chassis, readings.path, NamesOf(readings),
                                   kMaxHistoryMembers});
  }
  StoreReadings(connection, unknown);
}

}  // namespace cloudservice::postgresql
