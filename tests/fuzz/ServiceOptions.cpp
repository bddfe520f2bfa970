// SPDX-License-Identifier: Apache-2.0
// Options of a query, and what they make of a document.
#include "Input.h"
#include "service/redfish/QueryOptions.h"
#include "service/redfish/Refusal.h"

namespace cloudservice {

namespace {

const Json& Collection() {
  static const Json document = Json::parse(R"({
      "@odata.id": "/c", "@odata.type": "#C.C", "Name": "C", "Members@odata.count": 2,
      "Members": [{"@odata.id": "/c/1"}, {"@odata.id": "/c/2"}],
      "Status": {"State": "Enabled", "Health": "OK"},
      "Links": {"Other": [{"@odata.id": "/c"}, {"@odata.id": "/c#/Status"}]},
      "Oem": {"Quorvan": {"Deep": [[{"A": 1}], {"@odata.id": 5}]}}})");
  return document;
}

void Require507(const Refusal& refusal) {
  fuzz::Require(refusal.Status() == 507, "an expansion is refused because it is too large");
}

void Paged(const QueryOptions& query) {
  constexpr size_t kCount = 1500;
  try {
    const Page page = PageOf(query, kCount);
    fuzz::Require(page.first <= page.end && page.end <= kCount, "a page lies in its collection");
    fuzz::Require(page.end - page.first <= kMaxMembers, "a page has a largest size");
    const std::string next = NextPage(query, page, kCount);
    fuzz::Require(next.empty() || page.end < kCount, "the last page has none behind it");
  } catch (const Refusal& refusal) {
    fuzz::Require(refusal.Status() == 400 && query.skip.value_or(0) > kCount,
                  "a page is refused because it begins behind the end");
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const Target target("/?" + fuzz::Input(data, size).Rest());
  QueryOptions query;
  try {
    query = ParseQueryOptions(target);
  } catch (const Refusal& refusal) {
    fuzz::Require(refusal.Status() == 400 || refusal.Status() == 501,
                  "an option that cannot be is refused");
    return 0;
  }
  Paged(query);
  const auto fetch = [](const std::string& path) { return path == "/c/2" ? Json() : Collection(); };
  try {
    const Json expanded = Expanded(Collection(), query, fetch);
    const Json selected = Selected(expanded, query);
    for (const char* name : {"@odata.id", "@odata.type"}) {
      fuzz::Require(selected.at(name) == Collection().at(name), "a document says what it is");
    }
    fuzz::Require(Selected(selected, query) == selected, "what is selected stays selected");
    if (query.select.empty()) fuzz::Require(selected == expanded, "nothing is left out");
  } catch (const Refusal& refusal) {
    Require507(refusal);
  }
  return 0;
}

}  // namespace cloudservice
