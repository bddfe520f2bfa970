// SPDX-License-Identifier: Apache-2.0
// What kept an operation from its end: the one form in which the host reports errors.
#ifndef HOST_UTIL_PROBLEM_H_
#define HOST_UTIL_PROBLEM_H_

#include <cstring>
#include <string>
#include <utility>

namespace host {

// What went wrong, or that nothing did. An operation that can fail returns it; what else it has to
// say goes through parameters.
//
// Not a problem is a question without an answer (false, null, an empty optional), nor what is wrong
// in a file of which the rest is used (a list of texts). Where nothing can go on, without memory or
// without a thread, the standard library's exceptions say so.
class [[nodiscard]] Problem {
 public:
  // Nothing went wrong.
  Problem() = default;
  // In words, not empty; they follow the name of what failed.
  explicit Problem(std::string text) : m_text(std::move(text)) {}
  // What the system says; nothing went wrong when `error` is 0. Takes no memory.
  static Problem OfErrno(int error) {
    Problem problem;
    problem.m_errno = error;
    return problem;
  }

  // Whether something went wrong, as with std::error_code.
  explicit operator bool() const { return m_errno != 0 || !m_text.empty(); }

  // What the system said, whatever words are before it; 0 when it was not the system.
  int Errno() const { return m_errno; }

  // Empty when nothing went wrong.
  std::string Text() const {
    return m_text.empty() && m_errno != 0 ? std::strerror(m_errno) : m_text;
  }

  // This problem, which there is, with what failed before it: "what: text".
  Problem With(const std::string& what) const {
    Problem problem(what + ": " + Text());
    problem.m_errno = m_errno;
    return problem;
  }

 private:
  int m_errno = 0;
  std::string m_text;  // empty where the system's own text is all
};

}  // namespace host

#endif  // HOST_UTIL_PROBLEM_H_
