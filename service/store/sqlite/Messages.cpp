// SPDX-License-Identifier: Apache-2.0
// What managers have posted under keys of their choice.
#include "service/store/sqlite/SqliteTransaction.h"

namespace cloudservice {

namespace {

const Sql kMessage(
    "SELECT digest, event, received FROM message "
    "WHERE manager = (SELECT id FROM manager WHERE uuid = ?) AND key = ?");
const Sql kAddMessage(
    "INSERT INTO message (manager, key, digest, event, received) VALUES (?, ?, ?, ?, ?)");
const Sql kDropMessages(
    "DELETE FROM message WHERE id IN (SELECT id FROM message WHERE received < ? LIMIT ?)");

}  // namespace

std::optional<MessageRecord> SqliteTransaction::FindMessage(const std::string& manager,
                                                            const std::string& key) {
  Statement select(m_database, kMessage);
  select.Bind(manager).Bind(key);
  if (!select.Step()) return std::nullopt;
  return MessageRecord{key, select.Text(0), select.Number(1), select.Number(2)};
}

void SqliteTransaction::AddMessage(const std::string& manager, const MessageRecord& message) {
  Statement(m_database, kAddMessage)
      .Bind(ManagerNumber(manager))
      .Bind(message.key)
      .Bind(message.digest)
      .Bind(message.event)
      .Bind(message.received)
      .Run();
}

bool SqliteTransaction::RemoveMessages(std::int64_t before, std::int64_t most) {
  Statement(m_database, kDropMessages).Bind(before).Bind(most).Run();
  return m_database.Changes() == most;
}

}  // namespace cloudservice
