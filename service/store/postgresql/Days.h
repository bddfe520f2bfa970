// SPDX-License-Identifier: Apache-2.0
#ifndef SERVICE_STORE_POSTGRESQL_DAYS_H_
#define SERVICE_STORE_POSTGRESQL_DAYS_H_

#include <cstdint>
#include <mutex>
#include <set>
#include <string>
#include <utility>

#include "service/store/postgresql/Pool.h"

namespace cloudservice::postgresql {

// Readings and events stand in a partition for each day since 1970, UTC.

constexpr std::int64_t kSecondsOfDay = 86400;
// The bits of an event's identifier below its day.
constexpr int kEventBits = 32;
// The day of the partition with events of open alarms whose own partition is gone.
constexpr std::int64_t kKeptDay = -1;

// The days that have a partition of the table $1. The server may look at names of other tables
// first, which end in no number or in none of a day.
inline const std::string kPartitions =
    "SELECT CASE WHEN starts_with(relname, $1 || '_') AND relname ~ '_[0-9]+$' "
    "THEN substr(relname, length($1) + 2)::bigint END AS day FROM pg_inherits "
    "JOIN pg_class ON oid = inhrelid WHERE inhparent = $1::regclass AND relname ~ '_[0-9]+$' ";

// The day of a time.
constexpr std::int64_t DayOf(std::int64_t time) { return time / kSecondsOfDay; }
// The day in whose partition an event is, unless that is kKeptDay.
constexpr std::int64_t DayOfEvent(std::int64_t id) { return id >> kEventBits; }

// Makes the partitions that the clean-up has not made ahead. Any thread may call its operations.
class Days {
 public:
  explicit Days(const Pool& pool) : m_pool(pool) {}

  // Makes the partition of a day of the table "event" or "reading", unless there is one. It does so
  // on a connection of its own, so that other units of work see it at once. Throws DatabaseError.
  void Ensure(const std::string& table, std::int64_t day);
  // Forgets what is known: a partition was removed.
  void Forget();

 private:
  const Pool& m_pool;
  std::mutex m_mutex;
  std::set<std::pair<std::string, std::int64_t>> m_known;
};

}  // namespace cloudservice::postgresql

#endif  // SERVICE_STORE_POSTGRESQL_DAYS_H_
