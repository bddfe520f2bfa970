// SPDX-License-Identifier: Apache-2.0
#ifndef BENCH_FLEET_SEED_H_
#define BENCH_FLEET_SEED_H_

#include <cstdint>
#include <string>

namespace fleet {

// What is put into a database.
struct SeedOptions {
  std::string database;          // as the service's --db
  std::int64_t appliances = 0;   // registered, each with a chassis, a document, a heartbeat
  std::int64_t alarms = 3;       // open alarms of each
  std::int64_t largeLog = 0;     // one more appliance with so many events
  std::int64_t oldEvents = 0;    // spread over the appliances, older than any retention
  std::int64_t oldReadings = 0;  // likewise
};

// Writes it by the store's own operations: no registration with its slow hash, no request. With it
// come an account, and an operator with a token (Fleet.h). The service must not run on the
// database, which is made where it is missing. Says on standard output how far it is. Throws
// std::runtime_error.
void Seed(const SeedOptions& options);

}  // namespace fleet

#endif  // BENCH_FLEET_SEED_H_
