// SPDX-License-Identifier: Apache-2.0
// Bodies of answers without an end.
#include "service/http/Stream.h"

#include <utility>

namespace cloudservice {

void Stream::Write(const std::string& text) {
  const std::lock_guard<std::mutex> guard(m_mutex);
  if (m_ended) return;
  if (m_waiting.size() + text.size() > m_limit) return EndLocked();
  m_waiting += text;
  if (m_wake) m_wake();
}

void Stream::End() {
  const std::lock_guard<std::mutex> guard(m_mutex);
  EndLocked();
}

void Stream::EndLocked() {
  if (m_ended) return;
  m_ended = true;
  m_waiting.clear();
  if (m_wake) m_wake();
}

bool Stream::Ended() const {
  const std::lock_guard<std::mutex> guard(m_mutex);
  return m_ended;
}

std::string Stream::Take() {
  const std::lock_guard<std::mutex> guard(m_mutex);
  return std::exchange(m_waiting, {});
}

void Stream::Attach(std::function<void()> wake) {
  const std::lock_guard<std::mutex> guard(m_mutex);
  m_wake = std::move(wake);
}

void Stream::Detach() {
  const std::lock_guard<std::mutex> guard(m_mutex);
  m_wake = nullptr;
  EndLocked();
}

}  // namespace cloudservice
