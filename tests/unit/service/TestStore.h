// SPDX-License-Identifier: Apache-2.0
#ifndef TESTS_UNIT_SERVICE_TESTSTORE_H_
#define TESTS_UNIT_SERVICE_TESTSTORE_H_

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <cstdlib>
#include <exception>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "PostgresDatabase.h"
#include "Rows.h"
#include "service/store/Lists.h"
#include "service/store/Store.h"
#include "service/store/postgresql/PostgresStore.h"
#include "service/store/sqlite/Database.h"

namespace cloudservice {

// Whether the tests run on PostgreSQL: then a name of a file stands for a database there.
inline bool OnPostgres() { return std::getenv("CLOUDSERVICE_POSTGRESQL") != nullptr; }

// The database that stands for the file. It is removed when the program ends.
inline const postgresql::PostgresDatabase& DatabaseFor(const std::string& file) {
  static std::map<std::string, postgresql::PostgresDatabase> databases;
  return databases.try_emplace(file).first->second;
}

inline std::unique_ptr<Store> OpenTested(const std::string& file, MissingFile missing) {
  if (!OnPostgres()) return OpenStore(file, missing);
  return std::make_unique<postgresql::PostgresStore>(DatabaseFor(file).Url());
}

// A unit of work that stays open until End(): it waits on a thread of its own.
class OpenUnit {
 public:
  explicit OpenUnit(Store& store) : m_thread([this, &store] { Run(store); }) {
    std::unique_lock<std::mutex> guard(m_mutex);
    m_changed.wait(guard, [this] { return m_operations != nullptr || m_error != nullptr; });
    if (m_error == nullptr) return;
    guard.unlock();
    m_thread.join();
    std::rethrow_exception(m_error);
  }

  Transaction* Operations() const { return m_operations; }

  // Keeps what it has changed, or not. Throws what the end of the unit of work throws.
  void End(bool keep) {
    {
      const std::lock_guard<std::mutex> guard(m_mutex);
      m_ended = true;
      m_keep = keep;
    }
    m_changed.notify_all();
    m_thread.join();
    if (keep && m_error != nullptr) std::rethrow_exception(m_error);
  }

 private:
  struct Dropped {};

  void Run(Store& store) {
    try {
      store.Write([this](Transaction& operations) { Wait(operations); });
    } catch (const Dropped&) {
    } catch (...) {
      const std::lock_guard<std::mutex> guard(m_mutex);
      m_error = std::current_exception();
    }
    m_changed.notify_all();
  }

  void Wait(Transaction& operations) {
    std::unique_lock<std::mutex> guard(m_mutex);
    // The case has called the operations already, and does not call them again.
    if (m_operations != nullptr) throw std::runtime_error("the unit of work would be run again");
    m_operations = &operations;
    m_changed.notify_all();
    m_changed.wait(guard, [this] { return m_ended; });
    if (!m_keep) throw Dropped();
  }

  std::mutex m_mutex;
  std::condition_variable m_changed;
  Transaction* m_operations = nullptr;
  std::exception_ptr m_error;
  bool m_ended = false;
  bool m_keep = false;
  std::thread m_thread;  // uses the members above
};

// A store whose operations a case calls one by one: `store->AddChassis(...)` is a unit of work that
// ends, and throws what its end throws, with the statement. Several in one statement are one unit.
// It is one on PostgreSQL where the environment names a server.
class TestStore : public Store {
 public:
  explicit TestStore(const std::string& file, MissingFile missing = MissingFile::kCreate)
      : TestStore(file, OpenTested(file, missing)) {}
  // A store of the case's own making on the file.
  TestStore(const std::string& file, std::unique_ptr<Store> store)
      : m_file(file), m_store(std::move(store)) {
    m_store->Listen([this] { Tell(); });
  }
  ~TestStore() override { m_store->Listen(nullptr); }
  TestStore(const TestStore&) = delete;
  TestStore& operator=(const TestStore&) = delete;

  using Work = Store::Unit;
  class Unit {
   public:
    explicit Unit(TestStore& store) : m_store(store) {
      if (m_store.m_units == 0) {
        m_store.Settle();
        m_store.m_open = std::make_unique<OpenUnit>(*m_store.m_store);
        m_store.m_owner = std::this_thread::get_id();
      }
      ++m_store.m_units;
    }
    ~Unit() noexcept(false) {
      if (--m_store.m_units > 0) return;
      const std::unique_ptr<OpenUnit> ended = std::move(m_store.m_open);
      m_store.m_owner = std::thread::id();
      ended->End(std::uncaught_exceptions() == m_exceptions);
    }
    Unit(const Unit&) = delete;
    Unit& operator=(const Unit&) = delete;

    Transaction* operator->() { return m_store.m_open->Operations(); }

   private:
    TestStore& m_store;
    const int m_exceptions = std::uncaught_exceptions();
  };

  Unit operator->() { return Unit(*this); }

  // A whole list: All(&Transaction::ListResources, manager, chassis).
  template <typename Entry, typename... Parameters, typename... Scope>
  std::vector<Entry> All(std::vector<Entry> (Transaction::*list)(Parameters...),
                         const Scope&... scope) {
    return Read([&](Transaction& store) { return AllOf(store, list, scope...); });
  }

  // Waits until what was changed can be told: on PostgreSQL changes are told in the order of
  // transactions, and those of other tests on the server come before them, too.
  void Settle() {
    if (!OnPostgres()) return;
    while (!Beside().Run(HiddenChanges()).Empty()) std::this_thread::yield();
  }

  // Beside the store, on a connection of its own: statements, and how many rows there are "FROM"
  // `what`.
  void Execute(const std::string& script) {
    if (OnPostgres()) return Beside().Execute(script);
    Database(m_file).Execute(script.c_str());
  }
  std::int64_t Count(const std::string& what) {
    const std::string query = "SELECT count(*) FROM " + what;
    if (OnPostgres()) {
      const postgresql::Sql sql(query, postgresql::Sql::Plan::kEachTime);
      return Beside().Run(sql).First().Number(0);
    }
    Database database(m_file);
    return Number(database, query);
  }

  std::size_t Waiting() const override { return m_store->Waiting(); }
  void Check() override { m_store->Check(); }
  const std::string& UpgradeBackup() const override { return m_store->UpgradeBackup(); }

 protected:
  void RunRead(const Work& work) override {
    Settle();
    m_store->Read(work);
  }
  void RunWrite(const Work& work) override {
    // It would wait for itself.
    if (m_owner.load() == std::this_thread::get_id()) {
      throw std::logic_error("a unit of work is open in the same statement");
    }
    m_store->Write(work);
  }
  bool RunLater(Work work, Finish finish) override {
    return m_store->WriteLater(std::move(work), std::move(finish));
  }

 private:
  static const postgresql::Sql& HiddenChanges() {
    static const postgresql::Sql sql(
        "/* of a test */ SELECT 1 FROM change "
        "WHERE id >= change_horizon() LIMIT 1");
    return sql;
  }

  postgresql::Connection& Beside() {
    if (!m_beside) m_beside.emplace(DatabaseFor(m_file).Connect());
    return *m_beside;
  }

  const std::string m_file;
  std::optional<postgresql::Connection> m_beside;
  const std::unique_ptr<Store> m_store;
  int m_units = 0;
  std::atomic<std::thread::id> m_owner{};  // the thread that has m_open
  std::unique_ptr<OpenUnit> m_open;
};

}  // namespace cloudservice

#endif  // TESTS_UNIT_SERVICE_TESTSTORE_H_
