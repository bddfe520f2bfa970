// SPDX-License-Identifier: Apache-2.0
#ifndef SERVICE_HTTP_SESSION_H_
#define SERVICE_HTTP_SESSION_H_

#include <chrono>
#include <cstddef>
#include <functional>
#include <memory>

#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/ssl/context.hpp>

#include "service/http/Message.h"
#include "service/util/Clock.h"
#include "service/util/Log.h"

namespace cloudservice {

// What a connection may take. Each time is one deadline for the whole of its step.
struct Limits {
  std::size_t headerBytes = 16 * 1024;
  std::size_t bodyBytes = 1024 * 1024;
  std::chrono::milliseconds idle{60 * 1000};    // until the first byte of a request
  std::chrono::milliseconds header{10 * 1000};  // TLS handshake; a request's header; the closing
  std::chrono::milliseconds body{30 * 1000};    // a request's body; an answer
};

// What the connections of a server share. Outlives them.
struct SessionContext {
  Limits limits;
  Handler handler;
  RefusalHandler refuse;
  Clock clock;
  SteadyNow steady = &std::chrono::steady_clock::now;
  const Log* log = nullptr;
};

// One connection: requests are read and answered one after the other. Lives as long as an operation
// of it is under way.
class Session {
 public:
  virtual ~Session() = default;

  virtual void Start() = 0;
  // Ends the connection: at once where no answer is being sent, else after that answer.
  virtual void Stop() = 0;
};

// A connection on `socket`, encrypted when `tls` is given. `ended` is called from its destructor.
std::shared_ptr<Session> MakeSession(boost::asio::ip::tcp::socket socket,
                                     boost::asio::ssl::context* tls, const SessionContext& context,
                                     std::function<void(Session*)> ended);

}  // namespace cloudservice

#endif  // SERVICE_HTTP_SESSION_H_
