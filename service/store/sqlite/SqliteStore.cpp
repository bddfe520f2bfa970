// SPDX-License-Identifier: Apache-2.0
// Units of work on a database file: one writer's thread, and readers beside it.
#include "service/store/sqlite/SqliteStore.h"

#include <algorithm>
#include <utility>

#include "service/store/Backends.h"
#include "service/store/sqlite/Schema.h"

namespace cloudservice {

namespace {

const Sql kTryDisk("UPDATE total SET managers = managers + ? WHERE id = 1");
const Sql kAny("SELECT 1 FROM manager ORDER BY uuid LIMIT 1");

}  // namespace

SqliteStore::SqliteStore(const std::string& file, MissingFile missing)
    : m_file(file),
      m_database(file, missing),
      m_upgradeBackup(UpgradeSchema(m_database, file)),
      m_writer([this] { WriteOrders(); }) {}

SqliteStore::~SqliteStore() {
  {
    const std::lock_guard<std::mutex> guard(m_mutex);
    m_stopping = true;
  }
  m_changed.notify_one();
  m_writer.join();
}

std::size_t SqliteStore::Waiting() const {
  const std::lock_guard<std::mutex> guard(m_mutex);
  return m_orders.size();
}

void SqliteStore::Check() {
  if (m_database.ChangeFailed()) throw DatabaseError("the last change is not on the disk");
  std::unique_ptr<Database> reader = TakeReader();
  Statement(*reader, kAny).Run();
  PutReader(std::move(reader));
}

// A connection that fails is not used again.
void SqliteStore::RunRead(const Unit& work) {
  std::unique_ptr<Database> reader = TakeReader();
  try {
    const DatabaseTransaction transaction(*reader, DatabaseTransaction::Mode::kRead);
    SqliteTransaction operations(*reader);
    work(operations);
  } catch (const DatabaseError&) {
    throw;
  } catch (...) {
    PutReader(std::move(reader));
    throw;
  }
  PutReader(std::move(reader));
}

std::unique_ptr<Database> SqliteStore::TakeReader() {
  {
    const std::lock_guard<std::mutex> guard(m_mutex);
    if (!m_readers.empty()) {
      std::unique_ptr<Database> reader = std::move(m_readers.back());
      m_readers.pop_back();
      return reader;
    }
  }
  return std::make_unique<Database>(m_file, MissingFile::kRefuse, Database::Use::kRead);
}

void SqliteStore::PutReader(std::unique_ptr<Database> reader) {
  const std::lock_guard<std::mutex> guard(m_mutex);
  m_readers.push_back(std::move(reader));
}

void SqliteStore::RunWrite(const Unit& work) {
  const auto order = std::make_shared<Order>(Order{work});
  std::future<void> done = order->done.get_future();
  {
    const std::lock_guard<std::mutex> guard(m_mutex);
    m_orders.push_back(order);
    if (m_orders.size() == 1) m_changed.notify_one();
  }
  done.get();
}

void SqliteStore::WriteOrders() {
  std::unique_lock<std::mutex> lock(m_mutex);
  for (;;) {
    m_changed.wait(lock, [this] { return m_stopping || !m_orders.empty(); });
    if (m_orders.empty()) return;
    const Orders orders = std::exchange(m_orders, {});
    lock.unlock();
    Commit(orders);
    lock.lock();
  }
}

void SqliteStore::Commit(const Orders& orders) {
  const std::lock_guard<std::mutex> guard(m_writing);
  // When one order makes SQLite undo everything, the others must not suffer for it.
  if (!TryTogether(orders) && orders.size() > 1) {
    for (const std::shared_ptr<Order>& order : orders) TryTogether({order});
  }
  TellDone(orders);
  m_database.KeepLogSmall();
}

bool SqliteStore::TryTogether(const Orders& orders) {
  try {
    return RunTogether(orders);
  } catch (...) {
    for (const std::shared_ptr<Order>& order : orders) order->error = std::current_exception();
    return true;
  }
}

bool SqliteStore::RunTogether(const Orders& orders) {
  bool changed = false;
  DatabaseTransaction transaction(m_database);
  // Nobody may send a change to who is not well: the next commit, the clean-up's, tells whether the
  // disk takes changes again.
  if (m_database.ChangeFailed()) ChangeNothing();
  for (const std::shared_ptr<Order>& order : orders) {
    changed |= RunOne(*order);
    if (!m_database.InTransaction()) return false;
  }
  {
    const Stopwatch watch(TimesToKeep().commits);
    transaction.Commit();
  }
  TimesToKeep().units += static_cast<std::uint64_t>(
      std::count_if(orders.begin(), orders.end(),
                    [](const std::shared_ptr<Order>& order) { return !order->error; }));
  if (changed) Tell();
  return true;
}

// There and back, since SQLite does not write a row that stays as it is.
void SqliteStore::ChangeNothing() {
  for (const std::int64_t one : {1, -1}) Statement(m_database, kTryDisk).Bind(one).Run();
}

bool SqliteStore::RunOne(Order& order) {
  order.error = nullptr;
  try {
    Savepoint savepoint(m_database);
    SqliteTransaction operations(m_database);
    order.work(operations);
    savepoint.Release();
    return operations.Changed();
  } catch (...) {
    order.error = std::current_exception();
    return false;
  }
}

void SqliteStore::TellDone(const Orders& orders) {
  for (const std::shared_ptr<Order>& order : orders) {
    if (order->error) {
      order->done.set_exception(order->error);
    } else {
      order->done.set_value();
    }
  }
}

std::unique_ptr<Store> OpenSqlite(const std::string& file, MissingFile missing) {
  return std::make_unique<SqliteStore>(file, missing);
}

}  // namespace cloudservice
