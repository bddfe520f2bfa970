// SPDX-License-Identifier: Apache-2.0
// Compares what bringing a database without accounts up to date costs with few events and with ten
// times as many:
//
//   schema_upgrade [ROUNDS]
//
// Each round upgrades a database of each size, made afresh outside of the measurement. Printed is
// the processor time an event, the least of the rounds. Exits 1 when an event costs more than one
// and a half times as much among many as among few.

#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <iostream>
#include <limits>
#include <string>

#include "OldSchema.h"
#include "service/store/Store.h"

namespace {

using cloudservice::Database;
using cloudservice::Store;

constexpr double kLargestGrowth = 1.5;
constexpr int kFew = 50000;
constexpr int kMany = 500000;

// Every tenth event opens an alarm, which the next clears; of each chassis the alarms come again.
void MakeEvents(const std::string& file, int count) {
  cloudservice::MakeOldDatabase(file, 2);
  Database database(file);
  const std::string rows =
      "WITH RECURSIVE row (n) AS (SELECT 1 UNION ALL SELECT n + 1 FROM row WHERE n < " +
      std::to_string(count) + ") ";
  const std::string chassis = "'c' || (n / 10 % 100), ";
  const std::string script =
      "BEGIN;"
      "INSERT INTO manager (uuid, name, token_hash, document, registered) "
      "VALUES ('u', 'n', 'h', '{}', 1);" +
      rows + "INSERT INTO chassis SELECT 'c' || (n - 1), 'u', '{}', 1 FROM row WHERE n <= 100;" +
      rows + "INSERT INTO event SELECT n, 'u', " + chassis +
      "'m' || (n / 1000 % 3), 'Alarm', '{\"Message\": \"' || hex(zeroblob(60)) || '\"}', n FROM "
      "row;" +
      rows + "INSERT INTO alarm SELECT n, " + chassis +
      "'m' || (n / 1000 % 3), 'Alarm', n, n, n + 1 FROM row WHERE n % 10 = 0; COMMIT";
  database.Execute(script.c_str());
}

// Microseconds an event.
double Upgrade(const std::string& folder, int count) {
  const std::string file = folder + "/s.db";
  MakeEvents(file, count);
  const clock_t begin = clock();
  cloudservice::OpenStore(file);
  const clock_t end = clock();
  for (const char* endOfName : {"", "-wal", "-shm", ".v2"}) {
    unlink((file + endOfName).c_str());
  }
  return static_cast<double>(end - begin) * 1e6 / CLOCKS_PER_SEC / count;
}

int Compare(const std::string& folder, int rounds) {
  double few = std::numeric_limits<double>::max();
  double many = few;
  for (int round = 0; round < rounds; ++round) {
    few = std::min(few, Upgrade(folder, kFew));
    many = std::min(many, Upgrade(folder, kMany));
  }
  const bool met = many <= kLargestGrowth * few;
  std::printf("%d events  %.2f us each   %d events  %.2f us each   ratio %.2f  goal %.1f: %s\n",
              kFew, few, kMany, many, many / few, kLargestGrowth, met ? "met" : "MISSED");
  return met ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv) {
  const int rounds = argc > 1 ? static_cast<int>(std::strtol(argv[1], nullptr, 10)) : 3;
  if (argc > 2 || rounds < 1) {
    std::cerr << "usage: schema_upgrade [ROUNDS]\n";
    return 2;
  }
  std::string folder = (std::filesystem::temp_directory_path() / "schema_upgrade-XXXXXX").string();
  if (mkdtemp(folder.data()) == nullptr) {
    std::cerr << "schema_upgrade: no folder for the databases\n";
    return 2;
  }
  const int status = Compare(folder, rounds);
  std::filesystem::remove_all(folder);
  return status;
}
