// SPDX-License-Identifier: Apache-2.0
#ifndef SERVICE_REDFISH_QUERYOPTIONS_H_
#define SERVICE_REDFISH_QUERYOPTIONS_H_

#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "service/http/Target.h"
#include "service/json/Json.h"

namespace cloudservice {

// Members of a collection in one answer; a link leads to those that follow.
constexpr std::size_t kMaxMembers = 1000;
// The limits of $expand: levels, and resources that it puts into one answer.
constexpr int kMaxLevels = 6;
constexpr std::size_t kMaxExpanded = 2000;

// The options of a query: "$top", "$skip", "$select", "$expand". "pretty" is only kept here for the
// links to other pages; the answer is indented elsewhere.
struct QueryOptions {
  enum class Expand { kNone, kAll, kLinks, kNoLinks };

  std::optional<std::size_t> top;
  std::optional<std::size_t> skip;
  // The selected members in ascending order, each as the member names on the path to it.
  std::vector<std::vector<std::string>> select;
  Expand expand = Expand::kNone;
  int levels = 1;
  // $select and $expand with their given values, and "pretty", each after an ampersand.
  std::string others;

  bool Empty() const { return !top && !skip && select.empty() && expand == Expand::kNone; }
};

// Reads the options of a target. Throws Refusal: 501 for an unknown option, 400 for a value that
// the option cannot have.
QueryOptions ParseQueryOptions(const Target& target);

// The number of members on a full page.
std::size_t PageSize(const QueryOptions& query);

// The members of a collection that one answer shows: those from position `first` on and before
// `end`. PageOf() throws Refusal (400) when $skip is greater than `count`, the number of members.
struct Page {
  std::size_t first = 0;
  std::size_t end = 0;
};
Page PageOf(const QueryOptions& query, std::size_t count);
// The query of the next page, with the same options; empty when there is no next page.
std::string NextPage(const QueryOptions& query, const Page& page, std::size_t count);
// The query of a page that begins at `place` ("NAME=VALUE"), with the same options.
std::string PageAt(const QueryOptions& query, const std::string& place);

// The identifier in the parameter "after", which comes from a link to a next page. Throws Refusal
// (400) when it is no whole number from 0.
std::int64_t AfterOf(const std::string& text);

// The document with the links that $expand asks for replaced by the documents at their targets.
// `fetch` returns the document at a path, or null when there is none; such a link stays. Throws
// Refusal (507) when there are more than kMaxExpanded of them.
Json Expanded(const Json& document, const QueryOptions& query,
              const std::function<Json(const std::string& path)>& fetch);

// The members of the document that $select asks for, and the annotations that identify the
// resource. A path into an array applies to each of its elements.
Json Selected(const Json& document, const QueryOptions& query);

}  // namespace cloudservice

#endif  // SERVICE_REDFISH_QUERYOPTIONS_H_
