// SPDX-License-Identifier: Apache-2.0
// Events: storing a posted one, listing them with filters, showing one.
#include "service/redfish/Events.h"

#include <strings.h>

#include <algorithm>
#include <cstddef>
#include <utility>
#include <vector>

#include "service/http/ResourcePaths.h"
#include "service/redfish/Body.h"
#include "service/redfish/Collections.h"
#include "service/redfish/Shape.h"
#include "service/redfish/Views.h"
#include "service/redfish/schema/Types.h"
#include "service/store/Lists.h"
#include "service/util/Secret.h"

namespace cloudservice {

namespace {

// Bytes that an event may have in all, in each of its texts, and in each of what names something;
// and how many arguments. The daemon's are some hundred bytes in all.
constexpr std::size_t kMaxEvent = 64 * 1024;
constexpr std::size_t kMaxText = 16 * 1024;
constexpr std::size_t kMaxName = 1024;
constexpr std::size_t kMaxArguments = 100;

// A clearing event names the alarm that it clears in its fourth argument.
constexpr std::size_t kClearedAlarm = 3;

void CheckLength(const std::string& name, const std::string& text, std::size_t most) {
  if (text.size() <= most) return;
  throw WrongValue(name, "\"" + name + "\" has more than " + std::to_string(most) + " bytes.");
}

// As RequiredString(), for what names something.
std::string RequiredName(const Json& document, const std::string& name) {
  std::string text = RequiredString(document, name);
  CheckLength(name, text, kMaxName);
  return text;
}

void CheckArguments(const Json& document) {
  const auto found = document.find("MessageArgs");
  if (found == document.end()) return;
  if (!found->is_array()) throw WrongType("MessageArgs", *found, "\"MessageArgs\" is no array.");
  if (found->size() > kMaxArguments) {
    throw WrongValue("MessageArgs", "\"MessageArgs\" has more than " +
                                        std::to_string(kMaxArguments) + " elements.");
  }
  for (std::size_t i = 0; i < found->size(); ++i) {
    const Json& argument = found->at(i);
    if (argument.is_string()) {
      CheckLength("MessageArgs/" + std::to_string(i), argument.get_ref<const std::string&>(),
                  kMaxText);
    }
    if (!argument.is_string() && !argument.is_null()) {
      throw WrongType("MessageArgs/" + std::to_string(i), argument,
                      "\"MessageArgs\" has neither a string nor null at position " +
                          std::to_string(i + 1) + ".");
    }
  }
}

// The message identifier of the alarm that the event is about.
std::string AlarmOf(const Json& document, const EventRecord& event, EventKind kind) {
  if (kind != EventKind::kClear) return event.messageId;
  const auto found = document.find("MessageArgs");
  if (found == document.end() || found->size() <= kClearedAlarm ||
      !found->at(kClearedAlarm).is_string()) {
    throw WrongValue("MessageArgs",
                     "\"MessageArgs\" does not name the cleared alarm at position 4.");
  }
  auto alarm = found->at(kClearedAlarm).get<std::string>();
  CheckLength("MessageArgs/" + std::to_string(kClearedAlarm), alarm, kMaxName);
  return alarm;
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

// The identifier of the chassis that the event is about; empty for an event about something else.
std::string OriginChassis(const Call& call, Transaction& store, EventKind kind) {
  static const std::string kPrefix = ChassisPath("");
  std::string origin;
  const auto found = call.body.find("OriginOfCondition");
  if (found != call.body.end()) {
    if (!found->is_object()) {
      throw WrongType("OriginOfCondition", *found, "\"OriginOfCondition\" is no object.");
    }
    origin = OptionalString(*found, "@odata.id").value_or("");
  }
  if (origin.rfind(kPrefix, 0) != 0) {
    if (kind != EventKind::kAlarm && kind != EventKind::kClear) return "";
    throw WrongValue("OriginOfCondition", "\"OriginOfCondition\" names no chassis.");
  }
  std::string id = origin.substr(kPrefix.size(), origin.find('/', kPrefix.size()) - kPrefix.size());
  if (!store.HasChassis(call.owner->uuid, id)) {
    throw WrongValue("OriginOfCondition",
                     "\"OriginOfCondition\" names a chassis that this manager has not.");
  }
  return id;
}

// The key under which the appliance posts; empty when it names none. One that does not know whether
// its post has arrived repeats it with the same key.
std::string KeyOf(const Request& request) {
  constexpr std::size_t kMaxKey = 200;
  const auto isKey = [](const auto& header) {
    return strcasecmp(header.first.c_str(), "Message-Key") == 0;
  };
  if (std::none_of(request.headers.begin(), request.headers.end(), isKey)) return "";
  std::string key = request.Header("Message-Key");
  const auto isVisible = [](char c) { return c > ' ' && c <= '~'; };
  if (key.empty() || key.size() > kMaxKey || !std::all_of(key.begin(), key.end(), isVisible)) {
    throw Refusal(400, "Message-Key is not one to " + std::to_string(kMaxKey) +
                           " visible characters of ASCII.");
  }
  return key;
}

std::string EventLine(const EventRecord& event, const std::string& text, const std::string& alarm,
                      AlarmOutcome outcome) {
  const std::string where = event.chassis.empty() ? "" : " on chassis " + event.chassis;
  const std::string full = alarm + " " + event.severity + " \"" + text + "\"" + where;
  switch (outcome) {
    case AlarmOutcome::kOpened:
      return "alarm open: " + full;
    case AlarmOutcome::kChanged:
      return "alarm changed: " + full;
    case AlarmOutcome::kRepeated:
      return "alarm repeated: " + full;
    case AlarmOutcome::kClosed:
      return "alarm closed: " + alarm + where;
    case AlarmOutcome::kNotOpen:
      return "alarm cleared that was not open: " + alarm + where;
    case AlarmOutcome::kNone:
      break;
  }
  return "message: " + full;
}

Json EventView(const Call& call, Transaction& store, const EventRecord& event) {
  Json sent = ParseStored(event.document);
  if (!sent.contains("Name")) sent["Name"] = "Event " + std::to_string(event.id);
  sent["Received"] = RedfishTime(event.received);
  return ShapedFor(call, store, call.owner->uuid, types::kEvent, EventPath(event.id), sent);
}

// The answer to a post that repeats the one that stored the event, which may be gone.
Answer Repeated(const Call& call, Transaction& store, std::int64_t id) {
  const auto event = store.FindEvent(call.owner->uuid, id);
  Answer answer = Created(event ? EventView(call, store, *event) : Json());
  if (!event) answer.headers = {{"Location", EventPath(id)}};
  answer.lines = {"event posted again: " + EventPath(id)};
  return answer;
}

// A page of all events. The link to the next page names the last event of this page: events that
// are added or removed meanwhile do not move that place.
Json CollectionOf(const Call& call, Transaction& store) {
  EventPage page;
  page.manager = call.owner->uuid;
  const auto count = static_cast<std::size_t>(store.CountEvents(page.manager));
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
  std::vector<std::int64_t> ids = store.ListEventPage(page);
  const bool more = ids.size() > size;
  ids.resize(std::min(ids.size(), size));
  std::vector<std::string> paths;
  paths.reserve(ids.size());
  for (const std::int64_t id : ids) paths.push_back(EventPath(id));
  // An empty page ($top=0) has no next page: the link would lead to the same page.
  const std::string next =
      more && !ids.empty() ? PageAt(call.query, "after=" + std::to_string(ids.back())) : "";
  return CollectionPage(kEventsPath, types::kEventCollection, "Events", count, paths, next);
}

// With a filter the answer is a bare array of all events that pass it, as appliances expect;
// without one it is a collection.
Answer ListEvents(const Call& call, Transaction& store) {
  EventFilter filter;
  filter.manager = call.owner->uuid;
  filter.chassis = call.target.Value("OriginOfCondition");
  filter.cleared = ClearedOf(call.target);
  filter.severity = call.target.Value("Severity");
  const bool filtered = filter.chassis || filter.cleared || filter.severity;
  if (!filtered) return Found(CollectionOf(call, store));
  if (!call.query.Empty() || call.target.Value("after")) {
    throw Refusal(400, {"QueryCombinationInvalid", {}},
                  "A filtered list takes neither \"after\" nor the options that begin with $.");
  }
  Json list = Json::array();
  const auto add = [&](std::int64_t id) { list.push_back(Reference(EventPath(id))); };
  ForEach(store, add, &Transaction::ListEvents, filter);
  return Found(std::move(list));
}

Answer GetEvent(const Call& call, Transaction& store) {
  const std::optional<std::int64_t> id = EventNumber(call.names.at(0));
  const auto event = id ? store.FindEvent(call.owner->uuid, *id) : std::nullopt;
  if (!event) throw NothingAt(call.target.Path());
  return Found(EventView(call, store, *event));
}

}  // namespace

void Events::AddTo(Routes& routes) const {
  routes.Add("POST", ManagerPath("*") + "/Oem/Quorvan:Events",
             {Access::kItsManager, QueryUse::kNone,
              [*this](const Call& call, Transaction& store) { return Post(call, store); }});
  routes.Add("GET", kEventsPath, {Access::kAppliance, QueryUse::kCollection, ListEvents});
  routes.Add("GET", std::string(kEventsPath) + "/*",
             {Access::kAppliance, QueryUse::kResource, GetEvent});
}

Answer Events::Post(const Call& call, Transaction& store) const {
  const std::string key = KeyOf(call.request);
  if (key.empty()) return Add(call, store).answer;
  const std::string digest = Sha256Hex(call.request.body);
  const auto message = store.FindMessage(call.owner->uuid, key);
  if (message && message->digest != digest) {
    throw Refusal(409, "Another event was posted with this Message-Key.");
  }
  if (message) return Repeated(call, store, message->event);
  Added added = Add(call, store);
  store.AddMessage(call.owner->uuid, {key, digest, added.event.id, added.event.received});
  return std::move(added.answer);
}

Events::Added Events::Add(const Call& call, Transaction& store) const {
  if (call.request.body.size() > kMaxEvent) {
    throw Refusal(413, "An event may have " + std::to_string(kMaxEvent) + " bytes.");
  }
  const Json& document = call.body;
  EventRecord event;
  event.manager = call.owner->uuid;
  event.messageId = RequiredName(document, "MessageId");
  event.severity = RequiredName(document, "Severity");
  event.document = call.request.body;
  event.received = m_clock();
  CheckArguments(document);
  OptionalString(document, "Created");
  const auto message = document.find("Message");
  if (message == document.end()) throw Missing("Message");
  if (!message->is_string()) throw WrongType("Message", *message, "\"Message\" is no string.");
  CheckLength("Message", message->get_ref<const std::string&>(), kMaxText);

  const EventKind kind = KindOf(event.messageId, event.severity);
  const std::string alarm = AlarmOf(document, event, kind);
  event.chassis = OriginChassis(call, store, kind);
  const StoredEvent stored = store.AddEvent(event, alarm);
  m_quota.CheckEvent(*call.owner, store, stored, event.received);
  event.id = stored.id;
  Answer answer = Created(EventView(call, store, event));
  answer.lines = {EventLine(event, message->get<std::string>(), alarm, stored.outcome)};
  return {std::move(event), std::move(answer)};
}

}  // namespace cloudservice
