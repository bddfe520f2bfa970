// SPDX-License-Identifier: Apache-2.0
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <set>

#include "fakes/Platform.h"
#include "platform/util/dlog.h"

namespace fakes {
namespace {

std::string LineOf(const LogRecord& record) {
  return std::to_string(record.level) + " " + record.unit + " " + record.text;
}

std::string Escaped(const std::string& text) {
  std::string escaped;
  for (const char c : text) {
    if (c == '\\') {
      escaped += "\\\\";
    } else if (c == '\n') {
      escaped += "\\n";
    } else if (c == '\t') {
      escaped += "\\t";
    } else {
      escaped += c;
    }
  }
  return escaped;
}

// Leaves each format once a process in the folder that collects them, for the check that every
// format of the daemon was seen by a test.
void CollectFormat(const LogRecord& record) {
  static const char* const folder = getenv("CLOUDCLIENT_SEEN_FORMATS");
  static std::set<std::string>* const seen = new std::set<std::string>;
  if (folder == nullptr || *folder == '\0') return;
  const std::string entry =
      record.unit + "\t" + std::to_string(record.level) + "\t" + Escaped(record.format);
  if (!seen->insert(entry).second) return;
  std::ofstream file(std::string(folder) + "/" + std::to_string(getpid()), std::ios::app);
  file << entry << std::endl;
  if (!file) {
    fprintf(stderr, "fakes: cannot write into %s\n", folder);
    abort();
  }
}

}  // namespace

std::vector<std::string> Log::Lines(int level) const {
  std::vector<std::string> lines;
  for (const LogRecord& record : records) {
    if (record.level <= level) lines.push_back(LineOf(record));
  }
  return lines;
}

size_t Log::Count(const std::string& line) const {
  return static_cast<size_t>(
      std::count_if(records.begin(), records.end(),
                    [&line](const LogRecord& record) { return LineOf(record) == line; }));
}

}  // namespace fakes

void __dlog_printf(int level, const char* unit, const char* format, ...) {
  const int savedErrno = errno;
  va_list arguments;
  va_start(arguments, format);
  va_list again;
  va_copy(again, arguments);
  const int length = vsnprintf(nullptr, 0, format, arguments);
  va_end(arguments);
  std::string text(static_cast<size_t>(std::max(length, 0)) + 1, '\0');
  vsnprintf(text.data(), text.size(), format, again);
  va_end(again);
  text.pop_back();

  const fakes::LogRecord record = {level, unit, format, text};
  std::function<void(const fakes::LogRecord&)> hook;
  {
    const fakes::RecordLock lock(fakes::RecordMutex());
    fakes::platform().log.records.push_back(record);
    fakes::CollectFormat(record);
    hook = fakes::platform().log.hook;
  }
  errno = savedErrno;
  if (hook) hook(record);
}
