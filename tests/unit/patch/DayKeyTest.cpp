// SPDX-License-Identifier: Apache-2.0
// One key for each local date, in every zone of the machine's database.
#include <set>

#include "PatchTest.h"
#include "zones/Zones.h"

namespace patch_test {
namespace {

using zones::kDay;
using zones::kHour;

class DayKeyTest : public PatchTest {
 protected:
  time_t KeyAt(time_t when) {
    zones::ConvertAnotherDate(when);
    platform().clock.now = when;
    return patch.GetDayKey();
  }

  // The keys that are met during a date, each hour and in its first and its last second.
  std::set<time_t> KeysOf(time_t date) {
    const time_t day = date / kDay;
    const auto isInDate = [day](time_t when) { return zones::Shown(when) / kDay == day; };
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

  void CheckDate(time_t date) {
    const std::set<time_t> keys = KeysOf(date);
    if (keys.empty()) return;  // the zone has no such date
    EXPECT_THAT(keys, testing::SizeIs(1)) << zones::DateText(date);
    const time_t first = zones::FirstOf(date);
    if (first != 0) {
      EXPECT_THAT(keys, testing::Contains(first)) << zones::DateText(date);
    }
    ++m_checked;
  }

  void CheckZone(const std::string& zone) {
    SCOPED_TRACE(zone);
    zones::Use(zone);
    zones::VisitDates([this](time_t date) { CheckDate(date); },
                      [this](time_t date, time_t offset) {
                        EXPECT_EQ(KeyAt(date - offset + kDay / 2), date - offset)
                            << zones::DateText(date);
                      });
  }

  int m_checked = 0;
};

class DayKeysTest : public DayKeyTest, public testing::WithParamInterface<size_t> {};

TEST_P(DayKeysTest, Are_one_for_each_date_of_every_zone) {
  for (const std::string& zone : zones::Part(GetParam())) CheckZone(zone);
  EXPECT_GT(m_checked, 5000);
}

INSTANTIATE_TEST_SUITE_P(Part, DayKeysTest, testing::Range(size_t{0}, zones::kParts),
                         [](const auto& instance) {
                           return std::string(zones::kPartNames[instance.param]);
                         });

TEST_F(DayKeyTest, Is_the_first_where_a_date_has_it_twice) {
  zones::Use("America/Havana");
  const time_t november1 = 1793505601;  // 2026-11-01T00:00:01-0400, and an hour later once more
  for (const time_t when : {november1, november1 + kHour, november1 + 20 * kHour}) {
    EXPECT_EQ(KeyAt(when), november1) << when;
    EXPECT_EQ(KeyAt(when), november1) << when;
  }
  zones::Use("Atlantic/Azores");
  const time_t october25 = 1792886401;  // 2026-10-25T00:00:01+0000, and an hour later once more
  for (const time_t when : {october25, october25 + kHour, october25 + 20 * kHour}) {
    EXPECT_EQ(KeyAt(when), october25) << when;
    EXPECT_EQ(KeyAt(when), october25) << when;
  }
}

TEST_F(DayKeyTest, Is_after_the_gap_where_a_date_lacks_it) {
  zones::Use("America/Havana");
  const time_t march8 = 1772946001;  // 2026-03-08T01:00:01-0400, an hour after 2026-03-07T23:00:01
  for (const time_t when : {march8, march8 + 20 * kHour}) {
    EXPECT_EQ(KeyAt(when), march8) << when;
    EXPECT_EQ(KeyAt(when), march8) << when;
  }
}

}  // namespace
}  // namespace patch_test
