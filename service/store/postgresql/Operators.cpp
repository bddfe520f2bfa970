// SPDX-License-Identifier: Apache-2.0
// Operators.
#include "service/store/postgresql/PostgresTransaction.h"

namespace cloudservice::postgresql {

namespace {

const std::string kOperator = "SELECT id, name, password_hash, token_hash, created FROM operator ";
const Sql kOperatorsFrom(kOperator + "WHERE name >= $1 ORDER BY name LIMIT $2");
const Sql kOperatorByName(kOperator + "WHERE name = $1");
const Sql kOperatorById(kOperator + "WHERE id = $1");
const Sql kOperatorByToken(kOperator + "WHERE token_hash = $1");
const Sql kAddOperator(
    "INSERT INTO operator (name, password_hash, token_hash, created) VALUES ($1, $2, $3, $4) "
    "ON CONFLICT (name) DO NOTHING");
const Sql kDeleteOperator("DELETE FROM operator WHERE name = $1");

OperatorRecord ReadOperator(const Row& row) {
  return {row.Number(0), row.Text(1), row.OptionalText(2), row.OptionalText(3), row.Number(4)};
}

std::optional<OperatorRecord> FirstOperator(const Result& result) {
  if (result.Empty()) return std::nullopt;
  return ReadOperator(result.First());
}

}  // namespace

bool PostgresTransaction::AddOperator(const OperatorRecord& person) {
  return Run(kAddOperator, {person.name, person.passwordHash, person.tokenHash, person.created})
             .Changed() > 0;
}

std::optional<OperatorRecord> PostgresTransaction::FindOperator(const std::string& name) {
  return FirstOperator(Run(kOperatorByName, {name}));
}

std::optional<OperatorRecord> PostgresTransaction::FindOperator(std::int64_t id) {
  return FirstOperator(Run(kOperatorById, {id}));
}

std::optional<OperatorRecord> PostgresTransaction::FindOperatorByToken(
    const std::string& tokenHash) {
  return FirstOperator(Run(kOperatorByToken, {tokenHash}));
}

std::vector<OperatorRecord> PostgresTransaction::ListOperators(const ListPage<std::string>& page) {
  std::vector<OperatorRecord> operators;
  const Result result = Run(kOperatorsFrom, {FirstText(page.after), page.limit});
  for (const Row row : result) operators.push_back(ReadOperator(row));
  return operators;
}

bool PostgresTransaction::DeleteOperator(const std::string& name) {
  return Run(kDeleteOperator, {name}).Changed() > 0;
}

}  // namespace cloudservice::postgresql
