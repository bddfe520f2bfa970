#ifndef BASE_LOCALTIME_H_
#define BASE_LOCALTIME_H_

#include <ctime>
#include <string>

namespace cloudclient {

// The current local broken-down time, by `time` and `localtime_r`. Any thread.
struct tm LocalTimeNow();

// The current local time by strftime's `format`; empty when the text does not fit into a buffer of
// `size` bytes. Any thread.
std::string LocalTimeText(const char* format, size_t size) __attribute__((format(strftime, 1, 0)));

}  // namespace cloudclient

#endif  // BASE_LOCALTIME_H_
