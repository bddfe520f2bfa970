// SPDX-License-Identifier: Apache-2.0
#ifndef BENCH_FLEET_LOAD_H_
#define BENCH_FLEET_LOAD_H_

#include <array>
#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "Fleet.h"
#include "Histogram.h"
#include "Link.h"

namespace fleet {

// What is sent, and how fast.
struct Plan {
  enum class Pace {
    kRates,    // open loop: each kind has its rate, and a request is due at its time
    kFlatOut,  // closed loop: each connection sends as soon as it was answered
    kOnce,     // the same, but each appliance says each kind once, however long that takes
  };
  Pace pace = Pace::kRates;
  std::vector<Kind> kinds;    // flat out and once: said one after the other by each appliance
  std::vector<double> rates;  // of the kinds: requests a second over all appliances
  std::int64_t appliances = 1;
  int connections = 64;  // each has its appliances, which say nothing over another one
  int threads = 1;
  std::chrono::milliseconds warmUp{0};
  std::chrono::milliseconds measured{0};
  std::chrono::milliseconds patience{30000};  // for answers that are missing at the end
};

// Of one kind of request.
struct KindResult {
  Histogram latency;            // of what was due in the window: from then to the answer
  std::int64_t due = 0;         // in the window
  std::int64_t answered = 0;    // in the window, rightly
  std::int64_t failed = 0;      // answered wrongly, or not to the end; at any time
  std::int64_t unanswered = 0;  // when patience ended
  std::map<unsigned, std::int64_t> statuses;  // of all answers

  void Add(const KindResult& other);
};

struct Result {
  std::array<KindResult, kKinds> kinds;
  std::vector<std::string> problems;  // the first of each thread
  double seconds = 0;                 // the length of the window
  std::int64_t failedElsewhere = 0;

  KindResult& Of(Kind kind) { return kinds.at(static_cast<std::size_t>(kind)); }
  const KindResult& Of(Kind kind) const { return kinds.at(static_cast<std::size_t>(kind)); }
  std::int64_t Answered() const;
  std::int64_t Failed() const;  // what was not answered too
  // Takes the failures of another run, and none of its figures.
  void AddFailures(const Result& other);
};

// Runs the plan. Calls `opens` and `closes` when the window of measurement begins and ends; for
// Pace::kOnce that is all of it. Blocks until it is done.
Result Run(const Plan& plan, Fleet& fleet, const Way& way, const std::function<void()>& opens,
           const std::function<void()>& closes);

}  // namespace fleet

#endif  // BENCH_FLEET_LOAD_H_
