// SPDX-License-Identifier: Apache-2.0
#ifndef CTL_QUIETTERMINAL_H_
#define CTL_QUIETTERMINAL_H_

#include <string>

namespace ctl {

// Prompts on standard error, and turns off the echo of the terminal on standard input, if there is
// one, as long as the object lives; at its end it writes a line end to standard error. A signal
// that ends or stops the program turns the echo on first, and input that was typed and not read is
// dropped. A program that is continued prompts again, without echo. One object at a time.
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
