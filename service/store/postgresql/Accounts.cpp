// SPDX-License-Identifier: Apache-2.0
// Accounts and registration keys.
#include "service/store/postgresql/PostgresTransaction.h"

namespace cloudservice::postgresql {

namespace {

const std::string kAccount =
    "SELECT id, email, created, "
    "(SELECT count(*) FROM registration_key WHERE account = account.id), "
    "(SELECT count(*) FROM manager WHERE account = account.id) FROM account ";
const Sql kAccountsFrom(kAccount + "WHERE email >= $1 ORDER BY email LIMIT $2");
const Sql kAccountByEmail(kAccount + "WHERE email = $1");
const Sql kAnyKey("SELECT 1 FROM registration_key LIMIT 1");
const Sql kKeys("SELECT hash FROM registration_key WHERE account = $1 ORDER BY id");
// Locks the account also when it is there already, so that keys are added one after another.
const Sql kAddAccount(
    "INSERT INTO account (email, created) VALUES ($1, $2) "
    "ON CONFLICT (email) DO UPDATE SET email = excluded.email RETURNING id");
const Sql kDeleteKeys("DELETE FROM registration_key WHERE account = $1");
const Sql kAddKey("INSERT INTO registration_key (account, hash, created) VALUES ($1, $2, $3)");
const Sql kLeaveManagers("INSERT INTO removal (kind, key) VALUES (0, $1)");
const Sql kDeleteAccount("DELETE FROM account WHERE id = $1");

AccountRecord ReadAccount(const Row& row) {
  return {row.Number(0), row.Text(1), row.Number(2), row.Number(3), row.Number(4)};
}

}  // namespace

std::optional<AccountRecord> PostgresTransaction::FindAccount(const std::string& email) {
  const Result result = Run(kAccountByEmail, {email});
  if (result.Empty()) return std::nullopt;
  return ReadAccount(result.First());
}

std::vector<AccountRecord> PostgresTransaction::ListAccounts(const ListPage<std::string>& page) {
  std::vector<AccountRecord> accounts;
  const Result result = Run(kAccountsFrom, {FirstText(page.after), page.limit});
  for (const Row row : result) accounts.push_back(ReadAccount(row));
  return accounts;
}

bool PostgresTransaction::HasAccounts() { return !Run(kAnyKey).Empty(); }

void PostgresTransaction::AddRegistrationKey(const std::string& email, const std::string& hash,
                                             bool replace, std::int64_t now) {
  const std::int64_t account = Run(kAddAccount, {email, now}).First().Number(0);
  if (replace) Defer(kDeleteKeys, {account});
  Run(kAddKey, {account, hash, now});
}

std::vector<std::string> PostgresTransaction::ListRegistrationKeys(std::int64_t account) {
  std::vector<std::string> hashes;
  const Result result = Run(kKeys, {account});
  for (const Row row : result) hashes.push_back(row.Text(0));
  return hashes;
}

void PostgresTransaction::DeleteAccount(std::int64_t account, bool withManagers) {
  if (withManagers) Defer(kLeaveManagers, {account});
  Run(kDeleteAccount, {account});
  m_changes.push_back({Change::What::kAny, {}, 0, {}});
}

}  // namespace cloudservice::postgresql
