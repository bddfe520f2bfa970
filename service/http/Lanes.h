// SPDX-License-Identifier: Apache-2.0
#ifndef SERVICE_HTTP_LANES_H_
#define SERVICE_HTTP_LANES_H_

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>

#include "service/http/Message.h"
#include "service/util/Log.h"
#include "service/util/Workers.h"

namespace cloudservice {

// The threads that answer requests. Each kind of request has threads and a queue of its own, so
// that what takes long does not hold up what is short. Any thread may call the operations.
class Lanes {
 public:
  enum Lane : std::size_t {
    kChanges,  // wait for the disk most of the time: many threads share one commit
    kLooks,    // work all the time: hardly more threads than processors
    kSignIns,  // take a slow hash: they leave the processor to all others
    kHealth,   // must answer also when nothing else does
  };
  static constexpr std::size_t kCount = 4;

  struct Service {
    std::function<Lane(const Request&)> choose;
    Handler handler;
    std::function<std::optional<Response>(const Request&)> refuseHead;
    RefusalHandler refuse;
  };

  // Starts the threads. The log outlives this object. Throws std::system_error.
  Lanes(Service service, const Log& log);

  // Answers the request on a thread of its lane; where too many wait there, refuses it at once,
  // with 429 where it is a sign-in and with 503 where not.
  void Take(const std::shared_ptr<const Request>& request, const Reply& reply);

  // Likewise for the header of a request whose body is still to come: a HeadTaker.
  void Admit(const std::shared_ptr<const Request>& head, const HeadReply& reply);

  // How many requests were refused, since too many waited.
  std::uint64_t Refused(Lane lane) const { return m_refused.at(lane); }
  // How many requests wait for a thread.
  std::size_t Waiting(Lane lane) const { return m_workers.at(lane)->Waiting(); }

 private:
  Response Refuse(Lane lane, const Request& request);

  const Service m_service;
  std::array<std::atomic<std::uint64_t>, kCount> m_refused{};
  std::array<std::unique_ptr<Workers>, kCount> m_workers;
};

}  // namespace cloudservice

#endif  // SERVICE_HTTP_LANES_H_
