// SPDX-License-Identifier: Apache-2.0
// JSON views of records for operators.
#include "service/api/Views.h"

#include "service/util/Clock.h"

namespace cloudservice {

namespace {

Json ArgumentsView(const Json& document) {
  Json arguments = Json::array();
  const auto found = document.find("MessageArgs");
  if (found == document.end() || !found->is_array()) return arguments;
  for (const Json& argument : *found) {
    arguments.push_back(argument.is_string() ? argument : Json());
  }
  return arguments;
}

std::string TextOf(const Json& object, const char* name) {
  return TextMember(object, name).value_or("");
}

// The time that an event itself gives, in UTC; null when its instant is not known. A bare "Z" does
// not count as an offset, since appliances write it after a local time.
Json CreatedTime(const Json& created) {
  if (!created.is_string()) return nullptr;
  const auto text = created.get<std::string>();
  if (text.empty() || text.back() == 'Z') return nullptr;
  return TimeOrNull(ParseTime(text));
}

}  // namespace

Json TimeOrNull(const std::optional<std::int64_t>& time) {
  if (!time) return nullptr;
  return UtcTime(*time);
}

Json CountsView(const AlarmCounts& counts) {
  Json view = Json::object();
  for (std::size_t i = 0; i < counts.size(); ++i) view[kSeverityNames.at(i)] = counts.at(i);
  return view;
}

std::optional<Severity> Worst(const AlarmCounts& counts) {
  for (std::size_t i = 0; i < counts.size(); ++i) {
    if (counts.at(i) > 0) return static_cast<Severity>(i);
  }
  return std::nullopt;
}

Json ApplianceView(const ApplianceRecord& appliance, std::int64_t now) {
  const auto state = static_cast<std::size_t>(StateOf(appliance, now));
  const std::optional<Severity> worst = Worst(appliance.alarms);
  Json view = {{"uuid", appliance.uuid},
               {"name", appliance.shown.name},
               {"model", OrNull(appliance.shown.model)},
               {"serial", OrNull(appliance.shown.serial)},
               {"firmware", OrNull(appliance.shown.firmware)},
               {"address", appliance.address.empty() ? Json() : Json(appliance.address)},
               {"account", OrNull(appliance.email)},
               {"state", kStateNames.at(state)},
               {"registered", UtcTime(appliance.registered)},
               {"lastHeartbeat", TimeOrNull(appliance.heartbeat.last)},
               {"interval", OrNull(appliance.heartbeat.interval)},
               {"chassis", OrNull(appliance.chassis)},
               {"alarms", CountsView(appliance.alarms)},
               {"worst", nullptr}};
  if (worst) view["worst"] = kSeverityNames.at(static_cast<std::size_t>(*worst));
  return view;
}

Json AlarmView(const AlarmRecord& alarm) {
  const Json document = ParseStored(alarm.document);
  return {{"id", alarm.id},
          {"event", alarm.event},
          {"severity", kSeverityNames.at(static_cast<std::size_t>(SeverityOf(alarm.severity)))},
          {"message", TextOf(document, "Message")},
          {"messageId", alarm.messageId},
          {"origin", alarm.chassis},
          {"opened", UtcTime(alarm.opened)},
          {"args", ArgumentsView(document)}};
}

Json EventView(const LoggedEvent& entry) {
  static constexpr std::array<const char*, 4> kKinds = {"alarm", "clear", "message", "point"};
  const EventRecord& event = entry.event;
  const Json document = ParseStored(event.document);
  const Json created = TextOrNull(document, "Created");
  return {{"id", event.id},
          {"received", UtcTime(event.received)},
          {"created", created},
          {"time", CreatedTime(created)},
          {"kind", kKinds.at(static_cast<std::size_t>(event.kind))},
          {"severity", event.severity},
          {"message", TextOf(document, "Message")},
          {"messageId", event.messageId},
          {"origin", event.chassis.empty() ? Json() : Json(event.chassis)},
          {"args", ArgumentsView(document)},
          {"cleared", entry.cleared}};
}

Json TextOrNull(const Json& object, const char* name) { return OrNull(TextMember(object, name)); }

std::vector<std::string_view> TextsOf(const Json& object,
                                      std::initializer_list<const char*> names) {
  std::vector<std::string_view> texts;
  for (const char* const name : names) {
    const auto member = object.find(name);
    if (member != object.end() && member->is_string()) {
      texts.push_back(member->get_ref<const std::string&>());
    }
  }
  return texts;
}

Response ApiAnswer(unsigned status, const Json& document) {
  Response response;
  response.status = status;
  response.body = CompactText(document);
  return response;
}

}  // namespace cloudservice
