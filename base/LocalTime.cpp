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

struct tm LocalTimeNow() {
  // Unlike localtime, localtime_r alone does not notice that the machine's zone was changed.
  tzset();
  const time_t now = time(nullptr);
  struct tm local = {};
  localtime_r(&now, &local);
  return local;
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

std::string LocalTimeText(const char* format, size_t size) {
  const struct tm local = LocalTimeNow();
  std::string text(size, '\0');
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"  // checked where this is called
  text.resize(strftime(text.data(), size, format, &local));
#pragma GCC diagnostic pop
  return text;
}

}  // namespace cloudclient
