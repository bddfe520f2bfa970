// SPDX-License-Identifier: Apache-2.0
// The calls of the system that the daemon and its platform make. A descriptor that could not be
// closed without an error is closed nevertheless, as Linux has it.
#include <dirent.h>
#include <fcntl.h>
#include <ifaddrs.h>
#include <poll.h>
#include <pthread.h>
#include <stdio.h>
#include <sys/eventfd.h>
#include <sys/file.h>
#include <sys/inotify.h>
#include <sys/random.h>
#include <sys/signalfd.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/timerfd.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>

#include "Scarce.h"

// NOLINTBEGIN(bugprone-macro-parentheses, bugprone-reserved-identifier): the linker's names.

// A call that answers `failed` and sets errno.
#define CALL(result, failed, name, parameters, arguments) \
  extern "C" result __real_##name parameters;             \
  extern "C" result __wrap_##name parameters;             \
  extern "C" result __wrap_##name parameters {            \
    if (const int error = scarce::Failure(#name)) {       \
      errno = error;                                      \
      return failed;                                      \
    }                                                     \
    return __real_##name arguments;                       \
  }

CALL(int, -1, accept4, (int fd, sockaddr* address, socklen_t* size, int flags),
     (fd, address, size, flags))
CALL(int, -1, bind, (int fd, const sockaddr* address, socklen_t size), (fd, address, size))
CALL(int, -1, connect, (int fd, const sockaddr* address, socklen_t size), (fd, address, size))
CALL(int, -1, eventfd, (unsigned int count, int flags), (count, flags))
CALL(int, -1, fchmod, (int fd, mode_t mode), (fd, mode))
CALL(int, -1, fchown, (int fd, uid_t owner, gid_t group), (fd, owner, group))
CALL(int, -1, fdatasync, (int fd), (fd))
CALL(int, -1, flock, (int fd, int operation), (fd, operation))
CALL(FILE*, nullptr, fopen, (const char* path, const char* mode), (path, mode))
CALL(int, -1, fseek, (FILE * file, long offset, int whence), (file, offset, whence))
CALL(int, -1, fstat, (int fd, struct stat* status), (fd, status))
CALL(int, -1, fsync, (int fd), (fd))
CALL(long, -1, ftell, (FILE * file), (file))
CALL(int, -1, ftruncate, (int fd, off_t size), (fd, size))
CALL(int, -1, getifaddrs, (ifaddrs * *list), (list))
CALL(ssize_t, -1, getrandom, (void* bytes, size_t size, unsigned int flags), (bytes, size, flags))
CALL(int, -1, inotify_add_watch, (int fd, const char* path, uint32_t mask), (fd, path, mask))
CALL(int, -1, inotify_init1, (int flags), (flags))
CALL(int, -1, inotify_rm_watch, (int fd, int watch), (fd, watch))
CALL(int, -1, listen, (int fd, int most), (fd, most))
CALL(int, -1, lstat, (const char* path, struct stat* status), (path, status))
CALL(int, -1, mkdir, (const char* path, mode_t mode), (path, mode))
CALL(int, -1, mkostemp, (char* name, int flags), (name, flags))
CALL(DIR*, nullptr, opendir, (const char* path), (path))
CALL(int, -1, poll, (pollfd * fds, nfds_t count, int ms), (fds, count, ms))
CALL(ssize_t, -1, pwrite, (int fd, const void* bytes, size_t size, off_t offset),
     (fd, bytes, size, offset))
CALL(ssize_t, -1, read, (int fd, void* bytes, size_t size), (fd, bytes, size))
CALL(dirent*, nullptr, readdir, (DIR * folder), (folder))
CALL(ssize_t, -1, readlink, (const char* path, char* target, size_t size), (path, target, size))
CALL(ssize_t, -1, recv, (int fd, void* bytes, size_t size, int flags), (fd, bytes, size, flags))
CALL(int, -1, rename, (const char* from, const char* to), (from, to))
CALL(ssize_t, -1, send, (int fd, const void* bytes, size_t size, int flags),
     (fd, bytes, size, flags))
CALL(ssize_t, -1, sendto,
     (int fd, const void* bytes, size_t size, int flags, const sockaddr* to, socklen_t length),
     (fd, bytes, size, flags, to, length))
CALL(int, -1, signalfd, (int fd, const sigset_t* signals, int flags), (fd, signals, flags))
CALL(int, -1, socket, (int family, int type, int protocol), (family, type, protocol))
CALL(int, -1, stat, (const char* path, struct stat* status), (path, status))
CALL(int, -1, timerfd_create, (clockid_t clock, int flags), (clock, flags))
CALL(int, -1, timerfd_settime, (int fd, int flags, const itimerspec* to, itimerspec* before),
     (fd, flags, to, before))
CALL(int, -1, unlink, (const char* path), (path))
CALL(int, -1, unlinkat, (int fd, const char* path, int flags), (fd, path, flags))
CALL(ssize_t, -1, write, (int fd, const void* bytes, size_t size), (fd, bytes, size))

extern "C" int __real_open(const char* path, int flags, ...);
extern "C" int __wrap_open(const char* path, int flags, ...);
extern "C" int __wrap_open(const char* path, int flags, ...) {
  if (const int error = scarce::Failure("open")) {
    errno = error;
    return -1;
  }
  if ((flags & O_CREAT) == 0) return __real_open(path, flags);
  va_list rest;
  va_start(rest, flags);
  const auto mode = va_arg(rest, mode_t);
  va_end(rest);
  return __real_open(path, flags, mode);
}

extern "C" int __real_close(int fd);
extern "C" int __wrap_close(int fd);
extern "C" int __wrap_close(int fd) {
  const int error = scarce::Failure("close");
  const int result = __real_close(fd);
  if (error == 0) return result;
  errno = error;
  return -1;
}

extern "C" int __real_fclose(FILE* file);
extern "C" int __wrap_fclose(FILE* file);
extern "C" int __wrap_fclose(FILE* file) {
  const int error = scarce::Failure("fclose");
  const int result = __real_fclose(file);
  if (error == 0) return result;
  errno = error;
  return EOF;
}

extern "C" int __real_pthread_create(pthread_t* thread, const pthread_attr_t* attributes,
                                     void* (*run)(void*), void* argument);
extern "C" int __wrap_pthread_create(pthread_t* thread, const pthread_attr_t* attributes,
                                     void* (*run)(void*), void* argument);
extern "C" int __wrap_pthread_create(pthread_t* thread, const pthread_attr_t* attributes,
                                     void* (*run)(void*), void* argument) {
  if (scarce::Failure("pthread_create") != 0) return EAGAIN;
  return __real_pthread_create(thread, attributes, run, argument);
}

// NOLINTEND(bugprone-macro-parentheses, bugprone-reserved-identifier)
