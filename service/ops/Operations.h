// SPDX-License-Identifier: Apache-2.0
#ifndef SERVICE_OPS_OPERATIONS_H_
#define SERVICE_OPS_OPERATIONS_H_

#include <array>
#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "service/http/AnswerRoom.h"
#include "service/http/Connections.h"
#include "service/http/Lanes.h"
#include "service/http/Message.h"
#include "service/http/Route.h"
#include "service/store/Store.h"
#include "service/util/Clock.h"
#include "service/util/Log.h"

namespace cloudservice {

// What a server has to carry at the moment, besides what the store does.
struct Load {
  ConnectionCounts connections;
  std::size_t bodyBytes = 0;                            // of bodies that are being read or answered
  std::size_t answerBytes = 0;                          // of large answers that are not yet sent
  std::size_t streams = 0;                              // open live streams
  std::array<std::size_t, Lanes::kCount> waiting = {};  // requests, by Lanes::Lane
  // How many requests each limit has refused; by the limit's name, which is of letters and "_".
  std::vector<std::pair<std::string, std::uint64_t>> refused = {};
};

class MetricsWriter;

// The first handler of each request, for the people who run the service. It answers /healthz and
// /metrics itself and passes every other request on. It indents JSON where the request asks for
// that (Pretty.h), gives each answer an X-Request-Id, counts the answer, and writes a line about it
// into the log:
//   request ID from ADDRESS: METHOD TARGET: STATUS, N bytes, T ms
// Any thread may call its operations. The store and the log outlive it.
class Operations {
 public:
  struct Service {
    Handler handler;
    RefusalHandler refuse;
    // The refusal of a request whose body is still to come, or none.
    std::function<std::optional<Response>(const Request&)> refuseHead;
    std::function<Load()> load;
    // Of the answers of `handler`; they outlive this object.
    std::vector<const Route*> routes = {};
    Beginner begin = nullptr;   // none: every request needs the handler
    bool ofAppliances = false;  // whether the metrics tell of each appliance, with its name
    std::shared_ptr<AnswerRoom> room = nullptr;  // none: large answers have no limit
  };

  Operations(Store& store, const Log& log, Clock clock, Service service);

  // Whether it answers requests with this target itself.
  static bool Serves(const Target& target);

  Response Handle(const Request& request);
  // As Handle(), without a thread that waits: a Beginner.
  bool Begin(const std::shared_ptr<const Request>& request, Ready ready);
  // As Handle(), for a request whose body is still to come; none when it should come.
  std::optional<Response> RefuseHead(const Request& head);
  Response Refuse(unsigned status, const Request& request, const std::string& reason);

 private:
  Response Answer(const Request& request, const std::function<Response()>& answer);
  void TakeRoom(const Request& request, Response& response);
  // Counts an answer; returns its number.
  std::uint64_t Count(const Request& request, const Response& response,
                      std::chrono::nanoseconds time);
  Response Dispatch(const Request& request);
  Response Health();
  Response Metrics();
  std::string MetricsText();
  void WriteAnswers(MetricsWriter& out) const;
  // The size of the database, a minute old at most: it may take long to find out.
  std::int64_t DatabaseBytes(Transaction& store, std::int64_t now);

  Store& m_store;
  const Log& m_log;
  const Clock m_clock;
  const Service m_service;
  // The first part of each request's identifier; another one in each run of the program.
  const std::string m_run;
  const std::int64_t m_started;
  std::atomic<std::uint64_t> m_number{0};
  // By method and status; see CounterOf().
  std::vector<std::atomic<std::uint64_t>> m_answers;
  Route m_health{"/healthz"};
  Route m_metrics{"/metrics"};
  Route m_other{"other"};  // what fits no route
  std::mutex m_mutex;      // guards the members below
  std::int64_t m_bytes = 0;
  std::optional<std::int64_t> m_bytesAt;  // when the size of the database was asked for
};

}  // namespace cloudservice

#endif  // SERVICE_OPS_OPERATIONS_H_
