// SPDX-License-Identifier: Apache-2.0
#ifndef TESTS_UNIT_HOST_SYSTEMCALLS_H_
#define TESTS_UNIT_HOST_SYSTEMCALLS_H_

#include <cstdint>
#include <functional>

// What the tests put around calls of the system; nothing as long as a hook is empty. A hook is
// called on whatever thread calls the system; HostTest empties all of them at a case's end.

// Asked in the place of fsync: 0, or the errno that it fails with.
extern std::function<int(int fd)> g_fsync;

// Asked before each write to a descriptor: 0, or the errno that it fails with.
extern std::function<int(int fd)> g_write;

// Told of each poll before it is done.
extern std::function<void(int timeoutMs)> g_poll;

// Asked in the place of usleep.
extern std::function<void(int64_t us)> g_usleep;

// Asked for the microseconds of the monotonic clock.
extern std::function<int64_t()> g_monotonicUs;

// Asked in the place of timerfd_settime: 0, or the errno that it fails with.
extern std::function<int()> g_timerSet;

void EmptyHooks();

#endif  // TESTS_UNIT_HOST_SYSTEMCALLS_H_
