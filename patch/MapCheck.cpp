// SPDX-License-Identifier: Apache-2.0
// What in a patch map will not work: the map against itself, its pages and the device.
#include "patch/MapCheck.h"

#include <map>
#include <set>

#include "base/JsonText.h"
#include "patch/MapPointCheck.h"
#include "patch/SevenDays.h"

namespace cloudclient {

namespace {

const char kDigits[] = "0123456789";

// Calls `take` with each entry of the map's groups, and whether it is a resource.
template <typename Take>
void ForEachEntry(json_t* root, const Take& take) {
  const char* group = nullptr;
  json_t* entries = nullptr;
  json_object_foreach(root, group, entries) {
    size_t index = 0;
    const json_t* entry = nullptr;
    json_array_foreach(entries, index, entry) {
      take(std::string(group), entry, std::string(group) == kResourceUrls);
    }
  }
}

std::string PointOf(const json_t* entry) {
  return "point " + std::to_string(json_integer_value(json_object_get(entry, "id"))) + ": ";
}

// What the loader passes over without a word.
void CheckShapes(json_t* root, Findings& findings) {
  const char* group = nullptr;
  json_t* entries = nullptr;
  json_object_foreach(root, group, entries) {
    if (!json_is_array(entries)) findings.push_back(Quoted(group) + " is not an array");
  }
  ForEachEntry(root, [&](const std::string& /*group*/, const json_t* entry, bool isResource) {
    const json_t* const event = json_object_get(entry, "event");
    if (isResource || event == nullptr) return;
    if (!JsonMemberText(event, "msgid").empty()) return;
    findings.push_back(PointOf(entry) + "its event has no \"msgid\": it is ignored");
  });
}

// A flag that the loader takes for false, because it is neither true nor false.
void CheckFlag(const std::string& where, const json_t* object, const char* flag,
               Findings& findings) {
  const json_t* const value = json_object_get(object, flag);
  if (value == nullptr || json_is_boolean(value)) return;
  findings.push_back(where + Quoted(flag) + " is neither true nor false: it counts as false");
}

void CheckKnown(const std::string& where, const json_t* object,
                const std::vector<std::string>& known, const MapSurroundings& surroundings,
                Findings& findings) {
  for (const std::string& key : surroundings.UnknownKeys(object, known)) {
    findings.push_back(where + "unknown key " + key);
  }
}

void CheckResourceKeys(const json_t* resource, const MapSurroundings& surroundings,
                       Findings& findings) {
  const std::string where = "resource " + Quoted(JsonMemberText(resource, "name")) + ": ";
  CheckKnown(where, resource,
             {"name", "url", "resourcePatch", "resourceTag", "7dayAccum", "tempUomCelsius"},
             surroundings, findings);
  for (const char* flag : {"7dayAccum", "tempUomCelsius"}) {
    CheckFlag(where, resource, flag, findings);
  }
}

void CheckPointKeys(const json_t* point, const MapSurroundings& surroundings, Findings& findings) {
  const std::string where = PointOf(point);
  CheckKnown(where, point,
             {"id", "patch", "pld", "pldQueryArgs", "7dayTempAccum", "7dayHumAccum", "event"},
             surroundings, findings);
  for (const char* flag : {"7dayTempAccum", "7dayHumAccum"}) {
    CheckFlag(where, point, flag, findings);
  }
  CheckKnown(where + "its event: ", json_object_get(point, "event"),
             {"msgid", "message", "severity", "numargs", "arg1", "arg1Type", "arg2", "arg2Type"},
             surroundings, findings);
}

// What the loader drops without a word: the second and later entries of a key.
void CheckDuplicates(json_t* root, Findings& findings) {
  std::set<std::string> resources;
  std::map<int32_t, std::string> points;
  ForEachEntry(root, [&](const std::string& group, const json_t* entry, bool isResource) {
    if (isResource) {
      const std::string name = JsonMemberText(entry, "name");
      if (resources.insert(name).second) return;
      findings.push_back("resource " + Quoted(name) + ": there is an earlier one of that name");
      return;
    }
    const json_t* const id = json_object_get(entry, "id");
    if (!json_is_integer(id)) return;
    const auto number = static_cast<int32_t>(json_integer_value(id));
    const auto [first, isNew] = points.emplace(number, group);
    if (isNew) return;
    findings.push_back("point " + std::to_string(number) + " of " + Quoted(group) +
                       ": it is listed already in " + Quoted(first->second));
  });
}

// Whether a document ends in a temperature tag: the daemon's loop over the tags would not end.
bool EndsInTemperatureTag(const std::string& page) {
  const size_t last = page.rfind(kTemperatureTag);
  return last != std::string::npos &&
         page.find_first_not_of(kDigits, last + sizeof(kTemperatureTag) - 1) == std::string::npos;
}

// The words of a page that the daemon replaces only with a flag of the resource.
void CheckPageWords(const std::string& where, const std::string& page,
                    const ResourceUrlEntry& resource, Findings& findings) {
  if (resource.tempUomCelsius && EndsInTemperatureTag(page)) {
    findings.push_back(where +
                       "it ends in a temperature tag: the daemon would never come back from it");
  }
  if (!resource.tempUomCelsius && page.find(kTemperatureTag) != std::string::npos) {
    findings.push_back(where +
                       "it holds a temperature tag, and the resource has no "
                       "\"tempUomCelsius\": the tag is sent as it is");
  }
  if (resource.accum7Day) return;
  for (const Quantity* quantity : kQuantities) {
    for (const std::string word : {quantity->highWord, quantity->lowWord}) {
      if (page.find(word) == std::string::npos) continue;
      findings.push_back(where + "it holds \"" + word +
                         "\", and the resource has no \"7dayAccum\": the word is sent as it is");
    }
  }
}

void CheckResource(const std::string& name, const ResourceUrlEntry& resource,
                   const MapSurroundings& surroundings, Findings& findings) {
  const std::string where = "resource " + Quoted(name) + ": ";
  if (resource.resourceTag != kChassisIdTag && resource.resourceTag != kUuidTag) {
    findings.push_back(where + "\"resourceTag\" is " + Quoted(resource.resourceTag) +
                       ", neither \"<chassisid>\" nor \"<uuid>\": nothing is put in its place");
  } else if (resource.url.find(resource.resourceTag) == std::string::npos) {
    findings.push_back(where + "\"url\" does not hold its tag " + resource.resourceTag);
  }
  if (resource.url.compare(0, 1, "/") != 0) {
    findings.push_back(where +
                       "\"url\" does not begin with a slash: it is put behind the service's "
                       "address as it is");
  }
  if (resource.resourcePatch.empty()) {
    findings.push_back(where + "\"resourcePatch\" names no page: empty documents are sent");
    return;
  }
  const std::string ofPage = where + "page " + Quoted(resource.resourcePatch);
  std::string page;
  if (!surroundings.ReadPage(resource.resourcePatch, page)) {
    findings.push_back(ofPage + " is not in " + surroundings.PageFolder() +
                       " or above: empty documents are sent");
    return;
  }
  CheckPageWords(ofPage + ": ", page, resource, findings);
  surroundings.CheckPage(ofPage + ": ", page, resource, findings);
}

}  // namespace

Findings CheckMap(const PatchMap& map, json_t* root, const MapSurroundings& surroundings) {
  Findings findings;
  CheckShapes(root, findings);
  // Keys that nobody reads, and flags that are no flags as they are written.
  ForEachEntry(root, [&](const std::string& /*group*/, const json_t* entry, bool isResource) {
    (isResource ? CheckResourceKeys : CheckPointKeys)(entry, surroundings, findings);
  });
  CheckDuplicates(root, findings);
  for (const auto& [name, resource] : map.Resources()) {
    CheckResource(name, resource, surroundings, findings);
  }
  for (const auto& [id, point] : map.Points()) {
    CheckPoint(id, point, surroundings, findings);
    const std::string& group = map.PointResources().at(id);
    if (map.Resources().count(group) != 0) continue;
    findings.push_back("point " + std::to_string(id) + ": its group " + Quoted(group) +
                       " is no resource: nothing is sent for it");
  }
  return findings;
}

}  // namespace cloudclient
