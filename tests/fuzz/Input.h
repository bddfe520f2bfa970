// SPDX-License-Identifier: Apache-2.0
#ifndef TESTS_FUZZ_INPUT_H_
#define TESTS_FUZZ_INPUT_H_

// What every target has, whatever it stands on.

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

namespace fuzz {

// Aborts, as a finding, when a promise is not kept.
inline void Require(bool kept, const char* promise) {
  if (kept) return;
  std::fprintf(stderr, "not kept: %s\n", promise);
  std::abort();
}

// Hands out an input piece by piece.
class Input {
 public:
  Input(const uint8_t* data, size_t size)
      : m_text(size == 0 ? "" : reinterpret_cast<const char*>(data), size) {}

  bool AtEnd() const { return m_next >= m_text.size(); }
  // A number from 0 to `count` - 1.
  size_t Choice(size_t count) {
    return AtEnd() ? 0 : static_cast<unsigned char>(m_text[m_next++]) % count;
  }
  // Up to the next byte `end`, NUL where none is named, and everything that is left.
  std::string Text(char end = '\0') {
    if (AtEnd()) return "";
    const size_t begin = m_next;
    const size_t found = m_text.find(end, begin);
    const size_t stop = found == std::string::npos ? m_text.size() : found;
    m_next = stop + 1;
    return m_text.substr(begin, stop - begin);
  }
  std::string Rest() { return AtEnd() ? "" : m_text.substr(m_next); }

 private:
  const std::string m_text;
  size_t m_next = 0;
};

}  // namespace fuzz

#endif  // TESTS_FUZZ_INPUT_H_
