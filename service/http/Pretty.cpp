// SPDX-License-Identifier: Apache-2.0
// Indenting JSON where a request asks for that.
#include "service/http/Pretty.h"

#include "service/http/Target.h"

namespace cloudservice {

namespace {

bool IsJson(const std::string& type) {
  return type.rfind("application/json", 0) == 0 || type == "application/schema+json";
}

class Indenter {
 public:
  void Take(char c) {
    if (m_quoted) {
      m_text += c;
      m_quoted = m_escaped || c != '"';
      m_escaped = !m_escaped && c == '\\';
      return;
    }
    const bool closes = c == '}' || c == ']';
    if (closes) --m_depth;
    // An empty object or array has no line break between its brackets.
    if (closes != m_opened) Break();
    m_opened = c == '{' || c == '[';
    if (m_opened) ++m_depth;
    m_text += c;
    if (c == ',') Break();
    if (c == ':') m_text += ' ';
    m_quoted = c == '"';
  }

  std::string& Text() { return m_text; }

 private:
  void Break() { m_text.append(1, '\n').append(2 * m_depth, ' '); }

  std::string m_text;
  std::size_t m_depth = 0;
  bool m_quoted = false;
  bool m_escaped = false;  // the next character, by a backslash before it
  bool m_opened = false;   // the last character was a brace or a bracket
};

}  // namespace

void IndentIfAsked(const Target& target, Response& response) {
  if (response.Content().empty() || !IsJson(response.type)) return;
  if (!target.Pretty()) return;
  std::optional<std::string> text = Indented(response.Content());
  if (text) response.SetContent(*std::move(text));
}

std::optional<std::string> Indented(std::string_view json, std::size_t most) {
  Indenter indenter;
  for (const char c : json) {
    indenter.Take(c);
    if (indenter.Text().size() >= most) return std::nullopt;
  }
  return std::move(indenter.Text().append(1, '\n'));
}

}  // namespace cloudservice
