// SPDX-License-Identifier: Apache-2.0
// Another program's run.
#include "ctl/Spawn.h"

#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>

#include "ctl/Dial.h"

namespace ctl {

using host::Problem;

Problem Spawn(std::vector<std::string> words, int output, pid_t& process) {
  std::vector<char*> argv;
  argv.reserve(words.size() + 1);
  for (std::string& word : words) argv.push_back(word.data());
  argv.push_back(nullptr);
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, output, STDOUT_FILENO);
  const int error = posix_spawnp(&process, argv.front(), &actions, nullptr, argv.data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  return error == 0 ? Problem() : Problem::OfErrno(error).With(words.front() + " can't be run");
}

Problem AwaitEnd(const std::string& program, pid_t process, double seconds) {
  constexpr useconds_t kPause = 20000;
  const SteadyClock::time_point end = After(seconds);
  int status = 0;
  for (;;) {
    const bool isOver = SteadyClock::now() >= end;
    if (isOver) kill(process, SIGKILL);
    const pid_t ended = waitpid(process, &status, isOver ? 0 : WNOHANG);
    if (ended < 0 && errno == EINTR) continue;
    if (isOver) return Problem(program + " has not ended within " + SecondsText(seconds));
    if (ended != 0) break;
    usleep(kPause);
  }
  const bool isDone = WIFEXITED(status) && WEXITSTATUS(status) == 0;
  return isDone ? Problem() : Problem(program + " has failed");
}

}  // namespace ctl
