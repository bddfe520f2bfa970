// SPDX-License-Identifier: Apache-2.0
#ifndef DEVICE_DEVICEMGRSTATE_H_
#define DEVICE_DEVICEMGRSTATE_H_

// What the source files of this folder share among themselves.
#include <exception>

#include "platform/util/dlog.h"

namespace cloudclient {

// Log unit of all of them: DeviceMgr is what runs the others.
constexpr char kUnit[] = "DeviceMgr";

// Value of `g_todAlarmId` while no daily alarm is armed.
constexpr unsigned short kNoTodAlarm = 65535;

// Identifier of the daily alarm. Written by the thread that arms it and by the timer's thread,
// without lock or atomic.
// Kept: docs/kept-behaviour.md#unlocked-flags
extern unsigned short g_todAlarmId;

// While non-zero, nothing is registered for at the engine. Set by nothing.
extern unsigned char g_registrationSuppressed;

// Runs one operation of a thread, which the message names `caller`. No exception may leave the
// thread: one that the operation throws, most likely for want of memory, ends this operation alone.
// Whether it came to its end.
template <typename Operation>
bool Guarded(const Operation& operation, const char* caller) {
  try {
    operation();
    return true;
  } catch (const std::exception& error) {
    __dlog_printf(3, kUnit, "%s: an operation ended early: %s", caller, error.what());
  } catch (...) {  // NOLINT(bugprone-empty-catch): nothing of the daemon's throws anything else
  }
  return false;
}

}  // namespace cloudclient

#endif  // DEVICE_DEVICEMGRSTATE_H_
