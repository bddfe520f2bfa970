// SPDX-License-Identifier: Apache-2.0
// Who may use a database at once.
#include "service/store/postgresql/Sharing.h"

#include <algorithm>
#include <thread>

namespace cloudservice::postgresql {

namespace {

const Sql kShare("SELECT pg_try_advisory_lock_shared(5423847, 1)", Sql::Plan::kEachTime);
const Sql kTake("SELECT pg_try_advisory_lock(5423847, 1)", Sql::Plan::kEachTime);

// True when the lock was to be had in time.
bool Lock(Connection& connection, const Sql& lock, std::chrono::milliseconds wait) {
  constexpr std::chrono::milliseconds kPause(100);
  const auto end = std::chrono::steady_clock::now() + wait;
  while (!connection.Run(lock).First().Truth(0)) {
    const auto left = end - std::chrono::steady_clock::now();
    if (left <= left.zero()) return false;
    std::this_thread::sleep_for(std::min<std::chrono::nanoseconds>(left, kPause));
  }
  return true;
}

}  // namespace

void ShareDatabase(Connection& connection, const std::string& database,
                   std::chrono::milliseconds wait) {
  if (Lock(connection, kShare, wait)) return;
  throw DatabaseError(database + " is being copied");
}

void TakeDatabase(Connection& connection, const std::string& database,
                  std::chrono::milliseconds wait) {
  if (Lock(connection, kTake, wait)) return;
  throw DatabaseError(database + " is in use by a service, a command or another copy");
}

}  // namespace cloudservice::postgresql
