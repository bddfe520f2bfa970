// Seven-day accumulators of temperature and humidity.
#include "base/LocalTime.h"
#include "patch/PatchMgr.h"
#include "patch/PatchMgrUnit.h"
#include "platform/pld/LxPldProxy.h"
#include "platform/util/LxStringUtils.h"
#include "platform/util/dlog.h"

namespace cloudclient {

namespace {

constexpr time_t kSevenDays = 604800;

// Fewer records than this are all kept.
constexpr size_t kFullTable = 7;

// Takes `value` where it is lower or higher than what the day has seen.
void TakeReading(uint16_t value, const std::string& text, uint16_t& low, std::string& lowText,
                 uint16_t& high, std::string& highText) {
  if (low > value) {
    low = value;
    lowText = text;
  }
  if (high < value) {
    high = value;
    highText = text;
  }
}

// The number in `text` times `factor`, cut to 16 bits: negatives are not clamped.
// Kept: docs/kept-behaviour.md#unclamped
uint16_t Scaled(const std::string& text, uint32_t factor) {
  int32_t number = 0;
  LxStringUtils::ConvertStringToLong(text, number);
  return static_cast<uint16_t>(static_cast<uint32_t>(number) * factor);
}

}  // namespace

time_t PatchMgr::GetDayKey() { return LocalTimeToday(0, 0, 1); }

void PatchMgr::NewDayAccumulators() {
  const time_t today = GetDayKey();
  m_accumulators.emplace(today, DayAccumulator());
  const time_t cutOff = today - kSevenDays;
  for (auto day = m_accumulators.begin(); day != m_accumulators.end();) {
    // Kept: docs/kept-behaviour.md#seven-records
    if (day->first <= cutOff && m_accumulators.size() >= kFullTable) {
      day = m_accumulators.erase(day);
    } else {
      ++day;
    }
  }
}

void PatchMgr::AccumulatorUpdate(time_t dayKey, uint16_t value, const PointPatchEntry& entry,
                                 int32_t deviceId) {
  const auto found = m_accumulators.find(dayKey);
  // Kept: docs/kept-behaviour.md#lost-before-the-day
  if (found == m_accumulators.end()) {
    __dlog_printf(3, kUnit, "%s: Missing accumulator entry", "AccumulatorUpdate");
    return;
  }
  const std::string text = GetPointValue(deviceId, entry);
  if (text.empty()) {
    __dlog_printf(3, kUnit, "%s:  Unable to get value for accumulator point.", "AccumulatorUpdate");
    return;
  }
  // The text decides whether the reading counts, the notified value is what is compared.
  // Kept: docs/kept-behaviour.md#notified-number
  int16_t converted = 0;
  if (!LxStringUtils::ConvertStringToInt16(text, converted)) {
    __dlog_printf(3, kUnit, "%s:  Invalid value string '%s' for accumulator point.",
                  "AccumulatorUpdate", text.c_str());
    return;
  }
  DayAccumulator& day = found->second;
  if (entry.tempAccum) {
    TakeReading(value, text, day.lowTemp, day.lowTempText, day.highTemp, day.highTempText);
  }
  if (entry.humAccum) {
    TakeReading(value, text, day.lowHum, day.lowHumText, day.highHum, day.highHumText);
  }
}

void PatchMgr::FillSevenDayValues(std::string& document) {
  // A later day wins a tie. Without a day the texts stay empty and are written as null.
  // Kept: docs/kept-behaviour.md#starting-values
  DayAccumulator extremes = {500, 0, "", "", 1100, 0, "", ""};
  for (const auto& entry : m_accumulators) {
    const DayAccumulator& day = entry.second;
    if (day.highTemp >= extremes.highTemp) {
      extremes.highTemp = day.highTemp;
      extremes.highTempText = day.highTempText;
    }
    if (day.lowTemp <= extremes.lowTemp) {
      extremes.lowTemp = day.lowTemp;
      extremes.lowTempText = day.lowTempText;
    }
    if (day.highHum >= extremes.highHum) {
      extremes.highHum = day.highHum;
      extremes.highHumText = day.highHumText;
    }
    if (day.lowHum <= extremes.lowHum) {
      extremes.lowHum = day.lowHum;
      extremes.lowHumText = day.lowHumText;
    }
  }
  ReplaceTagWithValue(document, "7dayhightemp", extremes.highTempText, 0);
  ReplaceTagWithValue(document, "7daylowtemp", extremes.lowTempText, 0);
  ReplaceTagWithValue(document, "7dayhighhum", extremes.highHumText, 0);
  ReplaceTagWithValue(document, "7daylowhum", extremes.lowHumText, 0);
}

void PatchMgr::NewDaySyncAccumulators(int32_t deviceId, HttpsClient* client, LxPldProxy* proxy) {
  NewDaySyncTempAccumulator(deviceId, client, proxy);
  NewDaySyncHumAccumulator(deviceId, client, proxy);
}

void PatchMgr::NewDaySyncTempAccumulator(int32_t deviceId, HttpsClient* /*client*/,
                                         LxPldProxy* proxy) {
  if (!FindAccumulatorPoint(m_tempPoint, &PointPatchEntry::tempAccum)) return;
  const uint32_t factor = ScaleOf(m_tempPoint, deviceId, proxy);
  const std::string text = GetPointValue(deviceId, m_tempPoint.entry);
  if (!LxStringUtils::IsInteger(text)) {
    __dlog_printf(4, kUnit, "%s: Received invalid integer value for temperature:  %s",
                  "NewDaySyncTempAccumulator", text.c_str());
    return;
  }
  // Kept: docs/kept-behaviour.md#seed-replaces
  DayAccumulator& day = m_accumulators[GetDayKey()];
  day.lowTemp = day.highTemp = Scaled(text, factor);
  day.lowTempText = day.highTempText = text;
}

void PatchMgr::NewDaySyncHumAccumulator(int32_t deviceId, HttpsClient* /*client*/,
                                        LxPldProxy* proxy) {
  if (!FindAccumulatorPoint(m_humPoint, &PointPatchEntry::humAccum)) return;
  const uint32_t factor = ScaleOf(m_humPoint, deviceId, proxy);
  // Kept: docs/kept-behaviour.md#humidity-by-document
  const std::string text = GetPointValuePld(deviceId, m_humPoint.entry);
  if (!LxStringUtils::IsInteger(text)) {
    __dlog_printf(4, kUnit, "%s: Received invalid integer value for humidity:  %s",
                  "NewDaySyncHumAccumulator", text.c_str());
    return;
  }
  DayAccumulator& day = m_accumulators[GetDayKey()];
  day.lowHum = day.highHum = Scaled(text, factor);
  day.lowHumText = day.highHumText = text;
}

bool PatchMgr::FindAccumulatorPoint(AccumulatorPoint& point, bool PointPatchEntry::*kind) {
  for (auto entry = m_map.Points().begin(); !point.found && entry != m_map.Points().end();
       ++entry) {
    if (entry->second.*kind) point = {true, entry->first, entry->second};
  }
  return point.found;
}

// What a point's reading is multiplied by to be a reading times ten. Only its low 16 bits count: it
// is unsigned so that no factor of the engine's overflows.
uint32_t PatchMgr::ScaleOf(const AccumulatorPoint& point, int32_t deviceId, LxPldProxy* proxy) {
  int32_t factor = 1;
  const bool resolved =
      proxy != nullptr && proxy->GetResolution(factor, static_cast<uint16_t>(deviceId),
                                               static_cast<uint16_t>(point.id)) == 0;
  return static_cast<uint32_t>(factor) * (resolved ? 10 : 1);
}

}  // namespace cloudclient
