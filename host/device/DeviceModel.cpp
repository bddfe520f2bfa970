// SPDX-License-Identifier: Apache-2.0
// Reading the device's file, and what is wrong with it.
#include "host/device/DeviceModel.h"

#include <cerrno>
#include <set>
#include <utility>

#include "host/device/DeviceKeys.h"
#include "host/util/JsonFile.h"
#include "host/util/Log.h"
#include "host/util/UnknownKeys.h"
#include "platform/pld/PldConstants.h"

namespace host {
namespace {

using Problems = std::vector<std::string>;

// Reads the members of one object by its table of keys, and adds what is wrong with them to the
// problems, with the object's place.
class Reader {
 public:
  Reader(const json_t* object, const std::vector<JsonKey>& keys, std::string where,
         Problems& problems)
      : m_object(object), m_keys(keys), m_where(std::move(where)), m_problems(problems) {}

  // Whether the object holds the key, with whatever value.
  bool Holds(const char* key) const { return AnyValue(key) != nullptr; }

  // Whatever the key's value is; null when there is none.
  const json_t* AnyValue(const char* key) const { return json_object_get(m_object, key); }

  // The value, if it is what the table asks for; else null, and a problem unless there is none.
  const json_t* Value(const char* key) const {
    const json_t* const value = AnyValue(key);
    if (value == nullptr) return nullptr;
    const Problem problem = CheckJson(KeyOf(m_keys, key), value);
    if (!problem) return value;
    Wrong(key, problem.Text());
    return nullptr;
  }

  std::string Text(const char* key) const { return JsonText(Value(key)); }

  int64_t Integer(const char* key, int64_t otherwise) const {
    const json_t* const value = Value(key);
    return value == nullptr ? otherwise : json_integer_value(value);
  }

  double Number(const char* key, double otherwise) const {
    const json_t* const value = Value(key);
    return value == nullptr ? otherwise : json_number_value(value);
  }

  // The number that names the object; 0, and a problem, when there is none.
  uint16_t Identity(const char* key) const {
    if (!Holds(key)) Wrong(key, "is missing");
    return static_cast<uint16_t>(Integer(key, 0));
  }

  // A reader of the object that is the key's value; none, and a problem, of another value.
  std::optional<Reader> Inner(const char* key) const {
    const json_t* const value = Value(key);
    if (value == nullptr) return std::nullopt;
    return Reader(value, KeyOf(m_keys, key).inner, " in \"" + std::string(key) + "\"" + m_where,
                  m_problems);
  }

  // Calls `take` with a reader of each object in the array that is the key's value.
  template <typename Take>
  void ForEach(const char* key, const Take& take) const {
    const json_t* const array = Value(key);
    for (size_t i = 0; i < json_array_size(array); ++i) {
      const json_t* const element = json_array_get(array, i);
      const std::string place = "[" + std::to_string(i) + "]";
      if (json_is_object(element)) {
        take(Reader(element, KeyOf(m_keys, key).inner,
                    " of \"" + std::string(key) + "\"" + place + m_where, m_problems));
      } else {
        Wrong(key, place + " is not an object");
      }
    }
  }

  void Wrong(const char* key, const std::string& what) const {
    m_problems.push_back("\"" + std::string(key) + "\"" + m_where + " " + what);
  }

 private:
  const json_t* m_object;
  const std::vector<JsonKey>& m_keys;
  std::string m_where;
  Problems& m_problems;
};

std::optional<FileSource> ParseSource(const Reader& point) {
  const std::optional<Reader> reader = point.Inner("Source");
  if (!reader) return std::nullopt;
  if (reader->Text("Type") != "file") {
    reader->Wrong("Type", "is not \"file\"");
    return std::nullopt;
  }
  FileSource source;
  source.path = reader->Text("Path");
  source.scale = reader->Number("Scale", 1);
  if (source.path.empty() || source.path.front() != '/') {
    reader->Wrong("Path", "is not an absolute path");
    return std::nullopt;
  }
  return source;
}

PointModel ParsePoint(const Reader& reader) {
  PointModel point;
  point.id = reader.Identity("Id");
  point.name = reader.Text("Name");
  point.value = reader.Text("Value");
  point.unit = reader.Text("Unit");
  point.decimals = static_cast<int>(reader.Integer("Decimals", 0));
  point.modules = static_cast<uint32_t>(reader.Integer("Modules", 1));
  point.report = static_cast<uint32_t>(reader.Integer("Report", point.id));
  point.source = ParseSource(reader);
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

EventModel ParseEvent(const Reader& reader) {
  EventModel event;
  event.gddId = reader.Identity("GddId");
  event.text = reader.Text("Text");
  event.modules = static_cast<uint32_t>(reader.Integer("Modules", 1));
  if (reader.Holds("State") && !EventStateOf(reader.Text("State"), event.state)) {
    reader.Wrong("State", "is none of Cleared, Message, Warning, Alarm, Fault");
  }
  event.when = ParseWhen(reader);
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
  std::set<uint16_t> points;
  reader.ForEach("Points", [&](const Reader& element) {
    PointModel point = ParsePoint(element);
    const uint16_t id = point.id;
    AddNew(std::move(point), id, "point", points, model.points, problems);
  });
  std::set<uint16_t> events;
  reader.ForEach("Events", [&](const Reader& element) {
    EventModel event = ParseEvent(element);
    const uint16_t id = event.gddId;
    AddNew(std::move(event), id, "event", events, model.events, problems);
  });
  CheckRules(model, problems);
  return model;
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
  for (const std::string& text : problems) {
    HOST_LOG(3, "%s: %s; it counts as absent", path.c_str(), text.c_str());
  }
  const std::string unknown = UnknownKeysText(UnknownKeysOf(root.get(), DeviceKeys()));
  if (!unknown.empty()) {
    HOST_LOG(4, "%s: keys that are not known are not used: %s", path.c_str(), unknown.c_str());
  }
  return model;
}

}  // namespace host
