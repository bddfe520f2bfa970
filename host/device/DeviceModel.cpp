// SPDX-License-Identifier: Apache-2.0
// Reading the device's file, and what is wrong with it.
#include "host/device/DeviceModel.h"

#include <algorithm>
#include <cerrno>
#include <set>
#include <utility>

#include "host/device/DeviceKeys.h"
#include "host/util/JsonFile.h"
#include "host/util/JsonReader.h"
#include "host/util/Log.h"
#include "host/util/Numbers.h"
#include "host/util/UnknownKeys.h"
#include "platform/pld/PldConstants.h"

namespace host {
namespace {

using Problems = std::vector<std::string>;
using Reader = JsonReader;

// Whether a text names a kind of source: it becomes the name of a file, and can't be a path.
bool IsSourceType(const std::string& text) {
  constexpr size_t kLongestType = 16;
  return !text.empty() && text.size() <= kLongestType &&
         text.find_first_not_of("abcdefghijklmnopqrstuvwxyz") == std::string::npos;
}

bool IsNamedSource(const DeviceModel& model, const std::string& name) {
  return std::any_of(model.sources.begin(), model.sources.end(),
                     [&](const NamedSource& source) { return source.name == name; });
}

// What the file says of a source of a module; none, and a problem, when it says of no module.
std::optional<ModuleSource> ParseModuleSource(const Reader& reader, const DeviceModel& model) {
  ModuleSource source;
  source.type = reader.Text("Type");
  source.from = reader.Text("From");
  source.where = reader.Where();
  source.settings = DumpedJson(reader.Object(), JSON_COMPACT | JSON_SORT_KEYS);
  if (reader.Holds("Type") && reader.Holds("From")) {
    reader.Wrong("From", "stands beside a \"Type\"");
    return std::nullopt;
  }
  if (reader.Holds("From")) {
    if (IsNamedSource(model, source.from)) return source;
    reader.Wrong("From", "names none of \"Sources\"");
    return std::nullopt;
  }
  if (IsSourceType(source.type)) return source;
  reader.Wrong("Type", "names no kind of source");
  return std::nullopt;
}

void ParseSources(const Reader& device, DeviceModel& model) {
  device.ForEachNamed("Sources", [&](const std::string& name, const Reader& reader) {
    if (reader.Holds("From")) {
      reader.Wrong("From", "is for points and events");
    } else if (reader.Text("Type") == "file") {
      reader.Wrong("Type", "is a point's own");
    } else if (std::optional<ModuleSource> source = ParseModuleSource(reader, model)) {
      model.sources.push_back({name, std::move(*source)});
    }
  });
}

std::optional<PointSource> ParseFileSource(const Reader& reader, PointModel& point) {
  PointSource source;
  source.path = reader.Text("Path");
  if (const json_t* const scale = reader.Value("Scale")) point.scale = json_number_value(scale);
  if (!source.path.empty() && source.path.front() == '/') return source;
  reader.Wrong("Path", "is not an absolute path");
  return std::nullopt;
}

std::optional<PointSource> ParsePointSource(const Reader& point, PointModel& model,
                                            const DeviceModel& device) {
  const std::vector<JsonKey> keys = SourceKeys();
  const std::vector<JsonKey> fileKeys = FileSourceKeys();
  const std::optional<Reader> reader = point.Inner("Source", keys);
  if (!reader) return std::nullopt;
  if (JsonText(reader->AnyValue("Type")) == "file") {
    return ParseFileSource(reader->By(fileKeys), model);
  }
  std::optional<ModuleSource> module = ParseModuleSource(*reader, device);
  if (!module) return std::nullopt;
  return PointSource{"", std::move(*module)};
}

std::vector<StateText> ParseStates(const Reader& point) {
  std::vector<StateText> states;
  // jansson iterates over its objects only without const.
  auto* object = const_cast<json_t*>(  // NOLINT(cppcoreguidelines-pro-type-const-cast)
      point.Value("States"));
  const char* told = nullptr;
  json_t* text = nullptr;
  json_object_foreach(object, told, text) {
    double number = 0;
    const bool isNumber = ParseNumber(told, number);
    states.push_back(
        {told, isNumber ? std::optional<double>(number) : std::nullopt, JsonText(text)});
  }
  return states;
}

PointModel ParsePoint(const Reader& reader, const DeviceModel& device) {
  PointModel point;
  point.id = reader.Identity("Id");
  point.name = reader.Text("Name");
  point.value = reader.Text("Value");
  point.unit = reader.Text("Unit");
  point.decimals = static_cast<int>(reader.Integer("Decimals", 0));
  point.modules = static_cast<uint32_t>(reader.Integer("Modules", 1));
  point.report = static_cast<uint32_t>(reader.Integer("Report", point.id));
  if (const json_t* const scale = reader.Value("Scale")) point.scale = json_number_value(scale);
  point.states = ParseStates(reader);
  point.source = ParsePointSource(reader, point, device);
  if (point.id == pld::kLabelPoint) {
    reader.Wrong("Id", "is the number of the device's label");
    point.id = 0;
  }
  return point;
}

// The conditions of a rule, by the key that names each.
struct ConditionKey {
  const char* key;
  WhenModel::Kind kind;
};
constexpr ConditionKey kConditions[] = {{"Above", WhenModel::Kind::kAbove},
                                        {"Below", WhenModel::Kind::kBelow},
                                        {"Equals", WhenModel::Kind::kEquals},
                                        {"NotEquals", WhenModel::Kind::kNotEquals},
                                        {"Missing", WhenModel::Kind::kMissing}};

// The one condition that a rule holds; null, and a problem, when there is none or more than one.
const ConditionKey* FindCondition(const Reader& event, const Reader& rule) {
  const ConditionKey* found = nullptr;
  int count = 0;
  for (const ConditionKey& condition : kConditions) {
    if (!rule.Holds(condition.key)) continue;
    found = &condition;
    ++count;
  }
  if (count == 1) return found;
  event.Wrong("When",
              "does not hold one of \"Above\", \"Below\", \"Equals\", \"NotEquals\" and "
              "\"Missing\"");
  return nullptr;
}

// Reads what the rule's point is compared with; false, and a problem, when it is of a wrong type.
bool ParseOperand(const Reader& rule, const char* key, WhenModel& when) {
  const json_t* const value = rule.Value(key);
  when.limit = json_number_value(value);
  if (json_is_number(value)) when.operand.number = json_number_value(value);
  when.operand.text = JsonText(value);
  return value != nullptr;
}

double ParseHysteresis(const Reader& rule, WhenModel::Kind kind) {
  const double hysteresis = rule.Number("Hysteresis", 0);
  if (hysteresis < 0) {
    rule.Wrong("Hysteresis", "is negative");
    return 0;
  }
  const bool limited = kind == WhenModel::Kind::kAbove || kind == WhenModel::Kind::kBelow;
  if (!limited && rule.Holds("Hysteresis")) {
    rule.Wrong("Hysteresis", "goes with \"Above\" and \"Below\" alone");
  }
  return hysteresis;
}

uint16_t ParseRaisedState(const Reader& rule) {
  uint16_t state = kAlarm;
  const bool raises = !rule.Holds("State") ||
                      (EventStateOf(JsonText(rule.AnyValue("State")), state) && state != kCleared);
  if (raises) return state;
  rule.Wrong("State", "is none of Message, Warning, Alarm, Fault");
  return kAlarm;
}

std::optional<WhenModel> ParseWhen(const Reader& event) {
  const std::optional<Reader> rule = event.Inner("When");
  if (!rule) return std::nullopt;
  WhenModel when;
  when.point = rule->Identity("Point");
  const ConditionKey* const condition = FindCondition(event, *rule);
  if (condition == nullptr) return std::nullopt;
  when.kind = condition->kind;
  const bool usable = ParseOperand(*rule, condition->key, when) && when.point != 0;
  when.hysteresis = ParseHysteresis(*rule, when.kind);
  when.state = ParseRaisedState(*rule);
  return usable ? std::optional<WhenModel>(when) : std::nullopt;
}

EventModel ParseEvent(const Reader& reader, const DeviceModel& device) {
  EventModel event;
  event.gddId = reader.Identity("GddId");
  event.text = reader.Text("Text");
  event.modules = static_cast<uint32_t>(reader.Integer("Modules", 1));
  if (reader.Holds("State") && !EventStateOf(reader.Text("State"), event.state)) {
    reader.Wrong("State", "is none of Cleared, Message, Warning, Alarm, Fault");
  }
  event.when = ParseWhen(reader);
  const std::vector<JsonKey> keys = SourceKeys();
  if (const std::optional<Reader> source = reader.Inner("Source", keys)) {
    event.source = ParseModuleSource(*source, device);
  }
  return event;
}

// Numbers joined by full stops, or nothing: it becomes part of a path.
bool IsSequenceId(const std::string& text) {
  if (text.find_first_not_of("0123456789.") != std::string::npos) return false;
  const bool edges = !text.empty() && (text.front() == '.' || text.back() == '.');
  return !edges && text.find("..") == std::string::npos;
}

std::optional<std::string> ParseSequenceId(const Reader& device) {
  const json_t* const value = device.Value("ProductSequenceId");
  if (value == nullptr) return std::nullopt;
  if (IsSequenceId(JsonText(value))) return JsonText(value);
  device.Wrong("ProductSequenceId", "does not consist of numbers joined by full stops");
  return std::nullopt;
}

// Adds an entry whose number is not taken; an entry without a number is left out.
template <typename Entry>
void AddNew(Entry entry, uint16_t id, const char* what, std::set<uint16_t>& ids,
            std::vector<Entry>& entries, Problems& problems) {
  if (id == 0) return;
  if (ids.insert(id).second) {
    entries.push_back(std::move(entry));
  } else {
    problems.push_back(std::string(what) + " " + std::to_string(id) + " is there already");
  }
}

void CheckRules(const DeviceModel& model, Problems& problems) {
  for (const EventModel& event : model.events) {
    if (!event.when) continue;
    bool known = false;
    for (const PointModel& point : model.points) known |= point.id == event.when->point;
    if (known) continue;
    problems.push_back("\"Point\" in \"When\" of event " + std::to_string(event.gddId) +
                       " names no point");
  }
}

}  // namespace

DeviceModel ParseDeviceModel(const json_t* root, std::vector<std::string>& problems) {
  const std::vector<JsonKey> keys = DeviceKeys();
  const Reader reader(root, keys, "", problems);
  DeviceModel model;
  model.velId = static_cast<int>(reader.Integer("VelocityId", 0));
  model.label = reader.Text("Label");
  model.pollSeconds = static_cast<int>(reader.Integer("PollSeconds", 1));
  model.psi = ParseSequenceId(reader);
  ParseSources(reader, model);
  std::set<uint16_t> points;
  reader.ForEach("Points", [&](const Reader& element) {
    PointModel point = ParsePoint(element, model);
    const uint16_t id = point.id;
    AddNew(std::move(point), id, "point", points, model.points, problems);
  });
  std::set<uint16_t> events;
  reader.ForEach("Events", [&](const Reader& element) {
    EventModel event = ParseEvent(element, model);
    const uint16_t id = event.gddId;
    AddNew(std::move(event), id, "event", events, model.events, problems);
  });
  CheckRules(model, problems);
  return model;
}

void LogFindings(const std::string& path, const std::vector<std::string>& problems,
                 const std::vector<std::string>& unknown) {
  for (const std::string& text : problems) {
    HOST_LOG(3, "%s: %s; it counts as absent", path.c_str(), text.c_str());
  }
  const std::string keys = UnknownKeysText(unknown);
  if (keys.empty()) return;
  HOST_LOG(4, "%s: keys that are not known are not used: %s", path.c_str(), keys.c_str());
}

DeviceModel LoadDeviceModel(const std::string& path) {
  JsonRef root;
  if (Problem problem = ReadJsonObject(path, root)) {
    if (problem.Errno() == ENOENT) {
      HOST_LOG(4, "%s is missing: a device without points and events", path.c_str());
    } else {
      HOST_LOG(3, "%s; a device without points and events", problem.Text().c_str());
    }
    return DeviceModel();
  }
  std::vector<std::string> problems;
  DeviceModel model = ParseDeviceModel(root.get(), problems);
  LogFindings(path, problems, UnknownDeviceKeys(root.get()));
  return model;
}

}  // namespace host
