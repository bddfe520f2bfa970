// SPDX-License-Identifier: Apache-2.0
#ifndef SERVICE_REDFISH_HISTORIES_H_
#define SERVICE_REDFISH_HISTORIES_H_

#include <cstdint>
#include <utility>

#include "service/redfish/Call.h"
#include "service/util/Clock.h"

namespace cloudservice {

// The operation that shows histories of the numbers in documents.
class Histories {
 public:
  // Readings older than `retention` seconds are not shown, even if the store still has them.
  Histories(Clock clock, std::int64_t retention)
      : m_clock(std::move(clock)), m_retention(retention) {}

  void AddTo(Routes& routes) const;

 private:
  Answer Get(const Call& call, Transaction& store) const;

  Clock m_clock;
  std::int64_t m_retention;
};

}  // namespace cloudservice

#endif  // SERVICE_REDFISH_HISTORIES_H_
