// SPDX-License-Identifier: Apache-2.0
// Parameters of a query, each checked when it is read.
#include "service/api/Query.h"

#include <algorithm>
#include <charconv>

#include "service/api/Error.h"
#include "service/util/Clock.h"
#include "service/util/Text.h"

namespace cloudservice {

namespace {

constexpr std::int64_t kPage = 100;
constexpr std::int64_t kMaxPage = 500;
constexpr std::size_t kMaxWord = 200;

ApiError Wrong(const std::string& name, const std::string& what) {
  return {400, "\"" + name + "\" " + what + "."};
}

}  // namespace

Query::Query(const Target& target, const std::vector<std::string>& names) {
  const auto parameters = target.Parameters();
  if (!parameters) throw ApiError(400, "The query is not made of name=value, percent-encoded.");
  for (const auto& [name, value] : *parameters) {
    if (name != "pretty" && std::find(names.begin(), names.end(), name) == names.end()) {
      throw Wrong(name, "is no parameter here");
    }
    if (!m_values.emplace(name, value).second) throw Wrong(name, "is given twice");
  }
  OneOf("pretty", {"true", "false"});
}

std::optional<std::string> Query::Text(const std::string& name, std::size_t most) const {
  const auto found = m_values.find(name);
  if (found == m_values.end()) return std::nullopt;
  if (found->second.size() > most) {
    throw Wrong(name, "has more than " + std::to_string(most) + " bytes");
  }
  return found->second;
}

std::string Query::RequiredText(const std::string& name) const {
  std::optional<std::string> text = Text(name);
  if (!text || text->empty()) throw Wrong(name, "is missing");
  return *std::move(text);
}

std::optional<std::string> Query::OneOf(const std::string& name,
                                        const std::vector<std::string>& words) const {
  std::optional<std::string> text = Text(name);
  if (!text || std::find(words.begin(), words.end(), *text) != words.end()) return text;
  std::string known;
  for (const std::string& word : words) known += (known.empty() ? "" : ", ") + word;
  throw Wrong(name, "takes " + known);
}

std::optional<std::int64_t> Query::Number(const std::string& name, std::int64_t least,
                                          std::int64_t most) const {
  const std::optional<std::string> text = Text(name);
  if (!text) return std::nullopt;
  std::int64_t value = 0;
  const char* end = text->data() + text->size();
  const auto [stop, error] = std::from_chars(text->data(), end, value);
  if (error != std::errc() || stop != end || value < least || value > most) {
    throw Wrong(
        name, "takes a whole number from " + std::to_string(least) + " to " + std::to_string(most));
  }
  return value;
}

std::optional<std::int64_t> Query::Time(const std::string& name) const {
  const std::optional<std::string> text = Text(name);
  if (!text) return std::nullopt;
  const std::optional<std::int64_t> time = ParseTime(*text);
  if (!time) throw Wrong(name, "takes a time such as 2026-03-05T13:07:09Z");
  return time;
}

std::int64_t Query::Limit() const { return Number("limit", 1, kMaxPage).value_or(kPage); }

std::optional<std::string> Query::Word(const std::string& name) const {
  return Text(name, kMaxWord);
}

Words Query::Sought() const { return Words(Word("q").value_or("")); }

}  // namespace cloudservice
