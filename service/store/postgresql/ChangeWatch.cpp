// SPDX-License-Identifier: Apache-2.0
// When there are changes to tell.
#include "service/store/postgresql/ChangeWatch.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <chrono>
#include <utility>

namespace cloudservice::postgresql {

namespace {

// Without a notification, which is lost when its sender ends before he sends it.
constexpr std::chrono::milliseconds kLookEvery(1000);
// While a transaction is under way, whose changes have to be told first.
constexpr std::chrono::milliseconds kLookAgain(20);
constexpr std::chrono::milliseconds kConnectAgain(1000);
// Between two looks at least: many commits make one.
constexpr std::chrono::milliseconds kPace(10);

// The last change that can be listed, and whether there are others behind it. Asked so, the ends of
// the index tell it, however many changes the table has.
const Sql kLatest(
    "SELECT coalesce((SELECT max(id) FROM change WHERE id < horizon), 0), "
    "coalesce((SELECT max(id) FROM change) >= horizon, false) FROM change_horizon() AS horizon");
const Sql kNotify("NOTIFY cloudservice_change", Sql::Plan::kEachTime);

void Wait(int descriptor, std::chrono::milliseconds most) {
  struct pollfd one = {descriptor, POLLIN, 0};
  poll(&one, 1, static_cast<int>(most.count()));
}

}  // namespace

ChangeWatch::ChangeWatch(std::unique_ptr<Connection> first, Connect connect, Teller teller)
    : m_connect(std::move(connect)),
      m_teller(std::move(teller)),
      m_waker(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)),
      m_first(std::move(first)) {
  m_last = m_first->Run(kLatest).First().Number(0);
  m_thread = std::thread([this] { Run(); });
}

ChangeWatch::~ChangeWatch() {
  m_stopping = true;
  Wake();
  m_thread.join();
  close(m_waker);
}

void ChangeWatch::Wake() {
  const std::uint64_t one = 1;
  [[maybe_unused]] const ssize_t written = write(m_waker, &one, sizeof(one));
}

void ChangeWatch::TellOthers() {
  if (!m_changed.exchange(true)) Wake();
}

void ChangeWatch::Run() {
  while (!m_stopping) {
    try {
      Watch();
    } catch (const DatabaseError&) {
      // Requests say what is wrong with the server; here it is tried again.
      if (!std::exchange(m_listening, false)) Wait(m_waker, kConnectAgain);
    }
  }
}

void ChangeWatch::Watch() {
  const std::unique_ptr<Connection> connection = m_first ? std::move(m_first) : m_connect();
  connection->Execute("LISTEN cloudservice_change");
  m_listening = true;
  while (!m_stopping) {
    std::uint64_t woken = 0;
    [[maybe_unused]] const ssize_t taken = read(m_waker, &woken, sizeof(woken));
    if (m_changed.exchange(false)) connection->Run(kNotify);
    const auto begun = std::chrono::steady_clock::now();
    const bool more = Look(*connection);
    std::this_thread::sleep_until(begun + kPace);
    connection->WaitForNotification(m_waker, more ? kLookAgain : kLookEvery);
  }
}

bool ChangeWatch::Look(Connection& connection) {
  const Result latest = connection.Run(kLatest);
  const std::int64_t last = latest.First().Number(0);
  if (last != std::exchange(m_last, last)) m_teller();
  return latest.First().Truth(1);
}

}  // namespace cloudservice::postgresql
