// SPDX-License-Identifier: Apache-2.0
// Units of work on a database file: one writer's thread, and readers beside it.
#include "service/store/sqlite/SqliteStore.h"

#include <algorithm>
#include <cstdint>
#include <future>
#include <optional>
#include <thread>
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
      m_writer([this] { WriteOrders(); }),
      m_mover([this] { MoveLog(); }) {}

SqliteStore::~SqliteStore() {
  {
    const std::lock_guard<std::mutex> guard(m_mutex);
    m_stopping = true;
  }
  m_changed.notify_one();
  m_writer.join();
  {
    const std::lock_guard<std::mutex> guard(m_mutex);
    m_moving = Moving::kStopping;
  }
  m_asked.notify_one();
  m_mover.join();
}

std::size_t SqliteStore::Waiting() const {
  const std::lock_guard<std::mutex> guard(m_mutex);
  return m_orders.size();
}

SqliteStore::Reading::Reading(SqliteStore& store) : m_store(store) {
  std::unique_lock<std::mutex> lock(store.m_mutex);
  // The writer itself, who reads while it tells of a change, would wait for itself.
  const bool isWriter = std::this_thread::get_id() == store.m_writer.get_id();
  store.m_readable.wait(lock, [&] { return isWriter || store.m_held == 0; });
  ++store.m_reading;
}

SqliteStore::Reading::~Reading() {
  const std::lock_guard<std::mutex> guard(m_store.m_mutex);
  --m_store.m_reading;
}

void SqliteStore::Check() {
  if (m_database.ChangeFailed()) throw DatabaseError("the last change is not on the disk");
  const Reading reading(*this);
  std::unique_ptr<Database> reader = TakeReader();
  Statement(*reader, kAny).Run();
  PutReader(std::move(reader));
}

// A connection that fails is not used again.
void SqliteStore::RunRead(const Unit& work) {
  const Reading reading(*this);
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
  // Shared, since who waits here may be gone before the writer has left it.
  const auto done = std::make_shared<std::promise<void>>();
  std::future<void> end = done->get_future();
  const auto finish = [done](const std::exception_ptr& error) {
    if (error) return done->set_exception(error);
    done->set_value();
  };
  Add({[&work](Transaction& transaction) { work(transaction); }, finish}, SIZE_MAX);
  end.get();
}

bool SqliteStore::RunLater(Unit work, Finish finish) {
  return Add({std::move(work), std::move(finish)}, kMostLater);
}

bool SqliteStore::Add(Order order, std::size_t most) {
  const std::lock_guard<std::mutex> guard(m_mutex);
  if (m_orders.size() >= most) return false;
  m_orders.push_back(std::move(order));
  // Who has orders does not sleep.
  if (m_orders.size() == 1) m_changed.notify_one();
  return true;
}

void SqliteStore::WriteOrders() {
  std::unique_lock<std::mutex> lock(m_mutex);
  for (;;) {
    // Without a commit to come nobody would let them go.
    if (m_orders.empty()) LetReadersGo();
    m_changed.wait(lock, [this] { return m_stopping || !m_orders.empty(); });
    if (m_orders.empty()) return;
    Orders orders = std::exchange(m_orders, {});
    lock.unlock();
    Commit(orders);
    orders.clear();
    lock.lock();
  }
}

void SqliteStore::Commit(Orders& orders) {
  const std::lock_guard<std::mutex> guard(m_writing);
  const auto begin = orders.begin();
  const auto end = orders.end();
  const bool alone = orders.size() == 1;
  const bool done =
      (!alone && TryTogether(begin, end, Undo::kAll)) || TryTogether(begin, end, Undo::kEach);
  // When one order makes SQLite undo everything, the others must not suffer for it.
  if (!done && !alone) {
    for (auto order = begin; order != end; ++order) TryTogether(order, order + 1, Undo::kEach);
  }
  for (const Order& order : orders) order.finish(order.error);
  KeepLogSmall();
}

