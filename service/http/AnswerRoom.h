// SPDX-License-Identifier: Apache-2.0
#ifndef SERVICE_HTTP_ANSWERROOM_H_
#define SERVICE_HTTP_ANSWERROOM_H_

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <string>

namespace cloudservice {

// Bytes of large answers that are made and not yet sent: whoever asks and does not read keeps them
// for as long as an answer may take. One sender has a part of the room only. An answer alone is
// never too large. Any thread may call the operations.
class AnswerRoom : public std::enable_shared_from_this<AnswerRoom> {
 public:
  struct Limits {
    std::size_t all = std::size_t{64} << 20;
    std::size_t ofSender = std::size_t{16} << 20;
    std::size_t small = std::size_t{16} << 10;  // answers up to this size take no room
  };

  explicit AnswerRoom(const Limits& limits) : m_limits(limits) {}

  // Whether an answer of this size needs room at all.
  bool Needs(std::size_t bytes) const { return bytes > m_limits.small; }
  // Room for an answer to the sender, given back when the last copy of the result goes, on any
  // thread; null when there is none.
  std::shared_ptr<void> Take(const std::string& sender, std::size_t bytes);
  std::size_t Taken() const;
  // How often there was none.
  std::uint64_t Refused() const;

 private:
  void Give(const std::string& sender, std::size_t bytes);

  const Limits m_limits;
  mutable std::mutex m_mutex;  // guards the members below
  std::size_t m_taken = 0;
  std::map<std::string, std::size_t> m_ofSenders;  // who has none is not there
  std::uint64_t m_refused = 0;
};

}  // namespace cloudservice

#endif  // SERVICE_HTTP_ANSWERROOM_H_
