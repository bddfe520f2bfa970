// SPDX-License-Identifier: Apache-2.0
// Local times in the machine's zone of now.
#include "base/LocalTime.h"

namespace cloudclient {

namespace {

constexpr time_t kDay = 86400;

// By how many seconds the zone's clock is ahead of UTC at `when`.
time_t OffsetAt(time_t when) {
  struct tm local = {};
  localtime_r(&when, &local);
  return local.tm_gmtoff;
}

}  // namespace

struct tm LocalTimeAt(time_t when) {
  // Unlike localtime, localtime_r alone does not notice that the machine's zone was changed.
  tzset();
  struct tm local = {};
  localtime_r(&when, &local);
  return local;
}

struct tm LocalTimeNow() {
  return LocalTimeAt(time(nullptr));
}

time_t LocalTimeToday(int hour, int minute, int second) {
  struct tm wanted = LocalTimeNow();
  wanted.tm_hour = hour;
  wanted.tm_min = minute;
  wanted.tm_sec = second;
  // Not by mktime: of a time that comes twice it gives the one or the other, depending on what it
  // converted before. The offsets are those of a day before and a day after; no zone changes its
  // offset twice between the two.
  const time_t shown = timegm(&wanted);
  const time_t before = shown - OffsetAt(shown - kDay);
  const time_t after = shown - OffsetAt(shown + kDay);
  const auto exists = [shown](time_t when) { return when + OffsetAt(when) == shown; };
  return exists(before) || !exists(after) ? before : after;
}

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"  // checked where these are called
std::string LocalTimeText(const char* format, size_t size, time_t when) {
  const struct tm local = LocalTimeAt(when);
  std::string text(size, '\0');
  text.resize(strftime(text.data(), size, format, &local));
  return text;
}

std::string LocalTimeText(const char* format, size_t size) {
  return LocalTimeText(format, size, time(nullptr));
}
#pragma GCC diagnostic pop

}  // namespace cloudclient
