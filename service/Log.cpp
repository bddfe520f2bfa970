#include "service/Log.h"

#include <unistd.h>

#include <cstdio>
#include <utility>

namespace cloudservice {

namespace {

constexpr std::size_t kMaxLine = 1000;

// Whether the byte stands inside a character of UTF-8.
bool IsContinuation(char c) { return (static_cast<unsigned char>(c) & 0xc0) == 0x80; }

}  // namespace

Log::Log(Sink sink, Clock clock) : m_sink(std::move(sink)), m_clock(std::move(clock)) {}

void Log::Line(const std::string& text) const {
  std::string line = LogTime(m_clock()) + " " + Printable(text);
  if (line.size() > kMaxLine) {
    std::size_t end = kMaxLine;
    while (end > 0 && IsContinuation(line[end])) --end;
    line.resize(end);
    line += "...";
  }
  m_sink(line);
}

void WriteToStandardError(const std::string& line) {
  const std::string whole = line + "\n";
  std::size_t done = 0;
  while (done < whole.size()) {
    const ssize_t n = write(STDERR_FILENO, whole.data() + done, whole.size() - done);
    if (n <= 0) return;
    done += static_cast<std::size_t>(n);
  }
}

std::string Printable(const std::string& text) {
  std::string out;
  out.reserve(text.size());
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    if (c == '\n') {
      out += "\\n";
    } else if (c == '\r') {
      out += "\\r";
    } else if (byte < 0x20 || byte == 0x7f) {
      char code[8];
      snprintf(code, sizeof code, "\\x%02x", static_cast<unsigned>(byte));
      out += code;
    } else {
      out += c;
    }
  }
  return out;
}

}  // namespace cloudservice
