// SPDX-License-Identifier: Apache-2.0
#ifndef SERVICE_HTTP_STREAM_H_
#define SERVICE_HTTP_STREAM_H_

#include <cstddef>
#include <functional>
#include <string>

namespace cloudservice {

// An answer's body that has no end of its own: texts on their way from one writer to one
// connection, which waits for none of them. One thread.
class Stream {
 public:
  // A reader who leaves more than `limit` bytes waiting here is cut off.
  explicit Stream(std::size_t limit) : m_limit(limit) {}

  // For the writer. What is written to a stream that has ended goes nowhere.
  void Write(const std::string& text);
  void End();
  // Ended by the writer, by a reader who was too slow or has gone, or by the server's stop.
  bool Ended() const { return m_ended; }

  // For the connection: all that waits, which is then no longer here.
  std::string Take();
  // `wake` is called when there is something to take, and when the stream ends.
  void Attach(std::function<void()> wake);
  // The connection is gone; nobody is woken any more.
  void Detach();

 private:
  const std::size_t m_limit;
  std::string m_waiting;
  std::function<void()> m_wake;
  bool m_ended = false;
};

}  // namespace cloudservice

#endif  // SERVICE_HTTP_STREAM_H_
