// SPDX-License-Identifier: Apache-2.0
#ifndef PATCH_PATCHMGR_H_
#define PATCH_PATCHMGR_H_

#include <jansson.h>

#include <cstdint>
#include <ctime>
#include <functional>
#include <string>
#include <vector>

#include "https/HttpsClient.h"
#include "https/Outbox.h"
#include "patch/PatchMap.h"
#include "patch/SevenDays.h"
#include "platform/pld/PldConstants.h"

class LxPldProxy;

namespace cloudclient {

// The reading of a change of value: the first 16 bits of its buffer, high byte first on every
// machine.
inline uint16_t ReadingOf(const char (&value)[pld::kCovValueSize]) {
  const auto high = static_cast<unsigned char>(value[0]);
  const auto low = static_cast<unsigned char>(value[1]);
  return static_cast<uint16_t>(high << 8 | low);
}

// A change of a point's value. Of `deviceId` the low 16 bits are used.
struct PointChange {
  uint32_t deviceId;
  int32_t pointId;
  uint16_t extra;
  uint16_t reading;
};

// Sends changes of value of the device's points to the service, as documents of the resources to
// which a map file assigns the points, and keeps the extremes of seven days.
//
// One object, owned by the device manager. Takes no lock: nothing guards the id history and the
// accumulators, although the poster thread, the timer's thread and the main thread use them.
// Kept: docs/kept-behaviour.md#unlocked-values
class PatchMgr {
 public:
  PatchMgr();
  virtual ~PatchMgr();
  PatchMgr(const PatchMgr&) = delete;
  PatchMgr& operator=(const PatchMgr&) = delete;

  // The proxy from which values are read; not owned. With null no value can be read.
  void SetPldProxy(LxPldProxy* proxy) { m_pldProxy = proxy; }

  // Where events of points, and each change of value where the policy wants all, wait for the
  // service; not owned. Null, and one that no policy asks for, is none.
  void SetOutbox(Outbox* outbox) { m_outbox = outbox; }

  // The map that was loaded, and the days' records.
  const PatchMap& GetMap() const { return m_map; }
  const SevenDays::Table& GetAccumulators() const { return m_days.Records(); }

  // The map file.

  // As PatchMap's Load, TakeResources, TakePoints and TakeEvent.
  PatchResult InitCovPatchMaps(const std::string& path);
  PatchResult InitResUrlMap(const json_t* root, const std::string& path);
  PatchResult InitIdToResAndPatchMaps(json_t* root, const std::string& path);
  void AddEventInfoToPatch(const json_t* element, PointPatchEntry& entry, int32_t pointId);
  // Reads the current value of every point that is in the id history, by its second argument as a
  // document name. `client` is not used.
  void InitIdHistoryValues(int32_t deviceId, HttpsClient* client);

  // Values of points, as texts.

  // As PatchMap's ConvertQueryArgs.
  int32_t ConvertPldQueryArgs(const std::string& text, int32_t* args, int32_t count);
  // By query arguments when the entry has them, else by document name. Empty after a failed query.
  std::string GetPointValue(int32_t deviceId, const PointPatchEntry& entry);
  // By document name. "0" when the document could not be had.
  std::string GetPointValuePld(int32_t deviceId, const PointPatchEntry& entry);
  // By the text of query arguments. Empty when it does not convert or the query failed.
  std::string GetPointValueQueryArgsStr(int32_t deviceId, const std::string& argsText);

  // Documents.

  // The resource's document as the engine renders it; empty on failure.
  std::string GetPatchDoc(int32_t deviceId, const ResourceUrlEntry& resource);
  // Replaces the first occurrence of each seven-day word by the kept days' extreme.
  void FillSevenDayValues(std::string& document);
  // Replaces every temperature tag by its point's value in degrees Celsius. Never ends for a
  // document that ends in a tag.
  void UpdateDocWithTempUomValues(int32_t deviceId, std::string& document);
  // Replaces the first occurrence of `tag` at or after `from` by `value`, or by "null" when that
  // is empty. An empty tag replaces nothing.
  void ReplaceTagWithValue(std::string& document, const std::string& tag, const std::string& value,
                           size_t from);
  // `patchTemplate` with its first "%1" replaced by `value` without its double quotes; empty
  // without a "%1".
  std::string PatchValueSubstitute(const std::string& patchTemplate, const std::string& value);

  // Delivery.

