// SPDX-License-Identifier: Apache-2.0
// Health, metrics, the number and the log line of each request.
#include "service/ops/Operations.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <exception>
#include <numeric>

#include "service/http/Compression.h"
#include "service/http/Pretty.h"
#include "service/http/Target.h"
#include "service/ops/ApplianceMetrics.h"
#include "service/ops/MetricsWriter.h"
#include "service/util/Secret.h"
#include "service/util/Sender.h"

namespace cloudservice {

namespace {

using std::chrono::steady_clock;

constexpr std::size_t kRunBytes = 4;

// The methods as the values of a label. Unknown ones share the last value, so that senders cannot
// add values without end.
constexpr std::array<const char*, 8> kMethods = {"GET",    "HEAD",    "POST", "PATCH",
                                                 "DELETE", "OPTIONS", "PUT",  "other"};
constexpr unsigned kFirstStatus = 100;
constexpr unsigned kStatuses = 500;

// The place of the counter of answers with this method and status, the methods one after the other.
std::size_t CounterOf(const std::string& method, unsigned status) {
  std::size_t number = 0;
  while (number + 1 < kMethods.size() && method != kMethods.at(number)) ++number;
  const unsigned offset = std::clamp(status, kFirstStatus, kFirstStatus + kStatuses - 1);
  return number * kStatuses + offset - kFirstStatus;
}

std::string Milliseconds(std::chrono::nanoseconds time) {
  char text[32];
  snprintf(text, sizeof text, "%.3f", std::chrono::duration<double, std::milli>(time).count());
  return text;
}

}  // namespace

namespace {

std::string Text(std::size_t number) { return std::to_string(number); }

// The metrics about what waits and what there is no room for.
void WriteLoad(MetricsWriter& out, const Load& load, std::size_t writes) {
  static constexpr std::array<const char*, Lanes::kCount> kLanes = {"changes", "looks", "sign_ins",
                                                                    "health"};
  out.Begin("connections", "gauge", "Open connections.");
  out.Sample(Text(load.connections.open));
  out.Begin("connections_refused_total", "counter",
            "Connections that were closed at once because there were too many.");
  out.Sample(std::to_string(load.connections.refused), "limit=\"all\"");
  out.Sample(std::to_string(load.connections.refusedOfSender), "limit=\"sender\"");
  out.Begin("body_bytes", "gauge", "Bytes of bodies that are being read or answered.");
  out.Sample(Text(load.bodyBytes));
  out.Begin("answer_bytes", "gauge", "Bytes of large answers that are not yet sent.");
  out.Sample(Text(load.answerBytes));
  out.Begin("streams", "gauge", "Open live streams.");
  out.Sample(Text(load.streams));
  out.Begin("requests_waiting", "gauge", "Requests that wait for a thread, by lane.");
  for (std::size_t i = 0; i < load.waiting.size(); ++i) {
    out.Sample(Text(load.waiting.at(i)), std::string("lane=\"") + kLanes.at(i) + "\"");
  }
  out.Begin("requests_refused_total", "counter", "Requests that a limit has refused.");
  for (const auto& [limit, count] : load.refused) {
    out.Sample(std::to_string(count), "limit=\"" + limit + "\"");
  }
  out.Begin("writes_waiting", "gauge", "Changes that wait for the next commit.");
  out.Sample(Text(writes));
}

void WriteRoute(MetricsWriter& out, const Route& route) {
  const std::string label = "route=\"" + route.path + "\",kind=\"";
  const auto write = [&](const Histogram& times, const char* kind) {
    const auto counts = times.Now().counts;
    // What nobody has asked for would fill pages.
    if (std::any_of(counts.begin(), counts.end(), [](std::uint64_t count) { return count > 0; })) {
      out.Times(times, label + kind + "\"");
    }
  };
  write(route.looks, "look");
  write(route.changes, "change");
}

// The metrics about what the store does.
void WriteTimes(MetricsWriter& out, const StoreTimes& times) {
  out.Begin("store_duration_seconds", "histogram",
            "Units of work on the database, waiting included, and commits.");
  out.Times(times.reads, "operation=\"read\"");
  out.Times(times.writes, "operation=\"write\"");
  out.Times(times.commits, "operation=\"commit\"");
  out.Begin("store_committed_units_total", "counter", "Units of work in all commits.");
  out.Sample(std::to_string(times.units));
  out.Begin("store_repeats_total", "counter",
            "Units of work that were run again since another one was in the way.");
  out.Sample(std::to_string(times.repeats));
}

// The metrics about the store: how much it holds.
void WriteStore(MetricsWriter& out, Transaction& store, std::int64_t now, std::int64_t bytes) {
  static constexpr std::array<const char*, 3> kStates = {"alive", "late", "offline"};
  const StateCounts states = store.CountStates(now);
  out.Begin("appliances", "gauge", "Registered appliances by the state of their heartbeat.");
  for (std::size_t i = 0; i < states.size(); ++i) {
    out.Sample(std::to_string(states.at(i)), std::string("state=\"") + kStates.at(i) + "\"");
  }
  out.Single("silent_appliances", "gauge", "Registered appliances that never sent a heartbeat.",
             store.CountSilent());
  const Totals totals = store.CountTotals();
  out.Single("chassis", "gauge", "Chassis of all appliances.", totals.chassis);
  out.Single("open_alarms", "gauge", "Alarms that are open.",
             std::accumulate(totals.alarms.begin(), totals.alarms.end(), std::int64_t{0}));
  out.Single("database_bytes", "gauge", "Size of the database.", bytes);
  out.Single("database_log_bytes", "gauge", "Size of the write-ahead log beside the database.",
             store.CountLogBytes());
}

}  // namespace

Operations::Operations(Store& store, const Log& log, Clock clock, Service service)
    : m_store(store),
      m_log(log),
      m_clock(std::move(clock)),
      m_service(std::move(service)),
      m_run(RandomHex(kRunBytes)),
      m_started(m_clock()),
      m_answers(kMethods.size() * kStatuses) {}

Response Operations::Handle(const Request& request) {
  return Answer(request, [&] { return Dispatch(request); });
}

bool Operations::Begin(const std::shared_ptr<const Request>& request, Ready ready) {
  if (!m_service.begin || Serves(request->target)) return false;
  return m_service.begin(request, [this, request, ready = std::move(ready)](MakeAnswer make) {
    ready([this, request, make = std::move(make)] { return Answer(*request, make); });
  });
}

Response Operations::Refuse(unsigned status, const Request& request, const std::string& reason) {
  return Answer(request, [&] { return m_service.refuse(status, request, reason); });
}

std::optional<Response> Operations::RefuseHead(const Request& head) {
  // Its own two take no body.
  if (Serves(head.target)) return std::nullopt;
  std::optional<Response> refusal = m_service.refuseHead(head);
  if (!refusal) return std::nullopt;
  return Answer(head, [&] { return *std::move(refusal); });
}

Response Operations::Answer(const Request& request, const std::function<Response()>& answer) {
  Response response = answer();
  IndentIfAsked(request.target, response);
  CompressFor(request, response);
  TakeRoom(request, response);
  const std::chrono::nanoseconds time = steady_clock::now() - request.arrived;
  const std::string what = request.target.Text().empty()
                               ? "unreadable"
                               : request.method + " " + request.target.Loggable();
  const std::string id = m_run + "-" + std::to_string(Count(request, response, time));
  const std::string line = "request " + id + " from " + request.peer + ": " + what + ": " +
                           std::to_string(response.status) + ", " +
                           std::to_string(response.Content().size()) + " bytes, " +
                           Milliseconds(time) + " ms";
  response.status < 400 ? m_log.Routine(line) : m_log.Line(line);
  response.headers.emplace_back("X-Request-Id", id);
  return response;
}

// A change's answer stays: the change is made, and the room of its body is taken until it is sent.
void Operations::TakeRoom(const Request& request, Response& response) {
  if (!m_service.room || request.method != "GET" || !m_service.room->Needs(response.body.size())) {
    return;
  }
  response.room = m_service.room->Take(SenderOf(request.peer), response.body.size());
  if (response.room) return;
  Route* const route = response.route;
  response = m_service.refuse(503, request, "No room for the answer just now.");
  response.SetHeader("Retry-After", std::to_string(kRetrySeconds));
  response.route = route;
}

std::uint64_t Operations::Count(const Request& request, const Response& response,
                                std::chrono::nanoseconds time) {
  ++m_answers.at(CounterOf(request.method, response.status));
  Route& route = response.route == nullptr ? m_other : *response.route;
  const bool looks = request.method == "GET" || request.method == "HEAD";
  (looks ? route.looks : route.changes).Observe(time);
  return ++m_number;
}

bool Operations::Serves(const Target& target) {
  const std::string path = target.Path();
  return path == "/healthz" || path == "/metrics";
}

Response Operations::Dispatch(const Request& request) {
  if (!Serves(request.target)) return m_service.handler(request);
  if (request.method != "GET" && request.method != "HEAD") {
    Response response = m_service.refuse(405, request, request.method + " is not possible here.");
    response.headers.emplace_back("Allow", "GET, HEAD");
    return response;
  }
  try {
    return request.target.Path() == "/healthz" ? Health() : Metrics();
  } catch (const std::exception& error) {
    m_log.Line(std::string("error: ") + error.what());
    return m_service.refuse(503, request, "The database does not answer.");
  }
}

Response Operations::Health() {
  m_store.Check();
  Response response;
  response.body = R"({"status":"ok"})";
  response.route = &m_health;
  return response;
}

Response Operations::Metrics() {
  Response response;
  response.type = "text/plain; version=0.0.4; charset=utf-8";
  response.body = MetricsText();
  response.mayBeCompressed = true;
  response.route = &m_metrics;
  return response;
}

std::string Operations::MetricsText() {
  MetricsWriter out;
  out.Single("start_time_seconds", "gauge", "When the service was started, since 1970.", m_started);
  WriteLoad(out, m_service.load(), m_store.Waiting());
  WriteAnswers(out);
  WriteTimes(out, m_store.Times());
  const std::int64_t now = m_clock();
  m_store.Read([&](Transaction& store) { WriteStore(out, store, now, DatabaseBytes(store, now)); });
  if (m_service.ofAppliances) WriteAppliances(out, m_store, now);
  return out.Text();
}

void Operations::WriteAnswers(MetricsWriter& out) const {
  out.Begin("requests_total", "counter", "Answered requests.");
  for (std::size_t i = 0; i < m_answers.size(); ++i) {
    const std::uint64_t count = m_answers.at(i);
    if (count == 0) continue;
    out.Sample(std::to_string(count), std::string("method=\"") + kMethods.at(i / kStatuses) +
                                          "\",status=\"" +
                                          std::to_string(kFirstStatus + i % kStatuses) + "\"");
  }
  out.Begin("request_duration_seconds", "histogram",
            "From the whole request to its answer, by the pattern of its path.");
  for (const Route* route : m_service.routes) WriteRoute(out, *route);
  for (const Route* route : {&m_health, &m_metrics, &m_other}) WriteRoute(out, *route);
}

std::int64_t Operations::DatabaseBytes(Transaction& store, std::int64_t now) {
  constexpr std::int64_t kOld = 60;
  const std::lock_guard<std::mutex> guard(m_mutex);
  if (!m_bytesAt || now < *m_bytesAt || now - *m_bytesAt >= kOld) {
    m_bytes = store.CountBytes();
    m_bytesAt = now;
  }
  return m_bytes;
}

}  // namespace cloudservice
