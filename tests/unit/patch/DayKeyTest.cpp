// One key for each local date, in every zone of the machine's database.
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <set>

#include "PatchTest.h"

namespace patch_test {
namespace {

namespace fs = std::filesystem;

constexpr time_t kHour = 3600;
constexpr time_t kDay = 86400;
constexpr time_t kLastDate = 24837 * kDay;  // 2038-01-01
constexpr int kQuietBlocks = 7;

// The zones are shared out among so many cases.
constexpr size_t kCases = 4;

const char kZones[] = "/usr/share/zoneinfo";

// The zones of the database that differ, in the order of their names. Those that count leap seconds
// are left out: the system's clock has none.
std::set<std::string> Zones() {
  std::map<std::string, std::string> names;  // by content
  for (const auto& file : fs::recursive_directory_iterator(kZones)) {
    const std::string name = fs::relative(file.path(), kZones).string();
    if (!file.is_regular_file() || name.rfind("right/", 0) == 0) continue;
    std::ifstream stream(file.path(), std::ios::binary);
    const std::string content{std::istreambuf_iterator<char>(stream), {}};
    if (content.rfind("TZif", 0) == 0) names.emplace(content, name);
  }
  std::set<std::string> zones;
  for (const auto& entry : names) zones.insert(entry.second);
  return zones;
}

// What the zone's clock shows at `when`, as if it were UTC.
time_t Shown(time_t when) {
  struct tm local = {};
  localtime_r(&when, &local);
  return timegm(&local);
}

// By how many seconds the zone's clock is ahead of UTC at `when`.
time_t Offset(time_t when) { return Shown(when) - when; }

// A date, of which a time is given as if it were UTC.
std::string DateText(time_t date) {
  struct tm parts = {};
  gmtime_r(&date, &parts);
  char text[20];
  return {text, strftime(text, sizeof text, "%F", &parts)};
}

class DayKey : public PatchTest {
 protected:
  // The key at `when`, after another date was converted: what that leaves in the C library must not
  // matter.
  time_t KeyAt(time_t when) {
    struct tm other = {};
    const time_t elsewhere = when + (++m_conversions % 2 == 0 ? -120 : 120) * kDay;
    localtime_r(&elsewhere, &other);
    other.tm_isdst = -1;
    mktime(&other);
    platform().clock.now = when;
    return patch.GetDayKey();
  }

  // The keys that are met during a date, each hour and in its first and its last second.
  std::set<time_t> KeysOf(time_t date) {
    const time_t day = date / kDay;
    const auto isInDate = [day](time_t when) { return Shown(when) / kDay == day; };
    const auto isOutside = [&](time_t when) { return !isInDate(when); };
    std::set<time_t> keys;
    bool before = false;
    for (time_t when = date - 16 * kHour; when <= date + 41 * kHour; when += kHour) {
      const bool now = isInDate(when);
      if (now) keys.insert(KeyAt(when));
      if (now && !before) keys.insert(KeyAt(FirstSecond(when - kHour, when, isInDate)));
      if (!now && before) keys.insert(KeyAt(FirstSecond(when - kHour, when, isOutside) - 1));
      before = now;
    }
    return keys;
  }

  // The first second after `from` of which `holds` is true, which it is of `to`.
  template <typename Predicate>
  static time_t FirstSecond(time_t from, time_t to, const Predicate& holds) {
    while (to - from > 1) {
      const time_t middle = from + (to - from) / 2;
      (holds(middle) ? to : from) = middle;
    }
    return to;
  }

  // When the zone's clock shows the date's 00:00:01 first; 0 when it never does.
  static time_t FirstOf(time_t date) {
    std::set<time_t> offsets;
    for (time_t when = date - 2 * kDay; when <= date + 2 * kDay; when += 4 * kHour) {
      offsets.insert(Offset(when));
    }
    for (auto offset = offsets.rbegin(); offset != offsets.rend(); ++offset) {
      if (Shown(date - *offset) == date) return date - *offset;
    }
    return 0;
  }

  void CheckDate(const std::string& zone, time_t date) {
    const std::set<time_t> keys = KeysOf(date);
    if (keys.empty()) return;  // the zone has no such date
    const time_t first = FirstOf(date);
    EXPECT_THAT(keys, testing::SizeIs(1)) << zone << " " << DateText(date);
    if (first != 0) {
      EXPECT_THAT(keys, testing::Contains(first)) << zone << " " << DateText(date);
    }
    ++m_checked;
  }

  // The dates of four days, all of which are alike unless the offset changes: then one block of
  // them in a while stands for the others.
  void CheckBlock(const std::string& zone, time_t first) {
    const time_t offset = Offset(first - kDay);
    if (offset != Offset(first + 5 * kDay)) {
      for (time_t date = first; date < first + 4 * kDay; date += kDay) {
        const time_t midnight = date - offset;
        if (Offset(midnight - 2 * kHour) != Offset(midnight + 26 * kHour)) CheckDate(zone, date);
      }
    } else if (first / (4 * kDay) % kQuietBlocks == 0) {
      EXPECT_EQ(KeyAt(first - offset + 12 * kHour), first - offset) << zone << DateText(first);
    }
  }

  void CheckZone(const std::string& zone) {
    fakes::SetTimeZone(zone.c_str());
    for (time_t date = kDay + 1; date < kLastDate; date += 4 * kDay) CheckBlock(zone, date);
  }

  int m_checked = 0;

 private:
  int m_conversions = 0;
};

class DayKeys : public DayKey, public testing::WithParamInterface<size_t> {};

TEST_P(DayKeys, Are_one_for_each_date_of_every_zone) {
  const std::set<std::string> zones = Zones();
  EXPECT_GT(zones.size(), 300u);
  size_t number = 0;
  for (const std::string& zone : zones) {
    if (number++ % kCases == GetParam()) CheckZone(zone);
  }
  EXPECT_GT(m_checked, 5000);
}

INSTANTIATE_TEST_SUITE_P(Part, DayKeys, testing::Range(size_t{0}, kCases));

TEST_F(DayKey, Is_the_first_where_a_date_has_it_twice) {
  fakes::SetTimeZone("America/Havana");
  const time_t november1 = 1793505601;  // 2026-11-01T00:00:01-0400, and an hour later once more
  for (const time_t when : {november1, november1 + kHour, november1 + 20 * kHour}) {
    EXPECT_EQ(KeyAt(when), november1) << when;
    EXPECT_EQ(KeyAt(when), november1) << when;
  }
  fakes::SetTimeZone("Atlantic/Azores");
  const time_t october25 = 1792886401;  // 2026-10-25T00:00:01+0000, and an hour later once more
  for (const time_t when : {october25, october25 + kHour, october25 + 20 * kHour}) {
    EXPECT_EQ(KeyAt(when), october25) << when;
    EXPECT_EQ(KeyAt(when), october25) << when;
  }
}

TEST_F(DayKey, Is_after_the_gap_where_a_date_lacks_it) {
  fakes::SetTimeZone("America/Havana");
  const time_t march8 = 1772946001;  // 2026-03-08T01:00:01-0400, an hour after 2026-03-07T23:00:01
  for (const time_t when : {march8, march8 + 20 * kHour}) {
    EXPECT_EQ(KeyAt(when), march8) << when;
    EXPECT_EQ(KeyAt(when), march8) << when;
  }
}

}  // namespace
}  // namespace patch_test
