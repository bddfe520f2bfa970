// SPDX-License-Identifier: Apache-2.0
// The live stream of changes.
#include "service/api/Feed.h"

#include <algorithm>
#include <exception>
#include <utility>

#include "service/api/Find.h"
#include "service/api/Views.h"
#include "service/util/Secret.h"

namespace cloudservice {

namespace {

constexpr std::size_t kRunBytes = 4;

}  // namespace

Feed::Feed(Store& store, Operators& operators, const Log& log, Clock clock,
           std::function<void()> wake)
    : m_store(store),
      m_operators(operators),
      m_log(log),
      m_clock(std::move(clock)),
      m_wake(std::move(wake)),
      m_run(RandomHex(kRunBytes)),
      m_looked(m_clock()),
      m_foreign(store.DataVersion()) {
  m_store.Listen([this](const Change& change) { OnChange(change); });
}

Feed::~Feed() { m_store.Listen(nullptr); }

std::shared_ptr<Stream> Feed::Open(std::int64_t person, const std::string& session,
                                   const std::string& last) {
  const std::lock_guard<std::mutex> guard(m_mutex);
  DropEnded();
  if (m_readers.size() >= kMaxStreams) return nullptr;
  TellDue();
  TellForeign();
  TellNoted(last);
  auto stream = std::make_shared<Stream>(kMaxUnread + kRememberedBytes);
  const std::optional<std::size_t> missed = MissedSince(last);
  if (missed) {
    for (std::size_t i = m_past.size() - *missed; i < m_past.size(); ++i) stream->Write(m_past[i]);
  } else {
    // The identifier lets the reader catch up even if the connection breaks before the first event.
    stream->Write("id: " + Identifier(m_number) +
                  (last.empty() ? "\n\n" : "\nevent: reset\ndata: {}\n\n"));
  }
  m_readers.push_back({stream, person, session});
  m_awaited = true;
  m_wanted = true;
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
  try {
    for (const Reader& reader : m_readers) {
      if (!m_operators.Holds(reader.person, reader.session)) reader.stream->End();
    }
    TellDue();
    TellForeign();
  } catch (const std::exception& error) {
    m_log.Line(std::string("error: the streams miss something: ") + error.what());
  }
  if (m_ticks * kTickSeconds % kCommentSeconds == 0) Write(": still here\n\n");
  DropEnded();
}

std::size_t Feed::Streams() {
  const std::lock_guard<std::mutex> guard(m_mutex);
  DropEnded();
  return m_readers.size();
}

void Feed::OnChange(const Change& change) {
  if (!m_wanted) return;
  {
    const std::lock_guard<std::mutex> guard(m_waitingMutex);
    if (m_waiting.size() >= kMaxWaiting) {
      m_waiting.clear();
      m_lost = true;
    }
    m_waiting.push_back(change);
    // Whoever has put the first one in has woken.
    if (m_waiting.size() > 1) return;
  }
  m_wake();
}

void Feed::TellChanges() {
  const std::lock_guard<std::mutex> guard(m_mutex);
  std::vector<Change> waiting;
  bool lost = false;
  {
    const std::lock_guard<std::mutex> taking(m_waitingMutex);
    waiting.swap(m_waiting);
    lost = std::exchange(m_lost, false);
  }
  DropEnded();
  if (lost) TellUnknown();
  for (const Change& change : waiting) Take(change);
}

void Feed::Take(const Change& change) {
  if (!m_readers.empty()) return TellOrReset(change);
  if (!m_awaited) return;
  if (m_noted.size() == kRemembered) return Forget();
  m_noted.push_back(change);
}

void Feed::TellOrReset(const Change& change) {
  try {
    TellChange(change);
  } catch (const std::exception& error) {
    m_log.Line(std::string("error: the streams miss something: ") + error.what());
    Tell("reset", Json::object());
  }
}

void Feed::TellChange(const Change& change) {
  switch (change.what) {
    case Change::What::kAppliance:
      return TellAppliance(change.manager);
    case Change::What::kGone:
      return Tell("gone", {{"uuid", change.manager}});
    case Change::What::kDocument: {
      const auto document = m_store.Read(
          [&](Transaction& store) { return store.FindDocument(change.manager, change.document); });
      return Tell("resource", {{"uuid", change.manager},
                               {"uri", UriOf(change.document)},
                               {"updated", document ? Json(UtcTime(document->changed)) : Json()}});
    }
    case Change::What::kEvent: {
      LogFilter one;
      one.manager = change.manager;
      one.before = change.event + 1;
      one.limit = 1;
      const auto found = m_store.Read([&](Transaction& store) { return store.ListLog(one); });
      if (found.empty()) return;
      Json data = EventView(found.front());
      data["uuid"] = change.manager;
      return Tell("event", data);
    }
  }
}

void Feed::TellAppliance(const std::string& uuid) {
  const auto appliance =
      m_store.Read([&](Transaction& store) { return store.FindAppliance(uuid); });
  if (appliance) Tell("appliance", ApplianceView(*appliance, m_clock()));
}

void Feed::TellDue() {
  const std::int64_t now = m_clock();
  // After the clock was set back, the states between the two times have changed back.
  const std::int64_t from = std::min(m_looked, now);
  const std::int64_t to = std::max(m_looked, now);
  m_looked = now;
  if (from == to) return;
  constexpr std::int64_t kDueAtOnce = 1000;
  ListPage<DueAppliance> page = {std::nullopt, kDueAtOnce};
  for (bool more = true; more;) {
    const auto due =
        m_store.Read([&](Transaction& store) { return store.ListDue(from, to, page); });
    for (const DueAppliance& one : due) Take({Change::What::kAppliance, one.uuid, 0, {}});
    more = due.size() == static_cast<std::size_t>(kDueAtOnce);
    if (more) page.after = due.back();
  }
}

void Feed::TellForeign() {
  const std::int64_t foreign = m_store.DataVersion();
  if (foreign == m_foreign) return;
  m_foreign = foreign;
  TellUnknown();
}

void Feed::TellUnknown() {
  if (m_readers.empty()) return Forget();
  Tell("reset", Json::object());
}

void Feed::Tell(const char* type, const Json& data) {
  ++m_number;
  std::string text =
      "id: " + Identifier(m_number) + "\nevent: " + type + "\ndata: " + CompactText(data) + "\n\n";
  Write(text);
  Remember(std::move(text));
}

std::string Feed::Identifier(std::uint64_t number) const {
  return m_run + "-" + std::to_string(number);
}

void Feed::Remember(std::string text) {
  m_pastBytes += text.size();
  m_past.push_back(std::move(text));
  while (m_past.size() > kRemembered || m_pastBytes > kRememberedBytes) {
    m_pastBytes -= m_past.front().size();
    m_past.pop_front();
  }
}

std::optional<std::size_t> Feed::MissedSince(const std::string& last) const {
  // m_past ends with event m_number.
  for (std::size_t missed = 0; missed <= m_past.size(); ++missed) {
    if (Identifier(m_number - missed) == last) return missed;
  }
  return std::nullopt;
}

void Feed::Forget() {
  // No reader has this number as its last one.
  ++m_number;
  m_past.clear();
  m_pastBytes = 0;
  m_noted.clear();
  m_awaited = false;
  m_wanted = !m_readers.empty();
}

void Feed::TellNoted(const std::string& last) {
  if (m_noted.empty()) return;
  if (!MissedSince(last)) return Forget();
  const std::vector<Change> noted = std::exchange(m_noted, {});
  for (const Change& change : noted) TellOrReset(change);
}

void Feed::Write(const std::string& text) {
  for (const Reader& reader : m_readers) reader.stream->Write(text);
}

void Feed::DropEnded() {
  m_readers.erase(std::remove_if(m_readers.begin(), m_readers.end(),
                                 [](const Reader& reader) { return reader.stream->Ended(); }),
                  m_readers.end());
}

}  // namespace cloudservice
