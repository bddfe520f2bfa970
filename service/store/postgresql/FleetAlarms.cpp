// SPDX-License-Identifier: Apache-2.0
// The fleet's list of alarms, and who looks after them.
#include <map>
#include <utility>

#include "service/store/postgresql/PostgresTransaction.h"

namespace cloudservice::postgresql {

namespace {

// How the alarms of one kind are listed: those of the whole fleet along the index of their order,
// and those of one appliance along that of appliances.
struct Stretches {
  Stretches(const std::string& name, const std::string& columns)
      : open(Text(name, columns, kOpen, "opened", "")),
        ended(Text(name, columns, kEnded, "closed", "")),
        openOfOne(Text(name, columns, kOpen, "opened", kOfOne)),
        endedOfOne(Text(name, columns, kEnded, "closed", kOfOne)) {}

  const Sql& Of(const AlarmFilter& filter) const {
    if (filter.manager) return filter.open ? openOfOne : endedOfOne;
    return filter.open ? open : ended;
  }

  const Sql open;
  const Sql ended;
  const Sql openOfOne;
  const Sql endedOfOne;

 private:
  static constexpr const char* kOpen = "closed IS NULL AND rank = $1 ";
  static constexpr const char* kEnded =
      "closed IS NOT NULL AND ($1::smallint IS NULL OR rank = $1) ";
  static constexpr const char* kOfOne = "AND manager = (SELECT key FROM manager WHERE uuid = $6) ";

  static std::string Text(const std::string& name, const std::string& columns,
                          const std::string& part, const std::string& time,
                          const std::string& more) {
    return "SELECT id, uuid, label, rank, opened, closed, acknowledged, acknowledged_by, note, "
           "manager, " +
           columns + " FROM " + name + " JOIN manager ON key = manager WHERE " + part + "AND (" +
           time +
           ", id) < ($3, $4) AND ($2::int IS NULL OR (acknowledged IS NOT NULL)::int = $2) " +
           more + "ORDER BY " + time + " DESC, id DESC LIMIT $5";
  }
};

const Stretches kAlarms("alarm", "event, chassis, message_id");
const Stretches kSilences("silence", "offline");

const Sql kDocumentsOfAlarms(
    "SELECT id, document FROM event WHERE (manager, id) IN "
    "(SELECT * FROM unnest($1::bigint[], $2::bigint[])) AND day = ANY ($3::integer[])",
    Sql::Plan::kEachTime);

std::string Acknowledging(const std::string& table) {
  return "UPDATE " + table +
         " SET acknowledged = $2, acknowledged_by = $3, note = $4 FROM manager "
         "WHERE id = $1 AND closed IS NULL AND key = manager RETURNING uuid";
}
const Sql kAcknowledgeAlarm(Acknowledging("alarm"));
const Sql kAcknowledgeSilence(Acknowledging("silence"));

bool IsAlarm(AlarmName::Kind kind) { return kind == AlarmName::Kind::kAlarm; }

FleetAlarm AlarmIn(const Row& row, AlarmName::Kind kind) {
  FleetAlarm alarm;
  alarm.name = {kind, row.Number(0)};
  alarm.manager = row.Text(1);
  alarm.label = row.Text(2);
  alarm.severity = static_cast<Severity>(row.Number(3));
  alarm.opened = row.Number(4);
  alarm.closed = row.OptionalNumber(5);
  if (const auto time = row.OptionalNumber(6)) {
    alarm.acknowledged = Acknowledgement{*time, row.Text(7), row.Text(8)};
  }
  if (!IsAlarm(kind)) {
    alarm.offline = row.OptionalNumber(10);
    return alarm;
  }
  alarm.event = row.Number(10);
  alarm.chassis = row.Text(11);
  alarm.messageId = row.Text(12);
  return alarm;
}

}  // namespace

std::vector<FleetAlarm> PostgresTransaction::ListAlarms(const AlarmFilter& filter) {
  std::vector<std::int64_t> managers;
  std::vector<std::int64_t> events;
  std::vector<std::int64_t> days = {kKeptDay};
  std::vector<FleetAlarm> alarms = ListByStretches(filter, [&](const AlarmStretch& stretch) {
    std::optional<std::int64_t> acknowledged;
    if (filter.acknowledged) acknowledged = *filter.acknowledged ? 1 : 0;
    Values values = {stretch.rank, acknowledged, stretch.time, stretch.id, filter.limit};
    if (filter.manager) values.emplace_back(*filter.manager);
    std::vector<FleetAlarm> part;
    const Result found = Run((IsAlarm(stretch.kind) ? kAlarms : kSilences).Of(filter), values);
    for (const Row row : found) {
      part.push_back(AlarmIn(row, stretch.kind));
      if (!IsAlarm(stretch.kind)) continue;
      managers.push_back(row.Number(9));
      events.push_back(part.back().event);
      days.push_back(DayOfEvent(part.back().event));
    }
    return part;
  });
  std::map<std::int64_t, std::string> documents;
  if (!events.empty()) {
    const Result found = Run(kDocumentsOfAlarms, {managers, events, days});
    for (const Row row : found) documents[row.Number(0)] = row.Text(1);
  }
  for (FleetAlarm& alarm : alarms) alarm.document = std::move(documents[alarm.event]);
  return alarms;
}

bool PostgresTransaction::Acknowledge(const AlarmName& alarm,
                                      const std::optional<Acknowledgement>& word) {
  const std::optional<std::string> none;
  Values values = {alarm.id, none, none, none};
  if (word) values = {alarm.id, word->time, word->by, word->note};
  const Result changed = Run(IsAlarm(alarm.kind) ? kAcknowledgeAlarm : kAcknowledgeSilence, values);
  if (changed.Empty()) return false;
  NoteAppliance(changed.First().Text(0));
  return true;
}

}  // namespace cloudservice::postgresql
