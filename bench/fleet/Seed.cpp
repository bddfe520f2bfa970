// SPDX-License-Identifier: Apache-2.0
// A fleet that has been there for a while, written straight into the database.
#include "Seed.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <functional>
#include <memory>
#include <optional>
#include <stdexcept>

#include "Fleet.h"
#include "service/json/Json.h"
#include "service/json/Numbers.h"
#include "service/store/Store.h"
#include "service/util/Clock.h"
#include "service/util/Secret.h"

namespace fleet {

namespace {

using cloudservice::Store;
using cloudservice::Transaction;

constexpr std::int64_t kInterval = 90;
constexpr std::int64_t kDay = 24 * 3600;
// How much one transaction writes.
constexpr std::int64_t kTogether = 2000;
// Older than what the service is told to keep.
constexpr std::int64_t kOldDays = 500;
constexpr int kFirstAlarm = 1000;

// Does `work` for each number below `count`, many in one transaction.
void InParts(Store& store, const char* what, std::int64_t count,
             const std::function<void(Transaction& transaction, std::int64_t number)>& work) {
  for (std::int64_t done = 0; done < count;) {
    const std::int64_t end = std::min(count, done + kTogether);
    store.Write([&](Transaction& transaction) {
      for (std::int64_t i = done; i < end; ++i) work(transaction, i);
    });
    done = end;
    std::printf("\r%s: %lld", what, static_cast<long long>(done));
    std::fflush(stdout);
  }
  if (count > 0) std::printf("\n");
}

class Seeder {
 public:
  Seeder(Store& store, const SeedOptions& options)
      : m_store(store), m_options(options), m_now(cloudservice::WallClock()) {}

  void Run() {
    const std::string hash = cloudservice::HashPassword(kRegistrationKey);
    m_store.Write([&](Transaction& transaction) { AddOwners(transaction, hash); });
    InParts(m_store, "appliances", m_options.appliances,
            [this](Transaction& transaction, std::int64_t number) {
              AddAppliance(transaction, number);
            });
    AddOld();
    InParts(m_store, "appliances with alarms", m_options.alarms > 0 ? m_options.appliances : 0,
            [this](Transaction& transaction, std::int64_t number) {
              AddAlarms(transaction, IdentityOf(number));
            });
    AddLargeLog();
  }

 private:
  void AddOwners(Transaction& transaction, const std::string& keyHash) {
    transaction.AddRegistrationKey(kEmail, keyHash, true, m_now);
    m_account = transaction.FindAccount(kEmail)->id;
    cloudservice::OperatorRecord person;
    person.name = kOperator;
    person.tokenHash = cloudservice::Sha256Hex(kOperatorToken);
    person.created = m_now;
    transaction.AddOperator(person);
  }

  void AddAppliance(Transaction& transaction, std::int64_t number) const {
    const Identity identity = IdentityOf(number);
    cloudservice::ManagerRecord manager;
    manager.uuid = identity.uuid;
    manager.name = NameOfAppliance(number);
    manager.document = ManagerDocument(identity, manager.name);
    manager.registered = m_now - kDay;
    manager.account = m_account;
    manager.address = "192.0.2.7";
    transaction.AddManager(manager, cloudservice::Sha256Hex(identity.token));
    transaction.AddChassis(
        {identity.chassis, identity.uuid, ChassisDocument(identity), manager.registered});
    transaction.AddHeartbeat(identity.uuid, m_now - number % kInterval, kInterval, manager.address);
    PutThermal(transaction, identity, 0, m_now);
  }

  void AddAlarms(Transaction& transaction, const Identity& identity) const {
    static constexpr std::array<const char*, 3> kSeverities = {"Warning", "Alarm", "Fault"};
    for (std::int64_t i = 0; i < m_options.alarms; ++i) {
      const char* severity = kSeverities.at(static_cast<std::size_t>(i) % kSeverities.size());
      AddEvent(transaction, identity, kFirstAlarm + static_cast<int>(i), severity, m_now - kDay);
    }
  }

  static void PutThermal(Transaction& transaction, const Identity& identity, std::int64_t value,
                         std::int64_t time) {
    const std::string path = ThermalPath(identity);
    const std::string document = ThermalDocument(value);
    const auto numbers = cloudservice::NumbersOf(cloudservice::ParseStored(document));
    transaction.PutResource({path, identity.uuid, identity.chassis, document, time},
                            {path, identity.uuid, identity.chassis, time, numbers});
  }

  static void AddEvent(Transaction& transaction, const Identity& identity, int alarm,
                       const char* severity, std::int64_t received) {
    cloudservice::EventRecord event;
    event.manager = identity.uuid;
    event.chassis = identity.chassis;
    event.messageId = AlarmId(alarm);
    event.severity = severity;
    event.document = EventDocument(identity, alarm, severity);
    event.received = received;
    transaction.AddEvent(event, event.messageId);
  }

  // The appliance behind the last one has written all of it within a day.
  void AddLargeLog() {
    if (m_options.largeLog == 0) return;
    const std::int64_t number = m_options.appliances;
    const Identity identity = IdentityOf(number);
    m_store.Write([&](Transaction& transaction) {
      AddAppliance(transaction, number);
      AddAlarms(transaction, identity);
    });
    InParts(m_store, "events of one appliance", m_options.largeLog,
            [&](Transaction& transaction, std::int64_t turn) {
              const std::int64_t received = m_now - kDay + turn * kDay / m_options.largeLog;
              AddEvent(transaction, identity, kFirstAlarm, "Message", received);
            });
  }

  // Before all other events: they arrive in order, and one that comes behind a later one goes when
  // that one's day goes.
  void AddOld() {
    const std::int64_t old = m_now - kOldDays * kDay;
    InParts(m_store, "old events", m_options.oldEvents,
            [&](Transaction& transaction, std::int64_t turn) {
              const Identity identity = IdentityOf(turn % m_options.appliances);
              AddEvent(transaction, identity, kFirstAlarm, "Message", old);
            });
    InParts(m_store, "old readings", m_options.oldReadings,
            [&](Transaction& transaction, std::int64_t turn) {
              const Identity identity = IdentityOf(turn % m_options.appliances);
              PutThermal(transaction, identity, turn / m_options.appliances, old);
            });
  }

  Store& m_store;
  const SeedOptions& m_options;
  const std::int64_t m_now;
  std::optional<std::int64_t> m_account;
};

}  // namespace

void Seed(const SeedOptions& options) {
  const std::unique_ptr<Store> store = cloudservice::OpenStore(options.database);
  Seeder(*store, options).Run();
}

}  // namespace fleet
