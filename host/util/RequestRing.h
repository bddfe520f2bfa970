// SPDX-License-Identifier: Apache-2.0
#ifndef HOST_UTIL_REQUESTRING_H_
#define HOST_UTIL_REQUESTRING_H_

#include <cstdint>
#include <string>
#include <vector>

namespace host {

// A request that the process has made of its service.
struct SeenRequest {
  uint64_t number = 0;  // counted from 1; given by SeeRequest
  std::string time;     // when it had ended, as in a line of the log
  std::string method;
  std::string url;  // without secrets
  long status = 0;  // 0 without an answer
  long milliseconds = 0;
  std::string problem;  // empty, or why it was not transferred
};

// Whether somebody has asked for requests within the last half minute: otherwise none is kept. Any
// thread, as the others.
bool IsWatched();

// Keeps a request in place of the oldest of 200.
void SeeRequest(SeenRequest request);

// The requests that came after this number, the oldest first, of those that are kept; `newest`
// becomes the number of the newest of all.
std::vector<SeenRequest> RequestsSince(uint64_t number, uint64_t& newest);

}  // namespace host

#endif  // HOST_UTIL_REQUESTRING_H_
