// SPDX-License-Identifier: Apache-2.0
// Requests of the control socket and their answers.
#include "host/device/ControlProtocol.h"

#include <limits>
#include <memory>

#include "host/device/EventStates.h"
#include "host/util/Json.h"
#include "host/util/Log.h"
#include "host/util/RequestRing.h"

namespace host {
namespace {

std::string Dumped(const json_t* value) { return DumpedJson(value, JSON_COMPACT); }

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

// A file's path, or the source that it belongs to, or its kind.
const std::string& SourceName(const PointSource& source) {
  if (!source.path.empty()) return source.path;
  return source.module.from.empty() ? source.module.type : source.module.from;
}

JsonRef PointJson(const DeviceEngine::PointView& view) {
  const PointModel& model = *view.model;
  JsonRef point(json_object());
  PutJson(point.get(), "id", JsonRef(json_integer(model.id)));
  PutJson(point.get(), "name", JsonString(model.name));
  PutJson(point.get(), "value", JsonString(view.value));
  PutJson(point.get(), "unit", JsonString(model.unit));
  PutJson(point.get(), "modules", JsonRef(json_integer(model.modules)));
  PutJson(point.get(), "report", JsonRef(json_integer(model.report)));
  if (model.source) {
    PutJson(point.get(), "source", JsonString(SourceName(*model.source)));
  }
  return point;
}

JsonRef EventJson(const DeviceEngine::EventView& view) {
  JsonRef event(json_object());
  PutJson(event.get(), "gdd", JsonRef(json_integer(view.model->gddId)));
  PutJson(event.get(), "module", JsonRef(json_integer(view.module)));
  PutJson(event.get(), "state", JsonRef(json_string(EventStateText(view.state))));
  PutJson(event.get(), "text", JsonString(view.model->text));
  return event;
}

std::string List(const DeviceEngine& engine) {
  const DeviceModel& model = engine.Model();
  JsonRef answer(json_object());
  PutJson(answer.get(), "ok", JsonRef(json_true()));
  PutJson(answer.get(), "velocityId", JsonRef(json_integer(model.velId)));
  PutJson(answer.get(), "label", JsonString(model.label));
  PutJson(answer.get(), "psi", model.psi ? JsonString(*model.psi) : JsonRef(json_null()));
  JsonRef points(json_array());
  for (const auto& view : engine.Points()) AppendJson(points.get(), PointJson(view));
  PutJson(answer.get(), "points", std::move(points));
  JsonRef events(json_array());
  for (const auto& view : engine.Events()) AppendJson(events.get(), EventJson(view));
  PutJson(answer.get(), "events", std::move(events));
  return Dumped(answer.get());
}

std::string Messages() {
  JsonRef answer(json_object());
  PutJson(answer.get(), "ok", JsonRef(json_true()));
  JsonRef messages(json_array());
  for (const LogMessage& message : RecentMessages()) {
    JsonRef entry(json_object());
    PutJson(entry.get(), "time", JsonRef(json_string(message.time.c_str())));
    PutJson(entry.get(), "level", JsonRef(json_integer(message.level)));
    PutJson(entry.get(), "unit", AnyText(message.unit));
    PutJson(entry.get(), "text", AnyText(message.text));
    AppendJson(messages.get(), std::move(entry));
  }
  PutJson(answer.get(), "messages", std::move(messages));
  return Dumped(answer.get());
}

// The requests of the daemon since a number, which asking has it keep from now on.
std::string Requests(const json_t* request) {
  const json_t* since = json_object_get(request, "since");
  if (!json_is_integer(since) || json_integer_value(since) < 0) {
    return ControlError("\"since\" is not a number of a request, or 0");
  }
  JsonRef answer(json_object());
  PutJson(answer.get(), "ok", JsonRef(json_true()));
  JsonRef requests(json_array());
  uint64_t newest = 0;
  for (const SeenRequest& seen :
       RequestsSince(static_cast<uint64_t>(json_integer_value(since)), newest)) {
    JsonRef entry(json_object());
    PutJson(entry.get(), "number", JsonRef(json_integer(static_cast<json_int_t>(seen.number))));
    PutJson(entry.get(), "time", JsonString(seen.time));
    PutJson(entry.get(), "method", AnyText(seen.method));
    PutJson(entry.get(), "url", AnyText(seen.url));
    PutJson(entry.get(), "status", JsonRef(json_integer(seen.status)));
    PutJson(entry.get(), "milliseconds", JsonRef(json_integer(seen.milliseconds)));
    PutJson(entry.get(), "problem", AnyText(seen.problem));
    AppendJson(requests.get(), std::move(entry));
  }
  PutJson(answer.get(), "newest", JsonRef(json_integer(static_cast<json_int_t>(newest))));
  PutJson(answer.get(), "requests", std::move(requests));
  return Dumped(answer.get());
}

}  // namespace

std::string ControlError(const std::string& text) {
  JsonRef answer(json_object());
  PutJson(answer.get(), "ok", JsonRef(json_false()));
  JsonRef error = JsonString(text);
  if (error == nullptr) error.reset(json_string("out of memory"));
  PutJson(answer.get(), "error", std::move(error));
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
  if (name == "requests") return Requests(request.get());
  return ControlError("unknown op \"" + name + "\"");
}

}  // namespace host
