// SPDX-License-Identifier: Apache-2.0
// Readings of temperature and humidity for the seven days, and the seven-day words of a document.
#include "patch/PatchMgr.h"
#include "patch/PatchMgrUnit.h"
#include "platform/pld/LxPldProxy.h"
#include "platform/util/LxStringUtils.h"
#include "platform/util/dlog.h"

namespace cloudclient {

namespace {

// The number in `text` times `factor`, cut to 16 bits: negatives are not clamped.
// Kept: docs/kept-behaviour.md#unclamped
uint16_t Scaled(const std::string& text, uint32_t factor) {
  int32_t number = 0;
  LxStringUtils::ConvertStringToLong(text, number);
  return static_cast<uint16_t>(static_cast<uint32_t>(number) * factor);
}

}  // namespace

time_t PatchMgr::GetDayKey() { return SevenDays::Today(); }

void PatchMgr::NewDayAccumulators() { m_days.BeginToday(); }

void PatchMgr::AccumulatorUpdate(time_t dayKey, uint16_t value, const PointPatchEntry& entry,
                                 int32_t deviceId) {
  DayAccumulator* const day = m_days.Find(dayKey);
  // Kept: docs/kept-behaviour.md#lost-before-the-day
  if (day == nullptr) {
    __dlog_printf(3, kUnit, "%s: Missing accumulator entry", "AccumulatorUpdate");
    return;
  }
  const std::string text = GetPointValue(deviceId, entry);
  if (text.empty()) {
    __dlog_printf(3, kUnit, "%s:  Unable to get value for accumulator point.", "AccumulatorUpdate");
    return;
  }
  // The text decides whether the reading counts; the notified value is compared.
  // Kept: docs/kept-behaviour.md#notified-number
  int16_t converted = 0;
  if (!LxStringUtils::ConvertStringToInt16(text, converted)) {
    __dlog_printf(3, kUnit, "%s:  Invalid value string '%s' for accumulator point.",
                  "AccumulatorUpdate", text.c_str());
    return;
  }
  for (const Quantity* quantity : kQuantities) {
    if (entry.*quantity->marked) SevenDays::Take(*day, *quantity, value, text);
  }
}

void PatchMgr::FillSevenDayValues(std::string& document) {
  const DayAccumulator extremes = m_days.Extremes();
  for (const Quantity* quantity : kQuantities) {
    ReplaceTagWithValue(document, quantity->highWord, extremes.*quantity->highText, 0);
    ReplaceTagWithValue(document, quantity->lowWord, extremes.*quantity->lowText, 0);
  }
}

void PatchMgr::NewDaySyncAccumulators(int32_t deviceId, HttpsClient* client, LxPldProxy* proxy) {
  NewDaySyncTempAccumulator(deviceId, client, proxy);
  NewDaySyncHumAccumulator(deviceId, client, proxy);
}

void PatchMgr::NewDaySyncTempAccumulator(int32_t deviceId, HttpsClient* /*client*/,
                                         LxPldProxy* proxy) {
  if (!FindAccumulatorPoint(m_tempPoint, kTemperature)) return;
  const uint32_t factor = ScaleOf(m_tempPoint, deviceId, proxy);
  const std::string text = GetPointValue(deviceId, m_tempPoint.entry);
  if (!LxStringUtils::IsInteger(text)) {
    __dlog_printf(4, kUnit, "%s: Received invalid integer value for temperature:  %s",
                  "NewDaySyncTempAccumulator", text.c_str());
    return;
  }
  m_days.Seed(kTemperature, Scaled(text, factor), text);
}

void PatchMgr::NewDaySyncHumAccumulator(int32_t deviceId, HttpsClient* /*client*/,
                                        LxPldProxy* proxy) {
  if (!FindAccumulatorPoint(m_humPoint, kHumidity)) return;
  const uint32_t factor = ScaleOf(m_humPoint, deviceId, proxy);
  // Kept: docs/kept-behaviour.md#humidity-by-document
  const std::string text = GetPointValuePld(deviceId, m_humPoint.entry);
  if (!LxStringUtils::IsInteger(text)) {
    __dlog_printf(4, kUnit, "%s: Received invalid integer value for humidity:  %s",
                  "NewDaySyncHumAccumulator", text.c_str());
    return;
  }
  m_days.Seed(kHumidity, Scaled(text, factor), text);
}

bool PatchMgr::FindAccumulatorPoint(AccumulatorPoint& point, const Quantity& quantity) {
  for (auto entry = m_map.Points().begin(); !point.found && entry != m_map.Points().end();
       ++entry) {
    if (entry->second.*quantity.marked) point = {true, entry->first, entry->second};
  }
  return point.found;
}

// The factor that makes a point's value a reading times ten. Only the low 16 bits of the product
// count: the factor is unsigned so that no value of the engine's overflows.
uint32_t PatchMgr::ScaleOf(const AccumulatorPoint& point, int32_t deviceId, LxPldProxy* proxy) {
  int32_t factor = 1;
  const bool resolved =
      proxy != nullptr && proxy->GetResolution(factor, static_cast<uint16_t>(deviceId),
                                               static_cast<uint16_t>(point.id)) == 0;
  return static_cast<uint32_t>(factor) * (resolved ? 10 : 1);
}

}  // namespace cloudclient
