// SPDX-License-Identifier: Apache-2.0
#ifndef BENCH_FLEET_BARESERVER_H_
#define BENCH_FLEET_BARESERVER_H_

#include <cstdint>
#include <string>

namespace fleet {

struct BareOptions {
  std::uint16_t port = 0;  // of 127.0.0.1; 0: any free one
  int threads = 1;
  std::string certificate;  // PEM files; empty: plain HTTP
  std::string key;
};

// The least that a server of this kind can be: reads requests, and answers each from memory, a
// heartbeat as the service does, and everything else as a PATCH. Prints "listening on URL", and
// runs until SIGTERM. Throws std::runtime_error.
void RunBareServer(const BareOptions& options);

}  // namespace fleet

#endif  // BENCH_FLEET_BARESERVER_H_
