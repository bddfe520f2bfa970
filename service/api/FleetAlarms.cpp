// SPDX-License-Identifier: Apache-2.0
// The alarms of all appliances, and who looks after them.
#include <algorithm>
#include <charconv>

#include "service/api/Api.h"
#include "service/api/Body.h"
#include "service/api/Error.h"
#include "service/api/Views.h"
#include "service/util/Clock.h"

namespace cloudservice {

namespace {

using Kind = AlarmName::Kind;

// How many alarms one request searches for a text, so that it does not delay others for long.
constexpr std::int64_t kMaxLookedAt = 5000;
constexpr std::int64_t kBatch = 500;
constexpr std::size_t kMaxNote = 1000;
constexpr const char* kNoPlaceOfAlarm =
    "\"after\" is no \"next\" of a list of alarms in this state.";

std::string NameText(const AlarmName& name) {
  return (name.kind == Kind::kAlarm ? "a" : "s") + std::to_string(name.id);
}

std::optional<AlarmName> ParseName(const std::string& text) {
  AlarmName name;
  if (text.empty() || (text.front() != 'a' && text.front() != 's')) return std::nullopt;
  if (text.front() == 's') name.kind = Kind::kSilence;
  const char* const end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data() + 1, end, name.id);
  if (error != std::errc() || stop != end || name.id < 1) return std::nullopt;
  return name;
}

// "after" repeats "next" of an earlier answer: an array of the place.
std::string PlaceText(const AlarmPlace& place) {
  return CompactText(Json::array({place.rank, place.time, NameText(place.name)}));
}

AlarmPlace ParsePlace(const std::string& text, bool open) {
  const Json parts = Json::parse(text, nullptr, false);
  if (!parts.is_array() || parts.size() != 3 || !parts[0].is_number_integer() ||
      !parts[1].is_number_integer() || !parts[2].is_string()) {
    throw ApiError(400, kNoPlaceOfAlarm);
  }
  const auto name = ParseName(parts[2].get<std::string>());
  const auto rank = parts[0].get<std::int64_t>();
  const auto ranks = static_cast<std::int64_t>(open ? kSeverityNames.size() : 1);
  if (!name || rank < 0 || rank >= ranks) throw ApiError(400, kNoPlaceOfAlarm);
  return {rank, parts[1].get<std::int64_t>(), *name};
}

AlarmFilter FilterOf(const Query& query) {
  AlarmFilter filter;
  filter.open = query.OneOf("state", {"open", "ended"}).value_or("open") == "open";
  if (const auto word = query.OneOf("severity", {kSeverityNames.begin(), kSeverityNames.end()})) {
    const auto* const found = std::find(kSeverityNames.begin(), kSeverityNames.end(), *word);
    filter.severity = static_cast<Severity>(found - kSeverityNames.begin());
  }
  if (const auto word = query.OneOf("acknowledged", {"true", "false"})) {
    filter.acknowledged = *word == "true";
  }
  if (const auto word = query.OneOf("kind", {"alarm", "silence"})) {
    filter.kind = *word == "alarm" ? Kind::kAlarm : Kind::kSilence;
  }
  filter.manager = query.Word("uuid");
  if (const auto after = query.Text("after")) filter.after = ParsePlace(*after, filter.open);
  filter.limit = kBatch;
  return filter;
}

bool Holds(const Json& view, const Words& words) {
  std::vector<std::string_view> texts = TextsOf(view, {"name", "uuid", "message", "messageId"});
  for (const std::string_view text : TextsOf(view.at("acknowledged"), {"by", "note"})) {
    texts.push_back(text);
  }
  return words.AreIn(texts);
}

Json WordView(const std::optional<Acknowledgement>& word) {
  if (!word) return nullptr;
  return {{"time", UtcTime(word->time)}, {"by", word->by}, {"note", word->note}};
}

// What an alarm of an appliance tells; a silence tells the same members without a value.
Json ToldBy(const FleetAlarm& alarm) {
  if (alarm.name.kind == Kind::kAlarm) {
    return AlarmView({alarm.name.id, alarm.event, alarm.chassis, alarm.messageId,
                      kSeverityNames.at(static_cast<std::size_t>(alarm.severity)), alarm.document,
                      alarm.opened});
  }
  return {{"event", nullptr},
          {"severity", kSeverityNames.at(static_cast<std::size_t>(alarm.severity))},
          {"message", "No heartbeat"},
          {"messageId", nullptr},
          {"origin", nullptr},
          {"opened", UtcTime(alarm.opened)},
          {"args", Json::array()}};
}

Json FleetAlarmView(const FleetAlarm& alarm) {
  Json view = ToldBy(alarm);
  view["id"] = NameText(alarm.name);
  view["kind"] = alarm.name.kind == Kind::kAlarm ? "alarm" : "silence";
  view["uuid"] = alarm.manager;
  view["name"] = alarm.label;
  view["offline"] = TimeOrNull(alarm.offline);
  view["ended"] = TimeOrNull(alarm.closed);
  view["acknowledged"] = WordView(alarm.acknowledged);
  return view;
}

std::string NoteIn(const Json& body) {
  for (const auto& member : body.items()) {
    if (member.key() != "note") throw ApiError(400, "\"" + member.key() + "\" is unknown here.");
  }
  if (!body.contains("note")) return "";
  std::string note = RequiredText(body, "note");
  if (note.size() > kMaxNote) {
    throw ApiError(400, "\"note\" has more than " + std::to_string(kMaxNote) + " bytes.");
  }
  return note;
}

}  // namespace

