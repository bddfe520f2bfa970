// SPDX-License-Identifier: Apache-2.0
// An accelerated clock, preloaded into a program on the appliance's processor. It understands the
// same variables as Debian's faketime, which knows none of the names that the C library gives to
// times of 64 bits there:
//
//   FAKETIME                 "+0 x50" from now on, "@2026-03-05 23:58:00 x50" from that local time
//   FAKETIME_TIMESTAMP_FILE  a file with "+SECONDS xSPEED", read again at each call
//
// Built with 64-bit times, so that the names defined here are the ones that such programs call.
// Each operation makes the system call itself: nothing here depends on who else is preloaded.

#include <fcntl.h>
#include <poll.h>
#include <sys/syscall.h>
#include <sys/time.h>
#include <sys/timerfd.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>

static_assert(sizeof(time_t) == 8, "the names of 64-bit times are the ones to replace");

namespace {

constexpr int64_t kSecond = 1000000000;

int64_t Nanoseconds(const timespec& time) {
  return static_cast<int64_t>(time.tv_sec) * kSecond + time.tv_nsec;
}

timespec Time(int64_t nanoseconds) {
  timespec time = {};
  time.tv_sec = nanoseconds / kSecond;
  time.tv_nsec = static_cast<decltype(time.tv_nsec)>(nanoseconds % kSecond);
  return time;
}

int64_t RealNow(clockid_t clock) {
  timespec now = {};
  syscall(SYS_clock_gettime64, clock, &now);
  return Nanoseconds(now);
}

[[noreturn]] void Refuse(const char* what, const char* text) {
  fprintf(stderr, "clock: %s is no clock: '%s'\n", what, text);
  abort();
}

struct Setting {
  int64_t offset;  // nanoseconds, added to the wall clock of the start
  double speed;
};

class Clock {
 public:
  Clock() {
    m_file = getenv("FAKETIME_TIMESTAMP_FILE");
    const char* const text = getenv("FAKETIME");
    if (m_file == nullptr && text != nullptr) m_fixed = Parse("FAKETIME", text);
  }

  Setting Now() const { return m_file == nullptr ? m_fixed : FromFile(); }
  double Speed() const { return Now().speed; }

  int64_t FakeNow(clockid_t clock) const {
    const bool wall = clock == CLOCK_REALTIME || clock == CLOCK_REALTIME_COARSE;
    if (clock == CLOCK_PROCESS_CPUTIME_ID || clock == CLOCK_THREAD_CPUTIME_ID) {
      return RealNow(clock);
    }
    const Setting setting = Now();
    // What has passed is always the monotonic clock's: both clocks then run alike.
    const auto passed = static_cast<double>(RealNow(CLOCK_MONOTONIC) - m_monotonicStart);
    return (wall ? m_wallStart + setting.offset : m_monotonicStart) +
           std::llround(passed * setting.speed);
  }

  // Of the real time, never shorter than what was asked for.
  int64_t Shortened(int64_t nanoseconds) const {
    return static_cast<int64_t>(std::ceil(static_cast<double>(nanoseconds) / Speed()));
  }

 private:
  Setting Parse(const char* what, const char* text) const {
    Setting setting = {0, 1};
    const char* rest = nullptr;
    if (*text == '@') {
      struct tm start = {};
      rest = strptime(text + 1, "%Y-%m-%d %H:%M:%S", &start);
      start.tm_isdst = -1;
      if (rest != nullptr) setting.offset = mktime(&start) * kSecond - m_wallStart;
    } else {
      char* end = nullptr;
      setting.offset = strtoll(text, &end, 10) * kSecond;
      if (end != text) rest = end;
    }
    if (rest == nullptr) Refuse(what, text);
    if (*rest == ' ' && rest[1] == 'x') {
      char* end = nullptr;
      setting.speed = strtod(rest + 2, &end);
      rest = end;
    }
    if ((*rest != '\0' && *rest != '\n') || !(setting.speed > 0)) Refuse(what, text);
    return setting;
  }

