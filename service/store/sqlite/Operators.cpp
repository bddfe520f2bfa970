// SPDX-License-Identifier: Apache-2.0
// Operators.
#include "service/store/sqlite/SqliteTransaction.h"

namespace cloudservice {

namespace {

const std::string kOperator = "SELECT id, name, password_hash, token_hash, created FROM operator ";
const Sql kOperatorsFrom(kOperator + "WHERE name >= ? ORDER BY name LIMIT ?");
const Sql kOperatorByName(kOperator + "WHERE name = ?");
const Sql kOperatorById(kOperator + "WHERE id = ?");
const Sql kOperatorByToken(kOperator + "WHERE token_hash = ?");
const Sql kAddOperator(
    "INSERT INTO operator (name, password_hash, token_hash, created) VALUES (?, ?, ?, ?) "
    "ON CONFLICT (name) DO NOTHING");
const Sql kDeleteOperator("DELETE FROM operator WHERE name = ?");

OperatorRecord ReadOperator(const Statement& select) {
  return {select.Number(0), select.Text(1), select.OptionalText(2), select.OptionalText(3),
          select.Number(4)};
}

template <typename Key>
std::optional<OperatorRecord> OperatorBy(Database& database, const Sql& sql, const Key& key) {
  Statement select(database, sql);
  select.Bind(key);
  if (!select.Step()) return std::nullopt;
  return ReadOperator(select);
}

}  // namespace

bool SqliteTransaction::AddOperator(const OperatorRecord& person) {
  Statement(m_database, kAddOperator)
      .Bind(person.name)
      .Bind(person.passwordHash)
      .Bind(person.tokenHash)
      .Bind(person.created)
      .Run();
  return m_database.Changes() > 0;
}

std::optional<OperatorRecord> SqliteTransaction::FindOperator(const std::string& name) {
  return OperatorBy(m_database, kOperatorByName, name);
}

std::optional<OperatorRecord> SqliteTransaction::FindOperator(std::int64_t id) {
  return OperatorBy(m_database, kOperatorById, id);
}

std::optional<OperatorRecord> SqliteTransaction::FindOperatorByToken(const std::string& tokenHash) {
  return OperatorBy(m_database, kOperatorByToken, tokenHash);
}

std::vector<OperatorRecord> SqliteTransaction::ListOperators(const ListPage<std::string>& page) {
  Statement select(m_database, kOperatorsFrom);
  select.Bind(FirstText(page.after)).Bind(page.limit);
  std::vector<OperatorRecord> operators;
  while (select.Step()) operators.push_back(ReadOperator(select));
  return operators;
}

bool SqliteTransaction::DeleteOperator(const std::string& name) {
  Statement(m_database, kDeleteOperator).Bind(name).Run();
  return m_database.Changes() > 0;
}

}  // namespace cloudservice
