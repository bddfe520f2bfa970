// SPDX-License-Identifier: Apache-2.0
// $top, $skip, $select and $expand.
#include "service/redfish/QueryOptions.h"

#include <algorithm>
#include <utility>

#include "service/redfish/Refusal.h"
#include "service/util/Text.h"

namespace cloudservice {

namespace {

using Option = std::pair<std::string, std::string>;

[[noreturn]] void Malformed(const char* kind, const Option& option, const std::string& expected) {
  throw Refusal(400, {kind, {option.second, option.first}},
                "The query option " + option.first + " takes " + expected + ".");
}

std::size_t NumberOf(const Option& option, const std::string& text, std::size_t least,
                     std::size_t most) {
  const std::string range = std::to_string(least) + " to " + std::to_string(most);
  const bool negative = text.rfind('-', 0) == 0;
  const std::string digits = text.substr(negative ? 1 : 0);
  if (digits.empty() || digits.find_first_not_of("0123456789") != std::string::npos) {
    Malformed("QueryParameterValueTypeError", option, "a whole number");
  }
  constexpr std::size_t kMaxDigits = 18;
  if (negative || digits.size() > kMaxDigits || std::stoull(digits) < least ||
      std::stoull(digits) > most) {
    throw Refusal(400, {"QueryParameterOutOfRange", {option.second, option.first, range}},
                  "The query option " + option.first + " takes a number from " + range + ".");
  }
  return std::stoull(digits);
}

bool BooleanOf(const Option& option) {
  if (option.second != "true" && option.second != "false") {
    Malformed("QueryParameterValueFormatError", option, "true or false");
  }
  return option.second == "true";
}

bool IsName(const std::string& text) {
  return !text.empty() && std::all_of(text.begin(), text.end(), [](char c) {
    const auto byte = static_cast<unsigned char>(c);
    return byte > 0x20 && byte != 0x7f && c != '*' && c != '(' && c != ')' && c != '$';
  });
}

std::vector<std::vector<std::string>> SelectOf(const Option& option) {
  std::vector<std::vector<std::string>> ways;
  for (const std::string& piece : Split(option.second, ',')) {
    ways.push_back(Split(piece, '/'));
    if (!std::all_of(ways.back().begin(), ways.back().end(), IsName)) {
      Malformed("QueryParameterValueFormatError", option,
                "names of properties with commas between, Status/State for one inside another");
    }
  }
  std::sort(ways.begin(), ways.end());
  return ways;
}

void TakeExpand(const Option& option, QueryOptions& query) {
  static const std::string kExpected = "one of . ~ *, with ($levels=N) behind it or nothing";
  static const std::string kLevels = "($levels=";
  const std::string& text = option.second;
  switch (text.empty() ? '\0' : text.front()) {
    case '.':
      query.expand = QueryOptions::Expand::kNoLinks;
      break;
    case '~':
      query.expand = QueryOptions::Expand::kLinks;
      break;
    case '*':
      query.expand = QueryOptions::Expand::kAll;
      break;
    default:
      Malformed("QueryParameterValueFormatError", option, kExpected);
  }
  if (text.size() == 1) return;
  if (text.compare(1, kLevels.size(), kLevels) != 0 || text.back() != ')') {
    Malformed("QueryParameterValueFormatError", option, kExpected);
  }
  const std::string levels = text.substr(1 + kLevels.size(), text.size() - kLevels.size() - 2);
  query.levels = static_cast<int>(NumberOf(option, levels, 1, kMaxLevels));
}

// Replaces links by the documents at their targets, and the links in those, level by level.
class Expander {
 public:
  Expander(QueryOptions::Expand which, const std::function<Json(const std::string&)>& fetch)
      : m_which(which), m_fetch(fetch) {}

  void Visit(Json& value, int levels, bool inLinks) {
    if (value.is_array()) {
      for (Json& element : value) Visit(element, levels, inLinks);
    } else if (value.is_object() && IsLink(value)) {
      if (Wanted(inLinks)) Replace(value, levels);
    } else if (value.is_object()) {
      for (const auto& [name, member] : value.items()) {
        Visit(member, levels, inLinks || name == "Links");
      }
    }
  }

 private:
  // A link with a fragment leads into a resource, and is not expanded.
  static bool IsLink(const Json& value) {
    if (value.size() != 1 || value.begin().key() != "@odata.id") return false;
    const Json& path = *value.begin();
    return path.is_string() && path.get_ref<const std::string&>().find('#') == std::string::npos;
  }

  bool Wanted(bool inLinks) const {
    if (m_which == QueryOptions::Expand::kAll) return true;
    return inLinks == (m_which == QueryOptions::Expand::kLinks);
  }

  void Replace(Json& link, int levels) {
    if (++m_count > kMaxExpanded) {
      throw Refusal(507, "The answer would hold more than " + std::to_string(kMaxExpanded) +
                             " expanded resources.");
    }
    Json document = m_fetch(link.begin()->get<std::string>());
    if (!document.is_object()) return;
    if (levels > 1) Visit(document, levels - 1, false);
    link = std::move(document);
  }

