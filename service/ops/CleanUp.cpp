// SPDX-License-Identifier: Apache-2.0
// Removing what removed appliances have left, and old readings, events and changes, step by step.
#include "service/ops/CleanUp.h"

#include <cstdint>
#include <string>

namespace cloudservice {

namespace {

// Rows that one step changes or removes, and rows of the table of changes, which lie side by side.
// Such a step takes some thousandths of a second, in which on SQLite nobody else writes.
constexpr std::int64_t kRowsAtOnce = 100;
constexpr std::int64_t kChangesAtOnce = 1000;
// How long other processes may take to look at changes, in seconds.
constexpr std::int64_t kChangesKept = 600;
// How long an appliance may take to repeat a post that it does not know to have arrived, in
// seconds: twice as long as an appliance keeps what it could not send.
constexpr std::int64_t kMessagesKept = std::int64_t{60} * 86400;

}  // namespace

bool CleanUp::Step() {
  return Try([this] { return RemoveOld(); });
}

bool CleanUp::RemoveLeft() {
  return Try([this] {
    const std::int64_t now = m_clock();
    const std::int64_t before = now - kChangesKept;
    const bool changes = m_store.Write(
        [&](Transaction& store) { return store.RemoveChanges(before, kChangesAtOnce); });
    const std::int64_t settled =
        m_store.Write([&](Transaction& store) { return store.Settle(now, kRowsAtOnce); });
    const Left left =
        m_store.Write([](Transaction& store) { return store.RemoveNext(kRowsAtOnce); });
    return changes || settled == kRowsAtOnce || left != Left::kNothing;
  });
}

bool CleanUp::Try(const std::function<bool()>& step) {
  try {
    const bool more = step();
    m_failing = false;
    return more;
  } catch (const DatabaseError& error) {
    if (!m_failing) m_log.Line(std::string("error: what is old stays: ") + error.what());
    m_failing = true;
    return false;
  }
}

bool CleanUp::RemoveOld() {
  const std::int64_t now = m_clock();
  const std::int64_t ahead =
      m_store.Write([&](Transaction& store) { return store.ClampHeartbeats(now, kRowsAtOnce); });
  m_ahead += ahead;
  if (ahead == kRowsAtOnce) return true;
  if (m_ahead > 0) {
    m_log.Line("the clock was set back: last heartbeats that count as of now: " +
               std::to_string(m_ahead));
    m_ahead = 0;
  }
  const OldLeft left = m_store.Write([&](Transaction& store) {
    return store.RemoveOld(
        {now - m_retention.history, now - m_retention.events, kRowsAtOnce, m_looked});
  });
  m_looked = left.after;
  const bool messages = m_store.Write(
      [&](Transaction& store) { return store.RemoveMessages(now - kMessagesKept, kRowsAtOnce); });
  return left.more || messages;
}

}  // namespace cloudservice
