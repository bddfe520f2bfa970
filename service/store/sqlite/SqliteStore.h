// SPDX-License-Identifier: Apache-2.0
#ifndef SERVICE_STORE_SQLITE_SQLITESTORE_H_
#define SERVICE_STORE_SQLITE_SQLITESTORE_H_

#include <condition_variable>
#include <cstdint>
#include <exception>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "service/store/Store.h"
#include "service/store/sqlite/Database.h"
#include "service/store/sqlite/SqliteTransaction.h"

namespace cloudservice {

// A store in one file. One thread writes: everything that waits for it goes into one commit, so
// that many writers share the time that the disk takes. Another one moves what was committed from
// the write-ahead log into the file, which takes the disk as long. Readers have connections of
// their own and do not hold it up; once in a while new ones wait for those before them, so that
// nobody reads the write-ahead log and it can begin anew.
class SqliteStore : public Store {
 public:
  // Opens the file, as OpenStore() does.
  explicit SqliteStore(const std::string& file, MissingFile missing = MissingFile::kCreate);
  ~SqliteStore() override;
  SqliteStore(const SqliteStore&) = delete;
  SqliteStore& operator=(const SqliteStore&) = delete;

  // How many may wait for the writer when another one comes that nobody waits for.
  static constexpr std::size_t kMostLater = 4096;
  // For how many commits new readers may have to wait for those before them.
  static constexpr int kMostHeld = 64;

  std::size_t Waiting() const override;
  void Check() override;
  const std::string& UpgradeBackup() const override { return m_upgradeBackup; }

 protected:
  void RunRead(const Unit& work) override;
  void RunWrite(const Unit& work) override;
  bool RunLater(Unit work, Finish finish) override;

  // The writer's connection, for use within a unit of work of Write().
  Database& WriterDatabase() { return m_database; }

 private:
  // A unit of work that waits for its commit.
  struct Order {
    Unit work;
    Finish finish;
    std::exception_ptr error = nullptr;  // why nothing of it is kept
  };
  using Orders = std::vector<Order>;

  // False when `most` wait already.
  bool Add(Order order, std::size_t most);
  void WriteOrders();
  void Commit(Orders& orders);
  // Whether what one order has changed can be undone alone. That costs as much as a small order,
  // and hardly any order fails once it has changed something.
  enum class Undo { kAll, kEach };
  // Runs the orders and commits them. False when all are undone and have to be run again: one
  // failed that cannot be undone alone, or SQLite has undone them on the way. RunTogether() throws
  // when the transaction cannot begin or end; TryTogether() gives the reason to the orders.
  using First = Orders::iterator;
  bool TryTogether(First first, First end, Undo undo);
  bool RunTogether(First first, First end, Undo undo);
  // Has the transaction write to the disk.
  void ChangeNothing();
  // False when it has failed and its changes are there.
  bool RunOne(Order& order, Undo undo, bool& changed);

  // Somebody who reads. Waits while new readers are held.
  class Reading {
   public:
    explicit Reading(SqliteStore& store);
    ~Reading();
    Reading(const Reading&) = delete;
    Reading& operator=(const Reading&) = delete;

   private:
    SqliteStore& m_store;
  };

  // Has the log's beginning moved into the file, or the log begin anew where it is long: now if
  // nobody reads, else after one of the next commits, for which new readers are held.
  void KeepLogSmall();
  void EmptyLog();
  // Whether nobody uses the log, and nobody begins to.
  bool HoldReaders();
  void LetReadersGo();
  // Moves what was committed from the log into the file, as often as the writer asks for it.
  void MoveLog();

  std::unique_ptr<Database> TakeReader();
  void PutReader(std::unique_ptr<Database> reader);

  const std::string m_file;
  std::mutex m_writing;  // guards m_database
  Database m_database;
  const std::string m_upgradeBackup;

  mutable std::mutex m_mutex;  // guards the members below
  std::condition_variable m_changed;
  Orders m_orders;
  bool m_stopping = false;
  std::vector<std::unique_ptr<Database>> m_readers;  // those that nobody uses
  std::condition_variable m_readable;
  int m_reading = 0;
  int m_held = 0;  // for how many commits new readers have been held; 0: they are not

  enum class Moving { kDone, kAsked, kStopping } m_moving = Moving::kDone;
  std::condition_variable m_asked;

  // Pages of the log at which it is moved, and at which it begins anew; of the writer's thread.
  int m_moveAt = Database::kLogPages;
  int m_emptyAt = Database::kLongLog;

  std::thread m_writer;
  std::thread m_mover;
};

}  // namespace cloudservice

#endif  // SERVICE_STORE_SQLITE_SQLITESTORE_H_
