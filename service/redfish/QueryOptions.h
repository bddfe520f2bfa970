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

// Members of a collection in one answer; what follows is a link away.
constexpr std::size_t kMaxMembers = 1000;
// How deep $expand goes at most, and how many resources it brings into one answer.
constexpr int kMaxLevels = 6;
constexpr std::size_t kMaxExpanded = 2000;

// What the options of a query ask ("$top", "$skip", "$select", "$expand"). How the answer is
// written ("pretty") is not their business: they only take it along.
struct QueryOptions {
  enum class Expand { kNone, kAll, kLinks, kNoLinks };

  std::optional<std::size_t> top;
  std::optional<std::size_t> skip;
  // Each a way of names into the document; in ascending order.
  std::vector<std::vector<std::string>> select;
  Expand expand = Expand::kNone;
  int levels = 1;
  // $select and $expand as they were given, and "pretty", each behind an ampersand.
  std::string others;

  bool Empty() const { return !top && !skip && select.empty() && expand == Expand::kNone; }
};

// Throws Refusal: 501 for an option that is not known here, 400 for a value that is none.
QueryOptions ParseQueryOptions(const Target& target);

// Members on a page, unless no more are left.
std::size_t PageSize(const QueryOptions& query);

// Which of `count` members a collection shows: those from `first` on, up to `end`. Throws Refusal
// (400) when $skip leads beyond them.
struct Page {
  std::size_t first = 0;
  std::size_t end = 0;
};
Page PageOf(const QueryOptions& query, std::size_t count);
// The query of the page that follows, with the same options; empty when none does.
std::string NextPage(const QueryOptions& query, const Page& page, std::size_t count);
// The same of a page that begins where `place` ("NAME=VALUE") says.
std::string PageAt(const QueryOptions& query, const std::string& place);

// The identifier that an "after" of a query has, which a link to a next page gave. Throws Refusal
// (400) for what is none.
std::int64_t AfterOf(const std::string& text);

// The document with every link that the query's $expand means replaced by what it leads to. `fetch`
// gives the document at a path, or null when there is none. Throws Refusal (507) when they become
// too many.
Json Expanded(const Json& document, const QueryOptions& query,
              const std::function<Json(const std::string& path)>& fetch);

// The members that the query selects, and what says which resource they belong to. Ways lead
// through arrays.
Json Selected(const Json& document, const QueryOptions& query);

}  // namespace cloudservice

#endif  // SERVICE_REDFISH_QUERYOPTIONS_H_
