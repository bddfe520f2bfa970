// SPDX-License-Identifier: Apache-2.0
// The daemon's log out of the journal.
#include "ctl/Journal.h"

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <utility>

#include "ctl/Dial.h"
#include "ctl/Spawn.h"

namespace ctl {

using host::Problem;

namespace {

constexpr char kJournalProgram[] = "journalctl";
constexpr double kLongestEnd = 5;  // seconds, of one whose output is closed

}  // namespace

Journal::~Journal() {
  if (m_process != 0) (void)End();
}

Problem Journal::Open(const std::string& unit, const std::string& part) {
  std::array<int, 2> ends = {};
  if (pipe2(ends.data(), O_CLOEXEC) != 0) return Problem::OfErrno(errno).With("a pipe");
  m_pipe = host::Fd(ends[0]);
  const host::Fd writing(ends[1]);
  m_isSilent = false;
  m_lines.reset(fopencookie(this, "r", {&Journal::Read, nullptr, nullptr, nullptr}));
  if (!m_lines) return Problem::OfErrno(errno).With(kJournalProgram);
  Problem problem = Spawn(
      {kJournalProgram, "--no-pager", "--quiet", "--output=short-iso", "--unit=" + unit, part},
      writing.Get(), m_process);
  if (problem) m_process = 0;
  return problem;
}

// A part of what it writes, for the stream.
ssize_t Journal::Read(void* journal, char* bytes, size_t size) {
  auto& its = *static_cast<Journal*>(journal);
  its.m_isSilent = !WaitUntilReady(its.m_pipe.Get(), POLLIN, After(its.m_longestSilence));
  if (!its.m_isSilent) return read(its.m_pipe.Get(), bytes, size);
  errno = ETIMEDOUT;
  return -1;
}

Problem Journal::End() {
  m_lines.reset();
  m_pipe = host::Fd();  // it then ends also when it has not written everything
  if (m_isSilent) kill(m_process, SIGKILL);
  Problem problem = AwaitEnd(kJournalProgram, std::exchange(m_process, 0), kLongestEnd);
  if (!m_isSilent) return problem;
  return Problem(std::string(kJournalProgram) + " has written nothing for " +
                 SecondsText(m_longestSilence));
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
