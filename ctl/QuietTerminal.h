#ifndef CTL_QUIETTERMINAL_H_
#define CTL_QUIETTERMINAL_H_

namespace ctl {

// No echo on the terminal behind standard input, if there is one, as long as the object lives; a
// line end on standard error ends it. A signal that ends the program brings the echo back first,
// and what was typed and not read is dropped. One object at a time.
class QuietTerminal {
 public:
  QuietTerminal();
  ~QuietTerminal();
  QuietTerminal(const QuietTerminal&) = delete;
  QuietTerminal& operator=(const QuietTerminal&) = delete;

  bool IsTerminal() const { return m_isTerminal; }

 private:
  const bool m_isTerminal;
};

}  // namespace ctl

#endif  // CTL_QUIETTERMINAL_H_
