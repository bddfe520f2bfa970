// SPDX-License-Identifier: Apache-2.0
// map check: the map against itself, its pages and the device.
#include "ctl/MapCheck.h"

#include <map>
#include <optional>
#include <set>

#include "ctl/PageCheck.h"
#include "ctl/PointCheck.h"
#include "host/device/DeviceEngine.h"
#include "host/util/Files.h"
#include "host/util/UnknownKeys.h"

namespace ctl {

namespace {

using cloudclient::PatchMap;
using cloudclient::ResourceUrlEntry;

constexpr size_t kLargestPage = 16 * 1024 * 1024;

// Reads a page of that folder, or of the nearest one above that has it. False when none has.
bool ReadPage(std::string folder, const std::string& page, std::string& text) {
  for (;;) {
    if (host::ReadFile(folder + "/" + page, kLargestPage, text) == 0) return true;
    if (folder.empty()) return false;
    folder.erase(folder.rfind('/'));
  }
}

void CheckResource(const std::string& name, const ResourceUrlEntry& resource,
                   const std::string& pages, const host::DeviceModel* device, Findings& findings) {
  const std::string where = "resource " + Quoted(name) + ": ";
  if (resource.resourceTag != cloudclient::kChassisIdTag &&
      resource.resourceTag != cloudclient::kUuidTag) {
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
  std::string document;
  if (resource.resourcePatch.empty()) {
    findings.push_back(where + "\"resourcePatch\" names no page: empty documents are sent");
  } else if (!ReadPage(pages, resource.resourcePatch, document)) {
    findings.push_back(where + "page " + Quoted(resource.resourcePatch) + " is not in " + pages +
                       " or above: empty documents are sent");
  } else {
    CheckPage(where + "page " + Quoted(resource.resourcePatch) + ": ", document, resource, device,
              findings);
  }
}

// Calls `take` with each entry of the map's groups, and whether it is a resource.
template <typename Take>
void ForEachEntry(json_t* root, const Take& take) {
  const char* group = nullptr;
  json_t* entries = nullptr;
  json_object_foreach(root, group, entries) {
    size_t index = 0;
    const json_t* entry = nullptr;
    json_array_foreach(entries, index, entry) {
      take(std::string(group), entry, std::string(group) == "resourceUrls");
    }
  }
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
    if (!host::JsonText(json_object_get(event, "msgid")).empty()) return;
    findings.push_back("point " + std::to_string(json_integer_value(json_object_get(entry, "id"))) +
                       ": its event has no \"msgid\": it is ignored");
  });
}

// A flag that the loader takes for none.
void CheckFlag(const std::string& where, const json_t* object, const char* flag,
               Findings& findings) {
  const json_t* const value = json_object_get(object, flag);
  if (value == nullptr || json_is_boolean(value)) return;
  findings.push_back(where + Quoted(flag) + " is neither true nor false: it counts as false");
}

void CheckKnown(const std::string& where, const json_t* object,
                const std::vector<std::string>& known, Findings& findings) {
  for (const std::string& key : host::UnknownKeys(object, known)) {
    findings.push_back(where + "nobody knows its key " + key);
  }
}

void CheckResourceKeys(const json_t* resource, Findings& findings) {
  const std::string where =
      "resource " + Quoted(host::JsonText(json_object_get(resource, "name"))) + ": ";
  CheckKnown(where, resource,
             {"name", "url", "resourcePatch", "resourceTag", "7dayAccum", "tempUomCelsius"},
             findings);
  for (const char* flag : {"7dayAccum", "tempUomCelsius"}) {
    CheckFlag(where, resource, flag, findings);
  }
}

void CheckPointKeys(const json_t* point, Findings& findings) {
  const std::string where =
      "point " + std::to_string(json_integer_value(json_object_get(point, "id"))) + ": ";
  CheckKnown(where, point,
             {"id", "patch", "pld", "pldQueryArgs", "7dayTempAccum", "7dayHumAccum", "event"},
             findings);
  for (const char* flag : {"7dayTempAccum", "7dayHumAccum"}) {
    CheckFlag(where, point, flag, findings);
  }
  CheckKnown(where + "its event: ", json_object_get(point, "event"),
             {"msgid", "message", "severity", "numargs", "arg1", "arg1Type", "arg2", "arg2Type"},
             findings);
}

// What the loader drops without a word: the second and later entries of a key.
void CheckDuplicates(json_t* root, Findings& findings) {
  std::set<std::string> resources;
  std::map<int32_t, std::string> points;
  ForEachEntry(root, [&](const std::string& group, const json_t* entry, bool isResource) {
    if (isResource) {
      const std::string name = host::JsonText(json_object_get(entry, "name"));
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

}  // namespace

Findings CheckMap(const PatchMap& map, json_t* root, const std::string& pages,
                  const host::DeviceModel* device) {
  Findings findings;
  CheckShapes(root, findings);
  // Keys without a meaning, and with a meaning that they don't have as they are written.
  ForEachEntry(root, [&](const std::string& /*group*/, const json_t* entry, bool isResource) {
    (isResource ? CheckResourceKeys : CheckPointKeys)(entry, findings);
  });
  CheckDuplicates(root, findings);
  for (const auto& [name, resource] : map.Resources()) {
    CheckResource(name, resource, pages, device, findings);
  }
  std::optional<host::DeviceEngine> engine;
  if (device != nullptr) engine.emplace(*device);
  for (const auto& [id, point] : map.Points()) {
    CheckPoint(id, point, engine ? &*engine : nullptr, findings);
    const std::string& group = map.PointResources().at(id);
    if (map.Resources().count(group) == 0) {
      findings.push_back("point " + std::to_string(id) + ": its group " + Quoted(group) +
                         " is no resource: nothing is sent for it");
    }
  }
  return findings;
}

}  // namespace ctl
