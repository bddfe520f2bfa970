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
#include "service/util/Budget.h"
#include "service/util/Clock.h"
#include "service/util/Log.h"
#include "service/util/TrustedProxies.h"

namespace cloudservice {

// Limits of a connection: bytes, and the time of each step. A time is one deadline for the whole
// step.
struct Limits {
  std::size_t headerBytes = 16 * 1024;
  std::size_t bodyBytes = 1024 * 1024;
  std::chrono::milliseconds idle{60 * 1000};     // waiting for the first byte of a request
  std::chrono::milliseconds header{10 * 1000};   // TLS handshake; reading a header; closing
  std::chrono::milliseconds body{30 * 1000};     // reading a body; sending an answer
  std::chrono::milliseconds farewell{2 * 1000};  // reading what still comes before closing
};

// Bytes of bodies that all connections together may be reading or answering.
constexpr std::size_t kBodiesBytes = 64 * 1024 * 1024;

// The settings and handlers that the connections of a server share. Outlives them, and so does the
// log that it points to.
struct SessionContext {
  Limits limits;
  RequestTaker take;
  HeadTaker admit;  // empty: every body may come
  RefusalHandler refuse;
  Clock clock;
  SteadyNow steady = &std::chrono::steady_clock::now;
  const Log* log = nullptr;
  TrustedProxies proxies;
  // For the bodies that did not come together with their headers.
  std::shared_ptr<Budget> bodies = std::make_shared<Budget>(kBodiesBytes);
};

// One connection. It reads and answers its requests one after the other. Its operations own it, and
// so does the reply to a request that is being answered: it lives until none is under way. Threads
// that run the io_context work on it one at a time.
class Session {
 public:
  virtual ~Session() = default;

  // Both may be called on any thread, and return at once.
  virtual void Start() = 0;
  // Ends the connection: at once when no answer or a stream is being sent, else after the answer.
  virtual void Stop() = 0;
};

// Makes a connection on `socket`, whose executor runs one operation at a time, encrypted unless
// `tls` is null. Its destructor calls `ended`, on any thread. The context outlives it; `tls` need
// not.
std::shared_ptr<Session> MakeSession(boost::asio::ip::tcp::socket socket,
                                     boost::asio::ssl::context* tls, const SessionContext& context,
                                     std::function<void(Session*)> ended);

}  // namespace cloudservice

#endif  // SERVICE_HTTP_SESSION_H_
