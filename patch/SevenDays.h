// SPDX-License-Identifier: Apache-2.0
#ifndef PATCH_SEVENDAYS_H_
#define PATCH_SEVENDAYS_H_

#include <cstdint>
#include <ctime>
#include <map>
#include <string>

#include "patch/PatchMap.h"

namespace cloudclient {

// The extremes of one day: as numbers, which are compared, and as texts, which are sent. A reading
// below a low replaces it; the first one has to be below the starting value.
struct DayAccumulator {
  uint16_t lowTemp = 500;
  uint16_t highTemp = 0;
  std::string lowTempText = "500";
  std::string highTempText = "0";
  uint16_t lowHum = 1100;
  uint16_t highHum = 0;
  std::string lowHumText = "1100";
  std::string highHumText = "0";
};

// A quantity whose extremes are kept: the flag of the points that measure it, the members of a
// day's record that hold its extremes, and the words of a document that these replace.
struct Quantity {
  bool PointPatchEntry::*marked;
  uint16_t DayAccumulator::*low;
  std::string DayAccumulator::*lowText;
  uint16_t DayAccumulator::*high;
  std::string DayAccumulator::*highText;
  const char* lowWord;
  const char* highWord;
};

constexpr Quantity kTemperature = {&PointPatchEntry::tempAccum,
                                   &DayAccumulator::lowTemp,
                                   &DayAccumulator::lowTempText,
                                   &DayAccumulator::highTemp,
                                   &DayAccumulator::highTempText,
                                   "7daylowtemp",
                                   "7dayhightemp"};
constexpr Quantity kHumidity = {&PointPatchEntry::humAccum,
                                &DayAccumulator::lowHum,
                                &DayAccumulator::lowHumText,
                                &DayAccumulator::highHum,
                                &DayAccumulator::highHumText,
                                "7daylowhum",
                                "7dayhighhum"};
constexpr const Quantity* kQuantities[] = {&kTemperature, &kHumidity};

// The extremes of the last seven days, one record a day. Numbers are readings times ten. Nothing is
// persisted, and no lock is taken: see PatchMgr.
class SevenDays {
 public:
  // By day key.
  typedef std::map<time_t, DayAccumulator> Table;

  // The key of today: its local date at 00:00:01, in seconds since the epoch; the first of the two
  // where the date has that time twice.
  static time_t Today();

  const Table& Records() const;
  // The record of a day, or null. It stays where it is until the day is dropped.
  DayAccumulator* Find(time_t dayKey);

  // Opens today's record and, of seven or more, drops those that are seven days old or older.
  void BeginToday();
  // Replaces the quantity's extremes in today's record by one reading. Opens the record if there is
  // none.
  void Seed(const Quantity& quantity, uint16_t value, const std::string& text);
  // Records a reading if it is lower or higher than the day's extremes so far.
  static void Take(DayAccumulator& day, const Quantity& quantity, uint16_t value,
                   const std::string& text);

  // The extremes over all days. Without a day the texts are empty.
  DayAccumulator Extremes() const;

 private:
  Table m_days;
};

}  // namespace cloudclient

#endif  // PATCH_SEVENDAYS_H_
