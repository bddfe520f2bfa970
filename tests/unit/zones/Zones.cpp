// SPDX-License-Identifier: Apache-2.0
#include "zones/Zones.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <set>

namespace zones {
namespace {

namespace fs = std::filesystem;

const char kFolder[] = "/usr/share/zoneinfo";
constexpr time_t kLastDate = 24837 * kDay;  // 2038-01-01

// Without a change of the offset, one block of dates of so many stands for the others.
constexpr time_t kBlock = 4 * kDay;
constexpr int kQuietBlocks = 7;

time_t Offset(time_t when) { return Shown(when) - when; }

}  // namespace

std::vector<std::string> All() {
  std::map<std::string, std::string> names;  // by content
  for (const auto& file : fs::recursive_directory_iterator(kFolder)) {
    const std::string name = fs::relative(file.path(), kFolder).string();
    if (!file.is_regular_file() || name.rfind("right/", 0) == 0) continue;
    std::ifstream stream(file.path(), std::ios::binary);
    const std::string content{std::istreambuf_iterator<char>(stream), {}};
    if (content.rfind("TZif", 0) == 0) names.emplace(content, name);
  }
  std::vector<std::string> zones;
  for (const auto& entry : names) zones.push_back(entry.second);
  return zones;
}

std::vector<std::string> Part(size_t part) {
  const std::vector<std::string> all = All();
  std::vector<std::string> zones;
  for (size_t i = part; i < all.size(); i += kParts) zones.push_back(all[i]);
  return zones;
}

void Use(const std::string& zone) {
  setenv("TZ", zone.c_str(), 1);
  tzset();
}

time_t Shown(time_t when) {
  struct tm local = {};
  localtime_r(&when, &local);
  return timegm(&local);
}

time_t FirstOf(time_t date) {
  std::set<time_t> offsets;
  for (time_t when = date - 2 * kDay; when <= date + 2 * kDay; when += 4 * kHour) {
    offsets.insert(Offset(when));
  }
  for (auto offset = offsets.rbegin(); offset != offsets.rend(); ++offset) {
    if (Shown(date - *offset) == date) return date - *offset;
  }
  return 0;
}

void VisitDates(const std::function<void(time_t date)>& changing,
                const std::function<void(time_t date, time_t offset)>& quiet) {
  for (time_t first = kDay + 1; first < kLastDate; first += kBlock) {
    const time_t offset = Offset(first - kDay);
    if (offset == Offset(first + kBlock + kDay)) {
      if (first / kBlock % kQuietBlocks == 0) quiet(first, offset);
      continue;
    }
    for (time_t date = first; date < first + kBlock; date += kDay) {
      const time_t begin = date - offset;
      if (Offset(begin - 2 * kHour) != Offset(begin + 26 * kHour)) changing(date);
    }
  }
}

void ConvertAnotherDate(time_t when) {
  static bool before = false;
  before = !before;
  const time_t elsewhere = when + (before ? -120 : 120) * kDay;
  struct tm other = {};
  localtime_r(&elsewhere, &other);
  other.tm_isdst = -1;
  mktime(&other);
}

std::string DateText(time_t date) {
  struct tm parts = {};
  gmtime_r(&date, &parts);
  char text[20];
  return {text, strftime(text, sizeof text, "%F", &parts)};
}

}  // namespace zones
