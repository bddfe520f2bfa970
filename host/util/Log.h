// SPDX-License-Identifier: Apache-2.0
#ifndef HOST_UTIL_LOG_H_
#define HOST_UTIL_LOG_H_

#include <time.h>

#include <string>
#include <vector>

#include "platform/util/dlog.h"

// The host's own messages.
#define HOST_LOG(level, ...) __dlog_printf(level, "Host", __VA_ARGS__)

namespace host {

// `text` with line ends and control bytes written `\n`, `\r`, `\xNN`. All other bytes, backslashes
// included, stay as they are.
std::string EscapeControls(const std::string& text);

// A message that is kept for a later request.
struct LogMessage {
  std::string time;  // as in a line of the log
  int level = 0;
  std::string unit;
  std::string text;  // escaped, without secrets, its first 1,000 bytes
};

// Whether messages of that level are kept for `RecentMessages`.
bool IsKept(int level);

// Keeps a message, in place of the oldest one. Any thread.
void KeepMessage(const struct timespec& now, int level, const char* unit, const std::string& text);

// The newest 20 messages of levels 3 and 4, printed or not, oldest first. Any thread.
std::vector<LogMessage> RecentMessages();

// The time of a line of the log: local, with milliseconds and zone.
std::string LogTime(const struct timespec& time);

// One line of the log, its line end included: the local time, the level, the unit and the text,
// or, for the journal, `<level>`, the unit and the text.
std::string LogLine(const struct timespec& now, int level, const char* unit,
                    const std::string& text, bool journal);

// The highest level that is printed, of the variable's text (null: not set): 3 to 7. 5 when it is
// not set and when it is none of these; `valid` tells the latter.
int LogLevel(const char* variable, bool& valid);

// Whether descriptor `fd` is the journal's stream that JOURNAL_STREAM's text ("device:inode", or
// null) names.
bool IsJournal(const char* variable, int fd);

}  // namespace host

#endif  // HOST_UTIL_LOG_H_
