// SPDX-License-Identifier: Apache-2.0
#ifndef BASE_LOCALTIME_H_
#define BASE_LOCALTIME_H_

#include <ctime>
#include <string>

namespace cloudclient {

// The local broken-down time of `when`, or the current one by `time`; by `localtime_r`, in the zone
// that the machine has now. Any thread.
struct tm LocalTimeAt(time_t when);
struct tm LocalTimeNow();

// When today's local date shows this time of day, in seconds since the epoch: the same whenever it
// is asked during the date. The first of the two where the zone's clock shows the time twice; where
// it skips the time, as long after the gap as the time is into it. Any thread.
time_t LocalTimeToday(int hour, int minute, int second);

// The local time of `when`, or the current one, by strftime's `format`; empty when the text does
// not fit into a buffer of `size` bytes. Any thread.
std::string LocalTimeText(const char* format, size_t size, time_t when)
    __attribute__((format(strftime, 1, 0)));
std::string LocalTimeText(const char* format, size_t size) __attribute__((format(strftime, 1, 0)));

}  // namespace cloudclient

#endif  // BASE_LOCALTIME_H_
