// SPDX-License-Identifier: Apache-2.0
#ifndef SERVICE_REDFISH_QUOTA_H_
#define SERVICE_REDFISH_QUOTA_H_

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <utility>

#include "service/redfish/Refusal.h"
#include "service/store/Transaction.h"

namespace cloudservice {

// How much one appliance may keep here, and how many events it may send a day (UTC). The defaults
// are several times what the daemon sends at its worst, which is an event of a point every five
// seconds: 17,280 a day, and 6.3 million in a year.
struct Quotas {
  std::int64_t documents = 10000;
  std::int64_t bytes = 64 * 1024 * 1024;  // of these documents
  std::int64_t eventsOfDay = 100000;
  std::int64_t events = 10 * 1000 * 1000;

  enum Kind : std::size_t { kDocuments, kBytes, kEventsOfDay, kEvents };
  static constexpr std::size_t kKinds = 4;
};

// The refusal of a request with which an appliance would exceed a quota: 507, or 429 where waiting
// helps.
class OverQuota : public Refusal {
 public:
  OverQuota(Quotas::Kind kind, const SenderRecord& owner, const std::string& text)
      : Refusal(507, text), m_kind(kind), m_owner(owner) {}
  // After so many seconds there is room again.
  OverQuota(Quotas::Kind kind, const SenderRecord& owner, const std::string& text,
            std::int64_t retryAfter)
      : Refusal(text, retryAfter), m_kind(kind), m_owner(owner) {}

  Quotas::Kind Kind() const { return m_kind; }
  const SenderRecord& Owner() const { return m_owner; }

 private:
  Quotas::Kind m_kind;
  SenderRecord m_owner;
};

// Holds appliances to their quotas, inside the unit of work that makes the change.
class Quota {
 public:
  explicit Quota(const Quotas& quotas) : m_quotas(quotas) {}

  // For a document that is about to have `now` bytes, and has `before`; none: it is new. What does
  // not grow is taken, however much is kept. Throws OverQuota.
  void CheckDocument(const SenderRecord& owner, Transaction& store,
                     std::optional<std::size_t> before, std::size_t now) const;
  // For an event that was received at this time and is stored. Throws OverQuota.
  void CheckEvent(const SenderRecord& owner, Transaction& store, const StoredEvent& event,
                  std::int64_t received) const;

 private:
  Quotas m_quotas;
};

// Counts what quotas have refused. Any thread may call the operations.
class QuotaRefusals {
 public:
  using Counts = std::array<std::uint64_t, Quotas::kKinds>;

  // Counts a refusal. True for the first one of the appliance and the quota in an hour: the log
  // tells only of that.
  bool Add(const OverQuota& refusal, std::int64_t now);
  Counts Total() const;

 private:
  void MakeRoom(std::int64_t now);

  std::array<std::atomic<std::uint64_t>, Quotas::kKinds> m_counts{};
  std::mutex m_mutex;
  // When the log told last of an appliance and a quota; old ones go where there are many.
  std::map<std::pair<std::string, Quotas::Kind>, std::int64_t> m_told;
};

}  // namespace cloudservice

#endif  // SERVICE_REDFISH_QUOTA_H_
