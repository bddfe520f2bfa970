// SPDX-License-Identifier: Apache-2.0
#ifndef CTL_JOURNAL_H_
#define CTL_JOURNAL_H_

#include <sys/types.h>

#include <cstdio>
#include <memory>
#include <string>

#include "host/util/Fd.h"
#include "host/util/Problem.h"

namespace ctl {

// The log of a unit, as journalctl writes it; it has failed where it writes nothing for too long.
class Journal {
 public:
  // `longestSilence` is in seconds.
  explicit Journal(double longestSilence = 30) : m_longestSilence(longestSilence) {}
  // Ends journalctl, if End has not been called.
  ~Journal();
  Journal(const Journal&) = delete;
  Journal& operator=(const Journal&) = delete;

  // Starts journalctl for a unit; `part` is its option for which part of the log: "--boot",
  // "--lines=100".
  host::Problem Open(const std::string& unit, const std::string& part);
  // What it writes; not null once it is open.
  FILE* Lines() const { return m_lines.get(); }
  // Ends it, also where it has more to write, and says whether it has failed.
  host::Problem End();

 private:
  static ssize_t Read(void* journal, char* bytes, size_t size);

  const double m_longestSilence;
  host::Fd m_pipe;
  bool m_isSilent = false;  // for too long
  std::unique_ptr<FILE, int (*)(FILE*)> m_lines{nullptr, &std::fclose};
  pid_t m_process = 0;
};

// The next line of a log, without its end, of at most 1 MiB; false behind the last one.
bool ReadLine(FILE* log, std::string& line);

}  // namespace ctl

#endif  // CTL_JOURNAL_H_
