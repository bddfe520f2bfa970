#ifndef SERVICE_LOG_H_
#define SERVICE_LOG_H_

#include <functional>
#include <string>

#include "service/Clock.h"

namespace cloudservice {

// One line an event: local time, a blank, the text. Line ends and control bytes inside the text are
// written \n, \r and \xNN, so that nobody who sends a text can make up a line. A line ends
// after 1,000 bytes.
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

// Writes the line and its end to standard error in one piece.
void WriteToStandardError(const std::string& line);

// The text with line ends and control bytes written \n, \r, \xNN.
std::string Printable(const std::string& text);

}  // namespace cloudservice

#endif  // SERVICE_LOG_H_
