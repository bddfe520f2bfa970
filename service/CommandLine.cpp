// SPDX-License-Identifier: Apache-2.0
// The command line.
#include "service/CommandLine.h"

#include <algorithm>
#include <cstdio>
#include <map>
#include <stdexcept>
#include <utility>
#include <vector>

#include <CLI/CLI.hpp>

#include "service/OptionsFile.h"
#include "service/store/Backends.h"
#include "service/util/Address.h"

namespace cloudservice {

namespace {

constexpr int kWrongArguments = 2;
constexpr int kMaxDays = 36500;
constexpr std::int64_t kMaxQuota = 1000LL * 1000 * 1000 * 1000 * 1000;

// As Conflict(), where the database is on a server.
std::string ConflictOnServer(const Options& options) {
  if (options.command == Command::kBackup) {
    return "backup copies files only; for PostgreSQL there are pg_dump and pg_basebackup";
  }
  if (options.command == Command::kServe && !options.plainHttp && options.certificate.empty()) {
    return "a database on a server has no place for a certificate: give --cert and --key, or "
           "--http";
  }
  return "";
}

// The message about options that contradict each other; empty when none do.
std::string Conflict(const Options& options) {
  if (options.database.empty()) return "--db takes the name of a file";
  if (IsPostgresUrl(options.database)) {
    std::string conflict = ConflictOnServer(options);
    if (!conflict.empty()) return conflict;
  }
  if (options.command == Command::kBackup && options.backup.empty()) {
    return "backup takes the name of a file";
  }
  if (options.command == Command::kCopy && (options.from.empty() || options.to.empty())) {
    return "copy takes a file or a URL each for --from and --to";
  }
  if (options.withToken && options.secretFromInput) {
    return "--token has no use for --password-stdin";
  }
  if (!options.registrationKey.empty() && !options.registrationKeyFile.empty()) {
    return "--registration-key has no use for --registration-key-file";
  }
  const bool key = !options.registrationKey.empty() || !options.registrationKeyFile.empty();
  if (options.email.empty() == key) {
    return "--email and --registration-key, or --registration-key-file, go together";
  }
  if (options.certificate.empty() != options.key.empty()) {
    return "--cert and --key go together";
  }
  if (options.plainHttp && !options.certificate.empty()) {
    return "--http has no use for --cert and --key";
  }
  return "";
}

// Prints the message; returns the status that the process ends with.
int Wrong(const std::string& message) {
  std::fprintf(stderr, "cloudservice: %s (see cloudservice --help)\n", message.c_str());
  return kWrongArguments;
}

void DescribeBackup(CLI::App& app, Options& options) {
  CLI::App* backup = app.add_subcommand(
      "backup", "Writes a copy of the database, which a running service may be using");
  backup->add_option("FILE", options.backup, "The copy; must not be there yet")->required();
  backup->callback([&options] { options.command = Command::kBackup; });
}

void DescribeCopy(CLI::App& app, Options& options) {
  CLI::App* copy = app.add_subcommand(
      "copy", "Copies a whole service into an empty database; neither may be in use");
  constexpr const char* kDatabase = "FILE|postgresql://...";
  copy->add_option("--from", options.from, "The database that is copied")
      ->required()
      ->type_name(kDatabase);
  copy->add_option("--to", options.to, "The database that becomes the copy; a file is made")
      ->required()
      ->type_name(kDatabase);
  copy->callback([&options] { options.command = Command::kCopy; });
}

void DescribeCreate(CLI::App& command, Options& options) {
  command.add_flag("--create", options.create, "Makes the database where it is missing");
}

// Adds a command to `group`. It also runs on the database of a running service.
CLI::App* Sub(CLI::App& group, Options& options, Command command, const char* name,
              const char* text, const char* subject) {
  CLI::App* sub = group.add_subcommand(name, text);
  if (subject != nullptr) sub->add_option(subject, options.subject)->required();
  sub->callback([&options, command] { options.command = command; });
  return sub;
}

void DescribeOwners(CLI::App& app, Options& options) {
  CLI::App& account = *app.add_subcommand("account", "Who may register appliances");
  account.require_subcommand(1);
  CLI::App* add =
      Sub(account, options, Command::kAddAccount, "add",
          "Makes an account, or gives it one more registration key; prints the key", "EMAIL");
  add->add_flag("--key-stdin", options.secretFromInput,
                "The key is the first line of standard input instead of a new one");
  DescribeCreate(*add, options);
  add->add_flag("--replace", options.replace, "In place of the keys that the account has");
  Sub(account, options, Command::kListAccounts, "list", "Lists the accounts", nullptr);
  Sub(account, options, Command::kRemoveAccount, "remove",
      "Removes an account; its appliances' tokens end", "EMAIL")
      ->add_flag("--appliances", options.withAppliances,
                 "With its appliances and all that they sent");

  CLI::App& people = *app.add_subcommand("operator", "Who may look at all appliances");
  people.require_subcommand(1);
  CLI::App* person = Sub(people, options, Command::kAddOperator, "add",
                         "Makes an operator; prints the password, or the token", "NAME");
  person->add_flag("--password-stdin", options.secretFromInput,
                   "The password is the first line of standard input instead of a new one");
  DescribeCreate(*person, options);
  person->add_flag("--token", options.withToken, "With a token in place of a password");
  Sub(people, options, Command::kListOperators, "list", "Lists the operators", nullptr);
  Sub(people, options, Command::kRemoveOperator, "remove",
      "Removes an operator; sessions and streams end", "NAME");
}

void DescribeDatabase(CLI::App& app, Options& options) {
  app.add_option("--db", options.database,
                 "Database file, made when it is missing, or the URL of a PostgreSQL database")
      ->type_name("FILE|postgresql://...")
      ->capture_default_str();
}

void DescribeProxies(CLI::App& app, std::vector<std::string>& proxies) {
  app.add_option("--trusted-proxy", proxies,
                 "Proxy that says in X-Forwarded-For who sent a request; may be repeated")
      ->type_name("ADDRESS|NETWORK")
      ->allow_extra_args(false);
}

void DescribeQuotas(CLI::App& app, Quotas& quotas) {
  const auto add = [&app](const char* name, std::int64_t& value, const char* unit,
                          const char* text) {
    app.add_option(name, value, text)
        ->type_name(unit)
        ->check(CLI::Range(std::int64_t{1}, kMaxQuota))
        ->capture_default_str();
  };
  add("--quota-documents", quotas.documents, "N", "How many documents an appliance may keep");
  add("--quota-bytes", quotas.bytes, "BYTES", "How many bytes these may have");
  add("--quota-events-of-day", quotas.eventsOfDay, "N",
      "How many events an appliance may send on a day (UTC)");
  add("--quota-events", quotas.events, "N", "How many events of an appliance are kept at most");
}

void DescribeRetention(CLI::App& app, Options& options) {
  app.add_option("--retention", options.retention, "How long histories of values are kept")
      ->type_name("DAYS")
      ->check(CLI::Range(1, kMaxDays))
      ->capture_default_str();
  app.add_option("--event-retention", options.eventRetention,
                 "How long events are kept; those of open alarms stay")
      ->type_name("DAYS")
      ->check(CLI::Range(1, kMaxDays))
      ->capture_default_str();
}

// What the service tells of itself.
void DescribeTold(CLI::App& app, Options& options) {
  app.add_flag("--metrics-of-appliances", options.metricsOfAppliances,
               "Let /metrics tell of each appliance, with its name, to whoever asks");
  const auto takeLevel = [&options](const std::string& level) {
    options.logLevel = level == "notice" ? LogLevel::kNotice : LogLevel::kInfo;
  };
  app.add_option_function<std::string>(
         "--log-level", takeLevel,
         "notice: no line for a request that succeeds, a heartbeat, a changed document")
      ->type_name("LEVEL")
      ->check(CLI::IsMember({"info", "notice"}));
}

void Describe(CLI::App& app, Options& options, std::string& listen) {
  app.set_version_flag("--version", std::string("cloudservice ") + CLOUDSERVICE_VERSION);
  app.add_option("--config", options.file,
                 "File with more options, a line each: NAME = VALUE; those here go before it")
      ->type_name("FILE")
      ->configurable(false);
  app.add_option(
         "--listen", listen,
         "Address and port; port 0 picks a free one, IPv6 in brackets; not used where the service "
         "manager hands sockets over")
      ->type_name("ADDR:PORT")
      ->capture_default_str();
  DescribeDatabase(app, options);
  app.fallthrough();
  DescribeBackup(app, options);
  DescribeCopy(app, options);
  DescribeOwners(app, options);
  app.add_option("--email", options.email,
                 "E-mail address with which appliances register; kept as an account");
  app.add_option("--registration-key", options.registrationKey,
                 "Key with which appliances register");
  app.add_option("--registration-key-file", options.registrationKeyFile,
                 "File whose first line is this key; - is standard input")
      ->type_name("FILE");
  app.add_flag("--http", options.plainHttp, "Plain HTTP instead of HTTPS");
  app.add_option("--cert", options.certificate,
                 "Certificate chain (PEM); without it one is made beside the database")
      ->type_name("FILE");
  app.add_option("--key", options.key, "Private key of the certificate (PEM)")->type_name("FILE");
  app.add_option("--max-body", options.maxBody, "Largest body of a request in bytes")
      ->type_name("BYTES")
      ->check(CLI::Range(std::size_t{1}, std::size_t{1} << 30))
      ->capture_default_str();
  app.add_option("--max-connections", options.maxConnections, "How many connections may be open")
      ->type_name("N")
      ->check(CLI::Range(std::size_t{1}, std::size_t{1} << 20))
      ->capture_default_str();
  app.add_option("--max-connections-of-address", options.maxConnectionsOfSender,
                 "How many of them from one address, or one /64 network of IPv6")
      ->type_name("N")
      ->check(CLI::Range(std::size_t{1}, std::size_t{1} << 20))
      ->capture_default_str();
  app.add_option("--io-timeout", options.ioTimeout,
                 "How long a connection may be idle; a body has half of it, a header a sixth")
      ->type_name("SECONDS")
      ->check(CLI::Range(1, 100 * 1000 * 1000))
      ->capture_default_str();
  DescribeTold(app, options);
  DescribeRetention(app, options);
}

// One reading of a command line.
class Line {
 public:
  Line();

