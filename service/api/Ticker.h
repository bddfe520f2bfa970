// SPDX-License-Identifier: Apache-2.0
#ifndef SERVICE_API_TICKER_H_
#define SERVICE_API_TICKER_H_

#include <boost/asio/io_context.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/asio/strand.hpp>

#include "service/api/Feed.h"
#include "service/util/Workers.h"

namespace cloudservice {

// Calls Feed::Tick() on the worker every kTickSeconds while a stream is open. All that it is made
// of outlives it.
class Ticker {
 public:
  Ticker(boost::asio::io_context& io, Feed& feed, Workers& worker);
  ~Ticker();
  Ticker(const Ticker&) = delete;
  Ticker& operator=(const Ticker&) = delete;

  // Any thread may call it.
  void Stop();

 private:
  void Arm();
  void Tick();

  boost::asio::strand<boost::asio::io_context::executor_type> m_strand;
  boost::asio::steady_timer m_timer;
  Feed& m_feed;
  Workers& m_worker;
  bool m_armed = false;
  bool m_stopped = false;
};

}  // namespace cloudservice

#endif  // SERVICE_API_TICKER_H_
