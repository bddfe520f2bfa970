// SPDX-License-Identifier: Apache-2.0
#ifndef SERVICE_HTTP_ANSWERQUEUE_H_
#define SERVICE_HTTP_ANSWERQUEUE_H_

#include <deque>
#include <functional>
#include <mutex>
#include <optional>

#include <boost/asio/io_context.hpp>

#include "service/http/Message.h"
#include "service/util/Log.h"

namespace cloudservice {

// Makes answers on the threads of an io_context, several at once: a commit of the store finishes
// many requests, and to wake a thread and to write to the log for each of them costs more than the
// answer does. Any thread may call Add().
class AnswerQueue {
 public:
  // Both outlive this object, which outlives what waits in the io_context.
  AnswerQueue(boost::asio::io_context& io, const Log& log) : m_io(io), m_log(log) {}

  // Has `make` called and its answer given to `reply`. Does not block.
  void Add(MakeAnswer make, Reply reply);

 private:
  struct One {
    MakeAnswer make;
    Reply reply;
    std::optional<Response> response;
  };
  using Answers = std::deque<One>;

  void Post();
  void MakeSome();
  // Takes a share of those that wait.
  Answers Take();
  // Whoever fails keeps no other from its answer.
  void Try(const std::function<void()>& step) const;

  boost::asio::io_context& m_io;
  const Log& m_log;
  std::mutex m_mutex;  // guards m_waiting
  Answers m_waiting;   // while it is not empty, MakeSome() waits in the io_context
};

}  // namespace cloudservice

#endif  // SERVICE_HTTP_ANSWERQUEUE_H_
