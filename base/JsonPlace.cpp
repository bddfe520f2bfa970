// SPDX-License-Identifier: Apache-2.0
// Where a member stands in a JSON text.
#include "base/JsonPlace.h"

#include <algorithm>

#include "base/JsonText.h"

namespace cloudclient {
namespace {

// Goes through a text that is JSON, as its reader has found, and ends with the text if it is not.
class Walk {
 public:
  explicit Walk(const std::string& text) : m_text(text) { Blanks(); }

  size_t At() const { return m_at; }

  // At a value: goes to its member or element `name`, the key first. False, at the end of the
  // value, when it has none.
  bool GoTo(const std::string& name, bool toKey) {
    const char open = Next();
    if (open != '{' && open != '[') return false;
    Step();
    for (size_t index = 0; Next() != '}' && Next() != ']' && Next() != '\0'; ++index) {
      const size_t key = m_at;
      const std::string found = open == '{' ? Name() : std::to_string(index);
      if (found == name) {
        if (toKey) m_at = key;
        return true;
      }
      Skip();
      if (Next() == ',') Step();
    }
    return false;
  }

 private:
  // The character at hand; NUL at the end.
  char Next() const { return m_at < m_text.size() ? m_text[m_at] : '\0'; }
  void Step() {
    ++m_at;
    Blanks();
  }
  void Blanks() { m_at = std::min(m_text.find_first_not_of(" \t\r\n", m_at), m_text.size()); }

  // Behind a text in quotes; returns it with them.
  std::string Quoted() {
    const size_t begin = m_at++;
    while (Next() != '"' && Next() != '\0') m_at += Next() == '\\' ? 2 : 1;
    m_at = std::min(m_at + 1, m_text.size());
    std::string quoted = m_text.substr(begin, m_at - begin);
    Blanks();
    return quoted;
  }

  // Behind a key and its colon; returns the key's text.
  std::string Name() {
    const std::string quoted = Quoted();
    Step();
    return JsonText(JsonRef(json_loads(quoted.c_str(), JSON_DECODE_ANY, nullptr)).get());
  }

  // Behind a value and the blanks after it.
  void Skip() {
    size_t depth = 0;
    do {
      const char next = Next();
      if (next == '"') {
        Quoted();
      } else if (next == '{' || next == '[') {
        ++depth;
        Step();
      } else if (next == '}' || next == ']') {
        --depth;
        Step();
      } else if (next == ',' || next == ':') {
        Step();
      } else {  // a number or a word
        m_at = std::min(m_text.find_first_of(" \t\r\n,:]}", m_at), m_text.size());
        Blanks();
      }
    } while (depth > 0 && Next() != '\0');
  }

  const std::string& m_text;
  size_t m_at = 0;
};

TextPlace PlaceOf(const std::string& text, size_t offset) {
  TextPlace place = {1, 1};
  for (size_t i = 0; i < offset; ++i) {
    if (text[i] == '\n') {
      ++place.line;
      place.column = 1;
    } else if ((static_cast<unsigned char>(text[i]) & 0xC0U) != 0x80U) {  // not within a character
      ++place.column;
    }
  }
  return place;
}

}  // namespace

TextPlace PlaceInJson(const std::string& text, const std::vector<std::string>& path, bool ofKey) {
  Walk walk(text);
  size_t at = walk.At();
  for (size_t i = 0; i < path.size(); ++i) {
    if (!walk.GoTo(path[i], ofKey && i + 1 == path.size())) break;
    at = walk.At();
  }
  return PlaceOf(text, at);
}

}  // namespace cloudclient
