// SPDX-License-Identifier: Apache-2.0
// Bodies of answers without an end.
#include "service/http/Stream.h"

#include <utility>

namespace cloudservice {

void Stream::Write(const std::string& text) {
  if (m_ended) return;
  if (m_waiting.size() + text.size() > m_limit) return End();
  m_waiting += text;
  if (m_wake) m_wake();
}

void Stream::End() {
  if (m_ended) return;
  m_ended = true;
  m_waiting.clear();
  if (m_wake) m_wake();
}

std::string Stream::Take() { return std::exchange(m_waiting, {}); }

void Stream::Attach(std::function<void()> wake) { m_wake = std::move(wake); }

void Stream::Detach() {
  m_wake = nullptr;
  End();
}

}  // namespace cloudservice
