// SPDX-License-Identifier: Apache-2.0
// The system calls that the tests look into, by the linker's --wrap.
#include "SystemCalls.h"

#include <poll.h>
#include <sys/timerfd.h>
#include <time.h>
#include <unistd.h>

#include <cerrno>

// Under 64-bit times of a machine of 32 bits these have other names.
#if defined(__USE_TIME_BITS64) && __SIZEOF_POINTER__ == 4
#define CLOCK_GETTIME "__clock_gettime64"
#define TIMERFD_SETTIME "__timerfd_settime64"
#else
#define CLOCK_GETTIME "clock_gettime"
#define TIMERFD_SETTIME "timerfd_settime"
#endif

std::function<int(int fd)> g_fsync;
std::function<int(int fd)> g_write;
std::function<void(int timeoutMs)> g_poll;
std::function<void(int64_t us)> g_usleep;
std::function<int64_t()> g_monotonicUs;
std::function<int()> g_timerSet;

void EmptyHooks() {
  g_fsync = nullptr;
  g_write = nullptr;
  g_poll = nullptr;
  g_usleep = nullptr;
  g_monotonicUs = nullptr;
  g_timerSet = nullptr;
}

extern "C" {

int RealFsync(int fd) __asm__("__real_fsync");
int WrappedFsync(int fd) __asm__("__wrap_fsync");
ssize_t RealWrite(int fd, const void* bytes, size_t size) __asm__("__real_write");
ssize_t WrappedWrite(int fd, const void* bytes, size_t size) __asm__("__wrap_write");
int RealPoll(struct pollfd* fds, nfds_t count, int timeoutMs) __asm__("__real_poll");
int WrappedPoll(struct pollfd* fds, nfds_t count, int timeoutMs) __asm__("__wrap_poll");
int RealUsleep(useconds_t us) __asm__("__real_usleep");
int WrappedUsleep(useconds_t us) __asm__("__wrap_usleep");
int RealClock(clockid_t clock, struct timespec* now) __asm__("__real_" CLOCK_GETTIME);
int WrappedClock(clockid_t clock, struct timespec* now) __asm__("__wrap_" CLOCK_GETTIME);
int RealTimerSet(int fd, int flags, const struct itimerspec* when,
                 struct itimerspec* before) __asm__("__real_" TIMERFD_SETTIME);
int WrappedTimerSet(int fd, int flags, const struct itimerspec* when,
                    struct itimerspec* before) __asm__("__wrap_" TIMERFD_SETTIME);

int WrappedFsync(int fd) {
  if (!g_fsync) return RealFsync(fd);
  const int error = g_fsync(fd);
  if (error == 0) return 0;
  errno = error;
  return -1;
}

ssize_t WrappedWrite(int fd, const void* bytes, size_t size) {
  const int error = g_write ? g_write(fd) : 0;
  if (error == 0) return RealWrite(fd, bytes, size);
  errno = error;
  return -1;
}

int WrappedPoll(struct pollfd* fds, nfds_t count, int timeoutMs) {
  if (g_poll) g_poll(timeoutMs);
  return RealPoll(fds, count, timeoutMs);
}

int WrappedUsleep(useconds_t us) {
  if (!g_usleep) return RealUsleep(us);
  g_usleep(us);
  return 0;
}

int WrappedClock(clockid_t clock, struct timespec* now) {
  if (!g_monotonicUs || clock != CLOCK_MONOTONIC) return RealClock(clock, now);
  const int64_t us = g_monotonicUs();
  *now = {static_cast<time_t>(us / 1000000), static_cast<long>(us % 1000000 * 1000)};
  return 0;
}

int WrappedTimerSet(int fd, int flags, const struct itimerspec* when, struct itimerspec* before) {
  const int error = g_timerSet ? g_timerSet() : 0;
  if (error == 0) return RealTimerSet(fd, flags, when, before);
  errno = error;
  return -1;
}
}
