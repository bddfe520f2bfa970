// The system calls that the tests look into, by the linker's --wrap.
#include "SystemCalls.h"

#include <poll.h>
#include <unistd.h>

#include <cerrno>

std::function<int(int fd)> g_fsync;
std::function<void(int timeoutMs)> g_poll;

extern "C" {

int RealFsync(int fd) __asm__("__real_fsync");
int WrappedFsync(int fd) __asm__("__wrap_fsync");
int RealPoll(struct pollfd* fds, nfds_t count, int timeoutMs) __asm__("__real_poll");
int WrappedPoll(struct pollfd* fds, nfds_t count, int timeoutMs) __asm__("__wrap_poll");

int WrappedFsync(int fd) {
  if (!g_fsync) return RealFsync(fd);
  const int error = g_fsync(fd);
  if (error == 0) return 0;
  errno = error;
  return -1;
}

int WrappedPoll(struct pollfd* fds, nfds_t count, int timeoutMs) {
  if (g_poll) g_poll(timeoutMs);
  return RealPoll(fds, count, timeoutMs);
}
}