  Setting FromFile() const {
    char text[128] = {};
    const int file = open(m_file, O_RDONLY | O_CLOEXEC);
    const ssize_t length = file < 0 ? -1 : read(file, text, sizeof text - 1);
    if (file >= 0) close(file);
    if (length <= 0) Refuse(m_file, "");
    return Parse(m_file, text);
  }

  const int64_t m_wallStart = RealNow(CLOCK_REALTIME);
  const int64_t m_monotonicStart = RealNow(CLOCK_MONOTONIC);
  const char* m_file = nullptr;
  Setting m_fixed = {0, 1};
};

// Made at the first call, which may come before any constructor of this library. Never destroyed:
// threads may still ask while the program ends.
const Clock& TheClock() {
  static const Clock& clock = *new Clock;
  return clock;
}

// Sleeps; the fake time that was left when a signal came, else 0.
int64_t SleepFor(int64_t nanoseconds) {
  const timespec asked = Time(TheClock().Shortened(nanoseconds));
  timespec left = {};
  if (syscall(SYS_clock_nanosleep_time64, CLOCK_MONOTONIC, 0, &asked, &left) == 0) return 0;
  return static_cast<int64_t>(static_cast<double>(Nanoseconds(left)) * TheClock().Speed());
}

}  // namespace

extern "C" {

int clock_gettime(clockid_t clock, timespec* now) noexcept {
  *now = Time(TheClock().FakeNow(clock));
  return 0;
}

time_t time(time_t* result) noexcept {
  const auto now = static_cast<time_t>(TheClock().FakeNow(CLOCK_REALTIME) / kSecond);
  if (result != nullptr) *result = now;
  return now;
}

int gettimeofday(timeval* now, void*) noexcept {
  const timespec time = Time(TheClock().FakeNow(CLOCK_REALTIME));
  now->tv_sec = time.tv_sec;
  now->tv_usec = time.tv_nsec / 1000;
  return 0;
}

unsigned int sleep(unsigned int seconds) {
  return static_cast<unsigned int>(SleepFor(seconds * kSecond) / kSecond);
}

int usleep(useconds_t microseconds) {
  if (SleepFor(static_cast<int64_t>(microseconds) * 1000) == 0) return 0;
  errno = EINTR;
  return -1;
}

int nanosleep(const timespec* asked, timespec* left) {
  if (asked->tv_nsec < 0 || asked->tv_nsec >= kSecond || asked->tv_sec < 0) {
    errno = EINVAL;
    return -1;
  }
  const int64_t remaining = SleepFor(Nanoseconds(*asked));
  if (remaining == 0) return 0;
  if (left != nullptr) *left = Time(remaining);
  errno = EINTR;
  return -1;
}

// By ppoll: milliseconds are too coarse once they are shortened.
int poll(pollfd* fds, nfds_t count, int milliseconds) {
  if (milliseconds < 0) return static_cast<int>(syscall(SYS_poll, fds, count, -1));
  const timespec wait = Time(TheClock().Shortened(milliseconds * (kSecond / 1000)));
  return static_cast<int>(syscall(SYS_ppoll_time64, fds, count, &wait, nullptr, 0));
}

// An absolute time is taken as one of the wall clock.
int timerfd_settime(int fd, int flags, const itimerspec* when, itimerspec* former) noexcept {
  itimerspec real = {};
  real.it_interval = Time(TheClock().Shortened(Nanoseconds(when->it_interval)));
  const int64_t asked = Nanoseconds(when->it_value);
  if (asked == 0) {
    // disarms
  } else if ((flags & TFD_TIMER_ABSTIME) != 0) {
    const int64_t ahead = TheClock().Shortened(asked - TheClock().FakeNow(CLOCK_REALTIME));
    real.it_value = Time(RealNow(CLOCK_REALTIME) + (ahead > 0 ? ahead : 0));
  } else {
    real.it_value = Time(TheClock().Shortened(asked));
  }
  return static_cast<int>(syscall(SYS_timerfd_settime64, fd, flags, &real, former));
}

}  // extern "C"
