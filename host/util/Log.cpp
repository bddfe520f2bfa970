#include "host/util/Log.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <mutex>
#include <string>
#include <utility>

#include "host/util/LineWriter.h"
#include "host/util/LocalTime.h"
#include "host/util/Secrets.h"

namespace host {
namespace {

constexpr int kDefaultLevel = 5;
// Signals and the service manager's watchdog wait behind a line of the event thread.
constexpr int kLongestWaitMs = 500;
constexpr int kLowestKeptLevel = 3;
constexpr int kHighestKeptLevel = 4;
constexpr size_t kMostKept = 20;
constexpr size_t kLongestKept = 1000;

struct Settings {
  int level;
  bool journal;
};

struct timespec Now() {
  struct timespec now = {};
  clock_gettime(CLOCK_REALTIME, &now);
  return now;
}

void Print(const Settings& settings, const struct timespec& now, int level, const char* unit,
           const std::string& text) {
  static auto* const writer =
      new LineWriter(STDERR_FILENO, kLongestWaitMs, [journal = settings.journal](auto lost) {
        return LogLine(
            Now(), 4, "Host",
            "standard error took no lines for a while; missing here: " + std::to_string(lost),
            journal);
      });
  writer->Write(LogLine(now, level, unit, text, settings.journal));
}

Settings ReadSettings() {
  bool valid = true;
  const char* variable = std::getenv("CLOUDCLIENT_LOG_LEVEL");
  Settings settings = {LogLevel(variable, valid),
                       IsJournal(std::getenv("JOURNAL_STREAM"), STDERR_FILENO)};
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

struct Recent {
  std::mutex mutex;
  std::deque<LogMessage> messages;
};

// Never destroyed: threads may log until the end.
Recent& TheRecent() {
  static auto* const recent = new Recent;
  return *recent;
}

// The beginning of a text, no character of UTF-8 cut in two.
std::string Beginning(const std::string& text) {
  if (text.size() <= kLongestKept) return text;
  size_t end = kLongestKept;
  while (end > 0 && (static_cast<unsigned char>(text[end]) & 0xC0) == 0x80) --end;
  return text.substr(0, end);
}

void Keep(const struct timespec& now, int level, const char* unit, const std::string& text) {
  LogMessage message = {LogTime(now), level, EscapeControls(unit),
                        EscapeControls(Beginning(WithoutSecrets(text)))};
  Recent& recent = TheRecent();
  std::lock_guard<std::mutex> guard(recent.mutex);
  if (recent.messages.size() == kMostKept) recent.messages.pop_front();
  recent.messages.push_back(std::move(message));
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

std::string EscapeControls(const std::string& text) {
  std::string escaped;
  escaped.reserve(text.size());
  for (char character : text) {
    const auto byte = static_cast<unsigned char>(character);
    if (character == '\n') {
      escaped += "\\n";
    } else if (character == '\r') {
      escaped += "\\r";
    } else if (byte < 0x20 || byte == 0x7f) {
      char code[5];
      snprintf(code, sizeof(code), "\\x%02X", static_cast<unsigned int>(byte));
      escaped += code;
    } else {
      escaped += character;
    }
  }
  return escaped;
}

std::string LogTime(const struct timespec& time) {
  struct tm local = {};
  LocalTimeOf(time.tv_sec, local);
  char date[40] = "";
  char zone[16] = "";
  strftime(date, sizeof(date), "%Y-%m-%dT%H:%M:%S", &local);
  strftime(zone, sizeof(zone), "%z", &local);
  char text[80];
  snprintf(text, sizeof(text), "%s.%03ld%s", date, time.tv_nsec / 1000000, zone);
  return text;
}

std::string LogLine(const struct timespec& now, int level, const char* unit,
                    const std::string& text, bool journal) {
  const std::string number = std::to_string(level);
  const std::string head = journal ? "<" + number + ">" : LogTime(now) + " " + number + " ";
  return head + EscapeControls(unit) + " " + EscapeControls(text) + "\n";
}

std::vector<LogMessage> RecentMessages() {
  Recent& recent = TheRecent();
  std::lock_guard<std::mutex> guard(recent.mutex);
  return {recent.messages.begin(), recent.messages.end()};
}

int LogLevel(const char* variable, bool& valid) {
  valid =
      variable == nullptr || (std::strlen(variable) == 1 && *variable >= '3' && *variable <= '7');
  return valid && variable != nullptr ? *variable - '0' : kDefaultLevel;
}

bool IsJournal(const char* variable, int fd) {
  struct stat status = {};
  if (variable == nullptr || fstat(fd, &status) != 0) return false;
  return std::to_string(status.st_dev) + ":" + std::to_string(status.st_ino) == variable;
}

}  // namespace host

void __dlog_printf(int level, const char* unit, const char* format, ...) {
  const int savedErrno = errno;
  va_list arguments;
  va_start(arguments, format);
  try {
    const host::Settings& settings = host::TheSettings();
    const bool printed = level <= settings.level;
    const bool kept = level >= host::kLowestKeptLevel && level <= host::kHighestKeptLevel;
    if (printed || kept) {
      errno = savedErrno;  // "%m" of the caller's
      const std::string text = host::Formatted(format, arguments);
      const struct timespec now = host::Now();
      if (kept) host::Keep(now, level, unit, text);
      if (printed) host::Print(settings, now, level, unit, text);
    }
  } catch (...) {
    // Out of memory: this line is lost, its caller is not.
  }
  va_end(arguments);
  errno = savedErrno;
}
