// SPDX-License-Identifier: Apache-2.0
// Making the answers to what a commit has finished.
#include "service/http/AnswerQueue.h"

#include <cstddef>
#include <exception>
#include <string>
#include <utility>

#include <boost/asio/post.hpp>

namespace cloudservice {

namespace {

// Few enough that several threads share what a commit has finished.
constexpr std::size_t kAtOnce = 16;

}  // namespace

void AnswerQueue::Add(MakeAnswer make, Reply reply) {
  const std::lock_guard<std::mutex> guard(m_mutex);
  m_waiting.push_back({std::move(make), std::move(reply), {}});
  if (m_waiting.size() == 1) Post();
}

void AnswerQueue::Post() {
  boost::asio::post(m_io, [this] { MakeSome(); });
}

AnswerQueue::Answers AnswerQueue::Take() {
  Answers taken;
  const std::lock_guard<std::mutex> guard(m_mutex);
  while (!m_waiting.empty() && taken.size() < kAtOnce) {
    taken.push_back(std::move(m_waiting.front()));
    m_waiting.pop_front();
  }
  if (!m_waiting.empty()) Post();
  return taken;
}

void AnswerQueue::MakeSome() {
  Answers taken = Take();
  {
    // The lines are there before the answers.
    const Log::Together lines(m_log);
    for (One& one : taken) Try([&one] { one.response = one.make(); });
  }
  for (One& one : taken) {
    if (one.response) Try([&one] { one.reply(*std::move(one.response)); });
  }
}

void AnswerQueue::Try(const std::function<void()>& step) const {
  try {
    step();
  } catch (const std::exception& error) {
    m_log.Line(std::string("error: a connection is given up: ") + error.what());
  }
}

}  // namespace cloudservice
