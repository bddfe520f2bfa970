// SPDX-License-Identifier: Apache-2.0
#ifndef DEVICE_DEVICEMGRSTATE_H_
#define DEVICE_DEVICEMGRSTATE_H_

// What the source files of this folder share among themselves.

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

// Runs one operation of a thread. No exception may leave the thread: one that the operation throws
// ends this operation alone.
template <typename Operation>
void Guarded(const Operation& operation) {
  try {
    operation();
  } catch (...) {  // NOLINT(bugprone-empty-catch): the operation has logged what it could
  }
}

}  // namespace cloudclient

#endif  // DEVICE_DEVICEMGRSTATE_H_