Response OperatorApi::ListFleetAlarms(const Call& call) {
  const AlarmFilter whole = FilterOf(call.query);
  const auto limit = static_cast<std::size_t>(call.query.Limit());
  const Words words = call.query.Sought();
  if (whole.open) FindSilences();
  return m_store.Read([&](Transaction& store) {
    AlarmFilter filter = whole;
    Json items = Json::array();
    const auto page = [&](bool more) {
      Json next;
      if (more && filter.after) next = PlaceText(*filter.after);
      return ApiAnswer(200, {{"items", std::move(items)}, {"next", std::move(next)}});
    };
    bool more = true;
    for (std::int64_t lookedAt = 0; more && lookedAt < kMaxLookedAt; lookedAt += kBatch) {
      const std::vector<FleetAlarm> alarms = store.ListAlarms(filter);
      more = static_cast<std::int64_t>(alarms.size()) == kBatch;
      for (const FleetAlarm& alarm : alarms) {
        if (items.size() == limit) return page(true);
        Json view = FleetAlarmView(alarm);
        if (Holds(view, words)) items.push_back(std::move(view));
        filter.after = PlaceOf(alarm);
      }
    }
    return page(more);
  });
}

// The stream tells of whoever goes late or offline as soon as it is so: who asks then is to find
// it.
void OperatorApi::FindSilences() {
  constexpr std::int64_t kAtOnce = 1000;
  try {
    m_store.Write([&](Transaction& store) { return store.Settle(m_clock(), kAtOnce); });
  } catch (const DatabaseError&) {
    // What is known can be told although nothing can be changed.
  }
}

Response OperatorApi::Acknowledge(const Call& call) {
  const Acknowledgement word = {m_clock(), call.who.name, NoteIn(BodyOf(call.request))};
  KeepWord(call, word);
  m_log.Line("alarm acknowledged: " + call.name + " by operator " + call.who.name);
  return ApiAnswer(200, WordView(word));
}

Response OperatorApi::EndAcknowledgement(const Call& call) {
  KeepWord(call, std::nullopt);
  m_log.Line("alarm no longer acknowledged: " + call.name + " by operator " + call.who.name);
  Response response;
  response.status = 204;
  return response;
}

void OperatorApi::KeepWord(const Call& call, const std::optional<Acknowledgement>& word) {
  const std::optional<AlarmName> name = ParseName(call.name);
  const bool kept =
      name && m_store.Write([&](Transaction& store) { return store.Acknowledge(*name, word); });
  if (!kept) throw Unknown("open alarm " + call.name);
}

}  // namespace cloudservice
