// SPDX-License-Identifier: Apache-2.0
// From what sources offer to a device that is complete: its description and its data files.
#include "ctl/NewDevice.h"

#include <algorithm>
#include <cctype>
#include <utility>

#include "host/util/Trimmed.h"
#include "platform/pld/PldConstants.h"

namespace ctl {

namespace {

using host::AnyText;
using host::AppendJson;
using host::JsonRef;
using host::PutJson;

constexpr int kFirstPoint = 1001;
constexpr int kFirstEvent = 1;
constexpr size_t kLongestTitle = 80;
constexpr size_t kLongestName = 48;
constexpr size_t kIndented = JSON_INDENT(2);

JsonRef Integer(int number) { return JsonRef(json_integer(number)); }

// A device's words as they may stand in a page: without what a page or JSON takes for its own.
std::string TitleOf(const std::string& words) {
  const JsonRef text = AnyText(words);
  std::string title = host::JsonText(text.get());
  for (char& c : title) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte < 0x20 || byte == 0x7f) c = ' ';
    if (c == '"') c = '\'';
    if (c == '\\' || c == '|') c = '/';
    if (c == '{') c = '(';
    if (c == '}') c = ')';
    if (c == '~') c = '-';
  }
  if (title.size() > kLongestTitle) {
    size_t end = kLongestTitle;
    while (end > 0 && (static_cast<unsigned char>(title[end]) & 0xC0U) == 0x80U) --end;
    title.resize(end);
  }
  return host::Trimmed(title);
}

// Small letters, digits and underscores.
std::string NameOf(const std::string& title) {
  std::string name;
  for (const char c : title) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte < 0x80 && std::isalnum(byte) != 0) {
      name += static_cast<char>(std::tolower(byte));
    } else if (!name.empty() && name.back() != '_') {
      name += '_';
    }
    if (name.size() == kLongestName) break;
  }
  while (!name.empty() && name.back() == '_') name.pop_back();
  return name;
}

// The name, or one like it that is not taken, which is taken then.
std::string TakeName(const std::string& wanted, std::vector<std::string>& taken) {
  std::string name = wanted;
  for (int i = 2; std::find(taken.begin(), taken.end(), name) != taken.end(); ++i) {
    name = wanted + "_" + std::to_string(i);
  }
  taken.push_back(name);
  return name;
}

JsonRef ObjectOf(const std::string& text) {
  JsonRef object(json_loadb(text.data(), text.size(), JSON_ALLOW_NUL, nullptr));
  if (object == nullptr) object.reset(json_object());
  return object;
}

// The members before those of `more`: a reader looks for them first.
JsonRef Before(JsonRef object, const JsonRef& more) {
  if (json_object_update(object.get(), more.get()) != 0) throw std::bad_alloc();
  return object;
}

JsonRef Text(const std::string& text) { return AnyText(text); }

const char* MemberOfUnit(const std::string& unit) {
  return unit == "rpm" ? "RPM" : unit == "%" ? "Percent" : unit.c_str();
}

const char kChassis[] = R"({
  "@odata.type": "#Chassis.v1_14_0.Chassis",
  "Name": "{{label}}",
  "ChassisType": "Other",
  "Model": "{{psi}}",
  "Status": {"State": "Enabled", "Health": "OK"},
  "Links": {"ManagedBy": [{"@odata.id": "/redfish/v1/Managers/{{uuid}}"}]}
}
)";

const char kReadme[] = R"(# FILES

A start, made from what the device offered. Change it: the names for people, the rules, the pages.

| file | is |
|---|---|
| `device.json` | the device: connections (`Sources`), points, events. Lies in `/etc/cloudclient` |
| `cloudchassis.txt` | the document with which the chassis is created at the service |
| `covpatchmap.txt` | which point belongs to which resource of the chassis |
| `patch/` | the documents of these resources |

The daemon looks for the last three in the folder that the sequence identifier of `device.json` names
below `/var/local/orv/pldserver/0` ("1.0.0" is `1/0/0`), then in those above it. It reads all of them
when it starts.

- `{{point:N|null}}` in a page becomes the value of point N, and `null` while there is none. Texts
  stand in quotes: `"{{point:N}}"`.
- `pldQueryArgs` are five numbers: the point; 1, 0, 0, 0 ask for its value as it is.
- An event with `When` raises an alarm by itself: `{"Point": 1001, "Above": 30, "Hysteresis": 2}`.
  The events that are there tell that a source is silent.
- `Scale`, `Decimals` and `States` of a point make of what the device tells what people read.
- Passwords are in none of these files, but in the file that `Credentials` of a source names.

After a change:

    cloudclientctl device check /etc/cloudclient/device.json
    cloudclientctl map check covpatchmap.txt

## Points

| point | name | found | unit | source |
|---|---|---|---|---|
)";

}  // namespace

