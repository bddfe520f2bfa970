// SPDX-License-Identifier: Apache-2.0
#ifndef SERVICE_HTTP_TIMEDSOCKET_H_
#define SERVICE_HTTP_TIMEDSOCKET_H_

#include <chrono>
#include <cstddef>
#include <utility>

#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/post.hpp>
#include <boost/beast/core/bind_handler.hpp>
#include <boost/beast/core/error.hpp>
#include <boost/beast/core/tcp_stream.hpp>

#include "service/util/Clock.h"

namespace cloudservice {

// The lowest layer of a connection: a socket with one deadline for a series of operations. An
// operation that begins after the deadline fails; one that is under way then ends soon after it.
// The timer of the base class alone does not suffice: it never fires while each operation finds a
// byte at once.
class TimedSocket : public boost::beast::tcp_stream {
  using Base = boost::beast::tcp_stream;

 public:
  // `clock` outlives the socket.
  TimedSocket(boost::asio::ip::tcp::socket socket, const SteadyNow& clock)
      : Base(std::move(socket)), m_clock(clock) {}

  // Sets the deadline of the operations that begin from now on.
  void expires_after(std::chrono::milliseconds time) {
    m_deadline = m_clock() + time;
    Base::expires_after(time);
  }
  void expires_never() {
    m_deadline = std::chrono::steady_clock::time_point::max();
    Base::expires_never();
  }

  // Like the operations of the base class; they fail with boost::beast::error::timeout after the
  // deadline.
  template <typename Buffers, typename Handler>
  void async_read_some(const Buffers& buffers, Handler&& handler) {
    if (IsLate()) return Refuse(std::forward<Handler>(handler));
    Base::async_read_some(buffers, std::forward<Handler>(handler));
  }
  template <typename Buffers, typename Handler>
  void async_write_some(const Buffers& buffers, Handler&& handler) {
    if (IsLate()) return Refuse(std::forward<Handler>(handler));
    Base::async_write_some(buffers, std::forward<Handler>(handler));
  }

 private:
  bool IsLate() const { return m_clock() >= m_deadline; }

  template <typename Handler>
  void Refuse(Handler&& handler) {
    using boost::system::error_code;
    boost::asio::post(
        get_executor(),
        boost::beast::bind_front_handler(std::forward<Handler>(handler),
                                         error_code(boost::beast::error::timeout), std::size_t{0}));
  }

  const SteadyNow& m_clock;
  std::chrono::steady_clock::time_point m_deadline = std::chrono::steady_clock::time_point::max();
};

}  // namespace cloudservice

#endif  // SERVICE_HTTP_TIMEDSOCKET_H_
