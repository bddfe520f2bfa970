// SPDX-License-Identifier: Apache-2.0
#ifndef SERVICE_OPS_CLEANUP_H_
#define SERVICE_OPS_CLEANUP_H_

#include <utility>

#include "service/store/Store.h"
#include "service/util/Clock.h"
#include "service/util/Log.h"

namespace cloudservice {

// Removes readings and events that are older than the retention allows. The store and the log
// outlive it. One thread.
class CleanUp {
 public:
  CleanUp(Store& store, const Log& log, Clock clock, const Retention& retention)
      : m_store(store), m_log(log), m_clock(std::move(clock)), m_retention(retention) {}

  // Removes a limited number of them; true when more may be left. Blocks for some hundredths of a
  // second. A failure becomes a line in the log.
  bool Step();

 private:
  Store& m_store;
  const Log& m_log;
  const Clock m_clock;
  const Retention m_retention;
};

}  // namespace cloudservice

#endif  // SERVICE_OPS_CLEANUP_H_
