// SPDX-License-Identifier: Apache-2.0
#ifndef SERVICE_STORE_SQLITE_TOTALSCACHE_H_
#define SERVICE_STORE_SQLITE_TOTALSCACHE_H_

#include <cstdint>
#include <optional>

#include "service/store/Records.h"

namespace cloudservice {

// The last counted totals, valid until something changes them. A change by another process shows in
// `version`, which is the database's current DataVersion(); a change by this process drops the
// totals.
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
