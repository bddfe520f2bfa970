// SPDX-License-Identifier: Apache-2.0
#ifndef SERVICE_STORE_STORE_H_
#define SERVICE_STORE_STORE_H_

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <utility>

#include "service/store/Transaction.h"

namespace cloudservice {

// What a back end refused and why; about opening, the text names the file.
class DatabaseError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// Whether a database is made where there is none.
enum class MissingFile { kCreate, kRefuse };

// Everything that the service keeps. Work on it is given as a function of a transaction, which may
// be run again where the back end asks for it: it changes nothing else that cannot be changed
// twice. No work is given inside other work. One thread.
class Store {
 public:
  virtual ~Store() = default;

  // Runs `work` on one state of everything and returns what it returns. It must change nothing.
  // Throws what it throws, and DatabaseError.
  template <typename Work>
  std::invoke_result_t<Work, Transaction&> Read(Work work) {
    return Run(std::move(work), [this](const Unit& unit) { RunRead(unit); });
  }

  // Runs `work` and returns what it returns when all that it has changed is on the disk; of what
  // has thrown nothing is. Throws what it throws, and DatabaseError.
  template <typename Work>
  std::invoke_result_t<Work, Transaction&> Write(Work work) {
    return Run(std::move(work), [this](const Unit& unit) { RunWrite(unit); });
  }

  // Called with each change of what appliances keep once it is on the disk, on the thread and
  // before the end of Write(). Must not throw, and must not change anything.
  using Listener = std::function<void(const Change& change)>;
  void Listen(Listener listener) { m_listener = std::move(listener); }

  // A number that is another one when another process has changed the database.
  virtual std::int64_t DataVersion() = 0;
  // Throws when the database cannot be read, and when it could not take the last change.
  virtual void Check() = 0;
  // The copy of the database that was kept when its schema was brought up to date; empty: it was.
  virtual const std::string& UpgradeBackup() const = 0;

 protected:
  using Unit = std::function<void(Transaction& transaction)>;

  virtual void RunRead(const Unit& work) = 0;
  virtual void RunWrite(const Unit& work) = 0;

  void Tell(const Change& change) const {
    if (m_listener) m_listener(change);
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

  Listener m_listener;
};

// Opens the database file, or creates it where it is missing, and brings its schema up to date.
// Throws DatabaseError.
std::unique_ptr<Store> OpenStore(const std::string& file,
                                 MissingFile missing = MissingFile::kCreate);

}  // namespace cloudservice

#endif  // SERVICE_STORE_STORE_H_
