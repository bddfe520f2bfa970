// SPDX-License-Identifier: Apache-2.0
// Requests of the control socket and their answers.
#include "host/device/ControlProtocol.h"

#include <algorithm>
#include <cstdlib>
#include <limits>
#include <memory>

#include "host/device/EventStates.h"
#include "host/util/Json.h"
#include "host/util/Log.h"

namespace host {
namespace {

std::string Dumped(const json_t* value) {
  std::unique_ptr<char, decltype(&std::free)> text(json_dumps(value, JSON_COMPACT), &std::free);
  return text == nullptr ? R"({"ok":false,"error":"out of memory"})" : text.get();
}

std::string Done(const Problem& problem) {
  return problem ? ControlError(problem.Text()) : R"({"ok":true})";
}

// A member that is an integer of 0 to 65535.
Problem Number16(const json_t* request, const char* key, uint16_t& number) {
  const json_t* value = json_object_get(request, key);
  const json_int_t wide = json_integer_value(value);
  if (!json_is_integer(value) || wide < 0 || wide > std::numeric_limits<uint16_t>::max()) {
    return Problem("\"" + std::string(key) + "\" is not an integer from 0 to 65535");
  }
  number = static_cast<uint16_t>(wide);
  return {};
}

std::string Set(DeviceEngine& engine, const json_t* request) {
  uint16_t point = 0;
  if (Problem problem = Number16(request, "point", point)) return ControlError(problem.Text());
  const json_t* value = json_object_get(request, "value");
  if (!json_is_string(value)) return ControlError("\"value\" is not a text");
  return Done(engine.SetPoint(point, JsonText(value)));
}

std::string Change(DeviceEngine& engine, const json_t* request, uint16_t state) {
  uint16_t gddId = 0;
  uint16_t module = 0;
  Problem problem = Number16(request, "gdd", gddId);
  if (!problem && json_object_get(request, "module") != nullptr) {
    problem = Number16(request, "module", module);
  }
  if (problem) return ControlError(problem.Text());
  return Done(engine.SetEvent(gddId, module, state));
}

std::string Raise(DeviceEngine& engine, const json_t* request) {
  uint16_t state = kAlarm;
  const json_t* text = json_object_get(request, "state");
  if (text != nullptr && (!EventStateOf(JsonText(text), state) || state == kCleared)) {
    return ControlError("\"state\" is none of Message, Warning, Alarm, Fault");
  }
  return Change(engine, request, state);
}

JsonRef PointJson(const DeviceEngine::PointView& view) {
  const PointModel& model = *view.model;
  JsonRef point(json_object());
  json_object_set_new(point.get(), "id", json_integer(model.id));
  json_object_set_new(point.get(), "name", JsonString(model.name).release());
  json_object_set_new(point.get(), "value", JsonString(view.value).release());
  json_object_set_new(point.get(), "unit", JsonString(model.unit).release());
  json_object_set_new(point.get(), "modules", json_integer(model.modules));
  json_object_set_new(point.get(), "report", json_integer(model.report));
  if (model.source) {
    json_object_set_new(point.get(), "source", JsonString(model.source->path).release());
  }
  return point;
}

JsonRef EventJson(const DeviceEngine::EventView& view) {
  JsonRef event(json_object());
  json_object_set_new(event.get(), "gdd", json_integer(view.model->gddId));
  json_object_set_new(event.get(), "module", json_integer(view.module));
  json_object_set_new(event.get(), "state", json_string(EventStateText(view.state)));
  json_object_set_new(event.get(), "text", JsonString(view.model->text).release());
  return event;
}

std::string List(const DeviceEngine& engine) {
  const DeviceModel& model = engine.Model();
  JsonRef answer(json_object());
  json_object_set_new(answer.get(), "ok", json_true());
  json_object_set_new(answer.get(), "velocityId", json_integer(model.velId));
  json_object_set_new(answer.get(), "label", JsonString(model.label).release());
  json_object_set_new(answer.get(), "psi",
                      model.psi ? JsonString(*model.psi).release() : json_null());
  json_t* points = json_array();
  for (const auto& view : engine.Points()) json_array_append_new(points, PointJson(view).release());
  json_object_set_new(answer.get(), "points", points);
  json_t* events = json_array();
  for (const auto& view : engine.Events()) json_array_append_new(events, EventJson(view).release());
  json_object_set_new(answer.get(), "events", events);
  return Dumped(answer.get());
}

// A text that perhaps is not UTF-8, which JSON has to be.
JsonRef AnyText(const std::string& text) {
  JsonRef value = JsonString(text);
  if (value != nullptr) return value;
  std::string ascii = text;
  std::replace_if(
      ascii.begin(), ascii.end(), [](char c) { return static_cast<signed char>(c) < 0; }, '?');
  return JsonString(ascii);
}

std::string Messages() {
  JsonRef answer(json_object());
  json_object_set_new(answer.get(), "ok", json_true());
  json_t* messages = json_array();
  for (const LogMessage& message : RecentMessages()) {
    json_t* entry = json_object();
    json_object_set_new(entry, "time", json_string(message.time.c_str()));
    json_object_set_new(entry, "level", json_integer(message.level));
    json_object_set_new(entry, "unit", AnyText(message.unit).release());
    json_object_set_new(entry, "text", AnyText(message.text).release());
    json_array_append_new(messages, entry);
  }
  json_object_set_new(answer.get(), "messages", messages);
  return Dumped(answer.get());
}

}  // namespace

std::string ControlError(const std::string& text) {
  JsonRef answer(json_object());
  json_object_set_new(answer.get(), "ok", json_false());
  JsonRef error = JsonString(text);
  if (error == nullptr) error.reset(json_string("out of memory"));
  json_object_set_new(answer.get(), "error", error.release());
  return Dumped(answer.get());
}

std::string AnswerControlLine(DeviceEngine& engine, const std::string& line) {
  json_error_t where = {};
  JsonRef request(json_loadb(line.data(), line.size(), JSON_ALLOW_NUL | JSON_DECODE_ANY, &where));
  if (request == nullptr) {
    return ControlError("not JSON: column " + std::to_string(where.column) + ": " + where.text);
  }
  if (!json_is_object(request.get())) return ControlError("not a JSON object");
  const json_t* op = json_object_get(request.get(), "op");
  if (!json_is_string(op)) return ControlError("\"op\" is not a text");
  const std::string name = JsonText(op);
  if (name == "set") return Set(engine, request.get());
  if (name == "raise") return Raise(engine, request.get());
  if (name == "clear") return Change(engine, request.get(), kCleared);
  if (name == "list") return List(engine);
  if (name == "messages") return Messages();
  return ControlError("unknown op \"" + name + "\"");
}

}  // namespace host
