// SPDX-License-Identifier: Apache-2.0
// The clock of the live stream.
#include "service/api/Ticker.h"

#include <chrono>

#include <boost/asio/post.hpp>

namespace cloudservice {

Ticker::Ticker(boost::asio::io_context& io, Feed& feed, Workers& worker)
    : m_strand(boost::asio::make_strand(io)), m_timer(m_strand), m_feed(feed), m_worker(worker) {
  m_feed.OnOpened([this] { boost::asio::post(m_strand, [this] { Arm(); }); });
}

Ticker::~Ticker() { m_feed.OnOpened(nullptr); }

void Ticker::Stop() {
  boost::asio::post(m_strand, [this] {
    m_stopped = true;
    m_timer.cancel();
  });
}

void Ticker::Arm() {
  if (m_armed || m_stopped) return;
  m_armed = true;
  m_timer.expires_after(std::chrono::seconds(Feed::kTickSeconds));
  m_timer.async_wait([this](const boost::system::error_code& cancelled) {
    if (!cancelled) m_worker.Post([this] { Tick(); });
  });
}

void Ticker::Tick() {
  m_feed.Tick();
  const bool more = m_feed.Streams() > 0;
  boost::asio::post(m_strand, [this, more] {
    m_armed = false;
    if (more) Arm();
  });
}

}  // namespace cloudservice
