// SPDX-License-Identifier: Apache-2.0
// Times as texts and back.
#include "service/util/Clock.h"

#include <chrono>
#include <cstdio>
#include <cstring>
#include <utility>

namespace cloudservice {

namespace {

// Reads a number of exactly `count` digits and moves `at` behind it; -1 where there is none.
int Digits(const char*& at, int count) {
  int value = 0;
  for (int i = 0; i < count; ++i, ++at) {
    if (*at < '0' || *at > '9') return -1;
    value = 10 * value + (*at - '0');
  }
  return value;
}

bool Take(const char*& at, char c) {
  if (*at != c) return false;
  ++at;
  return true;
}

// Reads "2026-03-05T14:07:09" as if it were UTC; the offset is not applied yet.
std::optional<std::int64_t> LocalPart(const char*& at) {
  struct tm parts = {};
  parts.tm_year = Digits(at, 4) - 1900;
  if (!Take(at, '-')) return std::nullopt;
  parts.tm_mon = Digits(at, 2) - 1;
  if (!Take(at, '-')) return std::nullopt;
  parts.tm_mday = Digits(at, 2);
  if (!Take(at, 'T')) return std::nullopt;
  parts.tm_hour = Digits(at, 2);
  if (!Take(at, ':')) return std::nullopt;
  parts.tm_min = Digits(at, 2);
  if (!Take(at, ':')) return std::nullopt;
  parts.tm_sec = Digits(at, 2);
  const struct tm told = parts;
  const std::int64_t when = timegm(&parts);
  // timegm() turns a 30th of February into a day of March: a date that it changes does not exist.
  const bool real = told.tm_year == parts.tm_year && told.tm_mon == parts.tm_mon &&
                    told.tm_mday == parts.tm_mday && told.tm_hour == parts.tm_hour &&
                    told.tm_min == parts.tm_min && told.tm_sec == parts.tm_sec;
  if (!real) return std::nullopt;
  return when;
}

// Reads an offset; its value is in seconds east of UTC.
std::optional<std::int64_t> Offset(const char*& at) {
  if (Take(at, 'Z')) return 0;
  const bool west = *at == '-';
  if (!west && *at != '+') return std::nullopt;
  ++at;
  const int hours = Digits(at, 2);
  if (hours < 0 || hours > 23) return std::nullopt;
  Take(at, ':');
  const int minutes = Digits(at, 2);
  if (minutes < 0 || minutes > 59) return std::nullopt;
  const std::int64_t seconds = 3600 * hours + 60 * minutes;
  return west ? -seconds : seconds;
}

std::string HttpDateAnew(time_t when) {
  // strftime() would write names in the language of the locale.
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

}  // namespace

time_t WallClock() { return time(nullptr); }

// Hundreds of lines and answers have the time of one second.
std::string LogTime(time_t when) {
  struct Last {
    time_t when;
    long zone;
    std::string text;
  };
  thread_local Last last = {0, 0, ""};
  if (last.text.empty() || last.when != when || last.zone != timezone) {
    struct tm parts = {};
    localtime_r(&when, &parts);
    char text[64];
    last.text.assign(text, strftime(text, sizeof text, "%FT%T%z", &parts));
    last.when = when;
    last.zone = timezone;
  }
  return last.text;
}

std::string RedfishTime(time_t when) {
  std::string text = LogTime(when);
  if (text.size() > 2) text.insert(text.size() - 2, ":");
  return text;
}

std::string UtcTime(time_t when) {
  struct tm parts = {};
  gmtime_r(&when, &parts);
  char text[64];
  return std::string(text, strftime(text, sizeof text, "%FT%TZ", &parts));
}

std::optional<std::int64_t> ParseTime(const std::string& text) {
  // Reading stops at a NUL byte inside the text; the check of the text's end refuses such a text.
  const char* at = text.c_str();
  const std::optional<std::int64_t> local = LocalPart(at);
  if (!local) return std::nullopt;
  if (Take(at, '.')) {
    if (Digits(at, 1) < 0) return std::nullopt;
    at += std::strspn(at, "0123456789");
  }
  const std::optional<std::int64_t> offset = Offset(at);
  if (!offset || at != text.c_str() + text.size()) return std::nullopt;
  return *local - *offset;
}

std::string HttpDate(time_t when) {
  thread_local std::pair<time_t, std::string> last;
  if (last.second.empty() || last.first != when) last = {when, HttpDateAnew(when)};
  return last.second;
}

}  // namespace cloudservice
