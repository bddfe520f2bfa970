// SPDX-License-Identifier: Apache-2.0
// The log of an appliance's events.
#include <algorithm>

#include "service/api/Api.h"
#include "service/api/Error.h"
#include "service/api/Find.h"
#include "service/util/Text.h"

namespace cloudservice {

namespace {

// How many events one request searches for a text, so that it does not delay others for long.
constexpr std::int64_t kMaxLookedAt = 5000;
constexpr std::int64_t kBatch = 100;
constexpr std::int64_t kMaxId = 999999999999999999;

LogFilter FilterOf(const Query& query, const std::string& uuid) {
  static const std::vector<std::string> kKinds = {"alarm", "clear", "message", "point"};
  LogFilter filter;
  filter.manager = uuid;
  filter.severity = query.Word("severity");
  filter.since = query.Time("since");
  filter.until = query.Time("until");
  filter.before = query.Number("before", 1, kMaxId);
  if (const auto kind = query.OneOf("kind", kKinds)) {
    const auto at = std::find(kKinds.begin(), kKinds.end(), *kind) - kKinds.begin();
    filter.kind = static_cast<EventKind>(at);
  }
  return filter;
}

Response Page(Json items, const std::optional<std::int64_t>& next) {
  Json view = {{"items", std::move(items)}, {"next", nullptr}};
  if (next) view["next"] = *next;
  return ApiAnswer(200, view);
}

bool HoldsText(const Json& view, const std::string& text) {
  return Lower(view.at("message").get<std::string>()).find(text) != std::string::npos ||
         Lower(view.at("messageId").get<std::string>()).find(text) != std::string::npos;
}

}  // namespace

Response OperatorApi::ListEvents(const Call& call) {
  LogFilter filter = FilterOf(call.query, call.uuid);
  const std::int64_t limit = call.query.Limit();
  const std::string text = call.query.Sought().value_or("");
  filter.limit = kBatch;

  return m_store.Read([&](Transaction& store) {
    FindAppliance(store, call.uuid);
    Json items = Json::array();
    const auto full = [&] { return static_cast<std::int64_t>(items.size()) == limit; };
    bool more = true;
    for (std::int64_t lookedAt = 0; more && lookedAt < kMaxLookedAt; lookedAt += kBatch) {
      const std::vector<LoggedEvent> log = store.ListLog(filter);
      more = static_cast<std::int64_t>(log.size()) == kBatch;
      for (const LoggedEvent& entry : log) {
        if (full()) return Page(std::move(items), filter.before);
        Json view = EventView(entry);
        if (HoldsText(view, text)) items.push_back(std::move(view));
        filter.before = entry.event.id;
      }
    }
    return Page(std::move(items), more ? filter.before : std::nullopt);
  });
}

}  // namespace cloudservice
