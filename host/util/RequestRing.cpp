// SPDX-License-Identifier: Apache-2.0
// The newest requests, for whoever watches.
#include "host/util/RequestRing.h"

#include <atomic>
#include <chrono>
#include <deque>
#include <utility>

#include "host/util/Mutex.h"

namespace host {

namespace {

using Clock = std::chrono::steady_clock;

constexpr size_t kMost = 200;
constexpr std::chrono::seconds kPatience(30);

struct Ring {
  Mutex mutex;
  std::deque<SeenRequest> requests GUARDED_BY(mutex);
  uint64_t newest GUARDED_BY(mutex) = 0;
  std::atomic<Clock::rep> watchedUntil{0};
};

// Never destroyed: threads may still make requests while static objects are.
Ring& TheRing() {
  static auto* const ring = new Ring();
  return *ring;
}

}  // namespace

bool IsWatched() { return Clock::now().time_since_epoch().count() < TheRing().watchedUntil; }

void SeeRequest(SeenRequest request) {
  Ring& ring = TheRing();
  const MutexLock guard(ring.mutex);
  request.number = ++ring.newest;
  ring.requests.push_back(std::move(request));
  if (ring.requests.size() > kMost) ring.requests.pop_front();
}

std::vector<SeenRequest> RequestsSince(uint64_t number, uint64_t& newest) {
  Ring& ring = TheRing();
  const bool wasWatched = IsWatched();
  ring.watchedUntil = (Clock::now() + kPatience).time_since_epoch().count();
  const MutexLock guard(ring.mutex);
  // What was kept for somebody who has gone has a gap behind it.
  if (!wasWatched) ring.requests.clear();
  newest = ring.newest;
  std::vector<SeenRequest> found;
  for (const SeenRequest& request : ring.requests) {
    if (request.number > number) found.push_back(request);
  }
  return found;
}

}  // namespace host
