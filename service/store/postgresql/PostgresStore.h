// SPDX-License-Identifier: Apache-2.0
#ifndef SERVICE_STORE_POSTGRESQL_POSTGRESSTORE_H_
#define SERVICE_STORE_POSTGRESQL_POSTGRESSTORE_H_

#include <atomic>
#include <chrono>
#include <cstdint>
#include <exception>
#include <memory>
#include <string>
#include <vector>

#include "service/store/Store.h"
#include "service/store/postgresql/Days.h"
#include "service/store/postgresql/Group.h"
#include "service/store/postgresql/Pool.h"
#include "service/store/postgresql/PostgresTransaction.h"

namespace cloudservice::postgresql {

class ChangeWatch;

// A store on a PostgreSQL server. Several processes may use one database at once: they are one
// service.
class PostgresStore : public Store {
 public:
  // Connects, and brings the schema up to date. `wait` is how long a copy of the database may take
  // to end. Throws DatabaseError, whose text holds no password.
  explicit PostgresStore(const std::string& url, const Pool::Settings& settings = {},
                         std::chrono::milliseconds wait = std::chrono::seconds(5));
  ~PostgresStore() override;
  PostgresStore(const PostgresStore&) = delete;
  PostgresStore& operator=(const PostgresStore&) = delete;

  std::size_t Waiting() const override { return m_pool.Waiting() + m_group.Waiting(); }
  // The changes of other processes are told to the listener.
  void Check() override;
  // No copy is made: the database has its own backups.
  const std::string& UpgradeBackup() const override { return m_upgradeBackup; }

 protected:
  void RunRead(const Unit& work) override;
  void RunWrite(const Unit& work) override;
  bool RunLater(Unit work, Finish finish) override;

 private:
  using Mode = PostgresTransaction::Mode;

  // Runs a unit of work again as long as that helps, a bounded number of times.
  void Repeat(const Unit& work, Mode mode);
  // Runs it once. Throws ConnectionLost only where it may be run again.
  void RunOnce(const Unit& work, Mode mode);
  void Commit(PostgresTransaction& transaction, Mode mode);
  // Runs the orders in one transaction. False when one of them undoes the others: nothing of them
  // is kept then.
  bool TryTogether(const Group::Orders& orders, std::vector<std::exception_ptr>& errors);
  void RunTogether(Group::Orders& orders);
  void AddTotalsUp();

  Pool m_pool;
  Days m_days{m_pool};
  const std::string m_upgradeBackup;
  std::atomic<bool> m_changeFailed = false;
  std::atomic<unsigned> m_totalsChanges = 0;
  std::unique_ptr<ChangeWatch> m_watch;
  Group m_group{{}, [this](Group::Orders& orders) { RunTogether(orders); }};  // uses all above
};

}  // namespace cloudservice::postgresql

#endif  // SERVICE_STORE_POSTGRESQL_POSTGRESSTORE_H_
