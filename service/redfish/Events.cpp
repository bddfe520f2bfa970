// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <array>

#include "service/redfish/Body.h"
#include "service/redfish/Refusal.h"
#include "service/redfish/Service.h"
#include "service/util/Text.h"

namespace cloudservice {

namespace {

// An event with this identifier clears the alarm that its fourth argument names.
constexpr const char* kClearing = "258";
constexpr std::size_t kClearedAlarm = 3;

constexpr const char* kEvents = "/redfish/v1/Oem/Quorvan:Events";

std::string EventPath(std::int64_t id) { return kEvents + ("/" + std::to_string(id)); }

AlarmEffect EffectOf(const EventRecord& event) {
  if (event.messageId == kClearing) return AlarmEffect::kClear;
  static const std::array<std::string, 3> kNoAlarm = {"message", "cleared", "ok"};
  const std::string severity = Lower(event.severity);
  const bool told = std::find(kNoAlarm.begin(), kNoAlarm.end(), severity) != kNoAlarm.end();
  return told ? AlarmEffect::kNone : AlarmEffect::kRaise;
}

void CheckArguments(const Json& document) {
  const auto found = document.find("MessageArgs");
  if (found == document.end()) return;
  if (!found->is_array()) throw WrongType("MessageArgs", *found, "\"MessageArgs\" is no array.");
  for (std::size_t i = 0; i < found->size(); ++i) {
    const Json& argument = found->at(i);
    if (!argument.is_string() && !argument.is_null()) {
      throw WrongType("MessageArgs/" + std::to_string(i), argument,
                      "\"MessageArgs\" has neither a string nor null at position " +
                          std::to_string(i + 1) + ".");
    }
  }
}

std::string AlarmOf(const Json& document, const EventRecord& event, AlarmEffect effect) {
  if (effect != AlarmEffect::kClear) return event.messageId;
  const auto found = document.find("MessageArgs");
  if (found == document.end() || found->size() <= kClearedAlarm ||
      !found->at(kClearedAlarm).is_string()) {
    throw WrongValue("MessageArgs",
                     "\"MessageArgs\" does not name the cleared alarm at position 4.");
  }
  return found->at(kClearedAlarm).get<std::string>();
}

std::optional<bool> ClearedOf(const Target& target) {
  const std::optional<std::string> text = target.Value("Cleared");
  if (!text) return std::nullopt;
  if (*text != "true" && *text != "false") {
    throw Refusal(400, {"QueryParameterValueFormatError", {*text, "Cleared"}},
                  "Cleared takes true or false.");
  }
  return *text == "true";
}

std::optional<std::int64_t> EventNumber(const std::string& text) {
  constexpr std::size_t kMaxDigits = 18;
  if (text.empty() || text.size() > kMaxDigits || text.front() == '0') return std::nullopt;
  if (text.find_first_not_of("0123456789") != std::string::npos) return std::nullopt;
  return std::stoll(text);
}

}  // namespace

// The identifier of the chassis that the event is about; empty for an event about something else.
std::string RedfishService::OriginChassis(const Call& call, const Json& document,
                                          AlarmEffect effect) {
  static const std::string kPrefix = "/redfish/v1/Chassis/";
  std::string origin;
  const auto found = document.find("OriginOfCondition");
  if (found != document.end()) {
    if (!found->is_object()) {
      throw WrongType("OriginOfCondition", *found, "\"OriginOfCondition\" is no object.");
    }
    origin = OptionalString(*found, "@odata.id").value_or("");
  }
  if (origin.rfind(kPrefix, 0) != 0) {
    if (effect == AlarmEffect::kNone) return "";
    throw WrongValue("OriginOfCondition", "\"OriginOfCondition\" names no chassis.");
  }
  std::string id = origin.substr(kPrefix.size(), origin.find('/', kPrefix.size()) - kPrefix.size());
  if (!m_store.HasChassis(call.owner->uuid, id)) {
    throw WrongValue("OriginOfCondition",
                     "\"OriginOfCondition\" names a chassis that this manager has not.");
  }
  return id;
}

Response RedfishService::PostEvent(const Call& call) {
  RequireOwn(call, call.names.at(0));
  const Json document = ParseBody(call.request.body);
  EventRecord event;
  event.manager = call.owner->uuid;
  event.messageId = RequiredString(document, "MessageId");
  event.severity = RequiredString(document, "Severity");
  event.document = call.request.body;
  event.received = m_clock();
  CheckArguments(document);
  OptionalString(document, "Created");
  const auto message = document.find("Message");
  if (message == document.end()) throw Missing("Message");
  if (!message->is_string()) throw WrongType("Message", *message, "\"Message\" is no string.");

  const AlarmEffect effect = EffectOf(event);
  const std::string alarm = AlarmOf(document, event, effect);
  event.chassis = OriginChassis(call, document, effect);
  const StoredEvent stored = m_store.AddEvent(event, effect, alarm);
  event.id = stored.id;
  LogEvent(event, message->get<std::string>(), alarm, stored.outcome);
  return CreatedResponse(EventView(call, event));
}

void RedfishService::LogEvent(const EventRecord& event, const std::string& text,
                              const std::string& alarm, AlarmOutcome outcome) const {
  const std::string where = event.chassis.empty() ? "" : " on chassis " + event.chassis;
  const std::string full = alarm + " " + event.severity + " \"" + text + "\"" + where;
  switch (outcome) {
    case AlarmOutcome::kOpened:
      return m_log.Line("alarm open: " + full);
    case AlarmOutcome::kChanged:
      return m_log.Line("alarm changed: " + full);
    case AlarmOutcome::kRepeated:
      return m_log.Line("alarm repeated: " + full);
    case AlarmOutcome::kClosed:
      return m_log.Line("alarm closed: " + alarm + where);
    case AlarmOutcome::kNotOpen:
      return m_log.Line("alarm cleared that was not open: " + alarm + where);
    case AlarmOutcome::kNone:
      return m_log.Line("message: " + full);
  }
}

// With a filter a bare array of all that there are, as appliances expect it; else a collection.
Response RedfishService::ListEvents(const Call& call) {
  EventFilter filter;
  filter.manager = call.owner->uuid;
  filter.chassis = call.target.Value("OriginOfCondition");
  filter.cleared = ClearedOf(call.target);
  filter.severity = call.target.Value("Severity");
  const bool filtered = filter.chassis || filter.cleared || filter.severity;
  if (filtered && (!call.query.Empty() || call.target.Value("after"))) {
    throw Refusal(400, {"QueryCombinationInvalid", {}},
                  "A filtered list takes neither \"after\" nor the options that begin with $.");
  }
  if (!filtered) return JsonResponse(200, EventsView(call));
  Json list = Json::array();
  for (const std::int64_t id : m_store.ListEvents(filter)) list.push_back(Reference(EventPath(id)));
  return JsonResponse(200, list);
}

// A page leads to the next by its last event, which nothing that comes or goes meanwhile moves.
Json RedfishService::EventsView(const Call& call) {
  EventPage page;
  page.manager = call.owner->uuid;
  const auto count = static_cast<std::size_t>(m_store.CountEvents(page.manager));
  if (const auto after = call.target.Value("after")) {
    if (call.query.skip) {
      throw Refusal(400, {"QueryCombinationInvalid", {}}, "\"after\" goes without $skip.");
    }
    page.after = AfterOf(*after);
  } else {
    page.skip = static_cast<std::int64_t>(PageOf(call.query, count).first);
  }
  const std::size_t size = PageSize(call.query);
  page.limit = static_cast<std::int64_t>(size) + 1;
  std::vector<std::int64_t> ids = m_store.ListEventPage(page);
  const bool more = ids.size() > size;
  ids.resize(std::min(ids.size(), size));
  std::vector<std::string> paths;
  paths.reserve(ids.size());
  for (const std::int64_t id : ids) paths.push_back(EventPath(id));
  // An empty page leads nowhere, least of all to itself.
  const std::string next =
      more && !ids.empty() ? PageAt(call.query, "after=" + std::to_string(ids.back())) : "";
  return CollectionPage(kEvents, types::kEventCollection, "Events", count, paths, next);
}

Response RedfishService::GetEvent(const Call& call) {
  const std::optional<std::int64_t> id = EventNumber(call.names.at(0));
  const auto event = id ? m_store.FindEvent(call.owner->uuid, *id) : std::nullopt;
  if (!event) throw NothingAt(call.target.Path());
  return JsonResponse(200, EventView(call, *event));
}

Json RedfishService::EventView(const Call& call, const EventRecord& event) {
  Json sent = ParseStored(event.document);
  if (!sent.contains("Name")) sent["Name"] = "Event " + std::to_string(event.id);
  sent["Received"] = RedfishTime(event.received);
  return ShapedFor(call, *call.owner, types::kEvent, EventPath(event.id), sent);
}

}  // namespace cloudservice
