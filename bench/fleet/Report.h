// SPDX-License-Identifier: Apache-2.0
#ifndef BENCH_FLEET_REPORT_H_
#define BENCH_FLEET_REPORT_H_

#include <string>
#include <utility>
#include <vector>

#include "Load.h"
#include "Proc.h"

namespace fleet {

// What one process of the server, with its descendants, took in the window.
struct ProcessReport {
  int pid = 0;
  Usage before;
  Usage after;

  double CpuSeconds() const { return after.cpuSeconds - before.cpuSeconds; }
};

// For people: a line for each kind of request and each process.
std::string TextOf(const Result& result, const std::vector<ProcessReport>& processes);

// For programs, one JSON object:
//   {"seconds", "answered", "failed", "cpu_us": CPU of all processes a request answered,
//    "problems": [text],
//    "kinds": {NAME: {"due", "answered", "failed", "unanswered", "rate", "mean_us", "p50_us",
//                     "p99_us", "p999_us", "max_us", "statuses": {STATUS: count}}},
//    "processes": [{"pid", "cpu_s", "resident_kib", "proportional_kib", "processes", "threads"}]}
std::string JsonOf(const Result& result, const std::vector<ProcessReport>& processes);

}  // namespace fleet

#endif  // BENCH_FLEET_REPORT_H_