  // Reads the words behind the program's name. Throws CLI::ParseError: CLI::Success for --help and
  // --version, else one that says which word is wrong.
  void Read(std::vector<std::string> words);

  // Valid after Read().
  const Options& Said() const { return m_options; }
  const std::string& File() const { return m_options.file; }
  bool Has(const std::string& name) const { return m_app.get_option("--" + name)->count() > 0; }

  // The option of this name, where it may stand in a file; else null.
  const CLI::Option* FindForFile(const std::string& name) const;
  int Exit(const CLI::Success& wish) const { return m_app.exit(wish); }

 private:
  Options m_options;
  std::string m_listen = "127.0.0.1:8443";
  std::vector<std::string> m_proxies;
  CLI::App m_app{"The cloud side: a Redfish service for appliances that run cloudclient.",
                 "cloudservice"};
};

Line::Line() {
  Describe(m_app, m_options, m_listen);
  DescribeProxies(m_app, m_proxies);
  DescribeQuotas(m_app, m_options.quotas);
}

void Line::Read(std::vector<std::string> words) {
  std::reverse(words.begin(), words.end());  // as CLI11 takes them
  m_app.parse(std::move(words));
  if (!ParseEndpoint(m_listen, m_options.address, m_options.port)) {
    throw CLI::ValidationError("--listen " + m_listen + ": neither ADDR:PORT nor [ADDR]:PORT");
  }
  for (const std::string& proxy : m_proxies) {
    if (m_options.trustedProxies.Add(proxy)) continue;
    throw CLI::ValidationError(
        "--trusted-proxy " + proxy +
        ": neither an address nor a network whose other bits are 0, as 10.0.0.0/8");
  }
}

const CLI::Option* Line::FindForFile(const std::string& name) const {
  const CLI::Option* const option = m_app.get_option_no_throw("--" + name);
  return option != nullptr && option->get_configurable() ? option : nullptr;
}

// What is wrong with an option of a file; empty when nothing is. `lines` has the options before it,
// and gets this one.
std::string Fault(const FileOption& option, std::map<std::string, std::size_t>& lines) {
  Line alone;
  const CLI::Option* const known = alone.FindForFile(option.name);
  if (known == nullptr) return "there is no option '" + option.name + "'";
  const bool once = known->get_items_expected_max() <= 1;
  const auto [before, isFirst] = lines.emplace(option.name, option.line);
  if (once && !isFirst) {
    return "'" + option.name + "' stands in line " + std::to_string(before->second) + " already";
  }
  try {
    alone.Read({"--" + option.name + "=" + option.value});
  } catch (const CLI::ParseError& error) {
    return error.what();
  }
  return "";
}

// The words that stand for the file's options; those that `line` has itself are left out. Throws
// std::runtime_error.
std::vector<std::string> WordsOfFile(const Line& line) {
  std::vector<std::string> words;
  std::map<std::string, std::size_t> lines;
  for (const FileOption& option : ReadOptionsFile(line.File())) {
    const std::string fault = Fault(option, lines);
    if (!fault.empty()) {
      throw std::runtime_error(line.File() + ":" + std::to_string(option.line) + ": " + fault);
    }
    if (!line.Has(option.name)) words.push_back("--" + option.name + "=" + option.value);
  }
  return words;
}

}  // namespace

std::optional<Options> ParseOptions(int argc, const char* const* argv, int& status) {
  const std::vector<std::string> said(argv + 1, argv + argc);
  Line first;
  Line whole;
  try {
    first.Read(said);
    std::vector<std::string> words;
    if (!first.File().empty()) words = WordsOfFile(first);
    words.insert(words.end(), said.begin(), said.end());
    whole.Read(words);
  } catch (const CLI::Success& wish) {
    status = first.Exit(wish);
    return std::nullopt;
  } catch (const std::runtime_error& error) {  // CLI::ParseError among them
    status = Wrong(error.what());
    return std::nullopt;
  }
  const std::string conflict = Conflict(whole.Said());
  if (!conflict.empty()) {
    status = Wrong(conflict);
    return std::nullopt;
  }
  return whole.Said();
}

}  // namespace cloudservice
