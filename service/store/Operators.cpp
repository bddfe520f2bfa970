#include "service/store/Store.h"

namespace cloudservice {

namespace {

std::optional<std::string> OptionalText(const Statement& select, int column) {
  if (select.IsNull(column)) return std::nullopt;
  return select.Text(column);
}

OperatorRecord Read(const Statement& select) {
  return {select.Number(0), select.Text(1), OptionalText(select, 2), OptionalText(select, 3),
          select.Number(4)};
}

template <typename Key>
std::optional<OperatorRecord> Find(Database& database, const char* sql, const Key& key) {
  Statement select(database, sql);
  select.Bind(key);
  if (!select.Step()) return std::nullopt;
  return Read(select);
}

}  // namespace

bool Store::AddOperator(const OperatorRecord& person) {
  Statement(m_database,
            "INSERT INTO operator (name, password_hash, token_hash, created) VALUES (?, ?, ?, ?) "
            "ON CONFLICT (name) DO NOTHING")
      .Bind(person.name)
      .Bind(person.password_hash)
      .Bind(person.token_hash)
      .Bind(person.created)
      .Run();
  return m_database.Changes() > 0;
}

std::optional<OperatorRecord> Store::FindOperator(const std::string& name) {
  return Find(m_database,
              "SELECT id, name, password_hash, token_hash, created FROM operator WHERE name = ?",
              name);
}

std::optional<OperatorRecord> Store::FindOperator(std::int64_t id) {
  return Find(m_database,
              "SELECT id, name, password_hash, token_hash, created FROM operator WHERE id = ?", id);
}

std::optional<OperatorRecord> Store::FindOperatorByToken(const std::string& token_hash) {
  return Find(
      m_database,
      "SELECT id, name, password_hash, token_hash, created FROM operator WHERE token_hash = ?",
      token_hash);
}

std::vector<OperatorRecord> Store::ListOperators() {
  Statement select(
      m_database,
      "SELECT id, name, password_hash, token_hash, created FROM operator ORDER BY name");
  std::vector<OperatorRecord> operators;
  while (select.Step()) operators.push_back(Read(select));
  return operators;
}

bool Store::DeleteOperator(const std::string& name) {
  Statement(m_database, "DELETE FROM operator WHERE name = ?").Bind(name).Run();
  return m_database.Changes() > 0;
}

}  // namespace cloudservice