  // Delivers one change of value. kPatchOk; kPatchFailed: the document could not be sent, the
  // event's URL or UUID is missing, or the point's group has no resource; kPatchUnknownPoint;
  // kPatchEventNotBuilt. Of `deviceId` the low 16 bits are used; of `value` the first two bytes are
  // read, high byte first.
  PatchResult ProcessCOV(uint32_t deviceId, int32_t pointId, uint16_t extra,
                         const char (&value)[pld::kCovValueSize], HttpsClient* client,
                         const std::string& chassisId, const std::string& uuid,
                         const std::string& label);
  // Delivers the newest changes of several points, one PATCH a resource: takes every reading, then
  // sends each resource, in ascending order of its name, and the events of its points. As
  // ProcessCOV for the rest. Ends after the request under way when `goOn` says false.
  void ProcessNewestCOVs(const std::vector<PointChange>& changes, HttpsClient* client,
                         const std::string& chassisId, const std::string& uuid,
                         const std::string& label, const std::function<bool()>& goOn);
  // Sends every resource of the map, in ascending order of its name. Of `deviceId` the low 16 bits
  // are used.
  void SendAllResourcesToCloud(uint32_t deviceId, const std::string& chassisId,
                               const std::string& uuid, HttpsClient* client);
  // One PATCH of a resource, `idValue` in place of its tag. kPatchOk or kPatchFailed.
  PatchResult SendResourceToCloud(HttpsClient* client, const ResourceUrlEntry& resource,
                                  const std::string& idValue, const std::string& document);
  // One PATCH of a bare URL, `chassisId` in place of "<chassisid>". kPatchOk or kPatchFailed.
  PatchResult SendPatchToCloud(HttpsClient* client, const std::string& url,
                               const std::string& chassisId, const std::string& document);
  // Posts the event of a point. kPatchOk, also when the service refused it or its document came out
  // as no text; kPatchFailed without URL or UUID; kPatchEventNotBuilt.
  PatchResult SendEventForPoint(uint32_t deviceId, int32_t pointId, uint16_t extra,
                                const PointPatchEntry& entry, HttpsClient* client,
                                const std::string& chassisId, const std::string& label);
  // Text of the event's message; the values of its arguments in `arg1Out` and `arg2Out`, which keep
  // what they held where the entry has no such argument.
  std::string BuildEventMessage(uint32_t deviceId, int32_t pointId, const PointPatchEntry& entry,
                                std::string& arg1Out, std::string& arg2Out);

  // Seven-day accumulators.

  // As SevenDays' Today and BeginToday.
  time_t GetDayKey();
  void NewDayAccumulators();
  // Takes a reading into the record of a day. `value` is the reading times ten.
  void AccumulatorUpdate(time_t dayKey, uint16_t value, const PointPatchEntry& entry,
                         int32_t deviceId);
  // Seed today's record from the current readings; `client` is not used.
  void NewDaySyncAccumulators(int32_t deviceId, HttpsClient* client, LxPldProxy* proxy);
  void NewDaySyncTempAccumulator(int32_t deviceId, HttpsClient* client, LxPldProxy* proxy);
  void NewDaySyncHumAccumulator(int32_t deviceId, HttpsClient* client, LxPldProxy* proxy);

 private:
  // The point of which a quantity's days are seeded. It is looked for until it is found, then kept.
  struct AccumulatorPoint {
    bool found = false;
    int32_t id = 0;
    PointPatchEntry entry;
  };

  std::string DocumentValue(int32_t deviceId, const std::string& name);
  int QueryPoint(std::string& text, int32_t deviceId, const int32_t (&args)[kQueryArgs]);
  std::string SecondArgument(uint32_t deviceId, int32_t pointId, const PointPatchEntry& entry,
                             const std::string& first, std::string& arg2Out);
  PatchResult TakeReading(const PointChange& change, std::string& resourceName,
                          ResourceUrlEntry& resource);
  PatchResult SendEventOfChange(const PointChange& change, HttpsClient* client,
                                const std::string& chassisId, const std::string& label);
  PatchResult SendResource(uint16_t device, const ResourceUrlEntry& resource, HttpsClient* client,
                           const std::string& chassisId, const std::string& uuid);
  PatchResult SendChange(uint16_t device, const ResourceUrlEntry& resource, HttpsClient* client,
                         const std::string& chassisId, const std::string& uuid);
  std::string OriginOfPoint(int32_t pointId, const std::string& chassisId);
  PatchResult PostPointEvent(const std::string& document, const std::string& chassisId,
                             HttpsClient* client);
  std::string RenderResource(uint16_t device, const ResourceUrlEntry& resource);
  bool FindAccumulatorPoint(AccumulatorPoint& point, const Quantity& quantity);
  uint32_t ScaleOf(const AccumulatorPoint& point, int32_t deviceId, LxPldProxy* proxy);

  LxPldProxy* m_pldProxy = nullptr;
  Outbox* m_outbox = nullptr;
  PatchMap m_map;
  SevenDays m_days;
  AccumulatorPoint m_tempPoint;
  AccumulatorPoint m_humPoint;
};

}  // namespace cloudclient

#endif  // PATCH_PATCHMGR_H_
