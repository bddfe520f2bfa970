// SPDX-License-Identifier: Apache-2.0
#ifndef SERVICE_OPS_OPERATIONS_H_
#define SERVICE_OPS_OPERATIONS_H_

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <utility>

#include "service/http/Message.h"
#include "service/store/Store.h"
#include "service/util/Clock.h"
#include "service/util/Log.h"

namespace cloudservice {

// What stands before the service for whoever runs it: answers /healthz and /metrics, hands on
// everything else, indents the JSON of whoever asks for it (Pretty.h), gives each answer an
// X-Request-Id, counts it, and writes its line into the log:
//   request ID from ADDRESS: METHOD TARGET: STATUS, N bytes, T ms
// One thread. The store and the log outlive it.
class Operations {
 public:
  struct Service {
    Handler handler;
    RefusalHandler refuse;
    std::function<std::size_t()> connections;
  };

  Operations(Store& store, const Log& log, Clock clock, Service service);

  Response Handle(const Request& request);
  Response Refuse(unsigned status, const Request& request, const std::string& reason);

 private:
  Response Answer(const Request& request, const std::function<Response()>& answer);
  Response Route(const Request& request);
  Response Health();
  Response Metrics();
  std::string MetricsText();

  Store& m_store;
  const Log& m_log;
  const Clock m_clock;
  const Service m_service;
  // Begins the identifiers of this run of the program.
  const std::string m_run;
  std::uint64_t m_number = 0;
  const std::int64_t m_started;
  std::map<std::pair<std::string, unsigned>, std::uint64_t> m_answers;  // by method and status
  std::chrono::nanoseconds m_busy{0};
};

}  // namespace cloudservice

#endif  // SERVICE_OPS_OPERATIONS_H_
