#include "service/Clock.h"

#include <cstdio>

namespace cloudservice {

time_t WallClock() { return time(nullptr); }

std::string LogTime(time_t when) {
  struct tm parts = {};
  localtime_r(&when, &parts);
  char text[64];
  return std::string(text, strftime(text, sizeof text, "%FT%T%z", &parts));
}

std::string RedfishTime(time_t when) {
  std::string text = LogTime(when);
  if (text.size() > 2) text.insert(text.size() - 2, ":");
  return text;
}

std::string HttpDate(time_t when) {
  // Not by strftime, whose names follow the locale.
  static const char* const kDays[] = {"Sun", "Mon", "Tue", "Wed", "Thu", "Fri", "Sat"};
  static const char* const kMonths[] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                        "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
  struct tm parts = {};
  gmtime_r(&when, &parts);
  char text[64];
  snprintf(text, sizeof text, "%s, %02d %s %04d %02d:%02d:%02d GMT", kDays[parts.tm_wday],
           parts.tm_mday, kMonths[parts.tm_mon], parts.tm_year + 1900, parts.tm_hour, parts.tm_min,
           parts.tm_sec);
  return text;
}

}  // namespace cloudservice