  const QueryOptions::Expand m_which;
  const std::function<Json(const std::string&)>& m_fetch;
  std::size_t m_count = 0;
};

using Way = std::vector<std::string>;
// A range of the selected paths that have the same names up to some depth. The paths are sorted, so
// that those with the same next name are neighbours: looking a member up is a binary search,
// however many paths the query has.
using Ways = std::pair<std::vector<Way>::const_iterator, std::vector<Way>::const_iterator>;

Ways WaysThrough(const Ways& ways, std::size_t depth, const std::string& name) {
  const auto before = [depth](const Way& way, const std::string& text) {
    return way[depth] < text;
  };
  const auto behind = [depth](const std::string& text, const Way& way) {
    return text < way[depth];
  };
  return {std::lower_bound(ways.first, ways.second, name, before),
          std::upper_bound(ways.first, ways.second, name, behind)};
}

bool IsEmpty(const Ways& ways) { return ways.first == ways.second; }

// Whether a member is selected as a whole; `deeper` are the paths through it.
bool IsWhole(const Ways& ways, std::size_t depth, const std::string& name, const Ways& deeper) {
  // An annotation of a member ("Members@odata.count") is selected with the member or a part of it.
  const std::string owner = name.substr(0, name.find('@'));
  if (owner.empty()) return true;
  if (owner.size() < name.size()) {
    return !IsEmpty(deeper) || !IsEmpty(WaysThrough(ways, depth, owner));
  }
  // A path that ends at this member sorts before those that lead through it.
  return !IsEmpty(deeper) && deeper.first->size() == depth + 1;
}

Json Chosen(const Json& value, const Ways& ways, std::size_t depth) {
  if (value.is_array()) {
    Json array = Json::array();
    for (const Json& element : value) array.push_back(Chosen(element, ways, depth));
    return array;
  }
  if (!value.is_object()) return value;
  Json object = Json::object();
  for (const auto& [name, member] : value.items()) {
    const Ways deeper = WaysThrough(ways, depth, name);
    if (IsWhole(ways, depth, name, deeper)) {
      object[name] = member;
    } else if (!IsEmpty(deeper) && member.is_structured()) {
      object[name] = Chosen(member, deeper, depth + 1);
    }
  }
  return object;
}

}  // namespace

QueryOptions ParseQueryOptions(const Target& target) {
  constexpr std::size_t kMost = 1000000000;
  // Characters that need no encoding in a query.
  constexpr const char* kReadable = "$()*,/:=@";
  QueryOptions query;
  std::vector<std::string> seen;
  for (const Option& option : target.Options()) {
    if (std::find(seen.begin(), seen.end(), option.first) != seen.end()) {
      throw Refusal(400, {"QueryCombinationInvalid", {}},
                    "The query option " + option.first + " is given twice.");
    }
    seen.push_back(option.first);
    if (option.first == "$top") {
      query.top = NumberOf(option, option.second, 0, kMost);
    } else if (option.first == "$skip") {
      query.skip = NumberOf(option, option.second, 0, kMost);
    } else if (option.first == "$select") {
      query.select = SelectOf(option);
      query.others += "&$select=" + PercentEncoded(option.second, kReadable);
    } else if (option.first == "$expand") {
      TakeExpand(option, query);
      query.others += "&$expand=" + PercentEncoded(option.second, kReadable);
    } else if (option.first == "pretty") {
      if (BooleanOf(option)) query.others += "&pretty=true";
    } else {
      throw Refusal(501, {"QueryNotSupported", {}},
                    "Of the query options $top, $skip, $select and $expand are known here.");
    }
  }
  return query;
}

std::size_t PageSize(const QueryOptions& query) {
  return std::min(query.top.value_or(kMaxMembers), kMaxMembers);
}

Page PageOf(const QueryOptions& query, std::size_t count) {
  const std::size_t first = query.skip.value_or(0);
  if (first > count) {
    const std::string range = "0 to " + std::to_string(count);
    throw Refusal(400, {"QueryParameterOutOfRange", {std::to_string(first), "$skip", range}},
                  "The collection has " + std::to_string(count) + " members, $skip leads beyond.");
  }
  return {first, first + std::min(PageSize(query), count - first)};
}

std::string NextPage(const QueryOptions& query, const Page& page, std::size_t count) {
  // An empty page ($top=0) has no next page: the link would lead to the same page.
  if (page.end == count || page.end == page.first) return "";
  return PageAt(query, "$skip=" + std::to_string(page.end));
}

std::string PageAt(const QueryOptions& query, const std::string& place) {
  const std::string top = query.top ? "&$top=" + std::to_string(*query.top) : "";
  return place + top + query.others;
}

std::int64_t AfterOf(const std::string& text) {
  constexpr std::size_t kMaxDigits = 18;
  if (text.empty() || text.size() > kMaxDigits ||
      text.find_first_not_of("0123456789") != std::string::npos) {
    throw Refusal(400, {"QueryParameterValueTypeError", {text, "after"}},
                  "\"after\" is no whole number from 0.");
  }
  return std::stoll(text);
}

Json Expanded(const Json& document, const QueryOptions& query,
              const std::function<Json(const std::string& path)>& fetch) {
  Json expanded = document;
  if (query.expand != QueryOptions::Expand::kNone) {
    Expander(query.expand, fetch).Visit(expanded, query.levels, false);
  }
  return expanded;
}

Json Selected(const Json& document, const QueryOptions& query) {
  if (query.select.empty()) return document;
  return Chosen(document, {query.select.begin(), query.select.end()}, 0);
}

}  // namespace cloudservice
