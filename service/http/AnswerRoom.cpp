// SPDX-License-Identifier: Apache-2.0
// The bytes of large answers that are not yet sent.
#include "service/http/AnswerRoom.h"

namespace cloudservice {

namespace {

// Whether `bytes` fit beside those that are taken. What is alone fits always.
bool Fit(std::size_t bytes, std::size_t taken, std::size_t limit) {
  return taken == 0 || (taken < limit && bytes <= limit - taken);
}

}  // namespace

std::shared_ptr<void> AnswerRoom::Take(const std::string& sender, std::size_t bytes) {
  {
    const std::lock_guard<std::mutex> guard(m_mutex);
    const auto known = m_ofSenders.find(sender);
    const std::size_t own = known == m_ofSenders.end() ? 0 : known->second;
    if (!Fit(bytes, m_taken, m_limits.all) || !Fit(bytes, own, m_limits.ofSender)) {
      ++m_refused;
      return nullptr;
    }
    m_taken += bytes;
    m_ofSenders[sender] = own + bytes;
  }
  return {this, [self = shared_from_this(), sender, bytes](void*) { self->Give(sender, bytes); }};
}

void AnswerRoom::Give(const std::string& sender, std::size_t bytes) {
  const std::lock_guard<std::mutex> guard(m_mutex);
  m_taken -= bytes;
  const auto known = m_ofSenders.find(sender);
  known->second -= bytes;
  if (known->second == 0) m_ofSenders.erase(known);
}

std::size_t AnswerRoom::Taken() const {
  const std::lock_guard<std::mutex> guard(m_mutex);
  return m_taken;
}

std::uint64_t AnswerRoom::Refused() const {
  const std::lock_guard<std::mutex> guard(m_mutex);
  return m_refused;
}

}  // namespace cloudservice
