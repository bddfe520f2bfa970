// SPDX-License-Identifier: Apache-2.0
// Lines of the log, and writing them to a standard error whose reader may stand still.
#include "service/util/Log.h"

#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>

namespace cloudservice {

namespace {

constexpr std::size_t kMaxLine = 1000;
constexpr int kPatience = 100;  // milliseconds
// Bytes of lines that are written at once. A pipe that can be written to has room for them, also
// with the line about those that were dropped.
constexpr std::size_t kTogether = 3072;

thread_local Log::Together* g_together = nullptr;

// Whether the byte continues a character of UTF-8.
bool IsContinuation(char c) { return (static_cast<unsigned char>(c) & 0xc0) == 0x80; }

// The length in bytes of the character of UTF-8 that begins at `at`; 0 when none begins there.
std::size_t CharacterAt(const std::string& text, std::size_t at) {
  const auto first = static_cast<unsigned char>(text[at]);
  if (first < 0x80) return 1;
  const std::size_t size = first >= 0xf0 ? 4 : first >= 0xe0 ? 3 : 2;
  if (first < 0xc2 || first > 0xf4 || text.size() - at < size) return 0;
  for (std::size_t i = 1; i < size; ++i) {
    if (!IsContinuation(text[at + i])) return 0;
  }
  // An overlong form, a surrogate, or a number beyond the last character.
  const auto second = static_cast<unsigned char>(text[at + 1]);
  const bool wrong = (first == 0xe0 && second < 0xa0) || (first == 0xed && second > 0x9f) ||
                     (first == 0xf0 && second < 0x90) || (first == 0xf4 && second > 0x8f);
  return wrong ? 0 : size;
}

}  // namespace

Log::Log(Sink sink, Clock clock, LogLevel level)
    : m_sink(std::move(sink)), m_clock(std::move(clock)), m_level(level) {}

void Log::Routine(const std::string& text) const {
  if (m_level == LogLevel::kInfo) Line(text);
}

void Log::Line(const std::string& text) const {
  std::string line = LogTime(m_clock()) + " " + Printable(text);
  if (line.size() > kMaxLine) {
    std::size_t end = kMaxLine;
    while (end > 0 && IsContinuation(line[end])) --end;
    line.resize(end);
    line += "...";
  }
  const bool waits = g_together != nullptr && &g_together->m_log == this;
  waits ? g_together->Add(line) : m_sink(line);
}

Log::Together::Together(const Log& log) : m_log(log) { g_together = this; }

Log::Together::~Together() {
  g_together = nullptr;
  Flush();
}

void Log::Together::Add(const std::string& line) {
  if (m_lines.size() + line.size() >= kTogether) Flush();
  if (!m_lines.empty()) m_lines += '\n';
  m_lines += line;
}

void Log::Together::Flush() {
  if (!m_lines.empty()) m_log.m_sink(m_lines);
  m_lines.clear();
}

void StandardError::Write(const std::string& lines) {
  const std::lock_guard<std::mutex> guard(m_mutex);
  // It does not wait a second time for a reader that did not read.
  struct pollfd out = {STDERR_FILENO, POLLOUT, 0};
  if (poll(&out, 1, m_dropped == 0 ? kPatience : 0) == 0) {
    m_dropped += 1 + static_cast<std::uint64_t>(std::count(lines.begin(), lines.end(), '\n'));
    return;
  }
  std::string whole = lines + "\n";
  if (m_dropped > 0) {
    whole.insert(0, LogTime(m_clock()) + " lines dropped: " + std::to_string(m_dropped) + "\n");
    m_dropped = 0;
  }
  std::size_t done = 0;
  while (done < whole.size()) {
    const ssize_t n = write(STDERR_FILENO, whole.data() + done, whole.size() - done);
    if (n <= 0) return;
    done += static_cast<std::size_t>(n);
  }
}

std::string Printable(const std::string& text) {
  if (std::all_of(text.begin(), text.end(), [](char c) { return c >= 0x20 && c < 0x7f; })) {
    return text;
  }
  std::string out;
  out.reserve(text.size());
  for (std::size_t i = 0; i < text.size();) {
    const std::size_t size = CharacterAt(text, i);
    const auto byte = static_cast<unsigned char>(text[i]);
    if (text[i] == '\n') {
      out += "\\n";
    } else if (text[i] == '\r') {
      out += "\\r";
    } else if (size == 0 || byte < 0x20 || byte == 0x7f) {
      char code[8];
      snprintf(code, sizeof code, "\\x%02x", static_cast<unsigned>(byte));
      out += code;
    } else {
      out.append(text, i, size);
    }
    i += std::max<std::size_t>(size, 1);
  }
  return out;
}

}  // namespace cloudservice
