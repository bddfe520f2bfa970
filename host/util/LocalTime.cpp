// SPDX-License-Identifier: Apache-2.0
// Local times, also around a change of the zone's offset.
#include "host/util/LocalTime.h"

namespace host {
namespace {

constexpr time_t kDay = 86400;

// By how many seconds the zone's clock is ahead of UTC at `when`.
bool OffsetAt(time_t when, time_t& offset) {
  struct tm local = {};
  if (!LocalTimeOf(when, local)) return false;
  offset = local.tm_gmtoff;
  return true;
}

// Whether the zone's clock shows `shown`, which is given as if it were UTC, at `when`.
bool Shows(time_t when, time_t shown) {
  time_t offset = 0;
  return OffsetAt(when, offset) && when + offset == shown;
}

}  // namespace

bool LocalTimeOf(time_t when, struct tm& local) {
  // Unlike localtime, localtime_r alone does not notice that the machine's zone was changed.
  tzset();
  return localtime_r(&when, &local) != nullptr;
}

bool LocalTimeAt(const struct tm& when, time_t now, time_t& time) {
  // Not by mktime: of a time that comes twice it gives the one or the other, depending on what it
  // converted before. The offsets are those of a day before and a day after; no zone changes its
  // offset twice between the two.
  struct tm fields = when;
  fields.tm_wday = -1;  // stays only when it fails: -1 is a time as well
  const time_t shown = timegm(&fields);
  time_t before = 0;
  time_t after = 0;
  if (fields.tm_wday < 0 || !OffsetAt(shown - kDay, before) || !OffsetAt(shown + kDay, after)) {
    return false;
  }
  const time_t first = shown - before;
  const time_t second = shown - after;
  const bool firstCounts = Shows(first, shown) && first >= now;
  time = firstCounts || !Shows(second, shown) ? first : second;
  return true;
}

bool TomorrowOf(time_t now, struct tm& tomorrow) {
  struct tm local = {};
  if (!LocalTimeOf(now, local)) return false;
  // Noon exists on every date, but for the dates that a zone skips as a whole.
  local.tm_mday += 1;
  local.tm_hour = 12;
  local.tm_min = 0;
  local.tm_sec = 0;
  time_t noon = 0;
  if (!LocalTimeAt(local, now, noon) || !LocalTimeOf(noon, local)) return false;
  local.tm_isdst = -1;
  tomorrow = local;
  return true;
}

}  // namespace host
