// SPDX-License-Identifier: Apache-2.0
// Reading the device's file, and what is wrong with it.
#include "host/device/DeviceModel.h"

#include <cerrno>
#include <cstring>
#include <limits>
#include <set>

#include "host/util/JsonFile.h"
#include "host/util/Log.h"
#include "host/util/UnknownKeys.h"
#include "platform/pld/PldConstants.h"

namespace host {
namespace {

constexpr int kMostDecimals = 9;
constexpr int kLongestPollSeconds = 86400;
constexpr int64_t kMostModules = 1024;
constexpr int64_t kLargest16 = std::numeric_limits<uint16_t>::max();

// Reads the members of one object and says what is wrong with them.
class Reader {
 public:
  Reader(const json_t* object, std::string where, std::vector<std::string>& problems)
      : m_object(object), m_where(std::move(where)), m_problems(problems) {}

  const json_t* Member(const char* key) const { return json_object_get(m_object, key); }

  void Wrong(const char* key, const std::string& what) const {
    m_problems.push_back("\"" + std::string(key) + "\"" + m_where + " " + what);
  }

  std::string Text(const char* key, size_t longest = std::string::npos) const {
    const json_t* value = Member(key);
    if (value == nullptr) return "";
    if (!json_is_string(value)) {
      Wrong(key, "is not a text");
    } else if (std::memchr(json_string_value(value), 0, json_string_length(value)) != nullptr) {
      Wrong(key, "holds a NUL byte");
    } else if (json_string_length(value) > longest) {
      Wrong(key, "is longer than " + std::to_string(longest) + " bytes");
    } else {
      return JsonText(value);
    }
    return "";
  }

  int64_t Integer(const char* key, int64_t low, int64_t high, int64_t otherwise) const {
    const json_t* value = Member(key);
    if (value == nullptr) return otherwise;
    const json_int_t number = json_integer_value(value);
    if (json_is_integer(value) && number >= low && number <= high) return number;
    Wrong(key, "is not an integer from " + std::to_string(low) + " to " + std::to_string(high));
    return otherwise;
  }

  double Number(const char* key, double otherwise) const {
    const json_t* value = Member(key);
    if (value == nullptr) return otherwise;
    if (json_is_number(value)) return json_number_value(value);
    Wrong(key, "is not a number");
    return otherwise;
  }

  // The number that names the object; 0, and a problem, when there is none of 1 to 65535.
  uint16_t Identity(const char* key) const {
    if (Member(key) == nullptr) Wrong(key, "is missing");
    return static_cast<uint16_t>(Integer(key, 1, kLargest16, 0));
  }

  std::vector<std::string>& Problems() const { return m_problems; }

