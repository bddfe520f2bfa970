// SPDX-License-Identifier: Apache-2.0
#ifndef SERVICE_STORE_SQLITE_TOTALSCACHE_H_
#define SERVICE_STORE_SQLITE_TOTALSCACHE_H_

#include <cstdint>
#include <optional>

#include "service/store/Records.h"

namespace cloudservice {

// What was counted once, as long as nothing has changed it. `version` is the database's
// DataVersion() at the moment; what this process changes drops it.
class TotalsCache {
 public:
  std::optional<Totals> Find(std::int64_t version) const {
    return version == m_version ? m_totals : std::nullopt;
  }
  void Put(std::int64_t version, const Totals& totals) {
    m_version = version;
    m_totals = totals;
  }
  void Drop() { m_totals.reset(); }

 private:
  std::int64_t m_version = 0;
  std::optional<Totals> m_totals;
};

}  // namespace cloudservice

#endif  // SERVICE_STORE_SQLITE_TOTALSCACHE_H_
