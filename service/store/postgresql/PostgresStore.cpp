// SPDX-License-Identifier: Apache-2.0
// Units of work on a PostgreSQL database.
#include "service/store/postgresql/PostgresStore.h"

#include <algorithm>
#include <chrono>
#include <numeric>
#include <random>
#include <thread>
#include <utility>

#include "service/store/Backends.h"
#include "service/store/postgresql/ChangeWatch.h"
#include "service/store/postgresql/Schema.h"
#include "service/store/postgresql/Sharing.h"

namespace cloudservice::postgresql {

namespace {

// How often a unit of work is run at most.
constexpr int kAttempts = 10;
// Rows in the table of totals are added up after so many were added by this process.
constexpr unsigned kTotalsRows = 500;

const Sql kAlive("SELECT 1", Sql::Plan::kEachTime);
const Sql kAddTotalsUp(
    "WITH gone AS (DELETE FROM total RETURNING *) INSERT INTO total "
    "SELECT coalesce(sum(managers), 0), coalesce(sum(chassis), 0), coalesce(sum(faults), 0), "
    "coalesce(sum(alarms), 0), coalesce(sum(warnings), 0), coalesce(sum(faulty), 0), "
    "coalesce(sum(alarmed), 0), coalesce(sum(warned), 0), coalesce(sum(late), 0), "
    "coalesce(sum(offline), 0) FROM gone");

// Random numbers of the calling thread.
std::mt19937_64& Random() {
  thread_local std::mt19937_64 random(std::random_device{}());
  return random;
}

// Lets whoever was in the way come to an end; the times differ, so that two do not meet again.
void Pause(int attempt) {
  std::uniform_int_distribution<int> microseconds(0, 2000 * attempt);
  std::this_thread::sleep_for(std::chrono::microseconds(microseconds(Random())));
}

bool IsClass(const ServerError& error, const char* start) {
  return error.State().rfind(start, 0) == 0;
}

constexpr const char* kNoPartition = "23514";

// Whether another transaction was in the way: of two that change the same row, or add the same key,
// the later one fails, and so does one of two that wait for each other.
bool WasInTheWay(const ServerError& error) {
  return IsClass(error, "40") || error.State() == "23505" || error.State() == "55P03";
}

// One of the units of work that share a transaction has made it useless.
struct Undone {};

// Runs these of the orders, by their places. Returns those that have to be run again. What fails
// before it has changed anything does no harm to the others.
std::vector<std::size_t> RunThese(const std::vector<std::size_t>& places,
                                  const Group::Orders& orders, PostgresTransaction& transaction,
                                  std::vector<std::exception_ptr>& errors) {
  std::vector<std::size_t> again;
  for (const std::size_t place : places) {
    transaction.BeginNext();
    try {
      orders[place].work(transaction);
    } catch (const AskedLater&) {
      again.push_back(place);
    } catch (const DatabaseError&) {
      throw Undone();
    } catch (...) {
      if (transaction.HasWritten()) throw Undone();
      errors[place] = std::current_exception();
    }
  }
  return again;
}

void RunEach(const Group::Orders& orders, PostgresTransaction& transaction,
             std::vector<std::exception_ptr>& errors) {
  std::vector<std::size_t> places(orders.size());
  std::iota(places.begin(), places.end(), 0);
  for (;;) {
    places = RunThese(places, orders, transaction, errors);
    if (places.empty()) return;
    transaction.LookUpAsked();
  }
}

}  // namespace

PostgresStore::PostgresStore(const std::string& url, const Pool::Settings& settings,
                             std::chrono::milliseconds wait)
    : m_pool(url, settings) {
  const std::string shown = ShownUrl(url);
  const auto connect = [this, shown](std::chrono::milliseconds most) {
    std::unique_ptr<Connection> connection = m_pool.Make();
    ShareDatabase(*connection, shown, most);
    return connection;
  };
  try {
    std::unique_ptr<Connection> first = connect(wait);
    UpgradeSchema(*first, shown);
    // It tries again by itself.
    const auto again = [connect] { return connect(std::chrono::milliseconds(0)); };
    m_watch = std::make_unique<ChangeWatch>(std::move(first), again, [this] { Tell(); });
  } catch (const ConnectionLost& error) {
    throw DatabaseError("cannot open " + shown + ": " + error.what());
  }
}

PostgresStore::~PostgresStore() = default;

void PostgresStore::Check() {
  if (m_changeFailed) throw DatabaseError("the last change is not on the disk");
  m_pool.Take()->Run(kAlive);
}

void PostgresStore::RunRead(const Unit& work) { Repeat(work, Mode::kRead); }

void PostgresStore::RunWrite(const Unit& work) {
  try {
    Repeat(work, Mode::kWrite);
    m_changeFailed = false;
  } catch (const ServerError& error) {
    // A change that the schema forbids does not count: refusing it is a valid answer.
    if (!IsClass(error, "23")) m_changeFailed = true;
    throw;
  } catch (const DatabaseError&) {
    m_changeFailed = true;
    throw;
  }
}

void PostgresStore::Repeat(const Unit& work, Mode mode) {
  for (int attempt = 1;; ++attempt) {
    try {
      return RunOnce(work, mode);
    } catch (const ServerError& error) {
      const bool dropped = error.State() == kNoPartition;
      if (dropped) m_days.Forget();
      if (attempt == kAttempts || !(dropped || WasInTheWay(error))) throw;
    } catch (const ConnectionLost&) {
      // The server may have been started again: then the others that are free are broken, too.
      m_pool.DropFree();
      if (attempt > 1) throw;
    }
    ++TimesToKeep().repeats;
    Pause(attempt);
  }
}

void PostgresStore::RunOnce(const Unit& work, Mode mode) {
  bool changed = false;
  bool totalsChanged = false;
  {
    const Pool::Lease connection = m_pool.Take();
    PostgresTransaction transaction(*connection, m_days, mode);
    work(transaction);
    try {
      Commit(transaction, mode);
    } catch (const ConnectionLost& error) {
      if (mode == Mode::kRead) throw;
      // Run again, it might be done twice.
      throw DatabaseError(std::string("it is not known whether the change was kept: ") +
                          error.what());
    }
    changed = transaction.Changed();
    totalsChanged = transaction.TotalsChanged();
  }
  if (changed) {
    Tell();
    m_watch->TellOthers();
  }
  if (totalsChanged && ++m_totalsChanges % kTotalsRows == 0) AddTotalsUp();
}

void PostgresStore::Commit(PostgresTransaction& transaction, Mode mode) {
  if (mode == Mode::kRead) return transaction.Commit();
  const Stopwatch watch(TimesToKeep().commits);
  transaction.Commit();
  ++TimesToKeep().units;
}

bool PostgresStore::RunLater(Unit work, Finish finish) {
  return m_group.Add({std::move(work), std::move(finish)});
}

void PostgresStore::RunTogether(Group::Orders& orders) {
  std::vector<std::exception_ptr> errors(orders.size());
  if (orders.size() == 1 || !TryTogether(orders, errors)) {
    for (std::size_t i = 0; i < orders.size(); ++i) {
      errors[i] = nullptr;
      try {
        RunWrite(orders[i].work);
      } catch (...) {
        errors[i] = std::current_exception();
      }
    }
  }
  for (std::size_t i = 0; i < orders.size(); ++i) orders[i].finish(errors[i]);
}

bool PostgresStore::TryTogether(const Group::Orders& orders,
                                std::vector<std::exception_ptr>& errors) {
  try {
    RunOnce(
        [&](Transaction& shared) {
          RunEach(orders, static_cast<PostgresTransaction&>(shared), errors);
        },
        Mode::kWrite);
    m_changeFailed = false;
    // The commit counted as one.
    const auto kept = std::count(errors.begin(), errors.end(), nullptr);
    if (kept > 0) TimesToKeep().units += static_cast<std::uint64_t>(kept - 1);
    return true;
  } catch (const Undone&) {
    return false;
  } catch (const ServerError&) {
    return false;
  } catch (const ConnectionLost&) {
    return false;
  } catch (...) {
    // Run again, they might be done twice.
    errors.assign(orders.size(), std::current_exception());
    m_changeFailed = true;
    return true;
  }
}

void PostgresStore::AddTotalsUp() {
  try {
    m_pool.Take()->Run(kAddTotalsUp);
  } catch (const DatabaseError&) {
    // Another time.
  }
}

}  // namespace cloudservice::postgresql

namespace cloudservice {

std::unique_ptr<Store> OpenPostgres(const std::string& url) {
  return std::make_unique<postgresql::PostgresStore>(url);
}

}  // namespace cloudservice
