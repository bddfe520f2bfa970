// SPDX-License-Identifier: Apache-2.0
#ifndef SERVICE_UTIL_LOG_H_
#define SERVICE_UTIL_LOG_H_

#include <cstdint>
#include <functional>
#include <mutex>
#include <string>
#include <utility>

#include "service/util/Clock.h"

namespace cloudservice {

// The least that a log keeps.
enum class LogLevel {
  kInfo,    // all
  kNotice,  // not what a healthy fleet says all day
};

// Writes one line for each event: local time, a blank, the text. The text is made Printable(), so
// that text from a request cannot forge a line. A line of more than 1,000 bytes is cut there and
// ends in "...".
class Log {
 public:
  // Takes each finished line, without its line end; of a Together several, with line ends between
  // them. Threads may call it at once.
  using Sink = std::function<void(const std::string& lines)>;

  Log(Sink sink, Clock clock, LogLevel level = LogLevel::kInfo);

  void Line(const std::string& text) const;
  // A line that comes with nearly every request, which kNotice leaves out.
  void Routine(const std::string& text) const;

  // While it lives, the lines of its thread wait and go to the sink together, at the latest when it
  // ends: many lines cost hardly more than one. One at a time on a thread.
  class Together {
   public:
    explicit Together(const Log& log);
    ~Together();
    Together(const Together&) = delete;
    Together& operator=(const Together&) = delete;

   private:
    friend class Log;
    void Add(const std::string& line);
    void Flush();

    const Log& m_log;
    std::string m_lines;
  };

 private:
  const Sink m_sink;
  const Clock m_clock;
  const LogLevel m_level;
};

// Writes each line to standard error, together with its line end; several with line ends between
// them are written at once. When the reader of standard error
// stands still, the first Write() waits for it for a tenth of a second; later ones do not wait, and
// lines are dropped until the reader goes on. The next line is preceded by one that says how many
// were dropped. Any thread may write.
class StandardError {
 public:
  explicit StandardError(Clock clock) : m_clock(std::move(clock)) {}

  void Write(const std::string& lines);

 private:
  const Clock m_clock;
  std::mutex m_mutex;
  std::uint64_t m_dropped = 0;
};

// The text with each line end written \n or \r, and each other control byte and each byte that is
// not UTF-8 written \xNN.
std::string Printable(const std::string& text);

}  // namespace cloudservice

#endif  // SERVICE_UTIL_LOG_H_
