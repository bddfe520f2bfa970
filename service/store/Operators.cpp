#include "service/store/Store.h"

namespace cloudservice {

namespace {

const std::string kOperator = "SELECT id, name, password_hash, token_hash, created FROM operator ";
const Sql kAll(kOperator + "ORDER BY name");
const Sql kByName(kOperator + "WHERE name = ?");
const Sql kById(kOperator + "WHERE id = ?");
const Sql kByToken(kOperator + "WHERE token_hash = ?");
const Sql kAdd(
    "INSERT INTO operator (name, password_hash, token_hash, created) VALUES (?, ?, ?, ?) "
    "ON CONFLICT (name) DO NOTHING");
const Sql kDelete("DELETE FROM operator WHERE name = ?");

OperatorRecord Read(const Statement& select) {
  return {select.Number(0), select.Text(1), select.OptionalText(2), select.OptionalText(3),
          select.Number(4)};
}

template <typename Key>
std::optional<OperatorRecord> Find(Database& database, const Sql& sql, const Key& key) {
  Statement select(database, sql);
  select.Bind(key);
  if (!select.Step()) return std::nullopt;
  return Read(select);
}

}  // namespace

bool Store::AddOperator(const OperatorRecord& person) {
  Statement(m_database, kAdd)
      .Bind(person.name)
      .Bind(person.password_hash)
      .Bind(person.token_hash)
      .Bind(person.created)
      .Run();
  return m_database.Changes() > 0;
}

std::optional<OperatorRecord> Store::FindOperator(const std::string& name) {
  return Find(m_database, kByName, name);
}

std::optional<OperatorRecord> Store::FindOperator(std::int64_t id) {
  return Find(m_database, kById, id);
}

std::optional<OperatorRecord> Store::FindOperatorByToken(const std::string& token_hash) {
  return Find(m_database, kByToken, token_hash);
}

std::vector<OperatorRecord> Store::ListOperators() {
  Statement select(m_database, kAll);
  std::vector<OperatorRecord> operators;
  while (select.Step()) operators.push_back(Read(select));
  return operators;
}

bool Store::DeleteOperator(const std::string& name) {
  Statement(m_database, kDelete).Bind(name).Run();
  return m_database.Changes() > 0;
}

}  // namespace cloudservice
