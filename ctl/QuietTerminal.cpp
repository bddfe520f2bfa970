#include "ctl/QuietTerminal.h"

#include <signal.h>
#include <termios.h>
#include <unistd.h>

#include <iterator>

namespace ctl {

namespace {

// What a person, or the end of the terminal, sends to end the program.
const int kEndings[] = {SIGHUP, SIGINT, SIGQUIT, SIGTERM};

// Where a signal's handler finds them.
struct termios g_before = {};
struct sigaction g_actions[std::size(kEndings)] = {};

// Only what a signal's handler may call.
void BringEchoBack() {
  tcsetattr(STDIN_FILENO, TCSAFLUSH, &g_before);
  [[maybe_unused]] const ssize_t written = write(STDERR_FILENO, "\n", 1);
}

// The program ends by the signal, as whoever started it expects: it is blocked until the return
// from here, and has its own meaning again by then.
void OnEnding(int signal) {
  BringEchoBack();
  raise(signal);
}

void WatchEndings() {
  struct sigaction action = {};
  action.sa_handler = &OnEnding;
  action.sa_flags = static_cast<int>(SA_RESETHAND);
  sigfillset(&action.sa_mask);
  for (size_t i = 0; i < std::size(kEndings); ++i) {
    sigaction(kEndings[i], nullptr, &g_actions[i]);
    // One that is ignored, under nohup say, stays so.
    if (g_actions[i].sa_handler != SIG_IGN) sigaction(kEndings[i], &action, nullptr);
  }
}

void LeaveEndings() {
  for (size_t i = 0; i < std::size(kEndings); ++i) sigaction(kEndings[i], &g_actions[i], nullptr);
}

}  // namespace

QuietTerminal::QuietTerminal() : m_isTerminal(tcgetattr(STDIN_FILENO, &g_before) == 0) {
  if (!m_isTerminal) return;
  WatchEndings();  // first: there is no moment without echo and without them
  struct termios quiet = g_before;
  quiet.c_lflag &= ~static_cast<tcflag_t>(ECHO);
  tcsetattr(STDIN_FILENO, TCSAFLUSH, &quiet);
}

QuietTerminal::~QuietTerminal() {
  if (!m_isTerminal) return;
  BringEchoBack();
  LeaveEndings();
}

}  // namespace ctl
