// SPDX-License-Identifier: Apache-2.0
// The table of open connections, and how many there may be.
#include "service/http/Connections.h"

#include <utility>
#include <vector>

namespace cloudservice {

bool Connections::Add(const std::shared_ptr<Session>& session, const std::string& sender) {
  const std::lock_guard<std::mutex> guard(m_mutex);
  if (m_stopping) return false;
  if (m_entries.size() >= m_limits.all) {
    ++m_counts.refused;
    return false;
  }
  const auto known = m_senders.find(sender);
  if (!sender.empty() && known != m_senders.end() && known->second >= m_limits.ofSender) {
    ++m_counts.refusedOfSender;
    return false;
  }
  m_entries[session.get()] = {session, sender};
  ++m_senders[sender];
  return true;
}

void Connections::Remove(Session* session) {
  std::function<void()> done;
  {
    const std::lock_guard<std::mutex> guard(m_mutex);
    const auto entry = m_entries.find(session);
    if (entry == m_entries.end()) return;
    const auto sender = m_senders.find(entry->second.sender);
    if (--sender->second == 0) m_senders.erase(sender);
    m_entries.erase(entry);
    if (m_stopping && m_entries.empty()) done = std::exchange(m_done, nullptr);
  }
  if (done) done();
}

void Connections::Stop(std::function<void()> done) {
  // They are released outside of the lock, since the last owner of one removes it.
  std::vector<std::shared_ptr<Session>> sessions;
  {
    const std::lock_guard<std::mutex> guard(m_mutex);
    m_stopping = true;
    for (const auto& [key, entry] : m_entries) sessions.push_back(entry.session.lock());
    if (!m_entries.empty()) m_done = std::exchange(done, nullptr);
  }
  for (const auto& session : sessions) {
    if (session) session->Stop();
  }
  if (done) done();
}

ConnectionCounts Connections::Counts() const {
  const std::lock_guard<std::mutex> guard(m_mutex);
  ConnectionCounts counts = m_counts;
  counts.open = m_entries.size();
  return counts;
}

}  // namespace cloudservice
