// SPDX-License-Identifier: Apache-2.0
#ifndef SERVICE_API_FEED_H_
#define SERVICE_API_FEED_H_

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
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

// The live stream: tells operators about changes, as server-sent events. Any thread may call its
// operations. The store, the operators and the log outlive it.
class Feed {
 public:
  // How many streams may be open at once.
  static constexpr std::size_t kMaxStreams = 100;
  // Bytes that may wait for a reader, besides those that it catches up with, before its stream
  // ends.
  static constexpr std::size_t kMaxUnread = 256 * 1024;
  // Events, and their bytes, that are kept for readers that come back.
  static constexpr std::size_t kRemembered = 1000;
  static constexpr std::size_t kRememberedBytes = 1024 * 1024;
  // Seconds between calls of Tick() while a stream is open, and between comments on the streams.
  static constexpr std::int64_t kTickSeconds = 5;
  static constexpr std::int64_t kCommentSeconds = 15;

  // Changes that may wait for TellChanges(). When there are more, the readers are told to load
  // everything again.
  static constexpr std::size_t kMaxWaiting = 10000;

  // `wake` has to make a call of TellChanges() follow soon, on any thread. It is called while the
  // store's writer waits, and must not block.
  Feed(Store& store, Operators& operators, const Log& log, Clock clock, std::function<void()> wake);
  // Stops listening to the store; the constructor began that.
  ~Feed();
  Feed(const Feed&) = delete;
  Feed& operator=(const Feed&) = delete;

  // Opens a stream for the operator `person`. `session` is the session that the operator uses,
  // empty for other credentials. `last` is the identifier of the last event that the reader has
  // read, or empty. Null when kMaxStreams are open.
  std::shared_ptr<Stream> Open(std::int64_t person, const std::string& session,
                               const std::string& last);
  // Ends the streams of this session.
  void End(const std::string& session);

  // `opened` is called after each opening of a stream, and must not call the feed.
  void OnOpened(std::function<void()> opened) {
    const std::lock_guard<std::mutex> guard(m_mutex);
    m_opened = std::move(opened);
  }

  // Tells the changes that have come since the last call.
  void TellChanges();

  // Tells about appliances that have become late or offline and about changes by other processes.
  // Ends streams whose operator or session does not exist any more.
  void Tick();

  std::size_t Streams();

 private:
  struct Reader {
    std::shared_ptr<Stream> stream;
    std::int64_t person = 0;
    std::string session;
  };

  // The store's listener: puts the change among those that wait for TellChanges().
  void OnChange(const Change& change);
  // Tells the change, or notes it while no stream is open.
  void Take(const Change& change);
  // Tells the change. When that fails, tells the readers to load everything again.
  void TellOrReset(const Change& change);
  void TellChange(const Change& change);
  void TellAppliance(const std::string& uuid);
  // Tells about heartbeats that came due since the last call.
  void TellDue();
  // Tells that another process has changed the database; the details are not known.
  void TellForeign();
  // Tells the readers to load everything again.
  void TellUnknown();
  void Tell(const char* type, const Json& data);
  std::string Identifier(std::uint64_t number) const;
  void Remember(std::string text);
  // How many events came after `last`; none when `last` is not remembered any more.
  std::optional<std::size_t> MissedSince(const std::string& last) const;
  // Forgets past and noted changes: readers that come back must load everything again.
  void Forget();
  // Tells the noted changes to a reader that has read up to `last`; forgets them when it has not
  // read all that came before them.
  void TellNoted(const std::string& last);
  void Write(const std::string& text);
  void DropEnded();

  Store& m_store;
  Operators& m_operators;
  const Log& m_log;
  const Clock m_clock;
  const std::function<void()> m_wake;

  std::mutex m_waitingMutex;  // guards the next two members
  std::vector<Change> m_waiting;
  bool m_lost = false;  // more than kMaxWaiting changes came
  // Whether changes are of any use: a stream is open, or m_awaited. Not guarded.
  std::atomic<bool> m_wanted{false};

  std::mutex m_mutex;  // guards all members below
  // The first part of each event's identifier; another one in each run of the program.
  const std::string m_run;
  std::uint64_t m_number = 0;  // number of the last event
  std::deque<std::string> m_past;
  std::size_t m_pastBytes = 0;
  std::vector<Reader> m_readers;
  // Whether a reader may come back that has read all events told so far.
  bool m_awaited = false;
  // The changes while no stream is open, to be told when such a reader comes back.
  std::vector<Change> m_noted;
  std::int64_t m_looked;   // heartbeats that came due up to this time are told
  std::int64_t m_foreign;  // Store::DataVersion() at the last look
  std::int64_t m_ticks = 0;
  std::function<void()> m_opened;
};

}  // namespace cloudservice

#endif  // SERVICE_API_FEED_H_
