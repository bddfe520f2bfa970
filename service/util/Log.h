// SPDX-License-Identifier: Apache-2.0
#ifndef SERVICE_UTIL_LOG_H_
#define SERVICE_UTIL_LOG_H_

#include <cstdint>
#include <functional>
#include <string>
#include <utility>

#include "service/util/Clock.h"

namespace cloudservice {

// One line an event: local time, a blank, the text. Line ends, control bytes and bytes that are no
// UTF-8 are written \n, \r and \xNN, so that nobody who sends a text can make up a line. A line
// ends after 1,000 bytes.
class Log {
 public:
  // Takes each finished line, without its line end.
  using Sink = std::function<void(const std::string& line)>;

  Log(Sink sink, Clock clock);

  void Line(const std::string& text) const;

 private:
  const Sink m_sink;
  const Clock m_clock;
};

// Writes lines to standard error, each with its end in one piece. Where nobody reads there, it
// waits for a tenth of a second, once, and drops lines until somebody does; how many is said before
// the next one. One thread.
class StandardError {
 public:
  explicit StandardError(Clock clock) : m_clock(std::move(clock)) {}

  void Write(const std::string& line);

 private:
  const Clock m_clock;
  std::uint64_t m_dropped = 0;
};

// The text with line ends, control bytes and what is no UTF-8 written \n, \r, \xNN.
std::string Printable(const std::string& text);

}  // namespace cloudservice

#endif  // SERVICE_UTIL_LOG_H_
