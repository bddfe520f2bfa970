// SPDX-License-Identifier: Apache-2.0
#ifndef BENCH_FLEET_LINK_H_
#define BENCH_FLEET_LINK_H_

#include <functional>
#include <memory>
#include <string>

#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/ssl/context.hpp>
#include <boost/system/error_code.hpp>

#include "Fleet.h"

namespace fleet {

// Where requests go, and how.
struct Way {
  boost::asio::ip::tcp::endpoint service;
  boost::asio::ssl::context* tls = nullptr;  // null: plain
  bool keep = false;  // the connection is kept; else each request has one of its own
};

// One requester: sends a request, and waits for its answer, before the next. Its operations own it.
// One thread, that of the io_context.
class Link {
 public:
  // `answer` is complete unless there is an error.
  using Done = std::function<void(const boost::system::error_code& error, const Answer& answer)>;

  virtual ~Link() = default;

  // A new connection comes from the address `from`, where a kept one is not there yet. Calls `done`
  // once, from the loop. Not called again before that.
  virtual void Exchange(std::string request, const boost::asio::ip::address& from, Done done) = 0;
};

std::shared_ptr<Link> MakeLink(boost::asio::io_context& io, const Way& way);

}  // namespace fleet

#endif  // BENCH_FLEET_LINK_H_
