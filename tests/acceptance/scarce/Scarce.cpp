// SPDX-License-Identifier: Apache-2.0
#include "Scarce.h"

#include <fcntl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace scarce {
namespace {

struct Plan {
  bool ofMemory = false;
  int error = 0;
  long number = 0;
};

int ErrorOf(const char* name, size_t length) {
  static const struct {
    const char* name;
    int error;
  } kErrors[] = {{"EIO", EIO}, {"ENOSPC", ENOSPC}, {"EMFILE", EMFILE}, {"EINTR", EINTR}};
  for (const auto& known : kErrors) {
    if (strlen(known.name) == length && strncmp(known.name, name, length) == 0) return known.error;
  }
  abort();
}

Plan ThePlan() {
  const char* const text = getenv("CLOUDCLIENT_SCARCE");
  if (text == nullptr) return {};
  const char* const blank = strchr(text, ' ');
  if (blank == nullptr) abort();
  const auto length = static_cast<size_t>(blank - text);
  const bool ofMemory = strncmp(text, "memory ", length + 1) == 0;
  return {ofMemory, ofMemory ? 0 : ErrorOf(text, length), atol(blank)};
}

constexpr size_t kLongest = 100;
const Plan g_plan = ThePlan();
std::atomic<long> g_memory{0};
std::atomic<long> g_calls{0};

// By the system's own numbers: the calls of the library are those that fail.
void Tell(const char* line) {
  const char* const file = getenv("CLOUDCLIENT_SCARCE_TOLD");
  if (file == nullptr) return;
  const long fd = syscall(SYS_openat, AT_FDCWD, file, O_WRONLY | O_CREAT | O_APPEND, 0600);
  const auto length = static_cast<long>(strlen(line));
  if (fd < 0 || syscall(SYS_write, fd, line, length) != length) abort();
  syscall(SYS_close, fd);
}

__attribute__((destructor)) void TellCounts() {
  char line[kLongest];
  snprintf(line, sizeof(line), "memory %ld\ncalls %ld\n", g_memory.load(), g_calls.load());
  Tell(line);
}

}  // namespace

bool IsWithoutMemory() {
  const long number = ++g_memory;
  if (!g_plan.ofMemory || number != g_plan.number) return false;
  Tell("failed memory\n");
  return true;
}

int Failure(const char* call) {
  const int error = errno;
  const long number = ++g_calls;
  if (g_plan.error == 0 || number != g_plan.number) return 0;
  char line[kLongest];
  snprintf(line, sizeof(line), "failed %s\n", call);
  Tell(line);
  errno = error;
  return g_plan.error;
}

}  // namespace scarce
