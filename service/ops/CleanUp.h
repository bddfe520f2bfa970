// SPDX-License-Identifier: Apache-2.0
#ifndef SERVICE_OPS_CLEANUP_H_
#define SERVICE_OPS_CLEANUP_H_

#include <cstdint>
#include <functional>
#include <utility>

#include "service/store/Store.h"
#include "service/util/Clock.h"
#include "service/util/Log.h"

namespace cloudservice {

// Removes readings and events that are older than the retention allows, and what removed appliances
// and chassis have left. The store and the log outlive it. One thread.
class CleanUp {
 public:
  CleanUp(Store& store, const Log& log, Clock clock, const Retention& retention)
      : m_store(store), m_log(log), m_clock(std::move(clock)), m_retention(retention) {}

  // Each removes a limited number of rows, and is true when more may be left. Blocks for some
  // thousandths of a second. The first of failures that follow each other becomes a line in the
  // log. Step() removes what is old. RemoveLeft() removes what was left, and changes that are
  // older than ten minutes, and finds who has become late: to be called every few seconds.
  bool Step();
  bool RemoveLeft();

 private:
  bool Try(const std::function<bool()>& step);
  bool RemoveOld();

  Store& m_store;
  const Log& m_log;
  const Clock m_clock;
  const Retention m_retention;
  bool m_failing = false;    // the last step failed
  std::int64_t m_ahead = 0;  // heartbeats that steps have set back, and no line has told yet
  EventPlace m_looked;       // where the next step goes on
};

}  // namespace cloudservice

#endif  // SERVICE_OPS_CLEANUP_H_