void SqliteStore::KeepLogSmall() {
  const int pages = m_database.LogPages();
  // A log that has begun anew is shorter than before.
  m_moveAt = std::min(m_moveAt, pages + Database::kLogPages);
  if (pages < Database::kLongLog) m_emptyAt = Database::kLongLog;
  if (pages >= m_emptyAt) return EmptyLog();
  if (pages < m_moveAt) return;
  const std::lock_guard<std::mutex> guard(m_mutex);
  if (m_moving != Moving::kDone) return;
  m_moving = Moving::kAsked;
  m_asked.notify_one();
  m_moveAt = pages + Database::kLogPages;
}

void SqliteStore::EmptyLog() {
  const bool isUsed = !HoldReaders();
  if (isUsed && m_held < kMostHeld) return;
  // Who reads on for so long, or another process that does, is given as much log again.
  const int later = m_database.LogPages() + Database::kLongLog;
  m_emptyAt = !isUsed && m_database.EmptyLog() ? Database::kLongLog : later;
  const std::lock_guard<std::mutex> guard(m_mutex);
  LetReadersGo();
}

void SqliteStore::MoveLog() {
  std::unique_ptr<Database> log;
  std::unique_lock<std::mutex> lock(m_mutex);
  for (;;) {
    m_asked.wait(lock, [this] { return m_moving != Moving::kDone; });
    if (m_moving == Moving::kStopping) return;
    lock.unlock();
    try {
      if (!log)
        log = std::make_unique<Database>(m_file, MissingFile::kRefuse, Database::Use::kRead);
      log->MoveLog();
    } catch (const DatabaseError&) {
      // What stays in the log is safe there.
    }
    lock.lock();
    if (m_moving == Moving::kAsked) m_moving = Moving::kDone;
  }
}

bool SqliteStore::HoldReaders() {
  const std::lock_guard<std::mutex> guard(m_mutex);
  ++m_held;
  return m_reading == 0 && m_moving != Moving::kAsked;
}

void SqliteStore::LetReadersGo() {
  if (std::exchange(m_held, 0) != 0) m_readable.notify_all();
}

bool SqliteStore::TryTogether(First first, First end, Undo undo) {
  try {
    return RunTogether(first, end, undo);
  } catch (...) {
    for (auto order = first; order != end; ++order) order->error = std::current_exception();
    return true;
  }
}

bool SqliteStore::RunTogether(First first, First end, Undo undo) {
  bool changed = false;
  DatabaseTransaction transaction(m_database);
  // Nobody may send a change to who is not well: the next commit, the clean-up's, tells whether the
  // disk takes changes again.
  if (m_database.ChangeFailed()) ChangeNothing();
  for (auto order = first; order != end; ++order) {
    if (!RunOne(*order, undo, changed) || !m_database.InTransaction()) return false;
  }
  {
    const Stopwatch watch(TimesToKeep().commits);
    transaction.Commit();
  }
  TimesToKeep().units += static_cast<std::uint64_t>(
      std::count_if(first, end, [](const Order& order) { return !order.error; }));
  if (changed) Tell();
  return true;
}

// There and back, since SQLite does not write a row that stays as it is.
void SqliteStore::ChangeNothing() {
  for (const std::int64_t one : {1, -1}) Statement(m_database, kTryDisk).Bind(one).Run();
}

bool SqliteStore::RunOne(Order& order, Undo undo, bool& changed) {
  order.error = nullptr;
  const int before = m_database.ChangedRows();
  try {
    std::optional<Savepoint> savepoint;
    if (undo == Undo::kEach) savepoint.emplace(m_database);
    SqliteTransaction operations(m_database);
    order.work(operations);
    if (savepoint) savepoint->Release();
    changed |= operations.Changed();
  } catch (...) {
    order.error = std::current_exception();
  }
  return !order.error || m_database.ChangedRows() == before;
}

std::unique_ptr<Store> OpenSqlite(const std::string& file, MissingFile missing) {
  return std::make_unique<SqliteStore>(file, missing);
}

}  // namespace cloudservice
