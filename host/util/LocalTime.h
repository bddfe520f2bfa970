// SPDX-License-Identifier: Apache-2.0
#ifndef HOST_UTIL_LOCALTIME_H_
#define HOST_UTIL_LOCALTIME_H_

#include <ctime>

namespace host {

// Local times, in the zone that the machine has at the moment of the call. Any thread.

// The local broken-down time of `when`. False when it can't be represented.
bool LocalTimeOf(time_t when, struct tm& local);

// The clock's time of the local time in `when`'s fields; `tm_isdst` is ignored. A local time that
// the zone has twice is the first one, unless that is before `now`. A local time that the zone
// skips is moved on by the length of the gap. False when it can't be represented.
bool LocalTimeAt(const struct tm& when, time_t now, time_t& time);

// Fills `tomorrow` with noon of the date after that of `now`, `tm_isdst` -1. A date that the zone
// skips is passed over. False when it can't be computed.
bool TomorrowOf(time_t now, struct tm& tomorrow);

}  // namespace host

#endif  // HOST_UTIL_LOCALTIME_H_
