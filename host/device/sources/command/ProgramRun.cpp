// SPDX-License-Identifier: Apache-2.0
// Running a program within limits of time and output.
#include "host/device/sources/command/ProgramRun.h"

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>

#include "host/util/Clock.h"
#include "host/util/Fd.h"
#include "host/util/Wait.h"

// Where the C library forgets to say that this is C.
extern "C" {
#include <sys/pidfd.h>
}

namespace host {
namespace {

constexpr size_t kPiece = 4096;

Problem OfSpawn(int error) { return Problem::OfErrno(error).With("cannot be started"); }

// What a program starts with, besides its words.
class Surroundings {
 public:
  Surroundings() {
    posix_spawn_file_actions_init(&m_files);
    posix_spawnattr_init(&m_attributes);
  }
  ~Surroundings() {
    posix_spawnattr_destroy(&m_attributes);
    posix_spawn_file_actions_destroy(&m_files);
  }
  Surroundings(const Surroundings&) = delete;
  Surroundings& operator=(const Surroundings&) = delete;

  // Standard output is `output`. What failed, as errno.
  int Fill(int output) {
    sigset_t none;
    sigset_t all;
    sigemptyset(&none);
    sigfillset(&all);
    for (const int error : {
             // First: it may have one of the numbers that are opened below.
             posix_spawn_file_actions_adddup2(&m_files, output, STDOUT_FILENO),
             posix_spawn_file_actions_addopen(&m_files, STDIN_FILENO, "/dev/null", O_RDONLY, 0),
             posix_spawn_file_actions_addopen(&m_files, STDERR_FILENO, "/dev/null", O_WRONLY, 0),
             posix_spawn_file_actions_addclosefrom_np(&m_files, STDERR_FILENO + 1),
             posix_spawn_file_actions_addchdir_np(&m_files, "/"),
             posix_spawnattr_setpgroup(&m_attributes, 0),
             // The threads here have every signal blocked, and SIGPIPE is not taken.
             posix_spawnattr_setsigmask(&m_attributes, &none),
             posix_spawnattr_setsigdefault(&m_attributes, &all),
             posix_spawnattr_setflags(&m_attributes, POSIX_SPAWN_SETPGROUP |
                                                         POSIX_SPAWN_SETSIGMASK |
                                                         POSIX_SPAWN_SETSIGDEF),
         }) {
      if (error != 0) return error;
    }
    return 0;
  }

  int Spawn(const std::vector<std::string>& words, pid_t& pid) const {
    std::vector<std::string> texts = words;
    std::vector<char*> arguments;
    arguments.reserve(texts.size() + 1);
    for (std::string& text : texts) arguments.push_back(text.data());
    arguments.push_back(nullptr);
    std::string path = "PATH=/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin";
    std::string locale = "LC_ALL=C.UTF-8";
    char* environment[] = {path.data(), locale.data(), nullptr};
    return posix_spawn(&pid, arguments[0], &m_files, &m_attributes, arguments.data(), environment);
  }

 private:
  posix_spawn_file_actions_t m_files = {};
  posix_spawnattr_t m_attributes = {};
};

// A program that runs. Killed, with what is left of its group, and waited for at the latest when
// this ends.
class Child {
 public:
  explicit Child(pid_t pid) : m_pid(pid), m_ended(pidfd_open(pid, 0)) {}
  ~Child() { End(); }
  Child(const Child&) = delete;
  Child& operator=(const Child&) = delete;

  const Fd& Ended() const { return m_ended; }

  // Its status, as waitpid has it. The group's number is its own until it was waited for.
  int End() {
    if (m_pid <= 0) return m_status;
    kill(-m_pid, SIGKILL);
    // Its group may not be there yet on an emulated machine, where it is not waited for.
    kill(m_pid, SIGKILL);
    while (waitpid(m_pid, &m_status, 0) < 0 && errno == EINTR) {
    }
    m_pid = -1;
    return m_status;
  }

 private:
  pid_t m_pid;
  const Fd m_ended;  // can be read from when it has ended
  int m_status = 0;
};

// Takes what is there now. False at the end of the output, and when that is more than `most`.
bool TakeOutput(int fd, size_t most, std::string& output) {
  char piece[kPiece];
  for (;;) {
    const ssize_t count = read(fd, piece, sizeof(piece));
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) return errno == EAGAIN;
    if (count == 0) return false;
    output.append(piece, static_cast<size_t>(count));
    if (output.size() > most) return false;
  }
}

Problem OfStatus(int status) {
  if (WIFSIGNALED(status)) {
    return Problem("was ended by signal " + std::to_string(WTERMSIG(status)));
  }
  if (WEXITSTATUS(status) == 0) return {};
  return Problem("ended with status " + std::to_string(WEXITSTATUS(status)));
}

// Takes the output until the program ends.
Problem Follow(const Child& child, int output, const RunLimits& limits, std::string& text) {
  const int64_t endMs = MonotonicMs() + limits.timeoutMs;
  bool open = true;
  for (;;) {
    Wait wait;
    wait.ForRead(child.Ended().Get());
    if (open) wait.ForRead(output);
    if (limits.stopFd >= 0) wait.ForRead(limits.stopFd);
    wait.Until(endMs);
    if (!wait.Poll(-1)) return Problem::OfErrno(errno);
    if (limits.stopFd >= 0 && wait.Ready(limits.stopFd)) return Problem("is stopped");
    const bool ended = wait.Ready(child.Ended().Get());
    if (open) open = TakeOutput(output, limits.outputBytes, text);
    if (text.size() > limits.outputBytes) {
      return Problem("writes more than " + std::to_string(limits.outputBytes) + " bytes");
    }
    if (ended) return {};
    if (MonotonicMs() >= endMs) {
      return Problem("does not end within " + std::to_string(limits.timeoutMs / 1000) + " s");
    }
  }
}

}  // namespace

Problem RunProgram(const std::vector<std::string>& words, const RunLimits& limits,
                   std::string& output) {
  output.clear();
  // What the spawned process meets comes back only where it shares this one's memory until then; an
  // emulated machine does not let it.
  if (access(words.front().c_str(), X_OK) != 0) return OfSpawn(errno);
  int ends[2] = {-1, -1};
  if (pipe2(ends, O_CLOEXEC) != 0) return OfSpawn(errno);
  const Fd reading(ends[0]);
  Fd writing(ends[1]);
  if (fcntl(reading.Get(), F_SETFL, O_NONBLOCK) != 0) return OfSpawn(errno);
  Surroundings surroundings;
  if (const int error = surroundings.Fill(writing.Get())) return OfSpawn(error);
  pid_t pid = -1;
  if (const int error = surroundings.Spawn(words, pid)) return OfSpawn(error);
  writing.Reset();
  Child child(pid);
  if (!child.Ended().IsOpen()) return OfSpawn(errno);
  if (Problem problem = Follow(child, reading.Get(), limits, output)) return problem;
  return OfStatus(child.End());
}

}  // namespace host
