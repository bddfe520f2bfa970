// SPDX-License-Identifier: Apache-2.0
// Accounts and registration keys.
#include "service/store/sqlite/SqliteTransaction.h"

namespace cloudservice {

namespace {

const std::string kAccount =
    "SELECT id, email, created, "
    "(SELECT count(*) FROM registration_key WHERE account = account.id), "
    "(SELECT count(*) FROM manager WHERE account = account.id) FROM account ";
const Sql kAccountsFrom(kAccount + "WHERE email >= ? ORDER BY email LIMIT ?");
const Sql kAccountByEmail(kAccount + "WHERE email = ?");
const Sql kAnyKey("SELECT 1 FROM registration_key ORDER BY id LIMIT 1");
const Sql kKeys("SELECT hash FROM registration_key WHERE account = ? ORDER BY id");
const Sql kAddAccount("INSERT INTO account (email, created) VALUES (?, ?) ON CONFLICT DO NOTHING");
const Sql kDeleteKeys(
    "DELETE FROM registration_key WHERE account = (SELECT id FROM account WHERE email = ?)");
const Sql kAddKey(
    "INSERT INTO registration_key (account, hash, created) "
    "SELECT id, ?, ? FROM account WHERE email = ?");
const Sql kDeleteAccount("DELETE FROM account WHERE id = ?");
const Sql kLeaveManagers("INSERT INTO removal (account) VALUES (?)");

AccountRecord ReadAccount(const Statement& select) {
  return {select.Number(0), select.Text(1), select.Number(2), select.Number(3), select.Number(4)};
}

}  // namespace

std::optional<AccountRecord> SqliteTransaction::FindAccount(const std::string& email) {
  Statement select(m_database, kAccountByEmail);
  select.Bind(email);
  if (!select.Step()) return std::nullopt;
  return ReadAccount(select);
}

std::vector<AccountRecord> SqliteTransaction::ListAccounts(const ListPage<std::string>& page) {
  Statement select(m_database, kAccountsFrom);
  select.Bind(FirstText(page.after)).Bind(page.limit);
  std::vector<AccountRecord> accounts;
  while (select.Step()) accounts.push_back(ReadAccount(select));
  return accounts;
}

bool SqliteTransaction::HasAccounts() {
  Statement select(m_database, kAnyKey);
  return select.Step();
}

void SqliteTransaction::AddRegistrationKey(const std::string& email, const std::string& hash,
                                           bool replace, std::int64_t now) {
  Statement(m_database, kAddAccount).Bind(email).Bind(now).Run();
  if (replace) Statement(m_database, kDeleteKeys).Bind(email).Run();
  Statement(m_database, kAddKey).Bind(hash).Bind(now).Bind(email).Run();
}

std::vector<std::string> SqliteTransaction::ListRegistrationKeys(std::int64_t account) {
  Statement select(m_database, kKeys);
  select.Bind(account);
  std::vector<std::string> hashes;
  while (select.Step()) hashes.push_back(select.Text(0));
  return hashes;
}

void SqliteTransaction::DeleteAccount(std::int64_t account, bool withManagers) {
  Statement(m_database, kDeleteAccount).Bind(account).Run();
  if (withManagers) Statement(m_database, kLeaveManagers).Bind(account).Run();
  Note({Change::What::kAny, {}, 0, {}});
}

}  // namespace cloudservice
