// SPDX-License-Identifier: Apache-2.0
// Lines of the log, and the newest messages, which are kept for requests.
#include "host/util/Log.h"

#include <sys/stat.h>

#include <cstdio>
#include <cstring>
#include <deque>
#include <utility>

#include "host/util/LocalTime.h"
#include "host/util/Mutex.h"
#include "host/util/Secrets.h"

namespace host {
namespace {

constexpr int kDefaultLevel = 5;
constexpr int kLowestKeptLevel = 3;
constexpr int kHighestKeptLevel = 4;
constexpr size_t kMostKept = 20;
constexpr size_t kLongestKept = 1000;

struct Recent {
  Mutex mutex;
  std::deque<LogMessage> messages GUARDED_BY(mutex);
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

bool IsKept(int level) { return level >= kLowestKeptLevel && level <= kHighestKeptLevel; }

void KeepMessage(const struct timespec& now, int level, const char* unit, const std::string& text) {
  LogMessage message = {LogTime(now), level, EscapeControls(unit),
                        EscapeControls(Beginning(WithoutSecrets(text)))};
  Recent& recent = TheRecent();
  const MutexLock guard(recent.mutex);
  if (recent.messages.size() == kMostKept) recent.messages.pop_front();
  recent.messages.push_back(std::move(message));
}

std::vector<LogMessage> RecentMessages() {
  Recent& recent = TheRecent();
  const MutexLock guard(recent.mutex);
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
