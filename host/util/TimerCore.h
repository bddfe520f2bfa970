// SPDX-License-Identifier: Apache-2.0
#ifndef HOST_UTIL_TIMERCORE_H_
#define HOST_UTIL_TIMERCORE_H_

#include <ctime>
#include <map>

#include "platform/util/LxTimerMgr.h"

namespace host {

// The table of time-of-day alarms: no thread, no clock, no lock, and no callback is called.
//
// An alarm is set for a local time; the zone that the machine has at each look decides when that
// is. An alarm whose time the clock has reached or passed is due as expired. An alarm whose time is
// ahead is due as cancelled when the clock was set back, or the zone changed, to a date before that
// of its creation: "tomorrow" is another day then. A clock that moves on to another date, by itself
// or by being set, cancels nothing: midnight passes a second before an alarm of 00:00:01 is
// reached.
class TimerCore {
 public:
  struct Alarm {
    struct tm when = {};       // local time of the alarm
    time_t created = 0;        // when it was armed,
    struct tm createdOn = {};  // and what the clock showed then
    LxTimerMgr::Callback expired = nullptr;
    LxTimerMgr::Callback cancelled = nullptr;
    void* context = nullptr;
  };
  struct Ended {
    unsigned short id;
    LxTimerMgr::Callback callback;
    void* context;
  };

  // The alarm's identifier, 1 to 65534, not one that is in use; 65535 when none is free.
  unsigned short Add(const Alarm& alarm);

  // Takes an alarm out; false when the identifier names none.
  bool Take(unsigned short id, Alarm& alarm);

  // Takes one alarm out that is due at `now`, the earliest first; false when there is none.
  bool TakeDue(time_t now, Ended& ended);

  // When to look again: the earliest alarm's time, 60 s after `now` at the latest; false when no
  // alarm is armed.
  bool NextLook(time_t now, time_t& when) const;

 private:
  std::map<unsigned short, Alarm> m_alarms;
  unsigned short m_lastId = 0;
};

}  // namespace host

#endif  // HOST_UTIL_TIMERCORE_H_
