// SPDX-License-Identifier: Apache-2.0
// The log: formatting a message, and printing it when its level is wanted.
#include "platform/util/dlog.h"

#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "host/util/LineWriter.h"
#include "host/util/Log.h"

namespace {

// Signals and the service manager's watchdog wait behind a line of the event thread.
constexpr int kLongestWaitMs = 500;

struct Settings {
  int level;
  bool journal;
};

struct timespec Now() {
  struct timespec now = {};
  clock_gettime(CLOCK_REALTIME, &now);
  return now;
}

// Lines for which there was no memory, since the last that was printed.
std::atomic<unsigned long> g_lost{0};

void Print(const Settings& settings, const struct timespec& now, int level, const char* unit,
           const std::string& text) {
  static auto* const writer =
      new host::LineWriter(STDERR_FILENO, kLongestWaitMs, [journal = settings.journal](auto lost) {
        return host::LogLine(
            Now(), 4, "Host",
            "standard error took no lines for a while; missing here: " + std::to_string(lost),
            journal);
      });
  writer->Write(host::LogLine(now, level, unit, text, settings.journal));
}

// The line, and before it how many are missing.
void PrintWithLoss(const Settings& settings, const struct timespec& now, int level,
                   const char* unit, const std::string& text) {
  if (const unsigned long lost = g_lost.exchange(0)) {
    try {
      Print(settings, now, 4, "Host", "no memory for lines; missing here: " + std::to_string(lost));
    } catch (...) {
      g_lost += lost;
      throw;
    }
  }
  Print(settings, now, level, unit, text);
}

Settings ReadSettings() {
  bool valid = true;
  const char* variable = std::getenv("CLOUDCLIENT_LOG_LEVEL");
  Settings settings = {host::LogLevel(variable, valid),
                       host::IsJournal(std::getenv("JOURNAL_STREAM"), STDERR_FILENO)};
  if (!valid) {
    Print(settings, Now(), 4, "Host",
          std::string("CLOUDCLIENT_LOG_LEVEL is \"") + variable +
              "\", not a level from 3 to 7; 5 is used");
  }
  return settings;
}

const Settings& TheSettings() {
  static const Settings settings = ReadSettings();
  return settings;
}

std::string Formatted(const char* format, va_list arguments) {
  char buffer[1024];
  va_list again;
  va_copy(again, arguments);
  int length = vsnprintf(buffer, sizeof(buffer), format, arguments);
  std::string text;
  if (length < 0) {
    text = format;
  } else if (static_cast<size_t>(length) < sizeof(buffer)) {
    text.assign(buffer, static_cast<size_t>(length));
  } else {
    text.resize(static_cast<size_t>(length) + 1);
    vsnprintf(&text[0], text.size(), format, again);
    text.pop_back();
  }
  va_end(again);
  return text;
}

}  // namespace

void __dlog_printf(int level, const char* unit, const char* format, ...) {
  const int savedErrno = errno;
  va_list arguments;
  va_start(arguments, format);
  try {
    const Settings& settings = TheSettings();
    const bool printed = level <= settings.level;
    const bool kept = host::IsKept(level);
    if (printed || kept) {
      errno = savedErrno;  // "%m" of the caller's
      const std::string text = Formatted(format, arguments);
      const struct timespec now = Now();
      if (kept) host::KeepMessage(now, level, unit, text);
      if (printed) PrintWithLoss(settings, now, level, unit, text);
    }
  } catch (...) {
    // Out of memory: this line is lost, its caller is not.
    ++g_lost;
  }
  va_end(arguments);
  errno = savedErrno;
}
