// SPDX-License-Identifier: Apache-2.0
// fleet: seeds a database with appliances, makes their requests, or is the bare server that the
// service is compared with. README.md says how it is used.
#include <signal.h>
#include <sys/resource.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <fstream>
#include <map>
#include <optional>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <CLI/CLI.hpp>
#include <boost/asio/ssl/verify_mode.hpp>

#include "BareServer.h"
#include "Fleet.h"
#include "Load.h"
#include "Report.h"
#include "Seed.h"

namespace fleet {

namespace {

// The options of "load".
struct LoadOptions {
  std::string url;
  std::int64_t appliances = 100;
  std::int64_t large = -1;
  bool bare = false;
  bool registers = false;
  bool fresh = false;
  bool keep = false;
  int connections = 64;
  int threads = static_cast<int>(std::thread::hardware_concurrency());
  double seconds = 10;
  double warmUp = 2;
  double beatsEvery = 0;
  double valuesEvery = 0;
  double alarmsEvery = 0;
  std::map<std::string, double> rates;
  std::vector<std::string> flatOut;
  std::int64_t readBack = 0;
  std::vector<int> pids;
  std::string json;
};

std::chrono::milliseconds Milliseconds(double seconds) {
  return std::chrono::milliseconds(static_cast<std::int64_t>(seconds * 1000));
}

Kind KindOf(const std::string& name) {
  for (int i = 0; i < kKinds; ++i) {
    if (name == NameOf(static_cast<Kind>(i))) return static_cast<Kind>(i);
  }
  throw std::runtime_error("no kind of request: " + name);
}

// "https://127.0.0.1:8443": whether it is TLS, and the rest.
std::pair<bool, std::string> SplitUrl(const std::string& url) {
  const bool tls = url.rfind("https://", 0) == 0;
  if (!tls && url.rfind("http://", 0) != 0) throw std::runtime_error("no http(s) URL: " + url);
  return {tls, url.substr(tls ? 8 : 7)};
}

boost::asio::ip::tcp::endpoint EndpointOf(const std::string& host) {
  const std::size_t colon = host.rfind(':');
  if (colon == std::string::npos) throw std::runtime_error("no port: " + host);
  return {boost::asio::ip::make_address(host.substr(0, colon)),
          static_cast<std::uint16_t>(std::stoi(host.substr(colon + 1)))};
}

// As a daemon greets: every version and cipher of the library's own choice, nothing verified, no
// session taken up again.
boost::asio::ssl::context ClientTls() {
  boost::asio::ssl::context context(boost::asio::ssl::context::tls_client);
  context.set_verify_mode(boost::asio::ssl::verify_none);
  return context;
}

void AddSeries(Plan& plan, Kind kind, double rate) {
  if (rate <= 0) return;
  plan.kinds.push_back(kind);
  plan.rates.push_back(rate);
}

Plan PlanOf(const LoadOptions& options) {
  Plan plan;
  plan.appliances = options.appliances;
  plan.connections = options.connections;
  plan.threads = std::clamp(options.threads, 1, options.connections);
  plan.warmUp = Milliseconds(options.warmUp);
  plan.measured = Milliseconds(options.seconds);
  if (!options.flatOut.empty()) {
    plan.pace = Plan::Pace::kFlatOut;
    for (const std::string& name : options.flatOut) plan.kinds.push_back(KindOf(name));
    return plan;
  }
  const auto all = static_cast<double>(options.appliances);
  const auto every = [all](double seconds) { return seconds > 0 ? all / seconds : 0; };
  AddSeries(plan, Kind::kBeat, every(options.beatsEvery));
  AddSeries(plan, Kind::kValue, every(options.valuesEvery));
  AddSeries(plan, Kind::kRaise, every(options.alarmsEvery));
  AddSeries(plan, Kind::kClear, every(options.alarmsEvery));
  for (const auto& [name, rate] : options.rates) AddSeries(plan, KindOf(name), rate);
  if (plan.kinds.empty()) throw std::runtime_error("nothing is to be sent (see fleet --help)");
  return plan;
}

// Each of the first `count` appliances says each of `kinds` once; what comes out is printed.
Result Once(const Plan& like, const std::vector<Kind>& kinds, std::int64_t count, Fleet& appliances,
            const Way& way) {
  Plan plan = like;
  plan.pace = Plan::Pace::kOnce;
  plan.kinds = kinds;
  plan.rates.clear();
  plan.appliances = std::min(count, like.appliances);
  Result result = Run(
      plan, appliances, way, [] {}, [] {});
  std::fputs(TextOf(result, {}).c_str(), stdout);
  return result;
}

// Runs the plan, with what has to come before and after it.
Result RunAll(const LoadOptions& options, const Way& way, const std::string& host,
              std::vector<ProcessReport>& processes) {
  const Plan plan = PlanOf(options);
  Fleet appliances(options.appliances, host, options.large, !options.bare);
  Result asides;
  if (options.registers) {
    asides.AddFailures(
        Once(plan, {Kind::kRegister, Kind::kChassis}, options.appliances, appliances, way));
  }
  Result result = Run(
      plan, appliances, way,
      [&processes] {
        for (ProcessReport& process : processes) process.before = UsageOf(process.pid);
      },
      [&processes] {
        for (ProcessReport& process : processes) process.after = UsageOf(process.pid);
      });
  std::fputs(TextOf(result, processes).c_str(), stdout);
  if (options.readBack > 0) {
    asides.AddFailures(
        Once(plan, {Kind::kReadBeat, Kind::kReadValue}, options.readBack, appliances, way));
  }
  result.AddFailures(asides);
  return result;
}

int Load(const LoadOptions& options) {
  const auto [encrypted, host] = SplitUrl(options.url);
  boost::asio::ssl::context tls = ClientTls();
  Way way;
  way.service = EndpointOf(host);
  way.tls = encrypted ? &tls : nullptr;
  way.keep = options.keep || (!encrypted && !options.fresh);
  std::vector<ProcessReport> processes;
  for (const int pid : options.pids) processes.push_back({pid, {}, {}});
  const Result result = RunAll(options, way, host, processes);
  if (!options.json.empty()) {
    std::ofstream file(options.json);
    file << JsonOf(result, processes) << '\n';
    if (!file.flush()) throw std::runtime_error("cannot write " + options.json);
  }
  return result.Failed() == 0 ? EXIT_SUCCESS : EXIT_FAILURE;
}

void DescribeSeed(CLI::App& app, SeedOptions& options) {
  CLI::App& seed = *app.add_subcommand("seed", "Writes appliances into a database of the service");
  seed.add_option("--db", options.database, "As the service's --db")->required();
  seed.add_option("--appliances", options.appliances, "How many")->required();
  seed.add_option("--alarms", options.alarms, "Open alarms of each")->capture_default_str();
  seed.add_option("--large-log", options.largeLog, "Events of one more appliance");
  seed.add_option("--old-events", options.oldEvents, "Events that a clean-up will remove");
  seed.add_option("--old-readings", options.oldReadings, "Readings that a clean-up will remove");
}

void DescribeBare(CLI::App& app, BareOptions& options) {
  CLI::App& bare = *app.add_subcommand("bare", "Answers everything from memory");
  bare.add_option("--port", options.port, "Port of 127.0.0.1; 0 picks a free one");
  bare.add_option("--threads", options.threads, "Threads that serve")->capture_default_str();
  bare.add_option("--cert", options.certificate, "PEM file; with it TLS is spoken");
  bare.add_option("--key", options.key, "PEM file");
}

void DescribePace(CLI::App& load, LoadOptions& options) {
  load.add_option("--seconds", options.seconds, "Length of the measurement")->capture_default_str();
  load.add_option("--warm-up", options.warmUp, "Seconds before it")->capture_default_str();
  load.add_option("--beats-every", options.beatsEvery, "Seconds from heartbeat to heartbeat");
  load.add_option("--values-every", options.valuesEvery, "Seconds from value to value");
  load.add_option("--alarms-every", options.alarmsEvery, "Seconds from alarm to alarm");
  load.add_option_function<std::vector<std::string>>(
      "--rate",
      [&options](const std::vector<std::string>& pairs) {
        for (const std::string& pair : pairs) {
          const std::size_t equals = pair.find('=');
          if (equals == std::string::npos) throw CLI::ValidationError("--rate takes KIND=RATE");
          options.rates[pair.substr(0, equals)] = std::stod(pair.substr(equals + 1));
        }
      },
      "KIND=RATE: so many of this kind a second, over all appliances");
  load.add_option("--flat-out", options.flatOut,
                  "Kinds; each connection sends as soon as it was answered");
}

void DescribeLoad(CLI::App& app, LoadOptions& options) {
  CLI::App& load = *app.add_subcommand("load", "Makes the requests of appliances and operators");
  load.add_option("--url", options.url, "The service: https://127.0.0.1:8443")->required();
  load.add_option("--appliances", options.appliances, "How many")->capture_default_str();
  load.add_option("--large", options.large, "Number of the appliance with the largest log");
  load.add_flag("--bare", options.bare, "The server is a bare one");
  load.add_flag("--register", options.registers, "The appliances register; else they are seeded");
  load.add_flag("--fresh", options.fresh, "A connection for each request; always so over TLS");
  load.add_flag("--keep", options.keep, "Connections are kept, over TLS too");
  load.add_option("--connections", options.connections, "How many at once")->capture_default_str();
  load.add_option("--threads", options.threads, "Threads of the generator")->capture_default_str();
  load.add_option("--read-back", options.readBack,
                  "Afterwards so many appliances read what was answered");
  load.add_option("--pid", options.pids, "Process of the server; may be given again");
  load.add_option("--json", options.json, "File for the figures");
  DescribePace(load, options);
}

void PrintIdentity(std::int64_t number) {
  const Identity identity = IdentityOf(number);
  std::printf("{\"uuid\": \"%s\", \"token\": \"%s\", \"chassis\": \"%s\", \"operator\": \"%s\"}\n",
              identity.uuid.c_str(), identity.token.c_str(), identity.chassis.c_str(),
              kOperatorToken);
}

// One JSON object: what the processes and their descendants took so far.
void PrintUsage(const std::vector<int>& pids) {
  Usage all;
  for (const int pid : pids) {
    const Usage one = UsageOf(pid);
    all.cpuSeconds += one.cpuSeconds;
    all.residentKib += one.residentKib;
    all.proportionalKib += one.proportionalKib;
  }
  std::printf("{\"cpu_s\": %.3f, \"resident_kib\": %lld, \"proportional_kib\": %lld}\n",
              all.cpuSeconds, static_cast<long long>(all.residentKib),
              static_cast<long long>(all.proportionalKib));
}

void RaiseDescriptorLimit() {
  struct rlimit limit = {};
  if (getrlimit(RLIMIT_NOFILE, &limit) != 0) return;
  limit.rlim_cur = limit.rlim_max;
  setrlimit(RLIMIT_NOFILE, &limit);
}

// Runs the program with the arguments of main(); returns its exit status.
int Main(int argc, char** argv) {
  SeedOptions seed;
  BareOptions bare;
  LoadOptions load;
  std::int64_t number = 0;
  std::vector<int> pids;
  CLI::App app("Appliances for cloudservice, by the thousands", "fleet");
  app.require_subcommand(1);
  DescribeSeed(app, seed);
  DescribeBare(app, bare);
  DescribeLoad(app, load);
  CLI::App* identity = app.add_subcommand("identity", "Prints how a seeded appliance is known");
  identity->add_option("NUMBER", number)->required();
  CLI::App* usage = app.add_subcommand("usage", "Prints what processes took so far");
  usage->add_option("--pid", pids, "Process; may be given again")->required();
  CLI11_PARSE(app, argc, argv);
  signal(SIGPIPE, SIG_IGN);
  RaiseDescriptorLimit();
  if (app.got_subcommand("load")) return Load(load);
  if (app.got_subcommand("seed")) Seed(seed);
  if (app.got_subcommand("bare")) RunBareServer(bare);
  if (app.got_subcommand("identity")) PrintIdentity(number);
  if (app.got_subcommand("usage")) PrintUsage(pids);
  return EXIT_SUCCESS;
}

}  // namespace

}  // namespace fleet

int main(int argc, char** argv) {
  try {
    return fleet::Main(argc, argv);
  } catch (const std::exception& error) {
    std::fprintf(stderr, "fleet: %s\n", error.what());
    return EXIT_FAILURE;
  }
}
