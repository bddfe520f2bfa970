// SPDX-License-Identifier: Apache-2.0
#include <atomic>
#include <chrono>
#include <filesystem>
#include <future>
#include <memory>
#include <optional>
#include <set>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "StoreTest.h"
#include "service/store/sqlite/SqliteStore.h"

namespace cloudservice {
namespace {

using testing::ElementsAre;

class OpenWriter : public SqliteStore {
 public:
  using SqliteStore::SqliteStore;
  using SqliteStore::WriterDatabase;
};

// A store in a file on which several threads work at once.
class StoreThreadsTest : public StoreTest {
 protected:
  ~StoreThreadsTest() override { JoinAll(); }

  // Begins a unit of work on a thread of its own.
  template <typename Work>
  std::future<void> Writes(Work work) {
    std::packaged_task<void()> task([this, work] { store.Write(work); });
    std::future<void> end = task.get_future();
    m_threads.emplace_back(std::move(task));
    return end;
  }
  std::future<void> Adds(const std::string& uuid) {
    return Writes([uuid](Transaction& transaction) {
      transaction.AddManager({uuid, "n", "{}", 1, {}}, uuid);
    });
  }

  // As Adds(), without a thread.
  std::future<void> AddsLater(const std::string& uuid) {
    const auto end = std::make_shared<std::promise<void>>();
    const bool taken = store.WriteLater(
        [uuid](Transaction& transaction) {
          transaction.AddManager({uuid, "n", "{}", 1, {}}, uuid);
          if (uuid == kWrong) throw std::runtime_error("changed its mind");
        },
        [end](const std::exception_ptr& error) {
          if (error) return end->set_exception(error);
          end->set_value();
        });
    EXPECT_TRUE(taken);
    return end->get_future();
  }

  // Holds the writer's thread in a unit of work until Release().
  void Hold() {
    std::promise<void> begun;
    m_held = Writes([this, &begun](Transaction&) {
      begun.set_value();
      m_release.get_future().wait();
    });
    begun.get_future().wait();
  }
  void Release() {
    m_release.set_value();
    m_held.get();
  }
  // Returns when so many threads wait for the writer.
  void AwaitWaiting(std::size_t count) {
    while (store.Waiting() < count) std::this_thread::yield();
  }
  void JoinAll() {
    for (std::thread& thread : m_threads) thread.join();
    m_threads.clear();
  }

