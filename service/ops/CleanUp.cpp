// SPDX-License-Identifier: Apache-2.0
// Removing old readings and events, step by step.
#include "service/ops/CleanUp.h"

#include <cstdint>
#include <string>

namespace cloudservice {

namespace {

// Rows that one step removes; such a step takes some hundredths of a second.
constexpr std::int64_t kRemovedAtOnce = 2000;

}  // namespace

bool CleanUp::Step() {
  const std::int64_t now = m_clock();
  try {
    const std::int64_t ahead =
        m_store.Write([&](Transaction& store) { return store.ClampHeartbeats(now); });
    if (ahead > 0) {
      m_log.Line("the clock was set back: last heartbeats that count as of now: " +
                 std::to_string(ahead));
    }
    return m_store.Write([&](Transaction& store) {
      return store.RemoveOld(now - m_retention.history, now - m_retention.events, kRemovedAtOnce);
    });
  } catch (const DatabaseError& error) {
    m_log.Line(std::string("error: what is old stays: ") + error.what());
    return false;
  }
}

}  // namespace cloudservice
