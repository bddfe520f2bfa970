// SPDX-License-Identifier: Apache-2.0
// The log of an appliance's events, and that of all appliances.
#include <algorithm>

#include "service/api/Api.h"
#include "service/api/Error.h"
#include "service/api/Find.h"
#include "service/api/Views.h"

namespace cloudservice {

namespace {

// How many events one request searches for a text, so that it does not delay others for long.
constexpr std::int64_t kMaxLookedAt = 5000;
constexpr std::int64_t kBatch = 100;
constexpr std::int64_t kMaxId = 999999999999999999;

// Takes what both logs are filtered by.
template <typename Filter>
void TakeFilter(const Query& query, Filter& filter) {
  static const std::vector<std::string> kKinds = {"alarm", "clear", "message", "point"};
  filter.severity = query.Word("severity");
  filter.since = query.Time("since");
  filter.until = query.Time("until");
  filter.limit = kBatch;
  if (const auto kind = query.OneOf("kind", kKinds)) {
    const auto at = std::find(kKinds.begin(), kKinds.end(), *kind) - kKinds.begin();
    filter.kind = static_cast<EventKind>(at);
  }
}

// The place behind which a page of the log of all appliances begins: "next" of an earlier answer.
std::string PlaceText(const EventPlace& place) {
  return CompactText(Json::array({place.received, place.id}));
}
EventPlace ParsePlace(const std::string& text) {
  const Json parts = Json::parse(text, nullptr, false);
  const auto isNumber = [](const Json& part) { return part.is_number_integer(); };
  if (!parts.is_array() || parts.size() != 2 ||
      !std::all_of(parts.begin(), parts.end(), isNumber)) {
    throw ApiError(400, "\"before\" is no \"next\" of a list of events.");
  }
  return {parts[0].get<std::int64_t>(), parts[1].get<std::int64_t>()};
}

// A page of what `list` lists behind filter.before, of those whose view holds what is sought.
// `take(entry)` returns the entry's view and moves filter.before to it, `next()` tells that place.
template <typename List, typename Take, typename Next>
Response PageOf(const Query& query, const List& list, const Take& take, const Next& next) {
  const auto limit = static_cast<std::size_t>(query.Limit());
  const Words words = query.Sought();
  Json items = Json::array();
  const auto page = [&](bool more) {
    return ApiAnswer(200, {{"items", std::move(items)}, {"next", more ? next() : Json()}});
  };
  bool more = true;
  for (std::int64_t lookedAt = 0; more && lookedAt < kMaxLookedAt; lookedAt += kBatch) {
    const auto log = list();
    more = static_cast<std::int64_t>(log.size()) == kBatch;
    for (const auto& entry : log) {
      if (items.size() == limit) return page(true);
      Json view = take(entry);
      if (words.AreIn(TextsOf(view, {"message", "messageId"}))) items.push_back(std::move(view));
    }
  }
  return page(more);
}

}  // namespace

Response OperatorApi::ListEvents(const Call& call) {
  LogFilter whole;
  TakeFilter(call.query, whole);
  whole.manager = call.name;
  whole.before = call.query.Number("before", 1, kMaxId);
  return m_store.Read([&](Transaction& store) {
    FindAppliance(store, call.name);
    LogFilter filter = whole;
    const auto take = [&](const LoggedEvent& entry) {
      filter.before = entry.event.id;
      return EventView(entry);
    };
    return PageOf(
        call.query, [&] { return store.ListLog(filter); }, take,
        [&] { return OrNull(filter.before); });
  });
}

Response OperatorApi::ListFleetEvents(const Call& call) {
  FleetLogFilter whole;
  TakeFilter(call.query, whole);
  if (const auto before = call.query.Text("before")) whole.before = ParsePlace(*before);
  return m_store.Read([&](Transaction& store) {
    FleetLogFilter filter = whole;
    const auto take = [&](const FleetEvent& one) {
      filter.before = EventPlace{one.entry.event.received, one.entry.event.id};
      Json view = EventView(one.entry);
      view["uuid"] = one.entry.event.manager;
      view["name"] = one.label;
      return view;
    };
    return PageOf(
        call.query, [&] { return store.ListFleetLog(filter); }, take,
        [&] { return Json(PlaceText(*filter.before)); });
  });
}

}  // namespace cloudservice
