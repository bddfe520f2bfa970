// SPDX-License-Identifier: Apache-2.0
// The fleet's list of alarms, and who looks after them.
#include "service/store/sqlite/SqliteTransaction.h"

namespace cloudservice {

namespace {

// How the alarms of one kind are listed: those of the whole fleet along the index of their order,
// and those of one appliance along that of appliances.
struct Stretches {
  Stretches(const std::string& name, const std::string& columns, const std::string& more)
      : open(Text(name, columns, more, kOpen, "opened", false)),
        ended(Text(name, columns, more, kEnded, "closed", false)),
        openOfOne(Text(name, columns, more, kOpen, "opened", true)),
        endedOfOne(Text(name, columns, more, kEnded, "closed", true)) {}

  const Sql& Of(const AlarmFilter& filter) const {
    if (filter.manager) return filter.open ? openOfOne : endedOfOne;
    return filter.open ? open : ended;
  }

  const Sql open;
  const Sql ended;
  const Sql openOfOne;
  const Sql endedOfOne;

 private:
  static constexpr const char* kOpen = "closed IS NULL AND rank = ?1 ";
  static constexpr const char* kEnded = "closed IS NOT NULL AND (?1 IS NULL OR rank = ?1) ";

  static std::string Text(const std::string& name, const std::string& columns,
                          const std::string& more, const std::string& part, const std::string& time,
                          bool ofOne) {
    const std::string key = name + ".id";
    const std::string from = ofOne ? "manager CROSS JOIN " + name : name + " CROSS JOIN manager";
    return "SELECT " + key +
           ", uuid, label, rank, opened, closed, acknowledged, acknowledged_by, note, " + columns +
           " FROM " + from + " ON manager.id = " + name + ".manager " + more + "WHERE " + part +
           "AND (" + time + ", " + key + ") < (?3, ?4) AND " +
           "(?2 IS NULL OR (acknowledged IS NOT NULL) = ?2) " + (ofOne ? "AND uuid = ?6 " : "") +
           "ORDER BY " + time + " DESC, " + key + " DESC LIMIT ?5";
  }
};

// Those of a removed chassis stay for a while, and are not seen.
const Stretches kAlarms("alarm", "event.id, chassis.id, alarm.message_id, event.document",
                        "CROSS JOIN chassis ON number = alarm.chassis "
                        "CROSS JOIN event ON event.id = alarm.event ");
const Stretches kSilences("silence", "offline", "");

const Sql kAcknowledgeAlarm(
    "UPDATE alarm SET acknowledged = ?2, acknowledged_by = ?3, note = ?4 "
    "WHERE id = ?1 AND closed IS NULL AND EXISTS (SELECT 1 FROM manager WHERE manager.id = "
    "alarm.manager) AND EXISTS (SELECT 1 FROM chassis WHERE number = alarm.chassis) RETURNING "
    "(SELECT uuid FROM manager WHERE manager.id = alarm.manager)");
const Sql kAcknowledgeSilence(
    "UPDATE silence SET acknowledged = ?2, acknowledged_by = ?3, note = ?4 "
    "WHERE id = ?1 AND closed IS NULL AND EXISTS (SELECT 1 FROM manager WHERE manager.id = "
    "silence.manager) RETURNING (SELECT uuid FROM manager WHERE manager.id = silence.manager)");

bool IsAlarm(AlarmName::Kind kind) { return kind == AlarmName::Kind::kAlarm; }

FleetAlarm AlarmIn(Statement& select, AlarmName::Kind kind) {
  FleetAlarm alarm;
  alarm.name = {kind, select.Number(0)};
  alarm.manager = select.Text(1);
  alarm.label = select.Text(2);
  alarm.severity = static_cast<Severity>(select.Number(3));
  alarm.opened = select.Number(4);
  alarm.closed = select.OptionalNumber(5);
  if (const auto time = select.OptionalNumber(6)) {
    alarm.acknowledged = Acknowledgement{*time, select.Text(7), select.Text(8)};
  }
  if (!IsAlarm(kind)) {
    alarm.offline = select.OptionalNumber(9);
    return alarm;
  }
  alarm.event = select.Number(9);
  alarm.chassis = select.Text(10);
  alarm.messageId = select.Text(11);
  alarm.document = select.Text(12);
  return alarm;
}

}  // namespace

std::vector<FleetAlarm> SqliteTransaction::ListAlarms(const AlarmFilter& filter) {
  return ListByStretches(filter, [&](const AlarmStretch& stretch) {
    Statement select(m_database, (IsAlarm(stretch.kind) ? kAlarms : kSilences).Of(filter));
    std::optional<std::int64_t> acknowledged;
    if (filter.acknowledged) acknowledged = *filter.acknowledged ? 1 : 0;
    select.Bind(stretch.rank).Bind(acknowledged).Bind(stretch.time).Bind(stretch.id);
    select.Bind(filter.limit);
    if (filter.manager) select.Bind(*filter.manager);
    std::vector<FleetAlarm> alarms;
    while (select.Step()) alarms.push_back(AlarmIn(select, stretch.kind));
    return alarms;
  });
}

bool SqliteTransaction::Acknowledge(const AlarmName& alarm,
                                    const std::optional<Acknowledgement>& word) {
  Statement update(m_database, IsAlarm(alarm.kind) ? kAcknowledgeAlarm : kAcknowledgeSilence);
  update.Bind(alarm.id);
  if (word) {
    update.Bind(word->time).Bind(word->by).Bind(word->note);
  } else {
    const std::optional<std::int64_t> none;
    update.Bind(none).Bind(none).Bind(none);
  }
  if (!update.Step()) return false;
  NoteAppliance(update.Text(0));
  return true;
}

}  // namespace cloudservice
