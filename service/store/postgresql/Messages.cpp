// SPDX-License-Identifier: Apache-2.0
// What managers have posted under keys of their choice.
#include "service/store/postgresql/PostgresTransaction.h"

namespace cloudservice::postgresql {

namespace {

const Sql kMessage(
    "SELECT digest, event, received FROM message "
    "WHERE manager = (SELECT key FROM manager WHERE uuid = $1) AND key = $2");
const Sql kAddMessage(
    "INSERT INTO message (manager, key, digest, event, received) VALUES ($1, $2, $3, $4, $5)");
const Sql kDropMessages(
    "DELETE FROM message WHERE id IN (SELECT id FROM message WHERE received < $1 LIMIT $2)");

}  // namespace

std::optional<MessageRecord> PostgresTransaction::FindMessage(const std::string& manager,
                                                              const std::string& key) {
  const Result result = Run(kMessage, {manager, key});
  if (result.Empty()) return std::nullopt;
  const Row row = result.First();
  return MessageRecord{key, row.Text(0), row.Number(1), row.Number(2)};
}

void PostgresTransaction::AddMessage(const std::string& manager, const MessageRecord& message) {
  Defer(kAddMessage,
        {Owned(manager), message.key, message.digest, message.event, message.received});
}

bool PostgresTransaction::RemoveMessages(std::int64_t before, std::int64_t most) {
  return Run(kDropMessages, {before, most}).Changed() == most;
}

}  // namespace cloudservice::postgresql
