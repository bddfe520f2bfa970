#ifndef PLATFORM_UTIL_LXTIMERMGR_H_
#define PLATFORM_UTIL_LXTIMERMGR_H_

#include <ctime>

// Time-of-day alarms. Held by value, neither copied nor moved.
//
// Callbacks run on the timer's own thread, but for the cancel callback of `CancelTimer`, which
// runs on the caller's thread before `CancelTimer` returns. A callback may create and cancel
// alarms. No callback runs after the destructor has returned.
class LxTimerMgr {
 public:
  typedef void (*Callback)(unsigned short alarmId, void* context);

  LxTimerMgr();
  ~LxTimerMgr();
  LxTimerMgr(const LxTimerMgr&) = delete;
  LxTimerMgr& operator=(const LxTimerMgr&) = delete;

  // Starts the timer's thread; alarms fire from now on. A second call does nothing.
  void activate();

  // Fills `tomorrow` with the local broken-down time of tomorrow's date (the time of day is
  // unspecified, `tm_isdst` is -1) and returns true; false when the date cannot be computed.
  bool ComputeTomorrow(struct tm* tomorrow);

  // Arms an alarm for the local time `*when` (read during the call) and returns its identifier,
  // 1 to 65534. Each alarm ends in exactly one callback, after which it is gone:
  // - `expired`, once the wall clock has reached that time, never earlier;
  // - `cancelled`, when `CancelTimer` names it, or when the clock was set so that the date of
  //   tomorrow is another one than it was when the alarm was created and the armed time has not
  //   been reached.
  // `context` is handed to the callback as it is.
  unsigned short CreateLocalTODAlarm(struct tm* when, Callback expired, Callback cancelled,
                                     void* context);

  // Cancels an alarm. An identifier that names none is ignored.
  void CancelTimer(unsigned short alarmId);

 private:
  struct Impl;
  Impl* m_impl;
};

#endif  // PLATFORM_UTIL_LXTIMERMGR_H_
