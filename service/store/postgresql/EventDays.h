// SPDX-License-Identifier: Apache-2.0
#ifndef SERVICE_STORE_POSTGRESQL_EVENTDAYS_H_
#define SERVICE_STORE_POSTGRESQL_EVENTDAYS_H_

#include <cstdint>
#include <map>

namespace cloudservice::postgresql {

// The numbers that the events of another database get here, where the upper half is the day of the
// partition. The lower half stays, and the order of all: the days rise at some of the former
// numbers, and these few tell the new number of every former one. A number that has a day already
// keeps it, unless the event came on a later one.
class EventDays {
 public:
  // Makes the day rise where the event of a former number came on a later one than those before
  // it; true when it does. Called in the order of the numbers; those that were added already
  // change nothing.
  bool Add(std::int64_t former, std::int64_t received);
  // The new number of a former one, also of an event that is gone. It is the former one itself
  // before the first event.
  std::int64_t NumberOf(std::int64_t former) const;

  // Each day, by the first number that has it.
  const std::map<std::int64_t, std::int64_t>& Days() const { return m_days; }
  void Restore(std::int64_t former, std::int64_t day) { m_days[former] = day; }

 private:
  std::map<std::int64_t, std::int64_t> m_days;
};

}  // namespace cloudservice::postgresql

#endif  // SERVICE_STORE_POSTGRESQL_EVENTDAYS_H_