 private:
  const json_t* m_object;
  const std::string m_where;
  std::vector<std::string>& m_problems;
};

std::optional<FileSource> ParseSource(const Reader& point, const std::string& where) {
  const json_t* value = point.Member("Source");
  if (value == nullptr) return std::nullopt;
  if (!json_is_object(value)) {
    point.Wrong("Source", "is not an object");
    return std::nullopt;
  }
  const Reader reader(value, " in \"Source\"" + where, point.Problems());
  if (reader.Text("Type") != "file") {
    reader.Wrong("Type", "is not \"file\"");
    return std::nullopt;
  }
  FileSource source;
  source.path = reader.Text("Path");
  source.scale = reader.Number("Scale", 1);
  if (source.path.empty() || source.path.front() != '/') {
    reader.Wrong("Path", "is not an absolute path");
    return std::nullopt;
  }
  return source;
}

PointModel ParsePoint(const json_t* value, size_t index, std::vector<std::string>& problems) {
  std::string where = " of \"Points\"[" + std::to_string(index) + "]";
  const Reader reader(value, where, problems);
  PointModel point;
  point.id = reader.Identity("Id");
  point.name = reader.Text("Name");
  point.value = reader.Text("Value", kLongestValue);
  point.unit = reader.Text("Unit");
  point.decimals = static_cast<int>(reader.Integer("Decimals", 0, kMostDecimals, 0));
  point.modules = static_cast<uint32_t>(reader.Integer("Modules", 1, kMostModules, 1));
  point.report = static_cast<uint32_t>(
      reader.Integer("Report", 0, std::numeric_limits<uint32_t>::max(), point.id));
  point.source = ParseSource(reader, where);
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
    if (rule.Member(condition.key) == nullptr) continue;
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
  const json_t* value = rule.Member(key);
  switch (when.kind) {
    case WhenModel::Kind::kAbove:
    case WhenModel::Kind::kBelow:
      when.limit = rule.Number(key, 0);
      return json_is_number(value);
    case WhenModel::Kind::kEquals:
    case WhenModel::Kind::kNotEquals:
      if (json_is_number(value)) when.same.number = json_number_value(value);
      when.same.text = JsonText(value);
      if (json_is_number(value) || json_is_string(value)) return true;
      rule.Wrong(key, "is neither a text nor a number");
      return false;
    case WhenModel::Kind::kMissing:
      break;
  }
  if (json_is_true(value)) return true;
  rule.Wrong(key, "is not true");
  return false;
}

double ParseHysteresis(const Reader& rule, WhenModel::Kind kind) {
  const double hysteresis = rule.Number("Hysteresis", 0);
  if (hysteresis < 0) {
    rule.Wrong("Hysteresis", "is negative");
    return 0;
  }
  const bool limited = kind == WhenModel::Kind::kAbove || kind == WhenModel::Kind::kBelow;
  if (!limited && rule.Member("Hysteresis") != nullptr) {
    rule.Wrong("Hysteresis", "goes with \"Above\" and \"Below\" alone");
  }
  return hysteresis;
}

uint16_t ParseRaisedState(const Reader& rule) {
  uint16_t state = kAlarm;
  const bool raises = rule.Member("State") == nullptr ||
                      (EventStateOf(JsonText(rule.Member("State")), state) && state != kCleared);
  if (raises) return state;
  rule.Wrong("State", "is none of Message, Warning, Alarm, Fault");
  return kAlarm;
}

std::optional<WhenModel> ParseWhen(const Reader& event, const std::string& where) {
  const json_t* value = event.Member("When");
  if (value == nullptr) return std::nullopt;
  if (!json_is_object(value)) {
    event.Wrong("When", "is not an object");
    return std::nullopt;
  }
  const Reader reader(value, " in \"When\"" + where, event.Problems());
  WhenModel when;
  when.point = reader.Identity("Point");
  const ConditionKey* const condition = FindCondition(event, reader);
  if (condition == nullptr) return std::nullopt;
  when.kind = condition->kind;
  const bool usable = ParseOperand(reader, condition->key, when) && when.point != 0;
  when.hysteresis = ParseHysteresis(reader, when.kind);
  when.state = ParseRaisedState(reader);
  return usable ? std::optional<WhenModel>(when) : std::nullopt;
}

EventModel ParseEvent(const json_t* value, size_t index, std::vector<std::string>& problems) {
  std::string where = " of \"Events\"[" + std::to_string(index) + "]";
  const Reader reader(value, where, problems);
  EventModel event;
  event.gddId = reader.Identity("GddId");
  event.text = reader.Text("Text");
  event.modules = static_cast<uint32_t>(reader.Integer("Modules", 1, kMostModules, 1));
  if (reader.Member("State") != nullptr && !EventStateOf(reader.Text("State"), event.state)) {
    reader.Wrong("State", "is none of Cleared, Message, Warning, Alarm, Fault");
  }
  event.when = ParseWhen(reader, where);
  return event;
}

// The elements of an array that are objects.
template <typename Take>
void ForEachObject(const Reader& root, const char* key, Take take) {
  const json_t* array = root.Member(key);
  if (array == nullptr) return;
  if (!json_is_array(array)) {
    root.Wrong(key, "is not an array");
    return;
  }
  for (size_t i = 0; i < json_array_size(array); ++i) {
    const json_t* element = json_array_get(array, i);
    if (json_is_object(element)) {
      take(element, i);
    } else {
      root.Wrong(key, "[" + std::to_string(i) + "] is not an object");
    }
  }
}

// Numbers joined by full stops, or nothing: it becomes part of a path.
bool IsSequenceId(const std::string& text) {
  if (text.find_first_not_of("0123456789.") != std::string::npos) return false;
  const bool edges = !text.empty() && (text.front() == '.' || text.back() == '.');
  return !edges && text.find("..") == std::string::npos;
}

void CheckRules(const DeviceModel& model, std::vector<std::string>& problems) {
  for (const EventModel& event : model.events) {
    if (!event.when) continue;
    bool known = false;
    for (const PointModel& point : model.points) known |= point.id == event.when->point;
    if (known) continue;
    problems.push_back("\"Point\" in \"When\" of event " + std::to_string(event.gddId) +
                       " names no point");
  }
}

void AddUnknown(const json_t* object, const std::vector<std::string>& known,
                const std::string& where, std::vector<std::string>& unknown) {
  for (const std::string& key : UnknownKeys(object, known)) unknown.push_back(key + where);
}

}  // namespace

DeviceModel ParseDeviceModel(const json_t* root, std::vector<std::string>& problems) {
  const Reader reader(root, "", problems);
  DeviceModel model;
  model.velId = static_cast<int>(reader.Integer("VelocityId", std::numeric_limits<int>::min(),
                                                std::numeric_limits<int>::max(), 0));
  model.label = reader.Text("Label", kLongestValue);
  model.pollSeconds = static_cast<int>(reader.Integer("PollSeconds", 1, kLongestPollSeconds, 1));
  if (json_is_string(reader.Member("ProductSequenceId"))) {
    const std::string psi = reader.Text("ProductSequenceId");
    if (IsSequenceId(psi)) {
      model.psi = psi;
    } else {
      reader.Wrong("ProductSequenceId", "does not consist of numbers joined by full stops");
    }
  } else if (reader.Member("ProductSequenceId") != nullptr) {
    reader.Wrong("ProductSequenceId", "is not a text");
  }
  std::set<uint16_t> ids;
  ForEachObject(reader, "Points", [&](const json_t* value, size_t index) {
    const PointModel point = ParsePoint(value, index, problems);
    if (point.id == 0) return;
    if (ids.insert(point.id).second) {
      model.points.push_back(point);
    } else {
      problems.push_back("point " + std::to_string(point.id) + " is there already");
    }
  });
  ids.clear();
  ForEachObject(reader, "Events", [&](const json_t* value, size_t index) {
    const EventModel event = ParseEvent(value, index, problems);
    if (event.gddId == 0) return;
    if (ids.insert(event.gddId).second) {
      model.events.push_back(event);
    } else {
      problems.push_back("event " + std::to_string(event.gddId) + " is there already");
    }
  });
  CheckRules(model, problems);
  return model;
}

std::vector<std::string> UnknownDeviceKeys(const json_t* root) {
  std::vector<std::string> unknown;
  AddUnknown(root, {"VelocityId", "ProductSequenceId", "Label", "PollSeconds", "Points", "Events"},
             "", unknown);
  size_t index = 0;
  const json_t* element = nullptr;
  json_array_foreach(json_object_get(root, "Points"), index, element) {
    const std::string where = " of \"Points\"[" + std::to_string(index) + "]";
    AddUnknown(element, {"Id", "Name", "Value", "Unit", "Decimals", "Modules", "Report", "Source"},
               where, unknown);
    AddUnknown(json_object_get(element, "Source"), {"Type", "Path", "Scale"},
               " in \"Source\"" + where, unknown);
  }
  json_array_foreach(json_object_get(root, "Events"), index, element) {
    const std::string where = " of \"Events\"[" + std::to_string(index) + "]";
    AddUnknown(element, {"GddId", "Text", "Modules", "State", "When"}, where, unknown);
    AddUnknown(json_object_get(element, "When"),
               {"Point", "Above", "Below", "Equals", "NotEquals", "Missing", "Hysteresis", "State"},
               " in \"When\"" + where, unknown);
  }
  return unknown;
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
  const std::string unknown = UnknownKeysText(UnknownDeviceKeys(root.get()));
  if (!unknown.empty()) {
    HOST_LOG(4, "%s: keys that are not known are not used: %s", path.c_str(), unknown.c_str());
  }
  return model;
}

}  // namespace host
