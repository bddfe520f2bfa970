// SPDX-License-Identifier: Apache-2.0
// The clock of the live stream.
#include "service/api/Ticker.h"

#include <chrono>

namespace cloudservice {

Ticker::Ticker(boost::asio::io_context& io, Feed& feed) : m_timer(io), m_feed(feed) {
  m_feed.OnOpened([this] { Arm(); });
}

Ticker::~Ticker() { m_feed.OnOpened(nullptr); }

void Ticker::Stop() {
  m_stopped = true;
  m_timer.cancel();
}

void Ticker::Arm() {
  if (m_armed || m_stopped) return;
  m_armed = true;
  m_timer.expires_after(std::chrono::seconds(Feed::kTickSeconds));
  m_timer.async_wait([this](const boost::system::error_code& cancelled) {
    if (cancelled) return;
    m_armed = false;
    m_feed.Tick();
    if (m_feed.Streams() > 0) Arm();
  });
}

}  // namespace cloudservice
