// SPDX-License-Identifier: Apache-2.0
#ifndef SERVICE_API_FEED_H_
#define SERVICE_API_FEED_H_

#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "service/auth/Operators.h"
#include "service/http/Stream.h"
#include "service/json/Json.h"
#include "service/store/Store.h"
#include "service/util/Clock.h"
#include "service/util/Log.h"

namespace cloudservice {

// Tells operators what changes, as server-sent events. One thread. What is given to it outlives it.
class Feed {
 public:
  // Streams at once.
  static constexpr std::size_t kMaxStreams = 100;
  // What a reader may leave unread, beside what it catches up with, before it is cut off.
  static constexpr std::size_t kMaxUnread = 256 * 1024;
  // Events that a reader who was away can catch up with.
  static constexpr std::size_t kRemembered = 1000;
  static constexpr std::size_t kRememberedBytes = 1024 * 1024;
  // How often Tick() is to be called while anybody reads, and the readers get a comment.
  static constexpr std::int64_t kTickSeconds = 5;
  static constexpr std::int64_t kCommentSeconds = 15;

  Feed(Store& store, Operators& operators, const Log& log, Clock clock);
  // Listens to the store from its making on.
  ~Feed();
  Feed(const Feed&) = delete;
  Feed& operator=(const Feed&) = delete;

  // A stream for an operator, who was let in with a session or, where that is empty, by other
  // means; `last` is the identifier of the last event that was read, or empty. Null when there are
  // too many.
  std::shared_ptr<Stream> Open(std::int64_t person, const std::string& session,
                               const std::string& last);
  // Ends the streams that were opened with this session.
  void End(const std::string& session);

  // Called with each stream that is opened.
  void OnOpened(std::function<void()> opened) { m_opened = std::move(opened); }

  // Tells of appliances that have become late or offline, of what another process has changed, and
  // ends the streams of operators who are no more.
  void Tick();

  std::size_t Streams();

 private:
  struct Reader {
    std::shared_ptr<Stream> stream;
    std::int64_t person = 0;
    std::string session;
  };

  // Tells the change, or notes it while nobody reads.
  void OnChange(const Change& change);
  // Whatever goes wrong makes the readers load afresh.
  void TellOrReset(const Change& change);
  void TellChange(const Change& change);
  void TellAppliance(const std::string& uuid);
  // Of heartbeats that came due since the last time.
  void TellDue();
  // Of what another process has changed, which is not told in detail.
  void TellForeign();
  void Tell(const char* type, const Json& data);
  std::string Identifier(std::uint64_t number) const;
  void Remember(std::string text);
  // How many events came after `last`; none when that is not known any more.
  std::optional<std::size_t> MissedSince(const std::string& last) const;
  // Nobody who has read before can catch up any more.
  void Forget();
  // What was noted, for one who has read up to `last` before.
  void TellNoted(const std::string& last);
  void Write(const std::string& text);
  void DropEnded();

  Store& m_store;
  Operators& m_operators;
  const Log& m_log;
  const Clock m_clock;
  // Begins the identifiers of this run of the program.
  const std::string m_run;
  std::uint64_t m_number = 0;  // of the last event
  std::deque<std::string> m_past;
  std::size_t m_pastBytes = 0;
  std::vector<Reader> m_readers;
  // Whether somebody may come back who has read all that was told.
  bool m_awaited = false;
  // What has changed since then while nobody reads, to be told to them alone.
  std::vector<Change> m_noted;
  std::int64_t m_looked;   // up to when heartbeats that came due are told
  std::int64_t m_foreign;  // what Store::DataVersion() was
  std::int64_t m_ticks = 0;
  std::function<void()> m_opened;
};

}  // namespace cloudservice

#endif  // SERVICE_API_FEED_H_
