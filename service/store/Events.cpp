#include "service/store/Store.h"

namespace cloudservice {

StoredEvent Store::AddEvent(const EventRecord& event, AlarmEffect effect,
                            const std::string& alarm) {
  Transaction transaction(m_database);
  Statement(m_database,
            "INSERT INTO event (manager, chassis, message_id, severity, document, received) "
            "VALUES (?, ?, ?, ?, ?, ?)")
      .Bind(event.manager)
      .Bind(event.chassis)
      .Bind(event.message_id)
      .Bind(event.severity)
      .Bind(event.document)
      .Bind(event.received)
      .Run();
  StoredEvent stored;
  stored.id = m_database.LastInsertId();
  if (effect == AlarmEffect::kRaise) stored.outcome = RaiseAlarm(event, stored.id, alarm);
  if (effect == AlarmEffect::kClear) stored.outcome = ClearAlarm(event, alarm);
  transaction.Commit();
  Tell({Change::What::kEvent, event.manager, stored.id, ""});
  if (stored.outcome != AlarmOutcome::kNone) Tell({Change::What::kAppliance, event.manager, 0, ""});
  return stored;
}

AlarmOutcome Store::RaiseAlarm(const EventRecord& event, std::int64_t id,
                               const std::string& alarm) {
  Statement open(m_database,
                 "SELECT id, severity FROM alarm "
                 "WHERE chassis = ? AND message_id = ? AND closed IS NULL");
  open.Bind(event.chassis).Bind(alarm);
  if (!open.Step()) {
    Statement(m_database,
              "INSERT INTO alarm (chassis, message_id, severity, event, opened, opening) "
              "VALUES (?, ?, ?, ?, ?, ?)")
        .Bind(event.chassis)
        .Bind(alarm)
        .Bind(event.severity)
        .Bind(id)
        .Bind(event.received)
        .Bind(id)
        .Run();
    return AlarmOutcome::kOpened;
  }
  const bool same = open.Text(1) == event.severity;
  Statement(m_database, "UPDATE alarm SET severity = ?, event = ? WHERE id = ?")
      .Bind(event.severity)
      .Bind(id)
      .Bind(open.Number(0))
      .Run();
  return same ? AlarmOutcome::kRepeated : AlarmOutcome::kChanged;
}

AlarmOutcome Store::ClearAlarm(const EventRecord& event, const std::string& alarm) {
  Statement(m_database,
            "UPDATE alarm SET closed = ? WHERE chassis = ? AND message_id = ? AND closed IS NULL")
      .Bind(event.received)
      .Bind(event.chassis)
      .Bind(alarm)
      .Run();
  return m_database.Changes() > 0 ? AlarmOutcome::kClosed : AlarmOutcome::kNotOpen;
}

std::optional<EventRecord> Store::FindEvent(const std::string& manager, std::int64_t id) {
  Statement select(m_database,
                   "SELECT id, manager, chassis, message_id, severity, document, received "
                   "FROM event WHERE id = ? AND manager = ?");
  select.Bind(id).Bind(manager);
  if (!select.Step()) return std::nullopt;
  EventRecord event;
  event.id = select.Number(0);
  event.manager = select.Text(1);
  event.chassis = select.Text(2);
  event.message_id = select.Text(3);
  event.severity = select.Text(4);
  event.document = select.Text(5);
  event.received = select.Number(6);
  return event;
}

std::vector<std::int64_t> Store::ListEvents(const EventFilter& filter) {
  std::string sql = "SELECT event.id FROM event ";
  if (filter.cleared) {
    sql += "JOIN alarm ON alarm.event = event.id AND alarm.closed IS ";
    sql += *filter.cleared ? "NOT NULL " : "NULL ";
  }
  sql += "WHERE event.manager = ? ";
  if (filter.chassis) sql += "AND event.chassis = ? ";
  if (filter.severity) sql += "AND event.severity = ? ";
  sql += "ORDER BY event.id";

  Statement select(m_database, sql.c_str());
  select.Bind(filter.manager);
  if (filter.chassis) select.Bind(*filter.chassis);
  if (filter.severity) select.Bind(*filter.severity);
  std::vector<std::int64_t> ids;
  while (select.Step()) ids.push_back(select.Number(0));
  return ids;
}

}  // namespace cloudservice
