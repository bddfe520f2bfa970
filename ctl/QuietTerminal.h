// SPDX-License-Identifier: Apache-2.0
#ifndef CTL_QUIETTERMINAL_H_
#define CTL_QUIETTERMINAL_H_

#include <string>

namespace ctl {

// A prompt on standard error, and no echo on the terminal behind standard input, if there is one,
// as long as the object lives; a line end on standard error ends it. A signal that ends the
// program, or stops it for a while, brings the echo back first, and what was typed and not read is
// dropped; when it goes on it prompts again, without echo. One object at a time.
class QuietTerminal {
 public:
  explicit QuietTerminal(const std::string& prompt);
  ~QuietTerminal();
  QuietTerminal(const QuietTerminal&) = delete;
  QuietTerminal& operator=(const QuietTerminal&) = delete;

  bool IsTerminal() const { return m_isTerminal; }

 private:
  const bool m_isTerminal;
};

}  // namespace ctl

#endif  // CTL_QUIETTERMINAL_H_
