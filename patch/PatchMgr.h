#ifndef PATCH_PATCHMGR_H_
#define PATCH_PATCHMGR_H_

#include <jansson.h>

#include <cstdint>
#include <map>
#include <string>

#include "https/HttpsClient.h"

class LxPldProxy;

namespace cloudclient {

// One resource of the service that can be patched: an element of the map file's "resourceUrls".
struct ResourceUrlEntry {
  std::string url;              // path at the service, with `resourceTag` in it
  std::string resourcePatch;    // page that renders the resource's document
  std::string resourceTag;      // marker in `url`: "<chassisid>" or "<uuid>"
  bool accum7Day = false;       // the document carries the seven-day words
  bool tempUomCelsius = false;  // the document carries temperature tags
};

// One point of the map file.
struct PointPatchEntry {
  std::string pld;           // document name of the value
  std::string pldQueryArgs;  // text of the query arguments, empty when they did not convert
  std::string patch;         // template of the point's own document, with "%1"
  std::string msgid;         // event of the point; empty: it has none
  std::string message;
  std::string severity;
  std::string arg1;
  std::string arg1Type;
  std::string arg2;
  std::string arg2Type;
  int32_t queryArgs[5] = {0, 0, 0, 0, 0};
  int32_t numArgs = 0;
  bool tempAccum = false;
  bool humAccum = false;
};

// Size of the value buffer of a change of value.
constexpr size_t kCovValueSize = 256;

// Turns changes of value of device points into documents for the service, as a map file tells.
//
// One object, owned by the device manager. It takes no lock: the map's tables do not change after
// loading, the id history and the accumulators are deliberately unguarded.
class PatchMgr {
 public:
  PatchMgr();
  virtual ~PatchMgr();
  PatchMgr(const PatchMgr&) = delete;
  PatchMgr& operator=(const PatchMgr&) = delete;

  // The proxy that values are read from; not owned, may be null.
  void SetPldProxy(LxPldProxy* proxy) { m_pldProxy = proxy; }

  // Loads the map file at `path` (a path of the appliance). 0; 1 when a point description was bad
  // (the others are loaded); 2 when the file could not be read or parsed; 3 without
  // "resourceUrls". The first entry for a key stays.
  int32_t InitCovPatchMaps(const std::string& path);

  // Reads the current value of every point that is in the id history.
  void InitIdHistoryValues(int32_t deviceId, HttpsClient* client);

  // Delivers one change of value. 0; 1 the document could not be sent, or the event's URL is
  // missing; 4 the point is not in the map; 5 the event could not be built. Of `value` the first
  // two bytes are read, high byte first.
  int32_t ProcessCOV(uint32_t deviceId, int32_t pointId, uint16_t extra,
                     const char (&value)[kCovValueSize], HttpsClient* client,
                     const std::string& chassisId, const std::string& uuid,
                     const std::string& label);

  // Sends every resource of the map, in ascending order of its name.
  void SendAllResourcesToCloud(uint32_t deviceId, const std::string& chassisId,
                               const std::string& uuid, HttpsClient* client);

  // Edits of a rendered document, in place: the first occurrence of each seven-day word, and every
  // temperature tag.
  void FillSevenDayValues(std::string& document);
  void UpdateDocWithTempUomValues(int32_t deviceId, std::string& document);

  // The day's turn, and the readings that seed a day. `client` is not used.
  void NewDayAccumulators();
  void NewDaySyncAccumulators(int32_t deviceId, HttpsClient* client, LxPldProxy* proxy);
  void NewDaySyncTempAccumulator(int32_t deviceId, HttpsClient* client, LxPldProxy* proxy);
  void NewDaySyncHumAccumulator(int32_t deviceId, HttpsClient* client, LxPldProxy* proxy);

 private:
  LxPldProxy* m_pldProxy;
};

}  // namespace cloudclient

#endif  // PATCH_PATCHMGR_H_
