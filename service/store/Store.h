// SPDX-License-Identifier: Apache-2.0
#ifndef SERVICE_STORE_STORE_H_
#define SERVICE_STORE_STORE_H_

#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <exception>
#include <functional>
#include <future>
#include <memory>
#include <mutex>
#include <optional>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <utility>

#include "service/store/Transaction.h"
#include "service/util/Histogram.h"

namespace cloudservice {

// Says what a back end could not do and why. Where opening failed, the text names the file.
class DatabaseError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// Whether a missing database is created or refused.
enum class MissingFile { kCreate, kRefuse };

// How long the store takes, and what its commits held.
struct StoreTimes {
  Histogram reads;                      // units of work that read
  Histogram writes;                     // and that write, from the call to the end of their commit
  Histogram commits;                    // each until it was on the disk
  std::atomic<std::uint64_t> units{0};  // units of work in these commits
  std::atomic<std::uint64_t> repeats{0};  // units of work that were run again
};

// Everything that the service keeps. The caller passes each unit of work as a function of a
// transaction. A back end may run the function again, so that outside of the transaction it changes
// only what may be changed twice. Units of work are not nested. Any thread may call the operations,
// also at once with others.
class Store {
 public:
  virtual ~Store() = default;

  // Runs `work`, which sees one state of the store and must not change it. Returns what `work`
  // returns; throws what `work` throws, and DatabaseError, also when `work` changes something.
  template <typename Work>
  std::invoke_result_t<Work, Transaction&> Read(Work work) {
    const Stopwatch watch(m_times.reads);
    return Run(std::move(work), [this](const Unit& unit) { RunRead(unit); });
  }

  // Runs `work`, perhaps on another thread and between other units of work, and returns what it
  // returns once all its changes are on the disk. Throws what `work` throws, and DatabaseError;
  // none of its changes is kept then.
  template <typename Work>
  std::invoke_result_t<Work, Transaction&> Write(Work work) {
    const Stopwatch watch(m_times.writes);
    return Run(std::move(work), [this](const Unit& unit) { RunWrite(unit); });
  }

  using Unit = std::function<void(Transaction& transaction)>;
  // Gets null once all changes of a unit of work are on the disk, or what Write() would have
  // thrown.
  using Finish = std::function<void(std::exception_ptr error)>;

  // Runs `work` as Write() does, without waiting for it, and then calls `finish` once, on a thread
  // of the store. That holds all other writers up: `finish` must not block or throw. False when as
  // many wait as may; neither is called then.
  bool WriteLater(Unit work, Finish finish) {
    if (!m_later) return false;
    const auto begun = std::chrono::steady_clock::now();
    return RunLater(std::move(work), [this, later = m_later, begun,
                                      finish = std::move(finish)](const std::exception_ptr& error) {
      m_times.writes.Observe(std::chrono::steady_clock::now() - begun);
      finish(error);
    });
  }
  // Waits until all that WriteLater() has taken is finished, and what it was given is gone. For the
  // end: WriteLater() takes nothing any more.
  void Drain() {
    const std::future<void> gone = m_later->gone.get_future();
    m_later.reset();
    gone.wait();
  }

  // Called when ListChanges() may have new changes: once a change is on the disk and before its
  // Write() returns, and, where the back end hears of it, when one of another process can be
  // listed. It may be called when there is none. It holds all other writers up: it must not block,
  // throw, or change the store.
  using Listener = std::function<void()>;
  // After Listen() has returned, no other listener is called any more.
  void Listen(Listener listener) {
    const std::lock_guard<std::mutex> guard(m_mutex);
    m_listener = std::move(listener);
  }

  const StoreTimes& Times() const { return m_times; }
  // How many units of work wait for their turn to write.
  virtual std::size_t Waiting() const = 0;
  // Throws DatabaseError when the database cannot be read, and when the last change could not be
  // written.
  virtual void Check() = 0;
  // The name of the copy that was made of the database before its schema was brought up to date;
  // empty when the schema was up to date.
  virtual const std::string& UpgradeBackup() const = 0;

 protected:
  virtual void RunRead(const Unit& work) = 0;
  virtual void RunWrite(const Unit& work) = 0;
  virtual bool RunLater(Unit work, Finish finish) = 0;

  // The back end observes commits, units and repeats.
  StoreTimes& TimesToKeep() { return m_times; }

  void Tell() const {
    const std::lock_guard<std::mutex> guard(m_mutex);
    if (m_listener) m_listener();
  }

 private:
  template <typename Work, typename Runner>
  static std::invoke_result_t<Work, Transaction&> Run(Work work, const Runner& run) {
    using Result = std::invoke_result_t<Work, Transaction&>;
    if constexpr (std::is_void_v<Result>) {
      run(work);
    } else {
      std::optional<Result> result;
      run([&](Transaction& transaction) { result.emplace(work(transaction)); });
      return *std::move(result);
    }
  }

  // Whoever is called when a unit of work is finished has a share in it.
  struct Later {
    ~Later() { gone.set_value(); }
    std::promise<void> gone;
  };

  StoreTimes m_times;
  std::shared_ptr<Later> m_later = std::make_shared<Later>();
  mutable std::mutex m_mutex;
  Listener m_listener;
};

// Opens the database, and brings its schema up to date. It is a file, which is created where it is
// missing, or the URL of a database on a PostgreSQL server, where an empty one gets its tables.
// Throws DatabaseError; no text holds the URL's password.
std::unique_ptr<Store> OpenStore(const std::string& database,
                                 MissingFile missing = MissingFile::kCreate);

}  // namespace cloudservice

#endif  // SERVICE_STORE_STORE_H_
