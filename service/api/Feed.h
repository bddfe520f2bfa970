// SPDX-License-Identifier: Apache-2.0
#ifndef SERVICE_API_FEED_H_
#define SERVICE_API_FEED_H_

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "service/auth/Operators.h"
#include "service/http/Stream.h"
#include "service/store/Store.h"
#include "service/util/Clock.h"
#include "service/util/Log.h"

namespace cloudservice {

// The live stream: tells operators about changes, as server-sent events. What has changed stands in
// the store's table of changes, so that a reader may go on at another process. Any thread may call
// its operations. The store, the operators and the log outlive it.
class Feed {
 public:
  // How many streams may be open at once, and how many of one operator.
  static constexpr std::size_t kMaxStreams = 100;
  static constexpr std::size_t kMaxStreamsOfOperator = 25;
  // Bytes that may wait for a reader, besides those that it catches up with, before its stream
  // ends.
  static constexpr std::size_t kMaxUnread = 256 * 1024;
  // Events, and their bytes, that a reader who comes back is told. When there are more, it has to
  // load everything again.
  static constexpr std::size_t kMissed = 1000;
  static constexpr std::size_t kMissedBytes = 1024 * 1024;
  // Changes that may wait for TellChanges(). When there are more, the readers have to load
  // everything again.
  static constexpr std::size_t kMaxWaiting = 10000;
  // Events of one appliance, and their bytes, that are told between two calls of Tick(). What has
  // changed beyond that is told as one event "more" then, so that an appliance that changes without
  // end takes the streams from nobody.
  static constexpr std::size_t kOfAppliance = 300;
  static constexpr std::size_t kBytesOfAppliance = 128 * 1024;
  // Heartbeats that wait for the next Tick(): those of a whole fleet at once would be more than may
  // wait for a reader. One takes some 40 bytes.
  static constexpr std::size_t kMostHeard = 500;
  // Seconds between calls of Tick() while a stream is open, and between comments on the streams.
  static constexpr std::int64_t kTickSeconds = 5;
  static constexpr std::int64_t kCommentSeconds = 15;

  // `wake` has to make a call of TellChanges() follow soon, on any thread. It is called while the
  // store's writer waits, and must not block.
  Feed(Store& store, Operators& operators, const Log& log, Clock clock, std::function<void()> wake);
  // Stops listening to the store; the constructor began that.
  ~Feed();
  Feed(const Feed&) = delete;
  Feed& operator=(const Feed&) = delete;

  // Opens a stream for the operator `person`. `session` is the session that the operator uses,
  // empty for other credentials. `last` is the identifier of the last event that the reader has
  // read, or empty. Null when as many streams are open as there may be.
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

  // Tells as TellChanges() does, also where nothing has woken: about appliances that have become
  // late or offline, and about changes of other processes. Ends streams whose operator or session
  // does not exist any more.
  void Tick();

  std::size_t Streams();
  // Whether the operator has as many streams as one may have.
  bool HasAll(std::int64_t person);
  // How many streams were refused, since there were too many in all, and of one operator.
  std::uint64_t Refused() const { return m_refused; }
  std::uint64_t RefusedOfOperator() const { return m_refusedOfOperator; }

 private:
  struct Reader {
    std::shared_ptr<Stream> stream;
    std::int64_t person = 0;
    std::string session;
  };

  // How far a reader has been told. The identifier of an event names the place behind it.
  struct Place {
    std::int64_t change = 0;  // the last change that was told
    std::int64_t time = 0;    // heartbeats that came due up to this time are told
  };
  // Takes the text of an event about an appliance (empty: about all of them) and the place behind
  // it. False when it wants no more.
  using Take =
      std::function<bool(const std::string& uuid, const Place& place, const std::string& text)>;
  // When heartbeats have come, by UUID. They are told together, once in a while: those of a large
  // fleet one by one would be most of what a stream carries.
  using Heard = std::map<std::string, std::int64_t>;
  // Whether a change of an appliance is not to be told one by one.
  using Skip = std::function<bool(const std::string& uuid)>;
  // What has been told of an appliance since the last Release().
  struct Told {
    std::size_t events = 0;
    std::size_t bytes = 0;
    bool held = false;  // more has changed than that
  };

  static std::optional<Place> PlaceOf(const std::string& identifier);
  // The first line of an event.
  static std::string LineOf(const Place& place);

  // The place behind all that there is.
  Place Here();
  // Moves the place on to `end`, and tells what lies between, but for heartbeats, which it adds to
  // `heard`. False when the changes behind the place are not all kept any more or more than `most`,
  // or when `take` wants no more.
  bool GoOn(Place& place, const Place& end, std::size_t most, Heard& heard, const Take& take,
            const Skip& skip = nullptr);
  bool TellDue(Place& place, std::int64_t now, const Take& take);
  // The text of the event that tells of the change, without its identifier. Empty when there is
  // nothing to tell any more.
  std::string EventOf(const Change& change);
  std::string ApplianceEvent(const std::string& uuid);

  // Whether as much of the appliance has been told as may be; notes that there is more.
  bool Hold(const std::string& uuid);
  // Tells the heartbeats, and of which appliances more has changed than was told, and begins to
  // count anew.
  void Release();
  void CountAnew();
  std::size_t CountOf(std::int64_t person) const;

  // The store's listener.
  void OnChange();
  // Tells all readers what has come. Throws DatabaseError; the rest is told by the next call.
  void TellAll();
  // Logs when `tell` throws.
  void Try(const std::function<void()>& tell);
  void Write(const std::string& text);
  void DropEnded();

  Store& m_store;
  Operators& m_operators;
  const Log& m_log;
  const Clock m_clock;
  const std::function<void()> m_wake;

  std::atomic<bool> m_wanted{false};  // a stream is open, or is being opened
  std::atomic<bool> m_woken{false};   // a call of TellChanges() will come
  std::atomic<std::uint64_t> m_refused{0};
  std::atomic<std::uint64_t> m_refusedOfOperator{0};

  std::mutex m_mutex;  // guards all members below
  std::vector<Reader> m_readers;
  Place m_place;                       // how far the readers have been told, while there are any
  std::map<std::string, Told> m_told;  // by UUID
  std::size_t m_held = 0;              // how many of them are held
  Heard m_heard;                       // what was not told yet
  std::int64_t m_counted = 0;          // the time of the last Release()
  std::int64_t m_ticks = 0;
  std::function<void()> m_opened;
};

}  // namespace cloudservice

#endif  // SERVICE_API_FEED_H_
