// SPDX-License-Identifier: Apache-2.0
// How much one appliance may keep and send.
#include "service/redfish/Quota.h"

#include <iterator>

namespace cloudservice {

namespace {

constexpr std::int64_t kHour = 3600;
constexpr std::int64_t kDay = 24 * kHour;
// Appliances and quotas that are remembered; beyond that those of the last hour alone, or none.
constexpr std::size_t kRemembered = 10000;

std::string MoreThan(const std::string& has, std::int64_t most, const char* what) {
  return "The appliance " + has + " more than " + std::to_string(most) + " " + what + ".";
}

}  // namespace

void Quota::CheckDocument(const SenderRecord& owner, Transaction& store,
                          std::optional<std::size_t> before, std::size_t now) const {
  if (before && now <= *before) return;
  const Usage usage = store.FindUsage(owner.uuid);
  if (!before && usage.documents >= m_quotas.documents) {
    throw OverQuota(Quotas::kDocuments, owner,
                    MoreThan("would keep", m_quotas.documents, "documents"));
  }
  const auto more = static_cast<std::int64_t>(now - before.value_or(0));
  if (usage.bytes + more > m_quotas.bytes) {
    throw OverQuota(Quotas::kBytes, owner,
                    MoreThan("would keep", m_quotas.bytes, "bytes of documents"));
  }
}

void Quota::CheckEvent(const SenderRecord& owner, Transaction& store, const StoredEvent& event,
                       std::int64_t received) const {
  if (event.today > m_quotas.eventsOfDay) {
    throw OverQuota(Quotas::kEventsOfDay, owner,
                    MoreThan("has sent", m_quotas.eventsOfDay, "events on this day (UTC)"),
                    kDay - received % kDay);
  }
  if (event.kept > m_quotas.events && store.CountEvents(owner.uuid) > m_quotas.events) {
    throw OverQuota(Quotas::kEvents, owner, MoreThan("would keep", m_quotas.events, "events"));
  }
}

bool QuotaRefusals::Add(const OverQuota& refusal, std::int64_t now) {
  ++m_counts.at(refusal.Kind());
  const std::pair<std::string, Quotas::Kind> key = {refusal.Owner().uuid, refusal.Kind()};
  const std::lock_guard<std::mutex> guard(m_mutex);
  const auto told = m_told.find(key);
  // Told again where the clock has been set back since.
  if (told != m_told.end() && now >= told->second && now - told->second < kHour) return false;
  if (m_told.size() >= kRemembered) MakeRoom(now);
  m_told[key] = now;
  return true;
}

void QuotaRefusals::MakeRoom(std::int64_t now) {
  for (auto at = m_told.begin(); at != m_told.end();) {
    at = now - at->second < kHour ? std::next(at) : m_told.erase(at);
  }
  if (m_told.size() >= kRemembered) m_told.clear();
}

QuotaRefusals::Counts QuotaRefusals::Total() const {
  Counts counts = {};
  for (std::size_t i = 0; i < counts.size(); ++i) counts.at(i) = m_counts.at(i);
  return counts;
}

}  // namespace cloudservice
