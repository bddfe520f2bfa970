// SPDX-License-Identifier: Apache-2.0
// What the daemon of the cases of scarcity asks of the system: one request of it fails, once.
#ifndef TESTS_ACCEPTANCE_SCARCE_SCARCE_H_
#define TESTS_ACCEPTANCE_SCARCE_SCARCE_H_

namespace scarce {

// CLOUDCLIENT_SCARCE is "memory NUMBER", or "ERRNO NUMBER" for a call of the system: the request of
// that number, from 1, fails. The file that CLOUDCLIENT_SCARCE_TOLD names receives a line when it
// does, and at the ordinary end how many there were, "memory N" and "calls N".

// Whether this request for memory is the one that fails. Any thread.
bool IsWithoutMemory();

// What this call of the system fails with: an errno, or 0.
int Failure(const char* call);

}  // namespace scarce

#endif  // TESTS_ACCEPTANCE_SCARCE_SCARCE_H_
