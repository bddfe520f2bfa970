// SPDX-License-Identifier: Apache-2.0
#ifndef SERVICE_API_TICKER_H_
#define SERVICE_API_TICKER_H_

#include <boost/asio/io_context.hpp>
#include <boost/asio/steady_timer.hpp>

#include "service/api/Feed.h"

namespace cloudservice {

// Calls Feed::Tick() every kTickSeconds while a stream is open, on the thread that runs the
// io_context. The io_context and the feed outlive it.
class Ticker {
 public:
  Ticker(boost::asio::io_context& io, Feed& feed);
  ~Ticker();
  Ticker(const Ticker&) = delete;
  Ticker& operator=(const Ticker&) = delete;

  void Stop();

 private:
  void Arm();

  boost::asio::steady_timer m_timer;
  Feed& m_feed;
  bool m_armed = false;
  bool m_stopped = false;
};

}  // namespace cloudservice

#endif  // SERVICE_API_TICKER_H_
