// SPDX-License-Identifier: Apache-2.0
// cloudservice: puts the rooms together, and runs until it is told to stop.
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include <cstdio>
#include <cstdlib>
#include <exception>
#include <iostream>
#include <memory>
#include <optional>

#include <boost/asio/io_context.hpp>
#include <boost/asio/signal_set.hpp>
#include <boost/asio/steady_timer.hpp>

#include "service/AuthCommands.h"
#include "service/CommandLine.h"
#include "service/api/Api.h"
#include "service/api/Error.h"
#include "service/api/Feed.h"
#include "service/api/Ticker.h"
#include "service/auth/Accounts.h"
#include "service/auth/Operators.h"
#include "service/http/Server.h"
#include "service/http/Tls.h"
#include "service/ops/CleanUp.h"
#include "service/ops/Operations.h"
#include "service/page/Page.h"
#include "service/redfish/Service.h"
#include "service/store/Backup.h"
#include "service/store/Lock.h"
#include "service/store/Store.h"
#include "service/util/Clock.h"
#include "service/util/Log.h"

namespace cloudservice {

namespace {

Limits LimitsOf(const Options& options) {
  const std::chrono::milliseconds timeout = std::chrono::seconds(options.ioTimeout);
  Limits limits;
  limits.bodyBytes = options.maxBody;
  limits.idle = timeout;
  limits.header = timeout / 6;
  limits.body = timeout / 2;
  return limits;
}

std::optional<boost::asio::ssl::context> TlsOf(const Options& options, const Log& log) {
  if (options.plainHttp) return std::nullopt;
  CertificateFiles files = {options.certificate, options.key};
  if (files.certificate.empty()) {
    bool made = false;
    files = OwnCertificate(options.database, made);
    if (made) log.Line("certificate made: " + files.certificate);
  }
  return ServerContext(files);
}

// Raises the limit of open files to the highest that the system allows this process: each
// connection takes one.
void RaiseDescriptorLimit() {
  struct rlimit limit = {};
  if (getrlimit(RLIMIT_NOFILE, &limit) != 0) return;
  limit.rlim_cur = limit.rlim_max;
  setrlimit(RLIMIT_NOFILE, &limit);
}

// The first signal stops the server, the second ends the process.
void WaitForSignal(boost::asio::signal_set& signals, Server& server,
                   boost::asio::steady_timer& cleaning, Ticker& ticker, const Log& log) {
  signals.async_wait([&](const boost::system::error_code& error, int) {
    if (error) return;
    log.Line("stopping");
    cleaning.cancel();
    ticker.Stop();
    signals.async_wait([](const boost::system::error_code& cancelled, int) {
      if (!cancelled) std::_Exit(EXIT_FAILURE);
    });
    server.Stop([&signals] { signals.cancel(); });
  });
}

Retention RetentionOf(const Options& options) {
  constexpr std::int64_t kDay = 24 * 3600;
  return {options.retention * kDay, options.eventRetention * kDay};
}

// Cleans up now and every hour from now on, in short steps, so that requests are served between
// them.
void CleanUpEveryHour(boost::asio::steady_timer& timer, CleanUp& cleanUp) {
  const bool more = cleanUp.Step();
  timer.expires_after(more ? std::chrono::hours(0) : std::chrono::hours(1));
  timer.async_wait([&](const boost::system::error_code& cancelled) {
    if (!cancelled) CleanUpEveryHour(timer, cleanUp);
  });
}

std::string RegistrationKeyOf(const Options& options) {
  if (options.registrationKeyFile.empty()) return options.registrationKey;
  return ReadSecret(options.registrationKeyFile, std::cin);
}

Operations::Service ServiceOf(RedfishService& service, OperatorApi& api, const Server& server) {
  return {[&service, &api](const Request& request) {
            if (OperatorApi::Serves(request.target)) return api.Handle(request);
            std::optional<Response> page = AnswerPage(request);
            return page ? *std::move(page) : service.Handle(request);
          },
          [&service](unsigned status, const Request& request, const std::string& reason) {
            if (OperatorApi::Serves(request.target)) return ApiErrorResponse(status, reason);
            return service.Refuse(status, request, reason);
          },
          [&server] { return server.Connections(); }};
}

int Run(const Options& options, const Log& log) {
  const DatabaseLock lock(options.database);
  const std::unique_ptr<Store> opened = OpenStore(options.database);
  Store& store = *opened;
  if (!store.UpgradeBackup().empty()) {
    log.Line("database upgraded, the one before is kept as " + store.UpgradeBackup());
  }
  std::optional<boost::asio::ssl::context> tls = TlsOf(options, log);
  Accounts accounts(store, WallClock, SteadyClock);
  if (!options.email.empty() && accounts.Add(options.email, RegistrationKeyOf(options))) {
    log.Line("account: " + options.email + " has a new registration key");
  }
  RedfishService service(store, log, accounts, WallClock, RetentionOf(options));
  Operators operators(store, WallClock, SteadyClock);
  Feed feed(store, operators, log, WallClock);
  OperatorApi api(store, operators, feed, log, WallClock, tls.has_value());

  boost::asio::io_context io(1);
  boost::asio::signal_set signals(io, SIGTERM, SIGINT);
  std::optional<Operations> operations;
  SessionContext context;
  context.limits = LimitsOf(options);
  context.handler = [&](const Request& request) { return operations->Handle(request); };
  context.refuse = [&](unsigned status, const Request& request, const std::string& reason) {
    return operations->Refuse(status, request, reason);
  };
  context.clock = WallClock;
  context.log = &log;
  Server server(io, tls ? &*tls : nullptr, context);
  operations.emplace(store, log, WallClock, ServiceOf(service, api, server));
  server.Listen(options.address, options.port);
  CleanUp cleanUp(store, log, WallClock, RetentionOf(options));
  boost::asio::steady_timer cleaning(io);
  CleanUpEveryHour(cleaning, cleanUp);
  Ticker ticker(io, feed);
  WaitForSignal(signals, server, cleaning, ticker, log);
  if (!accounts.Any()) log.Line("no account: no appliance can register");
  std::printf("listening on %s\n", server.Url().c_str());
  std::fflush(stdout);
  RunLoop(io, log);
  log.Line("stopped");
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
    if (options->command != Command::kServe) {
      RunOwnersCommand(*options, WallClock, std::cin, std::cout);
      std::cout.flush();
      return std::cout ? EXIT_SUCCESS : EXIT_FAILURE;
    }
    StandardError out(WallClock);
    return Run(*options, Log([&out](const std::string& line) { out.Write(line); }, WallClock));
  } catch (const std::exception& error) {
    std::fprintf(stderr, "cloudservice: %s\n", error.what());
    return EXIT_FAILURE;
  }
}

}  // namespace

}  // namespace cloudservice

int main(int argc, char** argv) { return cloudservice::Main(argc, argv); }
