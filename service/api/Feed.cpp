// SPDX-License-Identifier: Apache-2.0
// The live stream of changes.
#include "service/api/Feed.h"

#include <algorithm>
#include <charconv>
#include <exception>
#include <system_error>
#include <utility>

#include "service/api/Find.h"
#include "service/api/Views.h"
#include "service/json/Json.h"

namespace cloudservice {

namespace {

// Of the year 9999.
constexpr std::int64_t kLastTime = 253402300799;

std::string EventText(const char* type, const Json& data) {
  return std::string("event: ") + type + "\ndata: " + CompactText(data) + "\n\n";
}

// The heartbeats that told nothing but that the appliance is alive, by UUID.
std::string HeartbeatsEvent(const std::map<std::string, std::int64_t>& heard) {
  std::map<std::int64_t, std::vector<std::string>> byTime;
  for (const auto& [uuid, time] : heard) byTime[time].push_back(uuid);
  Json list = Json::array();
  for (const auto& [time, uuids] : byTime) {
    list.push_back({{"time", UtcTime(time)}, {"uuids", uuids}});
  }
  return EventText("heartbeats", {{"heartbeats", std::move(list)}});
}

// What waits of heartbeats is told before anything else, so that an identifier means that all up to
// it was told.
std::string Taken(std::map<std::string, std::int64_t>& heard) {
  return heard.empty() ? "" : HeartbeatsEvent(std::exchange(heard, {}));
}

std::string ResetEvent() { return EventText("reset", Json::object()); }

}  // namespace

Feed::Feed(Store& store, Operators& operators, const Log& log, Clock clock,
           std::function<void()> wake)
    : m_store(store),
      m_operators(operators),
      m_log(log),
      m_clock(std::move(clock)),
      m_wake(std::move(wake)) {
  m_store.Listen([this] { OnChange(); });
}

Feed::~Feed() { m_store.Listen(nullptr); }

std::shared_ptr<Stream> Feed::Open(std::int64_t person, const std::string& session,
                                   const std::string& last) {
  std::string text;
  std::size_t events = 0;
  Heard heard;
  const Take take = [&](const std::string&, const Place& at, const std::string& event) {
    text += Taken(heard) + LineOf(at) + event;
    return ++events <= kMissed && text.size() <= kMissedBytes;
  };
  std::optional<Place> place = PlaceOf(last);
  // Most of it is read before the other readers have to wait.
  bool whole = place && GoOn(*place, Here(), kMissed, heard, take);

  const std::lock_guard<std::mutex> guard(m_mutex);
  DropEnded();
  if (CountOf(person) >= kMaxStreamsOfOperator) {
    ++m_refusedOfOperator;
    return nullptr;
  }
  if (m_readers.size() >= kMaxStreams) {
    ++m_refused;
    return nullptr;
  }
  m_wanted = true;
  if (m_readers.empty()) {
    m_place = Here();
    CountAnew();
  } else {
    TellAll();
  }
  whole = whole && GoOn(*place, m_place, kMissed, heard, take);
  text += Taken(heard);
  if (!whole) text = last.empty() ? "" : LineOf(m_place) + ResetEvent();
  auto stream = std::make_shared<Stream>(kMaxUnread + kMissedBytes);
  // The identifier lets the reader catch up even if the connection breaks before the next event.
  stream->Write(text + LineOf(m_place) + "\n");
  m_readers.push_back({stream, person, session});
  if (m_opened) m_opened();
  return stream;
}

void Feed::End(const std::string& session) {
  if (session.empty()) return;
  const std::lock_guard<std::mutex> guard(m_mutex);
  for (const Reader& reader : m_readers) {
    if (reader.session == session) reader.stream->End();
  }
  DropEnded();
}

void Feed::Tick() {
  const std::lock_guard<std::mutex> guard(m_mutex);
  DropEnded();
  ++m_ticks;
  if (m_readers.empty()) return;
  Try([this] {
    for (const Reader& reader : m_readers) {
      if (!m_operators.Holds(reader.person, reader.session)) reader.stream->End();
    }
    TellAll();
    Release();
  });
  if (m_ticks * kTickSeconds % kCommentSeconds == 0) Write(": still here\n\n");
  DropEnded();
}

std::size_t Feed::Streams() {
  const std::lock_guard<std::mutex> guard(m_mutex);
  DropEnded();
  return m_readers.size();
}

std::size_t Feed::CountOf(std::int64_t person) const {
  return static_cast<std::size_t>(
      std::count_if(m_readers.begin(), m_readers.end(),
                    [&](const Reader& reader) { return reader.person == person; }));
}

bool Feed::HasAll(std::int64_t person) {
  const std::lock_guard<std::mutex> guard(m_mutex);
  DropEnded();
  return CountOf(person) >= kMaxStreamsOfOperator;
}

void Feed::OnChange() {
  if (m_wanted && !m_woken.exchange(true)) m_wake();
}

void Feed::TellChanges() {
  // What comes from now on wakes again.
  m_woken = false;
  const std::lock_guard<std::mutex> guard(m_mutex);
  DropEnded();
  if (!m_readers.empty()) Try([this] { TellAll(); });
}

void Feed::Try(const std::function<void()>& tell) {
  try {
    tell();
  } catch (const std::exception& error) {
    m_log.Line(std::string("error: the streams have to wait: ") + error.what());
  }
}

void Feed::TellAll() {
  const Place here = Here();
  // While something is held, no event has an identifier: a reader who comes back goes on before all
  // that it was not told.
  const Take take = [this](const std::string& uuid, const Place& place, const std::string& text) {
    Write(Taken(m_heard) + (m_held == 0 ? LineOf(place) : "") + text);
    Told& told = m_told[uuid];
    ++told.events;
    told.bytes += text.size();
    return true;
  };
  const bool whole = GoOn(m_place, here, kMaxWaiting, m_heard, take,
                          [this](const std::string& uuid) { return Hold(uuid); });
  if (m_heard.size() >= kMostHeard) Write(Taken(m_heard));
  // Ticks stand still where the clock runs much too fast.
  if (here.time < m_counted || here.time - m_counted > kTickSeconds) Release();
  if (whole) return;
  m_place = here;
  CountAnew();
  Write(LineOf(m_place) + ResetEvent());
}

bool Feed::Hold(const std::string& uuid) {
  const auto known = m_told.find(uuid);
  if (uuid.empty() || known == m_told.end()) return false;
  Told& told = known->second;
  if (told.events < kOfAppliance && told.bytes < kBytesOfAppliance) return false;
  if (!std::exchange(told.held, true)) ++m_held;
  return true;
}

void Feed::Release() {
  std::string text = Taken(m_heard);
  for (const auto& [uuid, told] : m_told) {
    if (told.held) text += EventText("more", {{"uuid", uuid}});
  }
  if (!text.empty()) Write(text + LineOf(m_place) + "\n");
  CountAnew();
}

void Feed::CountAnew() {
  m_told.clear();
  m_heard.clear();
  m_held = 0;
  m_counted = m_place.time;
}

std::optional<Feed::Place> Feed::PlaceOf(const std::string& identifier) {
  Place place;
  const char* const end = identifier.data() + identifier.size();
  const auto change = std::from_chars(identifier.data(), end, place.change);
  // Behind the place 0 nobody knows what has been removed.
  if (change.ec != std::errc() || place.change <= 0) return std::nullopt;
  if (change.ptr == end || *change.ptr != '-') return std::nullopt;
  const auto time = std::from_chars(change.ptr + 1, end, place.time);
  if (time.ec != std::errc() || time.ptr != end) return std::nullopt;
  if (place.time < 0 || place.time > kLastTime) return std::nullopt;
  return place;
}

std::string Feed::LineOf(const Place& place) {
  return "id: " + std::to_string(place.change) + "-" + std::to_string(place.time) + "\n";
}

Feed::Place Feed::Here() {
  return {m_store.Read([](Transaction& store) { return store.LastChange(); }), m_clock()};
}

bool Feed::GoOn(Place& place, const Place& end, std::size_t most, Heard& heard, const Take& take,
                const Skip& skip) {
  // The change at the place as well: while it is kept, all behind it are.
  const ListPage<std::int64_t> page = {place.change - 1, static_cast<std::int64_t>(most) + 2};
  const auto changes = m_store.Read([&](Transaction& store) { return store.ListChanges(page); });
  if (place.change > 0 && (changes.empty() || changes.front().id != place.change)) return false;
  if (changes.size() > most + 1) return false;
  for (const ChangeRecord& one : changes) {
    if (one.id <= place.change || one.id > end.change) continue;
    if (one.change.what == Change::What::kHeartbeat) {
      heard[one.change.manager] = one.change.number;
      place.change = one.id;
      continue;
    }
    const bool skipped = skip && skip(one.change.manager);
    const std::string event = skipped ? "" : EventOf(one.change);
    place.change = one.id;
    if (!event.empty() && !take(one.change.manager, place, event)) return false;
  }
  return TellDue(place, end.time, take);
}

bool Feed::TellDue(Place& place, std::int64_t now, const Take& take) {
  // After the clock was set back, the states between the two times have changed back.
  const std::int64_t from = std::min(place.time, now);
  const std::int64_t to = std::max(place.time, now);
  constexpr std::int64_t kDueAtOnce = 1000;
  ListPage<DueAppliance> page = {std::nullopt, kDueAtOnce};
  for (bool more = from != to; more;) {
    const auto due =
        m_store.Read([&](Transaction& store) { return store.ListDue(from, to, page); });
    more = due.size() == static_cast<std::size_t>(kDueAtOnce);
    for (const DueAppliance& one : due) {
      const std::string event = ApplianceEvent(one.uuid);
      // Who has not read up to the last one is told all of them again.
      if (!more && one.uuid == due.back().uuid) place.time = now;
      if (!event.empty() && !take(one.uuid, place, event)) return false;
    }
    if (more) page.after = due.back();
  }
  place.time = now;
  return true;
}

std::string Feed::EventOf(const Change& change) {
  switch (change.what) {
    case Change::What::kAppliance:
      return ApplianceEvent(change.manager);
    case Change::What::kGone:
      return EventText("gone", {{"uuid", change.manager}});
    case Change::What::kDocument: {
      const auto document = m_store.Read(
          [&](Transaction& store) { return store.FindDocument(change.manager, change.document); });
      return EventText("resource",
                       {{"uuid", change.manager},
                        {"uri", UriOf(change.document)},
                        {"updated", document ? Json(UtcTime(document->changed)) : Json()}});
    }
    case Change::What::kEvent: {
      LogFilter one;
      one.manager = change.manager;
      one.before = change.number + 1;
      one.limit = 1;
      const auto found = m_store.Read([&](Transaction& store) { return store.ListLog(one); });
      if (found.empty()) return {};
      Json data = EventView(found.front());
      data["uuid"] = change.manager;
      return EventText("event", data);
    }
    case Change::What::kHeartbeat:  // told together
    case Change::What::kAny:
      break;
  }
  return ResetEvent();
}

std::string Feed::ApplianceEvent(const std::string& uuid) {
  const auto appliance =
      m_store.Read([&](Transaction& store) { return store.FindAppliance(uuid); });
  return appliance ? EventText("appliance", ApplianceView(*appliance, m_clock())) : "";
}

void Feed::Write(const std::string& text) {
  for (const Reader& reader : m_readers) reader.stream->Write(text);
}

void Feed::DropEnded() {
  m_readers.erase(std::remove_if(m_readers.begin(), m_readers.end(),
                                 [](const Reader& reader) { return reader.stream->Ended(); }),
                  m_readers.end());
  m_wanted = !m_readers.empty();
}

}  // namespace cloudservice
