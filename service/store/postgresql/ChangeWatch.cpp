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

const Sql kLatest("SELECT coalesce(max(id), 0) FROM change WHERE id < change_horizon()");
const Sql kHidden("SELECT 1 FROM change WHERE id >= change_horizon() LIMIT 1");
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
    const bool more = Look(*connection);
    connection->WaitForNotification(m_waker, more ? kLookAgain : kLookEvery);
  }
}

bool ChangeWatch::Look(Connection& connection) {
  const bool hidden = !connection.Run(kHidden).Empty();
  const std::int64_t last = connection.Run(kLatest).First().Number(0);
  if (last != std::exchange(m_last, last)) m_teller();
  return hidden;
}

}  // namespace cloudservice::postgresql
