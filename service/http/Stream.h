// SPDX-License-Identifier: Apache-2.0
#ifndef SERVICE_HTTP_STREAM_H_
#define SERVICE_HTTP_STREAM_H_

#include <cstddef>
#include <functional>
#include <mutex>
#include <string>

namespace cloudservice {

// The body of an answer without an end: a queue of text from one writer to one connection. Neither
// side blocks. Any thread may call the operations.
class Stream {
 public:
  // The stream ends when more than `limit` bytes would wait in it.
  explicit Stream(std::size_t limit) : m_limit(limit) {}

  // For the writer. Text that is written to a stream that has ended is dropped.
  void Write(const std::string& text);
  void End();
  // Whether the stream has ended: by the writer, because the reader was too slow or has gone, or
  // because the server stops.
  bool Ended() const;

  // For the connection: takes out all text that waits.
  std::string Take();
  // For the connection: `wake` is called at each write and when the stream ends, on the thread of
  // whoever does that. It must not call the stream, or block.
  void Attach(std::function<void()> wake);
  // For the connection, when it ends: the stream ends and calls `wake` no more.
  void Detach();

 private:
  void EndLocked();

  const std::size_t m_limit;
  mutable std::mutex m_mutex;
  std::string m_waiting;
  std::function<void()> m_wake;
  bool m_ended = false;
};

}  // namespace cloudservice

#endif  // SERVICE_HTTP_STREAM_H_
