// SPDX-License-Identifier: Apache-2.0
#ifndef HOST_UTIL_UNCAUGHTEXCEPTION_H_
#define HOST_UTIL_UNCAUGHTEXCEPTION_H_

namespace host {

// From now on an exception that no thread's code catches ends the process with a message and status
// 1: most likely it is the want of memory, for which a service manager starts the process again,
// and of which a core file tells nothing. What ends the process without an exception still aborts
// it.
void EndOnUncaughtException();

}  // namespace host

#endif  // HOST_UTIL_UNCAUGHTEXCEPTION_H_
