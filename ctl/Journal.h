// SPDX-License-Identifier: Apache-2.0
#ifndef CTL_JOURNAL_H_
#define CTL_JOURNAL_H_

#include <sys/types.h>

#include <cstdio>
#include <memory>
#include <string>

#include "host/util/Problem.h"

namespace ctl {

// The log of a unit, as journalctl writes it.
class Journal {
 public:
  Journal() = default;
  // Ends journalctl, if End has not been called.
  ~Journal();
  Journal(const Journal&) = delete;
  Journal& operator=(const Journal&) = delete;

  // Starts journalctl for a unit; `part` is its option for which part of the log: "--boot",
  // "--lines=100".
  host::Problem Open(const std::string& unit, const std::string& part);
  // What it writes; not null once it is open.
  FILE* Lines() const { return m_lines.get(); }
  // Waits for it to end, and says whether it has failed.
  host::Problem End();

 private:
  std::unique_ptr<FILE, int (*)(FILE*)> m_lines{nullptr, &std::fclose};
  pid_t m_process = 0;
};

// The next line of a log, without its end, of at most 1 MiB; false behind the last one.
bool ReadLine(FILE* log, std::string& line);

}  // namespace ctl

#endif  // CTL_JOURNAL_H_
