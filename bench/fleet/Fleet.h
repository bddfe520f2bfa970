// SPDX-License-Identifier: Apache-2.0
#ifndef BENCH_FLEET_FLEET_H_
#define BENCH_FLEET_FLEET_H_

#include <atomic>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace fleet {

// What is said to the service.
enum class Kind {
  kRegister,       // an appliance registers
  kChassis,        // ... and makes its chassis
  kBeat,           // an appliance's heartbeat
  kValue,          // a PATCH of its temperatures
  kRaise,          // an alarm opens
  kClear,          // the alarm closes
  kReadBeat,       // whether the service has the heartbeats that it answered
  kReadValue,      // ... and the value
  kView,           // an operator's page of the fleet
  kSearch,         // a part of an operator's search that finds nothing in the largest log
  kWrongPassword,  // a password that is wrong, each from another address
};
constexpr int kKinds = 11;

// The word for it on the command line and in reports.
const char* NameOf(Kind kind);

// How an appliance is known at the service.
struct Identity {
  std::string uuid;
  std::string token;
  std::string chassis;
};

// The identity that seeding gives to the appliance with this number.
Identity IdentityOf(std::int64_t number);

// The account and the operator that seeding makes.
constexpr const char* kEmail = "fleet@example.org";
constexpr const char* kRegistrationKey = "fleet-key";
constexpr const char* kOperator = "fleet";
constexpr const char* kOperatorToken = "f1ee70f1ee70f1ee70f1ee70f1ee70f1";

// The documents that an appliance sends, seeded ones too.
std::string ManagerDocument(const Identity& appliance, const std::string& name);
std::string ChassisDocument(const Identity& appliance);
std::string ThermalDocument(std::int64_t value);
std::string EventDocument(const Identity& appliance, int alarm, const char* severity);
std::string NameOfAppliance(std::int64_t number);
std::string ThermalPath(const Identity& appliance);
// The identifier of an alarm's messages.
std::string AlarmId(int alarm);

// An answer as far as it is looked at.
struct Answer {
  unsigned status = 0;
  std::string body;
  std::string location;
  std::string token;
};

// The appliances: what each says next, and what has to be answered. Numbers are those of
// appliances; for an operator's requests they only count. Any thread, as long as one number is
// dealt with by one thread at a time.
class Fleet {
 public:
  // `host` is the service's "127.0.0.1:8443"; `large` is the number of the appliance with the
  // largest log. With `exact`, the service counts heartbeats; a bare server answers the same each
  // time.
  Fleet(std::int64_t appliances, std::string host, std::int64_t large, bool exact);

  // The bytes of the request, as an appliance or a page sends it.
  std::string Request(Kind kind, std::int64_t number);
  // What is wrong with the answer; empty when it is as it has to be. Takes what the service gave.
  std::string Check(Kind kind, std::int64_t number, const Answer& answer);
  // Nothing is known of what the service did with the request.
  void Lost(Kind kind, std::int64_t number);

 private:
  struct Appliance {
    Identity identity;
    std::int64_t beats = -1;  // answered last; below 0: not known
    std::int64_t value = 0;   // sent last
    bool valueKept = false;   // ... and answered
  };

  Appliance& Of(std::int64_t number) { return m_appliances[static_cast<std::size_t>(number)]; }
  std::string CheckBeat(Appliance& appliance, const Answer& answer) const;
  std::string CheckEvent(Kind kind, const Answer& answer) const;
  std::string CheckSearch(const Answer& answer);
  std::string Search(std::int64_t before) const;

  const std::string m_host;
  const Identity m_large;
  const bool m_exact;
  std::vector<Appliance> m_appliances;
  std::atomic<std::int64_t> m_before{0};  // where the search goes on; 0: at the newest event
};

}  // namespace fleet

#endif  // BENCH_FLEET_FLEET_H_
