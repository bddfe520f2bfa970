// SPDX-License-Identifier: Apache-2.0
#ifndef PLATFORM_UTIL_LXTIMERMGR_H_
#define PLATFORM_UTIL_LXTIMERMGR_H_

#include <ctime>

// Time-of-day alarms. Held by value, neither copied nor moved.
//
// Callbacks run on the timer's own thread, but for the cancel callback of `CancelTimer`, which
// runs on the caller's thread before `CancelTimer` returns. A callback may create and cancel
// alarms, but must not destroy the timer: the destructor waits for the callback that runs. No
// callback runs after the destructor has returned.
class LxTimerMgr {
 public:
  typedef void (*Callback)(unsigned short alarmId, void* context);

  LxTimerMgr();
  ~LxTimerMgr();
  LxTimerMgr(const LxTimerMgr&) = delete;
  LxTimerMgr& operator=(const LxTimerMgr&) = delete;

  // Starts the timer's thread; alarms fire from now on. A second call does nothing. May throw when
  // there can be no thread; nothing has changed then.
  void activate();

  // Fills `tomorrow` with the local broken-down time of tomorrow's date (the time of day is
  // unspecified, `tm_isdst` is -1) and returns true; false when the date cannot be computed.
  bool ComputeTomorrow(struct tm* tomorrow);

  // Arms an alarm for the local time `*when` (read during the call, `tm_isdst` not looked at; of a
  // time that the zone has twice the first that is not past, for one that it skips a time soon
  // after the gap) and returns its identifier, 1 to 65534. Each alarm ends in exactly one callback,
  // after which it is gone, unless the destructor comes first:
  // - `expired`, once the wall clock has reached or passed that time, never earlier;
  // - `cancelled`, when `CancelTimer` names it, or when the clock was set back, or the zone
  //   changed, to a date before the one on which the alarm was created: its day is then no longer
  //   tomorrow.
  //   A zone that repeats an hour around midnight cancels nothing. A clock that goes on to another
  //   date, by itself or by being set, cancels nothing: at midnight tomorrow is another date as
  //   well, a second before an alarm of 00:00:01 is reached.
  // `context` is handed to the callback as it is. 65535, and no callback ever, when the time cannot
  // be represented or no identifier is free.
  unsigned short CreateLocalTODAlarm(struct tm* when, Callback expired, Callback cancelled,
                                     void* context);

  // Cancels an alarm. An identifier that names none is ignored.
  void CancelTimer(unsigned short alarmId);

 private:
  struct Impl;
  Impl* m_impl;
};

#endif  // PLATFORM_UTIL_LXTIMERMGR_H_