NewDevice::NewDevice(const NewDeviceWords& words, const host::Offer& offer)
    : m_description(json_object()) {
  json_t* const device = m_description.get();
  PutJson(device, "VelocityId", Integer(0));
  PutJson(device, "ProductSequenceId", Text(words.sequence));
  PutJson(device, "Label", Text(words.label));
  PutJson(device, "PollSeconds", Integer(10));
  for (const char* key : {"Sources"}) PutJson(device, key, JsonRef(json_object()));
  for (const char* key : {"Points", "Events"}) PutJson(device, key, JsonRef(json_array()));
  for (const host::OfferedSource& source : offer.sources) AddSource(words, source);
}

NewDevice::Place NewDevice::PlaceOf(const host::OfferedPoint& point) {
  if (!point.states.empty()) return Place::kState;
  if (point.unit == "degC") return Place::kTemperature;
  if (point.unit == "rpm") return Place::kFan;
  if (point.unit == "V") return Place::kVoltage;
  return point.unit == "W" ? Place::kPower : Place::kReading;
}

void NewDevice::AddSource(const NewDeviceWords& words, const host::OfferedSource& source) {
  json_t* const sources = json_object_get(m_description.get(), "Sources");
  std::vector<std::string> taken;
  const char* key = nullptr;
  json_t* value = nullptr;
  json_object_foreach(sources, key, value) taken.emplace_back(key);
  std::string name = NameOf(TitleOf(source.name));
  if (name.empty()) name = words.type;
  name = TakeName(name, taken);
  JsonRef object(json_object());
  PutJson(object.get(), "Type", Text(words.type));
  PutJson(sources, name.c_str(), Before(std::move(object), ObjectOf(source.settings)));
  const size_t first = m_points.size();
  for (const host::OfferedPoint& point : source.points) AddPoint(name, point);
  if (m_points.size() > first) AddSilence(name, m_points[first].id);
}

void NewDevice::AddPoint(const std::string& source, const host::OfferedPoint& offered) {
  Point point;
  point.id = kFirstPoint + static_cast<int>(m_points.size());
  point.title = TitleOf(offered.name);
  if (point.title.empty()) point.title = "Point " + std::to_string(point.id);
  std::string name = NameOf(point.title);
  if (name.empty()) name = "point_" + std::to_string(point.id);
  point.name = TakeName(name, m_names);
  point.unit = TitleOf(offered.unit);
  point.value = TitleOf(offered.value);
  point.source = source;
  point.place = PlaceOf(offered);

  JsonRef object(json_object());
  PutJson(object.get(), "Id", Integer(point.id));
  PutJson(object.get(), "Name", Text(point.name));
  if (!point.unit.empty()) PutJson(object.get(), "Unit", Text(point.unit));
  if (offered.decimals != 0) PutJson(object.get(), "Decimals", Integer(offered.decimals));
  if (offered.scale != 1) {
    PutJson(object.get(), "Scale", JsonRef(json_real(offered.scale)));
  }
  if (!offered.states.empty()) {
    JsonRef states(json_object());
    for (const auto& [told, text] : offered.states) {
      PutJson(states.get(), TitleOf(told).c_str(), Text(TitleOf(text)));
    }
    PutJson(object.get(), "States", std::move(states));
  }
  JsonRef from(json_object());
  PutJson(from.get(), "From", Text(source));
  PutJson(object.get(), "Source", Before(std::move(from), ObjectOf(offered.settings)));
  AppendJson(json_object_get(m_description.get(), "Points"), std::move(object));
  m_points.push_back(std::move(point));
}

// An event that tells that nothing comes from the source.
void NewDevice::AddSilence(const std::string& source, int point) {
  json_t* const events = json_object_get(m_description.get(), "Events");
  JsonRef when(json_object());
  PutJson(when.get(), "Point", Integer(point));
  PutJson(when.get(), "Missing", JsonRef(json_true()));
  PutJson(when.get(), "State", Text("Warning"));
  JsonRef event(json_object());
  PutJson(event.get(), "GddId", Integer(kFirstEvent + static_cast<int>(json_array_size(events))));
  PutJson(event.get(), "Text", Text(source + " does not answer"));
  PutJson(event.get(), "When", std::move(when));
  AppendJson(events, std::move(event));
}

bool NewDevice::Has(std::initializer_list<Place> places) const {
  return std::any_of(m_points.begin(), m_points.end(), [&places](const Point& point) {
    return std::find(places.begin(), places.end(), point.place) != places.end();
  });
}

