#ifndef FUZZ_HOSTFUZZ_H_
#define FUZZ_HOSTFUZZ_H_

// For targets of the host platform, which stand on no fakes.

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

namespace fuzz {

// Ends the run when a promise was not kept.
inline void Require(bool kept, const char* promise) {
  if (kept) return;
  std::fprintf(stderr, "not kept: %s\n", promise);
  std::abort();
}

}  // namespace fuzz

#endif  // FUZZ_HOSTFUZZ_H_
