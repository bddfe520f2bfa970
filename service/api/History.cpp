// SPDX-License-Identifier: Apache-2.0
// The numbers of an appliance's documents, and their histories as a chart shows them.
#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <map>

#include "service/api/Api.h"
#include "service/api/Downsampling.h"
#include "service/api/Error.h"
#include "service/api/Find.h"
#include "service/api/ReadingLabels.h"
#include "service/api/Views.h"
#include "service/json/Numbers.h"
#include "service/store/Lists.h"

namespace cloudservice {

namespace {

constexpr std::int64_t kSevenDays = 7 * 24 * 3600;
constexpr std::size_t kMaxSeries = 50;
constexpr std::int64_t kPoints = 1000;
constexpr std::int64_t kMinPoints = 4;
constexpr std::int64_t kMaxPoints = 10000;

// A number that has a history, with its place in the document.
struct Place {
  std::int64_t member = 0;
  std::string name;
  NumberFinder::Found found;
};

// The places of the numbers: first those that the document has, in the order of pointers, then the
// others in the order of names.
std::vector<Place> PlacesOf(const std::vector<MemberRecord>& members, const Json& document) {
  NumberFinder finder(document);
  std::vector<Place> places;
  places.reserve(members.size());
  for (const MemberRecord& member : members) {
    places.push_back({member.id, member.name, finder.Find(StepsOf(member.name))});
  }
  std::sort(places.begin(), places.end(), [](const Place& a, const Place& b) {
    if (a.found.present != b.found.present) return a.found.present;
    return a.found.present ? a.found.pointer < b.found.pointer : a.name < b.name;
  });
  return places;
}

Json NumberView(const std::string& uri, const Place& place, const Json& document) {
  const ReadingLabel label =
      place.found.hasPlace ? LabelOf(document, place.found.pointer) : LabelOf(StepsOf(place.name));
  return {{"uri", uri},
          {"member", place.name},
          {"pointer", place.found.pointer},
          {"present", place.found.present},
          {"name", label.name},
          {"unit", OrNull(label.unit)},
          {"quantity", label.extreme ? Json() : OrNull(label.quantity)}};
}

// Removes the numbers of the document at `uri` that the query does not ask for.
void Keep(std::vector<Place>& places, const Query& query, const std::string& uri) {
  const std::optional<std::string> pointer = query.Text("pointer");
  const std::optional<std::string> member = query.Text("member");
  if (!pointer && !member) return;
  const auto other = [&](const Place& place) {
    return (pointer && place.found.pointer != *pointer) || (member && place.name != *member);
  };
  places.erase(std::remove_if(places.begin(), places.end(), other), places.end());
  if (places.empty()) throw Unknown("history of " + member.value_or(*pointer) + " in " + uri);
}

Json PeakView(const std::optional<Sample>& sample) {
  if (!sample) return nullptr;
  return {{"time", sample->time}, {"value", sample->value}};
}

Json ExtremesView(const Json& document) {
  Json extremes = Json::array();
  for (const NumberPlace& place : NumberPlacesOf(document)) {
    const ReadingLabel label = LabelOf(document, place.pointer);
    if (!label.extreme) continue;
    extremes.push_back({{"pointer", place.pointer},
                        {"quantity", OrNull(label.quantity)},
                        {"extreme", *label.extreme},
                        {"value", document.at(Json::json_pointer(place.pointer))},
                        {"unit", OrNull(label.unit)}});
  }
  return extremes;
}

void AddSamples(Json& series, const Downsampling& downsampling) {
  Json samples = Json::array();
  for (const Sample& sample : downsampling.Samples()) {
    samples.push_back(Json::array({sample.time, sample.value}));
  }
  series["samples"] = std::move(samples);
  series["min"] = PeakView(downsampling.Lowest());
  series["max"] = PeakView(downsampling.Highest());
}

}  // namespace

Response OperatorApi::ListNumbers(const Call& call) {
  return m_store.Read([&](Transaction& store) {
    FindAppliance(store, call.name);
    std::map<std::string, std::vector<MemberRecord>> members;
    const auto add = [&](MemberRecord& member) {
      members[member.path].push_back(std::move(member));
    };
    ForEach(store, add, &Transaction::ListMembers, call.name, std::nullopt);
    Json items = Json::array();
    for (const auto& [path, ofPath] : members) {
      const auto record = store.FindDocument(call.name, DocumentAt(path));
      if (!record) continue;
      const Json document = ParseStored(record->document);
      for (const Place& place : PlacesOf(ofPath, document)) {
        items.push_back(NumberView(path, place, document));
      }
    }
    return ApiAnswer(200, {{"items", std::move(items)}});
  });
}

Response OperatorApi::GetHistory(const Call& call) {
  const std::string uri = call.query.RequiredText("uri");
  const std::int64_t until = call.query.Time("until").value_or(m_clock() + 1);
  const std::int64_t since = call.query.Time("since").value_or(until - kSevenDays);
  const auto points = static_cast<std::size_t>(
      call.query.Number("points", kMinPoints, kMaxPoints).value_or(kPoints));

  return m_store.Read([&](Transaction& store) {
    const DocumentRecord record = FindDocument(store, call.name, uri);
    if (since >= until) throw ApiError(400, "\"since\" is not before \"until\".");
    const Json document = ParseStored(record.document);
    std::vector<Place> places =
        PlacesOf(AllOf(store, &Transaction::ListMembers, call.name, uri), document);
    Keep(places, call.query, uri);
    if (places.size() > kMaxSeries) places.resize(kMaxSeries);
    Json list = Json::array();
    for (const Place& place : places) {
      Downsampling downsampling(since, until, points);
      store.ReadHistory(place.member, since, until,
                        [&](std::int64_t time, const std::string& value) {
                          downsampling.Add({time, std::strtod(value.c_str(), nullptr)});
                        });
      Json series = NumberView(uri, place, document);
      AddSamples(series, downsampling);
      list.push_back(std::move(series));
    }
    return ApiAnswer(
        200, {{"uri", uri}, {"series", std::move(list)}, {"extremes", ExtremesView(document)}});
  });
}

}  // namespace cloudservice
