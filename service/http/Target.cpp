// SPDX-License-Identifier: Apache-2.0
// Parsing a request's target: its path, its query, the part of it that may stand in the log.
#include "service/http/Target.h"

#include <algorithm>
#include <array>
#include <utility>

#include "service/util/Text.h"

namespace cloudservice {

namespace {

int HexDigit(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

std::optional<std::string> Decode(const std::string& text) {
  std::string out;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] != '%') {
      out += text[i];
      continue;
    }
    if (i + 2 >= text.size()) return std::nullopt;
    const int high = HexDigit(text[i + 1]);
    const int low = HexDigit(text[i + 2]);
    if (high < 0 || low < 0) return std::nullopt;
    out += static_cast<char>(high * 16 + low);
    i += 2;
  }
  return out;
}

std::string Encode(const std::string& segment) {
  static const char kDigits[] = "0123456789ABCDEF";
  static const std::string kPlain =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-._~!$&'()*+,;=:@";
  std::string out;
  for (const char c : segment) {
    if (kPlain.find(c) != std::string::npos) {
      out += c;
    } else {
      const auto byte = static_cast<unsigned char>(c);
      out += {'%', kDigits[byte >> 4], kDigits[byte & 0x0f]};
    }
  }
  return out;
}

constexpr const char* kPretty = "pretty";

// The pieces of a query; "pretty" without a value becomes "pretty=true".
std::vector<std::string> PiecesOf(const std::string& query) {
  std::vector<std::string> pieces = Split(query, '&');
  std::replace(pieces.begin(), pieces.end(), std::string(kPretty), kPretty + std::string("=true"));
  return pieces;
}

bool IsSegment(const std::string& text) {
  if (text.empty() || text == "." || text == "..") return false;
  return std::none_of(text.begin(), text.end(), [](char c) {
    const auto byte = static_cast<unsigned char>(c);
    return c == '/' || byte < 0x20 || byte == 0x7f;
  });
}

}  // namespace

std::string WithoutAuthority(const std::string& text) {
  static const std::string kMark = "://";
  const std::size_t mark = text.find(kMark);
  if (mark == std::string::npos) return text;
  const std::string scheme = Lower(text.substr(0, mark));
  if (scheme != "http" && scheme != "https") return text;
  // A query may follow the host directly; a slash in that query does not begin a path.
  const std::size_t rest = text.find_first_of("/?", mark + kMark.size());
  if (rest == std::string::npos) return "/";
  return (text[rest] == '?' ? "/" : "") + text.substr(rest);
}

Target::Target(std::string text) : m_text(std::move(text)) {
  m_isPath = Parse();
  if (!m_isPath) m_segments.clear();
}

Target Target::Above(std::size_t segments) const {
  Target above = *this;
  above.m_segments.resize(m_segments.size() - std::min(segments, m_segments.size()));
  above.m_query.clear();
  above.m_text = above.Path();
  return above;
}

std::string Target::Path() const {
  std::string path;
  for (const std::string& segment : m_segments) path += "/" + Encode(segment);
  return path.empty() ? "/" : path;
}

std::optional<std::string> Target::Value(const std::string& name) const {
  for (const std::string& piece : Split(m_query, '&')) {
    if (piece.rfind(name + "=", 0) != 0) continue;
    const std::string value = piece.substr(name.size() + 1);
    return Decode(value).value_or(value);
  }
  return std::nullopt;
}

std::optional<std::vector<std::pair<std::string, std::string>>> Target::Parameters() const {
  std::vector<std::pair<std::string, std::string>> parameters;
  if (m_query.empty()) return parameters;
  for (const std::string& piece : PiecesOf(m_query)) {
    const std::size_t equals = piece.find('=');
    if (equals == std::string::npos) return std::nullopt;
    const std::optional<std::string> name = Decode(piece.substr(0, equals));
    const std::optional<std::string> value = Decode(piece.substr(equals + 1));
    if (!name || !value) return std::nullopt;
    parameters.emplace_back(*name, *value);
  }
  return parameters;
}

std::vector<std::pair<std::string, std::string>> Target::Options() const {
  std::vector<std::pair<std::string, std::string>> options;
  for (const std::string& piece : PiecesOf(m_query)) {
    const std::size_t equals = piece.find('=');
    const std::string name = Decode(piece.substr(0, equals)).value_or("");
    if (name.rfind('$', 0) != 0 && name != kPretty) continue;
    const std::string value = equals == std::string::npos ? "" : piece.substr(equals + 1);
    options.emplace_back(name, Decode(value).value_or(value));
  }
  return options;
}

bool Target::Pretty() const {
  // A registration's query is an address and a key in plain text, whatever "pretty" in it looks
  // like.
  if (m_query.rfind("setup_email=", 0) == 0) return false;
  const auto options = Options();
  const auto found = std::find_if(options.begin(), options.end(),
                                  [](const auto& option) { return option.first == kPretty; });
  return found != options.end() && found->second == "true";
}

bool Target::Parse() {
  const std::string local = WithoutAuthority(m_text);
  if (local.empty() || local.front() != '/') return false;
  const std::size_t mark = local.find('?');
  std::string path = local.substr(1, mark == std::string::npos ? mark : mark - 1);
  if (!path.empty() && path.back() == '/') path.pop_back();
  if (!path.empty()) {
    for (const std::string& piece : Split(path, '/')) {
      const std::optional<std::string> segment = Decode(piece);
      if (!segment || !IsSegment(*segment)) return false;
      m_segments.push_back(*segment);
    }
  }
  if (mark != std::string::npos) m_query = local.substr(mark + 1);
  return true;
}

std::string Target::Loggable() const {
  static const std::array<std::string, 11> kHarmless = {
      "uuid=",  "OriginOfCondition=", "Cleared=", "Severity=", "member=", "after=", "$top=",
      "$skip=", "$select=",           "$expand=", "pretty="};
  const std::size_t mark = m_text.find('?');
  std::string out = m_text.substr(0, mark);
  if (mark == std::string::npos) return out;
  char separator = '?';
  for (const std::string& piece : Split(m_text.substr(mark + 1), '&')) {
    out += separator;
    separator = '&';
    const bool harmless = piece == kPretty || std::any_of(kHarmless.begin(), kHarmless.end(),
                                                          [&](const std::string& name) {
                                                            return piece.rfind(name, 0) == 0;
                                                          });
    // The pieces after an unknown one may belong to its value, which may be secret. So may the text
    // after a second question mark, from a sender that joins its URLs wrongly.
    if (!harmless || piece.find('?') != std::string::npos) return out + "...";
    out += piece;
  }
  return out;
}

}  // namespace cloudservice
