// SPDX-License-Identifier: Apache-2.0
// The partitions of days.
#include "service/store/postgresql/Days.h"

namespace cloudservice::postgresql {

namespace {

const Sql kMakeDay("SELECT make_day($1, $2)");

}  // namespace

void Days::Ensure(const std::string& table, std::int64_t day) {
  const std::lock_guard<std::mutex> guard(m_mutex);
  if (m_known.count({table, day}) > 0) return;
  m_pool.Make()->Run(kMakeDay, {table, day});
  m_known.insert({table, day});
}

void Days::Forget() {
  const std::lock_guard<std::mutex> guard(m_mutex);
  m_known.clear();
}

}  // namespace cloudservice::postgresql
