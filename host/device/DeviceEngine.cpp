// SPDX-License-Identifier: Apache-2.0
// Values of points, states of events, rules, and the notifications that wait.
#include "host/device/DeviceEngine.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <list>

#include "host/device/DeviceKeys.h"
#include "host/util/Numbers.h"
#include "platform/pld/PldConstants.h"

namespace host {
namespace {

std::map<uint16_t, const PointModel*> PointsByNumber(const DeviceModel& model) {
  std::map<uint16_t, const PointModel*> points;
  for (const PointModel& point : model.points) points.emplace(point.id, &point);
  return points;
}

std::multimap<uint16_t, const EventModel*> RulesByPoint(const DeviceModel& model) {
  std::multimap<uint16_t, const EventModel*> rules;
  for (const EventModel& event : model.events) {
    if (event.when) rules.emplace(event.when->point, &event);
  }
  return rules;
}

enum class RuleResult { kRaise, kClear, kLeave };

RuleResult EvaluateLimit(const WhenModel& when, const std::string& value) {
  double number = 0;
  if (!ParseNumber(value, number)) return RuleResult::kLeave;
  // By how much the number is above an upper limit, or below a lower one.
  const bool above = when.kind == WhenModel::Kind::kAbove;
  const double beyond = above ? number - when.limit : when.limit - number;
  if (beyond > 0) return RuleResult::kRaise;
  return beyond < -when.hysteresis ? RuleResult::kClear : RuleResult::kLeave;
}

bool Equals(const WhenModel::Operand& operand, const std::string& value) {
  double number = 0;
  return operand.number ? ParseNumber(value, number) && number == *operand.number
                        : value == operand.text;
}

// Whether a value raises or clears the event of a rule. An empty value is a missing one.
RuleResult Evaluate(const WhenModel& when, const std::string& value) {
  const auto raiseIf = [](bool met) { return met ? RuleResult::kRaise : RuleResult::kClear; };
  if (when.kind == WhenModel::Kind::kMissing) return raiseIf(value.empty());
  if (value.empty()) return RuleResult::kLeave;
  if (when.kind == WhenModel::Kind::kEquals) return raiseIf(Equals(when.operand, value));
  if (when.kind == WhenModel::Kind::kNotEquals) return raiseIf(!Equals(when.operand, value));
  return EvaluateLimit(when, value);
}

}  // namespace

uint16_t TenfoldReading(const std::string& value) {
  double number = 0;
  if (!ParseNumber(value, number)) return 0;
  const double tenfold = std::round(number * 10);
  if (tenfold <= 0) return 0;
  constexpr uint16_t kLargest = std::numeric_limits<uint16_t>::max();
  return tenfold >= kLargest ? kLargest : static_cast<uint16_t>(tenfold);
}

DeviceEngine::DeviceEngine(DeviceModel model)
    : m_model(std::move(model)),
      m_pointModels(PointsByNumber(m_model)),
      m_rules(RulesByPoint(m_model)) {
  for (const PointModel& point : m_model.points) {
    m_points[point.id] =
        Point{point.value, point.source ? Point::State::kUnread : Point::State::kKnown};
  }
  for (const EventModel& event : m_model.events) {
    if (event.state != kCleared) m_active[{event.gddId, 0}] = event.state;
  }
  for (const PointModel& point : m_model.points) ApplyRulesLocked(point, true);
}

const PointModel* DeviceEngine::FindPoint(uint16_t point) const {
  const auto found = m_pointModels.find(point);
  return found == m_pointModels.end() ? nullptr : found->second;
}

const EventModel* DeviceEngine::FindEvent(uint16_t gddId) const {
  for (const EventModel& model : m_model.events) {
    if (model.gddId == gddId) return &model;
  }
  return nullptr;
}

bool DeviceEngine::TextLocked(const PointModel& point, std::string& text) const {
  const Point& state = m_points.at(point.id);
  const bool known = state.state == Point::State::kKnown;
  text = known ? state.value : std::string();
  return known;
}

bool DeviceEngine::PointText(uint16_t point, std::string& text) const {
  text.clear();
  if (point == pld::kLabelPoint) {
    text = m_model.label;
    return true;
  }
  const PointModel* model = FindPoint(point);
  if (model == nullptr) return false;
  const MutexLock guard(m_mutex);
  return TextLocked(*model, text);
}

bool DeviceEngine::CelsiusText(uint16_t point, std::string& text) const {
  if (!PointText(point, text)) return false;
  const PointModel* model = FindPoint(point);
  if (model == nullptr || model->unit != "degF") return true;
  double fahrenheit = 0;
  const bool valid = ParseNumber(text, fahrenheit);
  text = valid ? NumberText((fahrenheit - 32) * 5 / 9, model->decimals) : std::string();
  return valid;
}

bool DeviceEngine::NamedText(const std::string& name, std::string& text) const {
  text.clear();
  for (const PointModel& model : m_model.points) {
    if (name.empty() || model.name != name) continue;
    PointText(model.id, text);
    return true;
  }
  return false;
}

bool DeviceEngine::EventText(uint16_t gddId, std::string& text) const {
  const EventModel* model = FindEvent(gddId);
  text = model == nullptr ? std::string() : model->text;
  return model != nullptr;
}

bool DeviceEngine::IsPoint(uint16_t point) const {
  return point == pld::kLabelPoint || FindPoint(point) != nullptr;
}

bool DeviceEngine::Report(uint16_t number, uint32_t& report) const {
  if (const PointModel* point = FindPoint(number)) {
    report = point->report;
  } else if (FindEvent(number) != nullptr) {
    report = number;
  } else {
    return false;
  }
  return true;
}

bool DeviceEngine::ModuleCount(uint32_t report, uint32_t& count) const {
  uint32_t largest = 0;
  for (const PointModel& point : m_model.points) {
    if (point.report == report) largest = std::max(largest, point.modules);
  }
  for (const EventModel& event : m_model.events) {
    if (event.gddId == report) largest = std::max(largest, event.modules);
  }
  if (largest == 0) return false;
  count = largest;
  return true;
}

std::vector<DeviceEngine::PointView> DeviceEngine::Points() const {
  std::vector<PointView> views;
  const MutexLock guard(m_mutex);
  for (const PointModel& point : m_model.points) {
    PointView view = {&point, ""};
    TextLocked(point, view.value);
    views.push_back(std::move(view));
  }
  return views;
}

std::vector<DeviceEngine::EventView> DeviceEngine::Events() const {
  std::vector<EventView> views;
  const MutexLock guard(m_mutex);
  for (const EventModel& event : m_model.events) {
    for (uint32_t i = 0; i < event.modules; ++i) {
      const auto module = static_cast<uint16_t>(i);
      const auto active = m_active.find({event.gddId, module});
      views.push_back({&event, module, active == m_active.end() ? kCleared : active->second});
    }
  }
  return views;
}

Problem DeviceEngine::SetPoint(uint16_t point, const std::string& value) {
  const PointModel* model = FindPoint(point);
  if (model == nullptr) return Problem("unknown point " + std::to_string(point));
  if (model->source) {
    return Problem("point " + std::to_string(point) + " has a source of its own");
  }
  if (value.size() > kLongestValue) {
    return Problem("a value is at most " + std::to_string(kLongestValue) + " bytes long");
  }
  if (value.find('\0') != std::string::npos) return Problem("a value holds no NUL byte");
  const MutexLock guard(m_mutex);
  SetValueLocked(*model, Point{value, Point::State::kKnown});
  return {};
}

void DeviceEngine::SetFromSource(uint16_t point, const std::string* value) {
  const PointModel* model = FindPoint(point);
  if (model == nullptr) return;
  const MutexLock guard(m_mutex);
  SetValueLocked(*model, value == nullptr
                             ? Point{"", Point::State::kMissing}
                             : Point{value->substr(0, kLongestValue), Point::State::kKnown});
}

void DeviceEngine::SetValueLocked(const PointModel& point, Point next) {
  Point& current = m_points.at(point.id);
  if (current.state == next.state && current.value == next.value) return;
  // A value that was never known cannot be lost: no change is sent.
  const bool seen = next.state == Point::State::kKnown || current.state == Point::State::kKnown;
  current = std::move(next);
  if (seen && m_covCallback != nullptr) m_valueChanges.Put(point.id, current.value);
  ApplyRulesLocked(point, false);
}

void DeviceEngine::ApplyRulesLocked(const PointModel& point, bool starting) {
  const Point& current = m_points.at(point.id);
  if (current.state == Point::State::kUnread) return;
  const auto [begin, end] = m_rules.equal_range(point.id);
  for (auto rule = begin; rule != end; ++rule) ApplyRuleLocked(*rule->second, current, starting);
}

void DeviceEngine::ApplyRuleLocked(const EventModel& event, const Point& point, bool starting) {
  const EventKey key = {event.gddId, 0};
  const bool active = m_active.count(key) != 0;
  const RuleResult result = Evaluate(*event.when, point.value);
  if (result == RuleResult::kRaise && !active) {
    if (starting) {
      m_active[key] = event.when->state;
    } else {
      SetStateLocked(key, event.when->state);
    }
  } else if (result == RuleResult::kClear && active && !starting) {
    SetStateLocked(key, kCleared);
  }
}

Problem DeviceEngine::SetEvent(uint16_t gddId, uint32_t module, uint16_t state) {
  const EventModel* model = FindEvent(gddId);
  if (model == nullptr) return Problem("unknown event " + std::to_string(gddId));
  if (module >= model->modules) {
    return Problem("event " + std::to_string(gddId) + " has no module " + std::to_string(module));
  }
  const MutexLock guard(m_mutex);
  SetStateLocked({gddId, static_cast<uint16_t>(module)}, state);
  return {};
}

void DeviceEngine::SetStateLocked(EventKey key, uint16_t state) {
  const auto active = m_active.find(key);
  if ((active == m_active.end() ? kCleared : active->second) == state) return;
  if (state == kCleared) {
    m_active.erase(active);
  } else {
    m_active[key] = state;
  }
  m_eventChanges.Put(key, state);
}

void DeviceEngine::RegisterEvents(LxPldProxy::EventCallback callback) {
  const MutexLock guard(m_mutex);
  m_eventCallback = callback;
}

void DeviceEngine::RegisterCovs(LxPldProxy::CovCallback callback) {
  const MutexLock guard(m_mutex);
  m_covCallback = callback;
}

bool DeviceEngine::DispatchEvent() {
  LxPldEventNotification notification = {};
  LxPldProxy::EventCallback callback = nullptr;
  bool more = false;
  {
    const MutexLock guard(m_mutex);
    if (m_eventCallback == nullptr || m_eventChanges.IsEmpty()) return false;
    callback = m_eventCallback;
    const auto [key, state] = m_eventChanges.Take();
    notification.gddId = key.first;
    notification.module = key.second;
    notification.eventState = state;
    more = !m_eventChanges.IsEmpty();
  }
  callback(0, &notification);
  return more;
}

bool DeviceEngine::DispatchCov() {
  char text[pld::kCovValueSize] = {};
  LxPldCovNotification notification = {};
  LxPldProxy::CovCallback callback = nullptr;
  bool more = false;
  {
    const MutexLock guard(m_mutex);
    if (m_covCallback == nullptr || m_valueChanges.IsEmpty()) return false;
    callback = m_covCallback;
    const auto [point, value] = m_valueChanges.Take();
    const uint16_t reading = TenfoldReading(value);
    text[0] = static_cast<char>(reading >> 8);
    text[1] = static_cast<char>(reading & 0xff);
    std::copy_n(value.begin(), std::min(value.size(), kLongestValue), text + 2);
    notification.pointId = point;
    more = !m_valueChanges.IsEmpty();
  }
  notification.valueText = text;
  callback(0, &notification);
  return more;
}

void DeviceEngine::ActiveEvents(LxPldProxy::ActiveEventsCallback callback) {
  std::vector<LxPldProxy::ActiveEvent> events;
  {
    const MutexLock guard(m_mutex);
    for (const auto& [key, state] : m_active) events.push_back({key.second, key.first, state});
    // Without a callback the caller learns every state from this answer. With one it keeps its own
    // record from the changes, and must miss none.
    if (m_eventCallback == nullptr) m_eventChanges.Clear();
  }
  std::list<LxPldProxy::ActiveEvent*> list;
  for (LxPldProxy::ActiveEvent& event : events) list.push_back(&event);
  callback(0, list);
}

}  // namespace host
