// SPDX-License-Identifier: Apache-2.0
// A terminal that does not show what is typed.
#include "ctl/QuietTerminal.h"

#include <signal.h>
#include <termios.h>
#include <unistd.h>

#include <cerrno>
#include <iterator>

namespace ctl {

namespace {

// What a person, or the end of the terminal, sends to end the program, and what stops it for a
// while.
const int kWatched[] = {SIGHUP, SIGINT, SIGQUIT, SIGTERM, SIGTSTP};

// Where a signal's handler finds them.
struct termios g_before = {};
struct sigaction g_actions[std::size(kWatched)] = {};
std::string g_prompt;

// Of all these only what a signal's handler may call.
void PutText(const char* text, size_t size) {
  [[maybe_unused]] const ssize_t written = write(STDERR_FILENO, text, size);
}

void DisableEcho() {
  struct termios quiet = g_before;
  quiet.c_lflag &= ~static_cast<tcflag_t>(ECHO);
  tcsetattr(STDIN_FILENO, TCSAFLUSH, &quiet);
  PutText(g_prompt.data(), g_prompt.size());
}

void RestoreEcho() {
  tcsetattr(STDIN_FILENO, TCSAFLUSH, &g_before);
  PutText("\n", 1);
}

// The program ends by the signal, as its starter expects: the signal is blocked until this handler
// returns, and has its default action by then.
void OnEnding(int signal) {
  RestoreEcho();
  raise(signal);
}

// The program stops by the signal, and turns the echo off again when it is continued. Continued in
// the background, it stops at its first change of the terminal until it is in the foreground.
void OnStop(int signal) {
  const int error = errno;
  RestoreEcho();
  struct sigaction own = {};
  struct sigaction here = {};
  own.sa_handler = SIG_DFL;
  sigaction(signal, &own, &here);
  sigset_t stop;
  sigset_t before;
  sigemptyset(&stop);
  sigaddset(&stop, signal);
  raise(signal);
  sigprocmask(SIG_UNBLOCK, &stop, &before);  // here it stops
  sigprocmask(SIG_SETMASK, &before, nullptr);
  sigaction(signal, &here, nullptr);
  DisableEcho();
  errno = error;
}

void WatchSignals() {
  struct sigaction ending = {};
  ending.sa_handler = &OnEnding;
  ending.sa_flags = static_cast<int>(SA_RESETHAND);
  sigfillset(&ending.sa_mask);
  struct sigaction stop = {};
  stop.sa_handler = &OnStop;
  stop.sa_flags = SA_RESTART;
  for (size_t i = 0; i < std::size(kWatched); ++i) {
    sigaction(kWatched[i], nullptr, &g_actions[i]);
    // One that is ignored, under nohup say, stays so.
    if (g_actions[i].sa_handler == SIG_IGN) continue;
    sigaction(kWatched[i], kWatched[i] == SIGTSTP ? &stop : &ending, nullptr);
  }
}

void RestoreSignals() {
  for (size_t i = 0; i < std::size(kWatched); ++i) sigaction(kWatched[i], &g_actions[i], nullptr);
}

}  // namespace

QuietTerminal::QuietTerminal(const std::string& prompt)
    : m_isTerminal(tcgetattr(STDIN_FILENO, &g_before) == 0) {
  if (!m_isTerminal) return;
  g_prompt = prompt;
  WatchSignals();  // first: there is no moment without echo and without them
  DisableEcho();
}

QuietTerminal::~QuietTerminal() {
  if (!m_isTerminal) return;
  RestoreEcho();
  RestoreSignals();
}

}  // namespace ctl
