// SPDX-License-Identifier: Apache-2.0
#ifndef TESTS_UNIT_SERVICE_TESTSTORE_H_
#define TESTS_UNIT_SERVICE_TESTSTORE_H_

#include <exception>
#include <memory>
#include <utility>
#include <vector>

#include "service/store/Lists.h"
#include "service/store/sqlite/SqliteStore.h"

namespace cloudservice {

// A store whose operations a case calls one by one: `store->AddChassis(...)` is a unit of work that
// ends, and throws what its end throws, with the statement. Several in one statement are one unit.
class TestStore : public SqliteStore {
 public:
  using SqliteStore::SqliteStore;

  class Unit {
   public:
    explicit Unit(TestStore& store) : m_store(store) {
      if (m_store.m_units == 0) m_store.m_open = std::make_unique<Writing>(m_store);
      ++m_store.m_units;
    }
    ~Unit() noexcept(false) {
      if (--m_store.m_units > 0) return;
      const std::unique_ptr<Writing> ended = std::move(m_store.m_open);
      if (std::uncaught_exceptions() == m_exceptions) ended->Commit();
    }
    Unit(const Unit&) = delete;
    Unit& operator=(const Unit&) = delete;

    Transaction* operator->() { return &m_store.m_open->Operations(); }

   private:
    TestStore& m_store;
    const int m_exceptions = std::uncaught_exceptions();
  };

  Unit operator->() { return Unit(*this); }

  using SqliteStore::WriterDatabase;

  // A whole list: All(&Transaction::ListResources, manager, chassis).
  template <typename Entry, typename... Parameters, typename... Scope>
  std::vector<Entry> All(std::vector<Entry> (Transaction::*list)(Parameters...),
                         const Scope&... scope) {
    return Read([&](Transaction& store) { return AllOf(store, list, scope...); });
  }

 private:
  int m_units = 0;
  std::unique_ptr<Writing> m_open;
};

}  // namespace cloudservice

#endif  // TESTS_UNIT_SERVICE_TESTSTORE_H_
