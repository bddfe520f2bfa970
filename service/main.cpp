// SPDX-License-Identifier: Apache-2.0
// cloudservice: puts the rooms together, and runs until it is told to stop.
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <functional>
#include <iostream>
#include <memory>
#include <optional>
#include <thread>
#include <utility>
#include <vector>

#include <boost/asio/io_context.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/signal_set.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/asio/strand.hpp>

#include "service/AuthCommands.h"
#include "service/CommandLine.h"
#include "service/api/Api.h"
#include "service/api/Error.h"
#include "service/api/Feed.h"
#include "service/api/Ticker.h"
#include "service/auth/Accounts.h"
#include "service/auth/Operators.h"
#include "service/http/AnswerQueue.h"
#include "service/http/AnswerRoom.h"
#include "service/http/Lanes.h"
#include "service/http/Server.h"
#include "service/http/Tls.h"
#include "service/ops/CleanUp.h"
#include "service/ops/Operations.h"
#include "service/page/Page.h"
#include "service/redfish/Service.h"
#include "service/store/Backends.h"
#include "service/store/Backup.h"
#include "service/store/Lock.h"
#include "service/store/Store.h"
#include "service/store/copy/ServiceCopy.h"
#include "service/util/Clock.h"
#include "service/util/HandedSockets.h"
#include "service/util/Log.h"
#include "service/util/Notify.h"
#include "service/util/Workers.h"

namespace cloudservice {

namespace {

// What nobody waits for leaves the processor to requests.
constexpr int kUpkeepNiceness = 10;

Limits LimitsOf(const Options& options) {
  const std::chrono::milliseconds timeout = std::chrono::seconds(options.ioTimeout);
  Limits limits;
  limits.bodyBytes = options.maxBody;
  limits.idle = timeout;
  limits.header = timeout / 6;
  limits.body = timeout / 2;
  limits.farewell = timeout / 30;
  return limits;
}

std::unique_ptr<ServerTls> TlsOf(const Options& options, const Log& log) {
  if (options.plainHttp) return nullptr;
  CertificateFiles files = {options.certificate, options.key};
  if (files.certificate.empty()) {
    bool made = false;
    files = OwnCertificate(options.database, made);
    if (made) log.Line("certificate made: " + files.certificate);
  }
  return std::make_unique<ServerTls>(std::move(files));
}

// Raises the limit of open files to the highest that the system allows this process: each
// connection takes one.
void RaiseDescriptorLimit() {
  struct rlimit limit = {};
  if (getrlimit(RLIMIT_NOFILE, &limit) != 0) return;
  limit.rlim_cur = limit.rlim_max;
  setrlimit(RLIMIT_NOFILE, &limit);
}

Retention RetentionOf(const Options& options) {
  constexpr std::int64_t kDay = 24 * 3600;
  return {options.retention * kDay, options.eventRetention * kDay};
}

std::string RegistrationKeyOf(const Options& options) {
  if (options.registrationKeyFile.empty()) return options.registrationKey;
  return ReadSecret(options.registrationKeyFile, std::cin);
}

// The handlers behind Operations: the operators' interface, the page, and the Redfish service.
Operations::Service ServiceOf(RedfishService& service, OperatorApi& api, Route& pageRoute,
                              std::function<Load()> load, bool ofAppliances,
                              std::shared_ptr<AnswerRoom> room) {
  std::vector<const Route*> routes = service.ListRoutes();
  for (const Route* route : api.ListRoutes()) routes.push_back(route);
  routes.push_back(&pageRoute);
  return {[&service, &api, &pageRoute](const Request& request) {
            if (OperatorApi::Serves(request.target)) return api.Handle(request);
            std::optional<Response> page = AnswerPage(request);
            if (!page) return service.Handle(request);
            page->route = &pageRoute;
            return *std::move(page);
          },
          [&service](unsigned status, const Request& request, const std::string& reason) {
            if (OperatorApi::Serves(request.target)) return ApiErrorResponse(status, reason);
            return service.Refuse(status, request, reason);
          },
          [&service, &api](const Request& head) -> std::optional<Response> {
            if (OperatorApi::Serves(head.target)) return api.RefuseHead(head);
            if (AnswerPage(head)) return std::nullopt;
            return service.RefuseHead(head);
          },
          std::move(load),
          std::move(routes),
          [&service](const std::shared_ptr<const Request>& request, Ready ready) {
            return !OperatorApi::Serves(request->target) &&
                   service.Begin(request, std::move(ready));
          },
          ofAppliances,
          std::move(room)};
}

// The beginning of a command on the same database. A URL may hold a password.
std::string CommandOf(const Options& options) {
  if (!options.file.empty()) return "cloudservice --config " + options.file;
  const bool onServer = IsPostgresUrl(options.database);
  return "cloudservice --db " + (onServer ? "postgresql://..." : options.database);
}

// A database on a server is for any number of processes.
std::unique_ptr<DatabaseLock> LockOf(const Options& options) {
  if (IsPostgresUrl(options.database)) return nullptr;
  return std::make_unique<DatabaseLock>(options.database);
}

std::unique_ptr<Store> OpenedStore(const Options& options, const Log& log) {
  std::unique_ptr<Store> store = OpenStore(options.database);
  if (!store->UpgradeBackup().empty()) {
    log.Line("database upgraded, the one before is kept as " + store->UpgradeBackup());
  }
  return store;
}

// The running service. Its parts are destroyed in the reverse order: threads before what they use.
class Program {
 public:
  Program(const Options& options, const Log& log);
  // The store may still work for connections that are gone: it ends before what its work uses.
  ~Program() { m_store->Drain(); }
  Program(const Program&) = delete;
  Program& operator=(const Program&) = delete;

