// SPDX-License-Identifier: Apache-2.0
// The commands account and operator: who may register appliances, and who may look at them.
#include "service/AuthCommands.h"

#include <fstream>
#include <istream>
#include <ostream>
#include <stdexcept>
#include <string>
#include <vector>

#include "service/auth/Accounts.h"
#include "service/auth/Operators.h"
#include "service/util/Log.h"
#include "service/util/Secret.h"

namespace cloudservice {

namespace {

constexpr const char* kInput = "-";

std::string Counted(std::int64_t count, const std::string& one, const std::string& many) {
  return std::to_string(count) + " " + (count == 1 ? one : many);
}

void AddAccount(Store& store, const Options& options, const Clock& clock, std::istream& in,
                std::ostream& out) {
  Accounts accounts(store, clock);
  const std::string key = options.secretFromInput ? ReadSecret(kInput, in) : RandomPassword();
  if (!accounts.Add(options.subject, key, options.replace)) {
    throw std::runtime_error(options.subject + " has this key already");
  }
  if (!options.secretFromInput) out << "registration key: " << key << "\n";
}

// Reads the whole list, each page in a transaction of its own, and shows each entry.
template <typename Record>
void ShowAll(Store& store, std::vector<Record> (Transaction::*list)(const ListPage<std::string>&),
             void (*show)(const Record& record, std::ostream& out), std::ostream& out) {
  ListPage<std::string> page = {std::nullopt, 1000};
  for (;;) {
    const std::vector<Record> records =
        store.Read([&](Transaction& kept) { return (kept.*list)(page); });
    if (records.empty()) return;
    for (const Record& record : records) show(record, out);
    page.after = KeyOf(records.back());
  }
}

void ShowAccount(const AccountRecord& account, std::ostream& out) {
  out << Printable(account.email) << "  " << Counted(account.keys, "key", "keys") << ", "
      << Counted(account.managers, "appliance", "appliances") << ", since "
      << UtcTime(account.created) << "\n";
}

void RemoveAccount(Store& store, const Options& options) {
  store.Write([&](Transaction& kept) {
    const std::optional<AccountRecord> account = kept.FindAccount(options.subject);
    if (!account) throw std::runtime_error("there is no account " + options.subject);
    kept.DeleteAccount(account->id, options.withAppliances);
  });
  // What the appliances leave behind is for the service to remove.
  constexpr std::int64_t kAtOnce = 1000;
  const auto more = [](Transaction& kept) { return kept.RemoveNext(kAtOnce) == Left::kManagers; };
  while (options.withAppliances && store.Write(more)) {
  }
}

void AddOperator(Store& store, const Options& options, const Clock& clock, std::istream& in,
                 std::ostream& out) {
  Operators operators(store, clock);
  if (options.withToken) {
    out << "token: " << operators.AddWithToken(options.subject) << "\n";
    return;
  }
  const std::string password = options.secretFromInput ? ReadSecret(kInput, in) : RandomPassword();
  operators.AddWithPassword(options.subject, password);
  if (!options.secretFromInput) out << "password: " << password << "\n";
}

void ShowOperator(const OperatorRecord& person, std::ostream& out) {
  out << Printable(person.name) << "  " << (person.tokenHash ? "token" : "password") << ", since "
      << UtcTime(person.created) << "\n";
}

void RemoveOperator(Store& store, const Options& options) {
  const bool gone =
      store.Write([&](Transaction& kept) { return kept.DeleteOperator(options.subject); });
  if (!gone) {
    throw std::runtime_error("there is no operator " + options.subject);
  }
}

}  // namespace

void RunOwnersCommand(const Options& options, const Clock& clock, std::istream& in,
                      std::ostream& out) {
  const auto opened =
      OpenStore(options.database, options.create ? MissingFile::kCreate : MissingFile::kRefuse);
  Store& store = *opened;
  switch (options.command) {
    case Command::kAddAccount:
      return AddAccount(store, options, clock, in, out);
    case Command::kListAccounts:
      return ShowAll(store, &Transaction::ListAccounts, ShowAccount, out);
    case Command::kRemoveAccount:
      return RemoveAccount(store, options);
    case Command::kAddOperator:
      return AddOperator(store, options, clock, in, out);
    case Command::kListOperators:
      return ShowAll(store, &Transaction::ListOperators, ShowOperator, out);
    case Command::kRemoveOperator:
      return RemoveOperator(store, options);
    case Command::kServe:
    case Command::kBackup:
    case Command::kCopy:
      throw std::logic_error("no command about owners");
  }
}

std::string ReadSecret(const std::string& file, std::istream& in) {
  std::ifstream opened;
  if (file != kInput) opened.open(file);
  const std::string name = file == kInput ? "standard input" : file;
  std::string secret;
  if (!std::getline(file == kInput ? in : opened, secret) || secret.empty()) {
    throw std::runtime_error(name + " has no line to read");
  }
  return secret;
}

}  // namespace cloudservice
