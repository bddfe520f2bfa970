// SPDX-License-Identifier: Apache-2.0
#ifndef BENCH_FLEET_PROC_H_
#define BENCH_FLEET_PROC_H_

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace fleet {

// What /proc/PID/stat tells of a process.
struct ProcessStat {
  int parent = 0;
  std::int64_t ticks = 0;  // on a processor so far: its own, and of the children it has waited for
  std::int64_t threads = 0;
};

// Reads the text of /proc/PID/stat; none when it is not of that form.
std::optional<ProcessStat> ParseStat(const std::string& text);

// The value of a line "NAME:   VALUE kB" of a text like that of /proc/PID/smaps_rollup; 0 when
// there is no such line.
std::int64_t KibOf(const std::string& text, const std::string& name);

// What a process and its descendants take.
struct Usage {
  double cpuSeconds = 0;  // ended children included; in steps of a tick of the kernel
  std::int64_t residentKib = 0;
  std::int64_t proportionalKib = 0;  // what processes share is counted once over all of them
  std::int64_t processes = 0;
  std::int64_t threads = 0;
};

// Reads it from /proc. A descendant that ends meanwhile is left out. Throws std::runtime_error when
// the process itself is gone.
Usage UsageOf(int pid);

}  // namespace fleet

#endif  // BENCH_FLEET_PROC_H_
