#ifndef TESTS_UNIT_HOST_SYSTEMCALLS_H_
#define TESTS_UNIT_HOST_SYSTEMCALLS_H_

#include <functional>

// What the tests put around calls of the system; nothing as long as a hook is empty.

// Asked in the place of fsync: 0, or the errno that it fails with.
extern std::function<int(int fd)> g_fsync;

// Told of each poll before it is done.
extern std::function<void(int timeoutMs)> g_poll;

#endif  // TESTS_UNIT_HOST_SYSTEMCALLS_H_