  // Writes a number of documents of 400 KB each: 100 pages, each in a unit of work of its own.
  void WriteLarge(int count) {
    for (int i = 0; i < count; ++i) {
      const std::string uuid = std::to_string(m_large++);
      store.Write([&](Transaction& transaction) {
        transaction.AddManager({uuid, "n", std::string(400'000, 'd'), 1, {}}, uuid);
      });
    }
  }
  // The same without an end between them: each unit of work hands the next one in. `before` is
  // called in each with its number, from 0.
  void WriteChain(int count, const std::function<void(int)>& before) {
    std::promise<void> end;
    const std::function<void(int)> write = [&](int number) {
      const auto unit = [&, number](Transaction& transaction) {
        before(number);
        const std::string uuid = std::to_string(m_large++);
        transaction.AddManager({uuid, "n", std::string(400'000, 'd'), 1, {}}, uuid);
        if (number + 1 < count) write(number + 1);
      };
      store.WriteLater(unit, [&, number](const std::exception_ptr&) {
        if (number + 1 == count) end.set_value();
      });
    };
    write(0);
    end.get_future().wait();
  }
  // A reader on a thread of its own, until the promise is kept; the future is ready when it reads.
  std::future<void> Reads(std::promise<void>& go) {
    const auto begun = std::make_shared<std::promise<void>>();
    m_threads.emplace_back([this, begun, end = go.get_future().share()] {
      store.Read([&](Transaction& transaction) {
        transaction.CountTotals();
        begun->set_value();
        end.wait();
      });
    });
    return begun->get_future();
  }
  std::uintmax_t LogBytes() const { return std::filesystem::file_size(file + "-wal"); }

  std::int64_t Managers() {
    return store.Read([](Transaction& transaction) { return transaction.CountTotals().managers; });
  }

  std::unique_ptr<OpenWriter> made = std::make_unique<OpenWriter>(file);
  OpenWriter& opened = *made;
  TestStore store{file, std::move(made)};

  static constexpr const char* kWrong = "wrong";

 private:
  int m_large = 0;
  std::vector<std::thread> m_threads;
  std::promise<void> m_release;
  std::future<void> m_held;
};

TEST_F(StoreThreadsTest, All_that_waits_is_committed_at_once) {
  constexpr int kWaiting = 10;
  Hold();
  for (int i = 0; i < kWaiting; ++i) Adds("u-" + std::to_string(i));
  AwaitWaiting(kWaiting);
  std::set<std::int64_t> seen;
  store.Listen([&] { seen.insert(Managers()); });
  Release();
  JoinAll();
  EXPECT_THAT(seen, ElementsAre(kWaiting)) << "the first change is told when all are on the disk";
}

TEST_F(StoreThreadsTest, Unit_that_fails_leaves_the_others_of_its_commit_alone) {
  Hold();
  auto first = Adds("u-1");
  AwaitWaiting(1);
  auto wrong = Writes([](Transaction& transaction) {
    transaction.AddManager({"u-2", "n", "{}", 1, {}}, "u-2");
    throw std::runtime_error("changed its mind");
  });
  AwaitWaiting(2);
  auto last = Adds("u-3");
  AwaitWaiting(3);
  Release();
  EXPECT_NO_THROW(first.get());
  EXPECT_THROW(wrong.get(), std::runtime_error);
  EXPECT_NO_THROW(last.get());
  const auto changes = store->ListChanges({std::nullopt, 9});
  ASSERT_EQ(changes.size(), 2u);
  EXPECT_EQ(changes[0].change.manager, "u-1");
  EXPECT_EQ(changes[1].change.manager, "u-3");
  EXPECT_FALSE(store->FindManager("u-2"));
}

TEST_F(StoreThreadsTest, Unit_that_fails_before_it_changes_anything_is_not_run_again) {
  Hold();
  std::atomic<int> runs = 0;
  auto first = Writes([&](Transaction& transaction) {
    ++runs;
    transaction.AddManager({"u-1", "n", "{}", 1, {}}, "u-1");
  });
  AwaitWaiting(1);
  auto wrong = Writes([&](Transaction& transaction) {
    ++runs;
    if (!transaction.FindManager("none")) throw std::runtime_error("refused");
  });
  AwaitWaiting(2);
  Release();
  EXPECT_NO_THROW(first.get());
  EXPECT_THROW(wrong.get(), std::runtime_error);
  EXPECT_EQ(runs, 2);
  EXPECT_TRUE(store->FindManager("u-1"));
}

TEST_F(StoreThreadsTest, Units_for_which_nobody_waits_are_committed_with_the_others) {
  Hold();
  auto first = AddsLater("u-1");
  auto wrong = AddsLater(kWrong);
  auto last = Adds("u-2");
  AwaitWaiting(3);
  std::set<std::int64_t> seen;
  store.Listen([&] { seen.insert(Managers()); });
  Release();
  EXPECT_NO_THROW(first.get());
  EXPECT_THROW(wrong.get(), std::runtime_error);
  EXPECT_NO_THROW(last.get());
  EXPECT_THAT(seen, ElementsAre(2));
}

TEST_F(StoreThreadsTest, End_of_a_unit_for_which_nobody_waits_comes_when_it_is_on_the_disk) {
  std::promise<std::int64_t> seen;
  store.WriteLater(
      [](Transaction& transaction) {
        transaction.AddManager({"u-1", "n", "{}", 1, {}}, "u-1");
      },
      [&](const std::exception_ptr&) { seen.set_value(Managers()); });
  EXPECT_EQ(seen.get_future().get(), 1);
}

TEST_F(StoreThreadsTest, So_many_and_no_more_wait_for_the_writer_without_a_thread) {
  Hold();
  std::atomic<std::size_t> ended = 0;
  const auto one = [&] {
    return store.WriteLater([](Transaction&) {}, [&](const std::exception_ptr&) { ++ended; });
  };
  for (std::size_t i = 0; i < SqliteStore::kMostLater; ++i) ASSERT_TRUE(one());
  EXPECT_FALSE(one());
  auto waiting = Adds("u-1");
  AwaitWaiting(SqliteStore::kMostLater + 1);
  Release();
  waiting.get();
  EXPECT_EQ(ended, SqliteStore::kMostLater) << "they came before";
  EXPECT_TRUE(one());
  Adds("u-2").get();
}

TEST_F(StoreThreadsTest, Drained_store_has_finished_what_nobody_waits_for) {
  Hold();
  const std::future<void> later = AddsLater("u-1");
  auto drained = std::async(std::launch::async, [&] {
    store.Drain();
    return later.wait_for(std::chrono::seconds(0)) == std::future_status::ready;
  });
  EXPECT_EQ(drained.wait_for(std::chrono::milliseconds(20)), std::future_status::timeout);
  Release();
  EXPECT_TRUE(drained.get());
  EXPECT_FALSE(store.WriteLater([](Transaction&) {}, [](const std::exception_ptr&) {}));
  EXPECT_EQ(Managers(), 1);
}

TEST_F(StoreThreadsTest, Unit_with_which_all_is_undone_is_run_alone_and_so_are_the_others) {
  Hold();
  auto first = Adds("u-1");
  AwaitWaiting(1);
  auto wrong = Writes([this](Transaction&) {
    // As after a full disk.
    opened.WriterDatabase().Execute("ROLLBACK");
    throw DatabaseError("the disk is full");
  });
  AwaitWaiting(2);
  auto last = Adds("u-3");
  AwaitWaiting(3);
  Release();
  EXPECT_NO_THROW(first.get());
  EXPECT_THROW(wrong.get(), DatabaseError);
  EXPECT_NO_THROW(last.get());
  EXPECT_TRUE(store->FindManager("u-1"));
  EXPECT_TRUE(store->FindManager("u-3"));
}

TEST_F(StoreThreadsTest, Commit_that_fails_fails_for_all_that_are_in_it) {
  opened.WriterDatabase().Execute(
      "CREATE TABLE a (id INTEGER PRIMARY KEY) STRICT;"
      "CREATE TABLE b (a INTEGER REFERENCES a (id) DEFERRABLE INITIALLY DEFERRED) STRICT");
  Hold();
  auto first = Adds("u-1");
  AwaitWaiting(1);
  auto wrong = Writes(
      [this](Transaction&) { opened.WriterDatabase().Execute("INSERT INTO b (a) VALUES (1)"); });
  AwaitWaiting(2);
  int told = 0;
  store.Listen([&] { ++told; });
  Release();
  EXPECT_THROW(first.get(), DatabaseError);
  EXPECT_THROW(wrong.get(), DatabaseError);
  EXPECT_EQ(told, 0);
  EXPECT_FALSE(store->FindManager("u-1"));
  EXPECT_NO_THROW(Adds("u-1").get());
}

TEST_F(StoreThreadsTest, Lock_of_another_process_fails_writers_but_not_readers) {
  sqlite3_busy_timeout(opened.WriterDatabase().Handle(), 0);
  Database other(file);
  {
    const DatabaseTransaction held(other);
    EXPECT_THROW(Adds("u-1").get(), DatabaseError);
    EXPECT_EQ(Managers(), 0);
    EXPECT_THROW(store.Check(), DatabaseError);
  }
  EXPECT_NO_THROW(Adds("u-1").get());
  EXPECT_NO_THROW(store.Check());
}

TEST_F(StoreThreadsTest, Readers_see_the_last_commit_while_a_writer_works) {
  Adds("u-1").get();
  std::promise<void> added;
  std::promise<void> go;
  auto writer = Writes([&](Transaction& transaction) {
    transaction.AddManager({"u-2", "n", "{}", 1, {}}, "u-2");
    added.set_value();
    go.get_future().wait();
  });
  added.get_future().wait();
  EXPECT_EQ(Managers(), 1);
  go.set_value();
  writer.get();
  EXPECT_EQ(Managers(), 2);
}

TEST_F(StoreThreadsTest, Readers_do_not_wait_for_each_other) {
  std::promise<void> begun;
  std::promise<void> go;
  std::thread slow([&] {
    store.Read([&](Transaction&) {
      begun.set_value();
      go.get_future().wait();
    });
  });
  begun.get_future().wait();
  EXPECT_EQ(Managers(), 0);
  go.set_value();
  slow.join();
}

// Documents of WriteLarge() that make a log long.
constexpr int kLong = Database::kLongLog / 100;

TEST_F(StoreThreadsTest, Log_of_the_database_begins_anew) {
  WriteLarge(250);
  EXPECT_LT(LogBytes(), 80'000'000U);
}

TEST_F(StoreThreadsTest, Log_is_moved_into_the_file_before_it_is_long) {
  WriteLarge(kLong / 4);
  while (std::filesystem::file_size(file) < kLong / 10 * 400'000U) std::this_thread::yield();
  EXPECT_LT(LogBytes(), kLong / 2 * 400'000U);
}

TEST_F(StoreThreadsTest, Log_that_a_reader_held_begins_anew_after_it) {
  std::promise<void> begun;
  std::promise<void> go;
  std::thread slow([&] {
    store.Read([&](Transaction& transaction) {
      transaction.CountTotals();
      begun.set_value();
      go.get_future().wait();
    });
  });
  begun.get_future().wait();
  WriteLarge(kLong + 10);
  const std::uintmax_t held = LogBytes();
  EXPECT_GT(held, kLong * 400'000U);
  go.set_value();
  slow.join();
  WriteLarge(60);
  EXPECT_LT(LogBytes(), held + 50 * 400'000U);
}

// A reader that reads until `first` is kept, and one that may begin later.
class SqliteReadersTest : public StoreThreadsTest {
 protected:
  SqliteReadersTest() { Reads(first).wait(); }

  std::promise<void> first;
  std::promise<void> second;
  std::future<void> begun;
};

TEST_F(SqliteReadersTest, New_readers_wait_until_a_long_log_has_begun_anew) {
  WriteChain(kLong + 100, [&](int number) {
    if (number == kLong + 2) begun = Reads(second);
    if (number == kLong + 6) {
      EXPECT_EQ(begun.wait_for(std::chrono::seconds(0)), std::future_status::timeout);
      first.set_value();
    }
  });
  begun.wait();
  const std::uintmax_t held = LogBytes();
  EXPECT_LT(held, (kLong + 80) * 410'000U) << "the readers came one after the other";
  second.set_value();
}

TEST_F(SqliteReadersTest, New_readers_do_not_wait_for_one_that_does_not_end) {
  constexpr int kCount = kLong + SqliteStore::kMostHeld + 10;
  WriteChain(kCount, [&](int number) {
    if (number == kLong + 2) begun = Reads(second);
    if (number == kCount - 1) begun.wait();
  });
  EXPECT_GT(LogBytes(), (kLong + SqliteStore::kMostHeld) * 400'000U);
  first.set_value();
  second.set_value();
}

TEST_F(SqliteReadersTest, Readers_that_wait_go_on_when_nobody_writes) {
  WriteChain(kLong + 4, [&](int number) {
    if (number == kLong + 2) begun = Reads(second);
  });
  begun.wait();
  first.set_value();
  second.set_value();
}

TEST_F(StoreThreadsTest, Many_threads_lose_nothing) {
  constexpr int kThreads = 8;
  constexpr int kBeats = 50;
  for (int i = 0; i < kThreads; ++i)
    store->AddManager({std::to_string(i), "n", "{}", 1, {}}, std::to_string(i));
  std::vector<std::thread> threads;
  for (int i = 0; i < kThreads; ++i) {
    threads.emplace_back([this, i] {
      for (int beat = 1; beat <= kBeats; ++beat) {
        const std::string uuid = std::to_string(i);
        const std::int64_t count = store.Write(
            [&](Transaction& transaction) { return transaction.AddHeartbeat(uuid, beat, 60, ""); });
        EXPECT_EQ(count, beat);
        const auto seen = store.Read(
            [&](Transaction& transaction) { return transaction.FindManager(uuid)->heartbeat; });
        EXPECT_EQ(seen.count, beat);
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
}

TEST_F(StoreThreadsTest, End_of_the_store_waits_for_its_writers) {
  std::optional<TestStore> ending(std::in_place, folder.File("e.db"));
  std::promise<void> begun;
  std::promise<void> go;
  std::thread writer([&] {
    ending->Write([&](Transaction& transaction) {
      begun.set_value();
      go.get_future().wait();
      transaction.AddManager({"u", "n", "{}", 1, {}}, "u");
    });
  });
  begun.get_future().wait();
  go.set_value();
  writer.join();
  ending.reset();
  EXPECT_TRUE(TestStore(folder.File("e.db"))->FindManager("u"));
}

}  // namespace
}  // namespace cloudservice
