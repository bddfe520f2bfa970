#ifndef HOST_TIMERCORE_H_
#define HOST_TIMERCORE_H_

#include <ctime>
#include <map>

#include "platform/util/LxTimerMgr.h"

namespace host {

// Local time of `when`'s fields as a time of the clock, `tm_isdst` not looked at. A time that the
// zone skips is the first one after it. False when it can't be represented.
bool LocalTimeAt(const struct tm& when, time_t& time);

// Fills `tomorrow` with noon of the date after that of `now`, `tm_isdst` -1. False when it can't
// be computed.
bool TomorrowOf(time_t now, struct tm& tomorrow);

// The table of time-of-day alarms: no thread, no clock, no lock, and no callback is called.
//
// An alarm whose time the clock has reached or passed is due as expired. One whose time is ahead
// while the clock shows a date before that of its creation is due as cancelled: the clock was set
// back and "tomorrow" is another day than the one it was armed for. A clock that moves on to
// another date, by itself or by being set, cancels nothing: midnight passes a second before an
// alarm of 00:00:01 is reached.
class TimerCore {
 public:
  struct Alarm {
    time_t due = 0;
    struct tm created = {};
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

#endif  // HOST_TIMERCORE_H_
