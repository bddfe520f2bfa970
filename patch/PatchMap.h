// SPDX-License-Identifier: Apache-2.0
#ifndef PATCH_PATCHMAP_H_
#define PATCH_PATCHMAP_H_

#include <jansson.h>

#include <cstdint>
#include <map>
#include <string>

namespace cloudclient {

// The group of a map file that lists the resources; all others list points.
constexpr char kResourceUrls[] = "resourceUrls";

// Markers of a resource's URL, also the values of its tag.
constexpr char kChassisIdTag[] = "<chassisid>";
constexpr char kUuidTag[] = "<uuid>";

// Begins a temperature tag of a document; the digits of a point's number follow.
constexpr char kTemperatureTag[] = "temp_uom_celsius~";

// Number of arguments of a point-value query.
constexpr int kQueryArgs = 5;

// Outcome of loading a map and of delivering a change of value.
typedef int32_t PatchResult;

// The values of PatchResult.
enum : PatchResult {
  kPatchOk = 0,
  kPatchFailed = 1,         // a point's description was bad; a document or an event was not sent
  kPatchMapUnreadable = 2,  // the map could not be read or parsed
  kPatchNoResources = 3,    // the map has no "resourceUrls"
  kPatchUnknownPoint = 4,   // the point is not in the map
  kPatchEventNotBuilt = 5,  // the event of the point could not be built
};

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
  int32_t queryArgs[kQueryArgs] = {0, 0, 0, 0, 0};
  int32_t numArgs = 0;
  bool tempAccum = false;
  bool humAccum = false;
};

// A patch map: its tables, and the loading of a map file into them. Needs neither a device engine
// nor a transport. Logs faults of the file under the unit PatchMgr, whose operations on the map
// forward to this class. Takes no lock: only loading adds entries to the tables.
class PatchMap {
 public:
  typedef std::map<std::string, ResourceUrlEntry> ResourceTable;
  typedef std::map<int32_t, std::string> PointToResourceTable;
  typedef std::map<int32_t, PointPatchEntry> PointTable;
  typedef std::map<int32_t, std::string> IdHistory;

  // Loads the file at `path` (a path of the appliance). kPatchOk; kPatchFailed when a point's
  // description was bad (the others are loaded); kPatchMapUnreadable; kPatchNoResources. The first
  // entry for a key stays, also over several loads.
  PatchResult Load(const std::string& path);
  // Takes the resources of the parsed file, which lies at `path`. kPatchOk or kPatchNoResources.
  PatchResult TakeResources(const json_t* root, const std::string& path);
  // Takes the points of the parsed file into the point tables and the id history. kPatchOk or
  // kPatchFailed.
  PatchResult TakePoints(json_t* root);
  // Fills the event fields of a point's entry from its description, and adds a point whose event
  // shows the former value to the id history.
  void TakeEvent(const json_t* element, PointPatchEntry& entry, int32_t pointId);

  // Converts the first `count` pieces of a comma-separated list into `args`. 0, or -1, with the
  // pieces before the failing one converted.
  static int32_t ConvertQueryArgs(const std::string& text, int32_t* args, int32_t count);

  const ResourceTable& Resources() const { return m_resources; }
  // The group in which each point was listed: the name of its resource.
  const PointToResourceTable& PointResources() const { return m_pointResources; }
  const PointTable& Points() const { return m_points; }
  // The last value of each point whose event shows the former one.
  const IdHistory& History() const { return m_idHistory; }
  IdHistory& History() { return m_idHistory; }

 private:
  void TakePoint(const json_t* element, const char* resourceName, PatchResult& result);

  ResourceTable m_resources;
  PointToResourceTable m_pointResources;
  PointTable m_points;
  IdHistory m_idHistory;
};

}  // namespace cloudclient

#endif  // PATCH_PATCHMAP_H_