// The point as an element of its array, with `value` in the value's place.
std::string NewDevice::Member(const Point& point, const std::string& value) const {
  std::string text = R"({"MemberId": ")" + point.name + R"(", "Name": ")" + point.title + "\", ";
  switch (point.place) {
    case Place::kTemperature:
      return text + "\"ReadingCelsius\": " + value + "}";
    case Place::kVoltage:
      return text + "\"ReadingVolts\": " + value + "}";
    case Place::kPower:
      return text + "\"PowerConsumedWatts\": " + value + "}";
    case Place::kState:
      return text + "\"State\": \"" + value + "\"}";
    default:
      text += "\"Reading\": " + value;
      if (!point.unit.empty()) {
        text += std::string(R"(, "ReadingUnits": ")") + MemberOfUnit(point.unit) + "\"";
      }
      return text + "}";
  }
}

std::string NewDevice::Elements(Place place) const {
  std::string text;
  for (const Point& point : m_points) {
    if (point.place != place) continue;
    const std::string number = std::to_string(point.id);
    const std::string mark =
        place == Place::kState ? "{{point:" + number + "}}" : "{{point:" + number + "|null}}";
    text += (text.empty() ? "\n    " : ",\n    ") + Member(point, mark);
  }
  return text;
}

// An object with the arrays that hold anything.
std::string NewDevice::Page(const std::vector<std::pair<std::string, Place>>& arrays) const {
  std::string text;
  for (const auto& [name, place] : arrays) {
    const std::string elements = Elements(place);
    if (elements.empty()) continue;
    text += (text.empty() ? "\n  \"" : ",\n  \"") + name + "\": [" + elements + "\n  ]";
  }
  return "{" + text + "\n}";
}

std::vector<DataText> NewDevice::DataFiles() const {
  std::vector<DataText> files = {{pld::kChassisTemplateFile, kChassis},
                                 {pld::kPatchMapFile, MapText()}};
  if (Has({Place::kTemperature, Place::kFan})) {
    files.push_back({"patch/thermal.txt",
                     Page({{"Temperatures", Place::kTemperature}, {"Fans", Place::kFan}}) + "\n"});
  }
  if (Has({Place::kVoltage, Place::kPower})) {
    files.push_back(
        {"patch/power.txt",
         Page({{"Voltages", Place::kVoltage}, {"PowerControl", Place::kPower}}) + "\n"});
  }
  if (Has({Place::kReading, Place::kState})) {
    files.push_back({"patch/readings.txt",
                     "{\"Oem\": {\"Quorvan\": " +
                         Page({{"Readings", Place::kReading}, {"States", Place::kState}}) +
                         "}}\n"});
  }
  files.push_back({"README.md", ReadmeText()});
  return files;
}

// A resource of the chassis with its points.
void NewDevice::AddResource(const char* name, const char* below,
                            std::initializer_list<Place> places, json_t* map) const {
  if (!Has(places)) return;
  JsonRef resource(json_object());
  PutJson(resource.get(), "name", Text(name));
  PutJson(resource.get(), "url", Text(std::string("/redfish/v1/Chassis/<chassisid>") + below));
  PutJson(resource.get(), "resourcePatch", Text(std::string("patch/") + name + ".txt"));
  PutJson(resource.get(), "resourceTag", Text("<chassisid>"));
  AppendJson(json_object_get(map, "resourceUrls"), std::move(resource));
  JsonRef group(json_array());
  for (const Point& point : m_points) {
    if (std::find(places.begin(), places.end(), point.place) == places.end()) continue;
    JsonRef entry(json_object());
    PutJson(entry.get(), "id", Integer(point.id));
    PutJson(entry.get(), "pldQueryArgs", Text(std::to_string(point.id) + ",1,0,0,0"));
    PutJson(entry.get(), "patch", Text(Member(point, "%1")));
    AppendJson(group.get(), std::move(entry));
  }
  PutJson(map, name, std::move(group));
}

std::string NewDevice::MapText() const {
  const JsonRef map(json_object());
  PutJson(map.get(), "resourceUrls", JsonRef(json_array()));
  AddResource("thermal", "/Thermal", {Place::kTemperature, Place::kFan}, map.get());
  AddResource("power", "/Power", {Place::kVoltage, Place::kPower}, map.get());
  AddResource("readings", "", {Place::kReading, Place::kState}, map.get());
  return host::DumpedJson(map.get(), kIndented) + "\n";
}

std::vector<std::vector<std::string>> NewDevice::Rows() const {
  std::vector<std::vector<std::string>> rows;
  for (const Point& point : m_points) {
    rows.push_back({std::to_string(point.id), point.name, point.value, point.unit, point.source});
  }
  return rows;
}

std::string NewDevice::ReadmeText() const {
  const std::string label = TitleOf(host::JsonText(json_object_get(m_description.get(), "Label")));
  std::string text = kReadme;
  text.replace(text.find("FILES"), 5, label.empty() ? "The device" : label);
  for (const std::vector<std::string>& row : Rows()) {
    for (const std::string& cell : row) text += "| " + cell + " ";
    text += "|\n";
  }
  return text;
}

}  // namespace ctl