  // Serves until a signal comes. Blocks.
  void Run();

 private:
  SessionContext ContextOf(const Options& options);
  void Take(const std::shared_ptr<const Request>& request, const Reply& reply);
  Lanes::Lane LaneOf(const Request& request) const;
  Load LoadNow();
  void BeginToListen(const Options& options);
  void TellWhoIsMissing();
  void WaitForSignal();
  void Stop();
  void TellReady();
  void WaitForHangUp();
  void ReadAgain();
  void FeedWatchdog();
  void KeepClean();
  void Rest();
  void MakeRoom(std::chrono::steady_clock::duration step) const;

  const Log& m_log;
  const std::string m_command;  // what a person types to change the database
  const Notify m_notify;
  const std::chrono::microseconds m_watchdogInterval;  // 0: there is no watchdog
  const std::unique_ptr<DatabaseLock> m_lock;
  const std::unique_ptr<Store> m_store;
  const std::unique_ptr<ServerTls> m_tls;
  Accounts m_accounts;
  RedfishService m_service;
  Operators m_operators;
  Feed m_feed;
  OperatorApi m_api;
  CleanUp m_cleanUp;
  boost::asio::io_context m_io;
  AnswerQueue m_answers;
  const boost::asio::strand<boost::asio::io_context::executor_type> m_strand;  // of the next four
  boost::asio::signal_set m_signals;
  boost::asio::signal_set m_hangUp;
  boost::asio::steady_timer m_watchdog;
  boost::asio::steady_timer m_cleaning;
  std::chrono::steady_clock::time_point m_oldGoes;  // when what is old is removed next
  std::atomic<bool> m_stopping{false};
  bool m_stopped = false;  // no connection is left; of the strand
  const std::shared_ptr<Budget> m_bodies = std::make_shared<Budget>(kBodiesBytes);
  const std::shared_ptr<AnswerRoom> m_answerRoom =
      std::make_shared<AnswerRoom>(AnswerRoom::Limits());
  Server m_server;
  Route m_pageRoute{"page"};
  Operations m_operations;
  // The feed has a thread of its own, and so has what nobody waits for.
  Workers m_teller;
  Workers m_upkeep;
  Ticker m_ticker;
  Lanes m_lanes;
};

Program::Program(const Options& options, const Log& log)
    : m_log(log),
      m_command(CommandOf(options)),
      m_notify(getenv("NOTIFY_SOCKET"), log),
      m_watchdogInterval(WatchdogInterval(getenv("WATCHDOG_USEC"), getenv("WATCHDOG_PID"))),
      m_lock(LockOf(options)),
      m_store(OpenedStore(options, log)),
      m_tls(TlsOf(options, log)),
      m_accounts(*m_store, WallClock),
      m_service(*m_store, log, m_accounts, WallClock, RetentionOf(options), options.quotas),
      m_operators(*m_store, WallClock),
      m_feed(*m_store, m_operators, log, WallClock,
             [this] { m_teller.Post([this] { m_feed.TellChanges(); }); }),
      m_api(*m_store, m_operators, m_feed, log, WallClock, m_tls != nullptr, m_command),
      m_cleanUp(*m_store, log, WallClock, RetentionOf(options)),
      m_answers(m_io, log),
      m_strand(boost::asio::make_strand(m_io)),
      m_signals(m_strand, SIGTERM, SIGINT),
      m_hangUp(m_strand, SIGHUP),
      m_watchdog(m_strand),
      m_cleaning(m_strand),
      m_server(m_io, m_tls.get(), ContextOf(options),
               {options.maxConnections, options.maxConnectionsOfSender}),
      m_operations(*m_store, log, WallClock,
                   ServiceOf(
                       m_service, m_api, m_pageRoute, [this] { return LoadNow(); },
                       options.metricsOfAppliances, m_answerRoom)),
      m_teller({}, log),
      m_upkeep({1, 1000, kUpkeepNiceness}, log),
      m_ticker(m_io, m_feed, m_teller),
      m_lanes({[this](const Request& request) { return LaneOf(request); },
               [this](const Request& request) { return m_operations.Handle(request); },
               [this](const Request& head) { return m_operations.RefuseHead(head); },
               [this](unsigned status, const Request& request, const std::string& reason) {
                 return m_operations.Refuse(status, request, reason);
               }},
              log) {
  if (!options.email.empty() && m_accounts.Add(options.email, RegistrationKeyOf(options))) {
    log.Line("account: " + options.email + " has a new registration key");
  }
  BeginToListen(options);
}

// The service manager's sockets go before --listen: it has them open also while nothing runs.
void Program::BeginToListen(const Options& options) {
  const std::vector<HandedSocket> handed =
      HandedSockets(getenv("LISTEN_PID"), getenv("LISTEN_FDS"), getenv("LISTEN_FDNAMES"));
  for (const HandedSocket& socket : handed) m_server.Take(socket);
  if (handed.empty()) m_server.Listen(options.address, options.port);
}

SessionContext Program::ContextOf(const Options& options) {
  SessionContext context;
  context.limits = LimitsOf(options);
  context.take = [this](const std::shared_ptr<const Request>& request, const Reply& reply) {
    Take(request, reply);
  };
  context.admit = [this](const std::shared_ptr<const Request>& head, const HeadReply& reply) {
    m_lanes.Admit(head, reply);
  };
  context.proxies = options.trustedProxies;
  context.bodies = m_bodies;
  context.refuse = [this](unsigned status, const Request& request, const std::string& reason) {
    return m_operations.Refuse(status, request, reason);
  };
  context.clock = WallClock;
  context.log = &m_log;
  return context;
}

// What the store's writer answers needs no thread of a lane. The answer is made where connections
// are served: the writer has no time for it.
void Program::Take(const std::shared_ptr<const Request>& request, const Reply& reply) {
  const auto ready = [this, reply](MakeAnswer make) { m_answers.Add(std::move(make), reply); };
  if (!m_operations.Begin(request, ready)) m_lanes.Take(request, reply);
}

Lanes::Lane Program::LaneOf(const Request& request) const {
  if (Operations::Serves(request.target)) return Lanes::kHealth;
  if (OperatorApi::Serves(request.target)) {
    return m_api.IsSlow(request) ? Lanes::kSignIns : Lanes::kLooks;
  }
  if (m_service.IsSlow(request)) return Lanes::kSignIns;
  const bool looks = request.method == "GET" || request.method == "HEAD";
  return looks ? Lanes::kLooks : Lanes::kChanges;
}

Load Program::LoadNow() {
  static constexpr std::array<const char*, Quotas::kKinds> kQuotas = {
      "quota_documents", "quota_bytes", "quota_events_of_day", "quota_events"};
  Load load = {m_server.Counts(), m_bodies->Taken(), m_answerRoom->Taken(), m_feed.Streams()};
  const QuotaRefusals::Counts overQuotas = m_service.OverQuotas();
  for (std::size_t i = 0; i < kQuotas.size(); ++i) {
    load.refused.emplace_back(kQuotas.at(i), overQuotas.at(i));
  }
  load.refused.emplace_back("bodies", m_bodies->Refused());
  load.refused.emplace_back("answers", m_answerRoom->Refused());
  load.refused.emplace_back("changes", m_lanes.Refused(Lanes::kChanges));
  load.refused.emplace_back("looks", m_lanes.Refused(Lanes::kLooks));
  load.refused.emplace_back("sign_ins", m_lanes.Refused(Lanes::kSignIns));
  load.refused.emplace_back("health", m_lanes.Refused(Lanes::kHealth));
  load.refused.emplace_back("streams", m_feed.Refused());
  load.refused.emplace_back("streams_of_operator", m_feed.RefusedOfOperator());
  for (std::size_t i = 0; i < Lanes::kCount; ++i) {
    load.waiting.at(i) = m_lanes.Waiting(static_cast<Lanes::Lane>(i));
  }
  return load;
}

// A new service is of no use before somebody may register and somebody may look.
void Program::TellWhoIsMissing() {
  if (!m_accounts.Any()) {
    m_log.Line("no account: no appliance can register; make one: " + m_command +
               " account add EMAIL");
  }
  if (!m_operators.Any()) {
    m_log.Line("no operator: nobody can sign in; make one: " + m_command + " operator add NAME");
  }
}

void Program::Run() {
  KeepClean();
  WaitForSignal();
  WaitForHangUp();
  TellWhoIsMissing();
  for (const std::string& url : m_server.Urls()) std::printf("listening on %s\n", url.c_str());
  std::fflush(stdout);
  TellReady();
  FeedWatchdog();
  std::vector<std::thread> others;
  for (unsigned i = 1; i < std::thread::hardware_concurrency(); ++i) {
    others.emplace_back([this] { RunLoop(m_io, m_log); });
  }
  RunLoop(m_io, m_log);
  for (std::thread& thread : others) thread.join();
  m_log.Line("stopped");
}

// The first signal stops the server, the second ends the process.
void Program::WaitForSignal() {
  m_signals.async_wait([this](const boost::system::error_code& error, int) {
    if (!error) Stop();
  });
}

void Program::Stop() {
  m_log.Line("stopping");
  m_notify.Send("STOPPING=1\nSTATUS=stopping");
  m_stopping = true;
  m_cleaning.cancel();
  m_ticker.Stop();
  m_signals.async_wait([](const boost::system::error_code& cancelled, int) {
    if (!cancelled) std::_Exit(EXIT_FAILURE);
  });
  m_server.Stop([this] {
    boost::asio::post(m_strand, [this] {
      m_signals.cancel();
      m_hangUp.cancel();
      m_stopped = true;
      m_watchdog.cancel();
    });
  });
}

// Waits while the service runs: it is never the end of it.
void Program::WaitForHangUp() {
  m_hangUp.async_wait([this](const boost::system::error_code& cancelled, int) {
    if (cancelled) return;
    // Who stops has said so, and is not ready again.
    if (!m_stopping) m_notify.Send(Reloading());
    ReadAgain();
    if (!m_stopping) TellReady();
    WaitForHangUp();
  });
}

void Program::ReadAgain() {
  if (!m_tls) return m_log.Line("nothing to read again: the service speaks plain HTTP");
  try {
    m_tls->ReadAgain();
    m_log.Line("certificate read again: " + m_tls->Files().certificate);
  } catch (const std::exception& error) {
    m_log.Line(std::string("certificate not read again, the one before stays: ") + error.what());
  }
}

void Program::TellReady() { m_notify.Send("READY=1\nSTATUS=listening on " + m_server.Url()); }

// Feeds the watchdog until the last connection has ended. The io_context's threads do it, so that
// it is not fed when none of them comes round any more.
void Program::FeedWatchdog() {
  if (m_watchdogInterval.count() == 0 || m_stopped) return;
  m_notify.Send("WATCHDOG=1");
  m_watchdog.expires_after(m_watchdogInterval);
  m_watchdog.async_wait([this](const boost::system::error_code& cancelled) {
    if (!cancelled) FeedWatchdog();
  });
}

// Removes what is old now and every hour from now on, and every few seconds what removed appliances
// have left, in short steps, between which others write.
void Program::KeepClean() {
  const auto now = std::chrono::steady_clock::now();
  const bool old = now >= m_oldGoes;
  if (old) m_oldGoes = now + std::chrono::hours(1);
  m_upkeep.Post([this, old] {
    for (bool more = true; more && !m_stopping;) {
      const auto begun = std::chrono::steady_clock::now();
      more = old ? m_cleanUp.Step() : m_cleanUp.RemoveLeft();
      if (more) MakeRoom(std::chrono::steady_clock::now() - begun);
    }
  });
  // The pause begins when this is done, however long it takes, and whatever becomes of it.
  m_upkeep.Post([this] { boost::asio::post(m_strand, [this] { Rest(); }); });
}

void Program::Rest() {
  constexpr std::chrono::seconds kPause(5);
  if (m_stopping) return;
  m_cleaning.expires_after(kPause);
  m_cleaning.async_wait([this](const boost::system::error_code& cancelled) {
    // The time may have come just before Stop() cancelled it.
    if (!cancelled && !m_stopping) KeepClean();
  });
}

// Leaves the writer to others for longer than a step has kept it from them.
void Program::MakeRoom(std::chrono::steady_clock::duration step) const {
  constexpr int kTimes = 9;
  constexpr std::chrono::milliseconds kMost(200);
  if (m_stopping) return;
  std::this_thread::sleep_for(std::min<std::chrono::steady_clock::duration>(kTimes * step, kMost));
}

void RunCopy(const Options& options) {
  StandardError out(WallClock);
  const Log log([&out](const std::string& line) { out.Write(line); }, WallClock);
  CopyService(options.from, options.to, {[&log](const std::string& line) { log.Line(line); }});
}

int Run(const Options& options, const Log& log) {
  // Until the service runs there is nothing to read again.
  signal(SIGHUP, SIG_IGN);
  Program(options, log).Run();
  return EXIT_SUCCESS;
}

// Runs the program with the arguments of main(); returns its exit status.
int Main(int argc, char** argv) {
  int status = EXIT_SUCCESS;
  const std::optional<Options> options = ParseOptions(argc, argv, status);
  if (!options) return status;
  signal(SIGPIPE, SIG_IGN);
  // Other users must not read the files that this process makes.
  umask(077);
  RaiseDescriptorLimit();
  try {
    if (options->command == Command::kBackup) {
      BackUp(options->database, options->backup);
      return EXIT_SUCCESS;
    }
    if (options->command == Command::kCopy) {
      RunCopy(*options);
      return EXIT_SUCCESS;
    }
    if (options->command != Command::kServe) {
      RunOwnersCommand(*options, WallClock, std::cin, std::cout);
      std::cout.flush();
      return std::cout ? EXIT_SUCCESS : EXIT_FAILURE;
    }
    StandardError out(WallClock);
    return Run(*options, Log([&out](const std::string& line) { out.Write(line); }, WallClock,
                             options->logLevel));
  } catch (const std::exception& error) {
    std::fprintf(stderr, "cloudservice: %s\n", error.what());
    return EXIT_FAILURE;
  }
}

}  // namespace

}  // namespace cloudservice

int main(int argc, char** argv) { return cloudservice::Main(argc, argv); }
