// SPDX-License-Identifier: Apache-2.0
// The daemon's log out of the journal.
#include "ctl/Journal.h"

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <utility>

#include "ctl/Spawn.h"
#include "host/util/Fd.h"

namespace ctl {

using host::Problem;

namespace {

constexpr char kJournalProgram[] = "journalctl";

}  // namespace

Journal::~Journal() {
  if (m_process != 0) (void)End();
}

Problem Journal::Open(const std::string& unit, const std::string& part) {
  std::array<int, 2> ends = {};
  if (pipe2(ends.data(), O_CLOEXEC) != 0) return Problem::OfErrno(errno).With("a pipe");
  const host::Fd writing(ends[1]);
  m_lines.reset(fdopen(ends[0], "r"));
  Problem problem = Spawn(
      {kJournalProgram, "--no-pager", "--quiet", "--output=short-iso", "--unit=" + unit, part},
      writing.Get(), m_process);
  if (problem) m_process = 0;
  return problem;
}

Problem Journal::End() {
  m_lines.reset();  // it then ends also when it has not written everything
  return AwaitEnd(kJournalProgram, std::exchange(m_process, 0));
}

bool ReadLine(FILE* log, std::string& line) {
  constexpr size_t kLongestLine = 1024UL * 1024;
  line.clear();
  int c = std::getc(log);
  if (c == EOF) return false;
  for (; c != EOF && c != '\n'; c = std::getc(log)) {
    if (line.size() < kLongestLine) line += static_cast<char>(c);
  }
  return true;
}

}  // namespace ctl
