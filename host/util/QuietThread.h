// SPDX-License-Identifier: Apache-2.0
#ifndef HOST_UTIL_QUIETTHREAD_H_
#define HOST_UTIL_QUIETTHREAD_H_

#include <functional>
#include <thread>

namespace host {

// Starts a thread that runs `body` with every signal blocked: what is sent to the process goes to
// others. Throws std::system_error when there can be no thread. The caller's signals are as before
// in either case.
std::thread StartQuietThread(std::function<void()> body);

}  // namespace host

#endif  // HOST_UTIL_QUIETTHREAD_H_
