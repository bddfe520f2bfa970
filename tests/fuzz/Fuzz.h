#ifndef TESTS_FUZZ_FUZZ_H_
#define TESTS_FUZZ_FUZZ_H_

#include <cstddef>
#include <cstdint>
#include <string>

#include "fakes/Platform.h"
#include "fakes/Service.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

namespace fuzz {

// Aborts, as a finding, when a promise is not kept.
void Require(bool kept, const char* promise);

// Hands out an input piece by piece.
class Input {
 public:
  Input(const uint8_t* data, size_t size)
      : m_text(size == 0 ? "" : reinterpret_cast<const char*>(data), size) {}

  // A number from 0 to `count` - 1.
  size_t Choice(size_t count);
  // Up to the next NUL, and everything that is left.
  std::string Text();
  std::string Rest() { return m_text.substr(m_next < m_text.size() ? m_next : m_text.size()); }

 private:
  const std::string m_text;
  size_t m_next = 0;
};

// Forgets what the doubles recorded during the last input.
void Forget();

}  // namespace fuzz

#endif  // TESTS_FUZZ_FUZZ_H_
