// SPDX-License-Identifier: Apache-2.0
// setup: from nothing to an appliance that is registered.
#include <unistd.h>

#include <cstdio>
#include <memory>
#include <optional>

#include <CLI/CLI.hpp>

#include "base/PolicyFile.h"
#include "ctl/CheckDaemon.h"
#include "ctl/CheckService.h"
#include "ctl/Commands.h"
#include "ctl/ConfigFiles.h"
#include "ctl/ConfigValues.h"
#include "ctl/DeviceSocket.h"
#include "ctl/Meeting.h"
#include "ctl/Output.h"
#include "ctl/PinFile.h"
#include "ctl/Registering.h"
#include "ctl/ServiceRequest.h"
#include "host/config/ConfigKeys.h"
#include "host/util/Files.h"
#include "platform/util/LocalPath.h"

namespace ctl {

using host::Problem;

namespace {

const char kSetupExamples[] = R"(Examples:
  cloudclientctl setup
  cloudclientctl setup --url https://cloud.example.org --email plant@example.org \
      --key-file key --name pump-7 --yes)";

// What a person, or the command line, has said.
struct Wanted {
  std::string url;
  std::string email;
  std::string key;
  std::string keyFile;  // "-" is standard input
  std::string name;
  bool yes = false;
  double wait = 120;
};

// A run of the dialogue.
class Setup {
 public:
  Setup(const Choice& choice, Wanted wanted)
      : m_choice(choice),
        m_wanted(std::move(wanted)),
        m_canAsk(!choice.json && isatty(STDIN_FILENO) != 0 && m_wanted.keyFile != "-"),
        m_policyFile(LocalPath(cloudclient::kPolicyFile)) {}

  int Run();

 private:
  bool AskFor(const char* key, const char* question, std::string& value);
  bool AskForKey();
  bool AskForAll();
  bool ChoosePolicy();
  bool IsTrusted(const cloudclient::Policy& policy) const;
  bool DecidePin(const cloudclient::PolicyReading& reading, std::string& text);
  bool LookAtService();
  void SayWhatEnds();
  bool Write();
  bool Store();
  int Conclude();
  void Show();
  int Fail(const std::string& text = {});

  const Choice& m_choice;
  Wanted m_wanted;
  const bool m_canAsk;
  const std::string m_policyFile;
  Meeting m_meeting;
  bool m_pins = false;  // the key is to be pinned
  bool m_written = false;
  std::string m_ended;        // what of a registration ends, as a sentence; empty for nothing
  std::string m_formerToken;  // that has to be followed by another one; empty for none
  Checkup m_checkup;
  size_t m_shown = 0;  // checks that a person has seen
};

const host::ConfigStore::Key& KeyNamed(const std::string& name) {
  static const auto keys = [] {
    std::vector<host::ConfigStore::Key> all = host::CloudKeys();
    for (const auto& key : host::SysInfoKeys()) all.push_back(key);
    return all;
  }();
  for (const auto& key : keys) {
    if (name == key.json.name) return key;
  }
  throw std::invalid_argument("no key named " + name);
}

// A line of standard input; false at its end.
bool ReadAnswer(std::string& answer) {
  answer.clear();
  int c = std::getchar();
  if (c == EOF) return false;
  for (; c != EOF && c != '\n'; c = std::getchar()) answer += static_cast<char>(c);
  return true;
}

// Takes `value`, or asks until there is one that can be; what is there now is the answer that an
// empty line gives.
bool Setup::AskFor(const char* key, const char* question, std::string& value) {
  const bool isOfCloud = key != std::string(host::kSysName);
  const std::string now = (isOfCloud ? host::CloudStore() : host::SysInfoStore()).Text(key);
  const bool isGiven = !value.empty();
  if (!isGiven && !m_canAsk) value = now;
  for (;;) {
    if (!isGiven && m_canAsk) {
      std::fflush(stdout);
      const std::string offer = now.empty() ? "" : " [" + Printable(now) + "]";
      std::fprintf(stderr, "%s%s: ", question, offer.c_str());
      if (!ReadAnswer(value)) {
        PrintError("the input has ended");
        return false;
      }
      if (value.empty()) value = now;
    }
    Problem problem = CheckValue(KeyNamed(key), value);
    if (!problem && value.empty()) problem = Problem(std::string(key) + " is missing");
    if (!problem) return true;
    PrintError(problem.Text());
    if (isGiven || !m_canAsk) return false;
  }
}

bool Setup::AskForKey() {
  const std::string now = host::CloudStore().Text(host::kRegistrationKey);
  if (m_wanted.keyFile == "-") return ReadSecret(host::kRegistrationKey, m_wanted.key);
  if (!m_wanted.keyFile.empty()) {
    if (const Problem problem = ReadSecretFile(m_wanted.keyFile, m_wanted.key)) {
      PrintError(problem.Text());
      return false;
    }
    return true;
  }
  m_wanted.key = now;
  if (!now.empty() && (!m_canAsk || !IsMeant("Another registration key than the present one?"))) {
    return true;
  }
  if (m_canAsk) {
    while (!ReadSecret(host::kRegistrationKey, m_wanted.key)) {
      if (std::feof(stdin) != 0) return false;
    }
    return true;
  }
  PrintError("RegistrationKey is missing: --key-file names a file with it, - is standard input");
  return false;
}

bool Setup::AskForAll() {
  return AskFor(host::kUserEmail, "E-mail address of the account", m_wanted.email) && AskForKey() &&
         AskFor(host::kSysName, "Name of the appliance", m_wanted.name);
}

// Whether the policy, which is in force, takes the certificate as it is, or somebody vouches for
// it: the system's store, or the policy's own authority, of which a request knows.
bool Setup::IsTrusted(const cloudclient::Policy& policy) const {
  if (!m_meeting.pins.empty()) return m_meeting.IsPinned();
  ServiceAnswer answer;
  return m_meeting.IsVouchedFor() ||
         (policy.transport.verifyServer &&
          !AskService(m_wanted.url + "/redfish/v1", {}, m_choice.timeout, answer));
}

// Whether to go on with a certificate that nothing vouches for; `text` becomes that of the policy
// with its pin.
bool Setup::DecidePin(const cloudclient::PolicyReading& reading, std::string& text) {
  if (!m_wanted.yes) {
    if (!m_canAsk) {
      PrintError("nobody vouches for the service's key, " + m_meeting.certificate.pin +
                 "; --yes if it is to be pinned");
      return false;
    }
    if (!IsMeant("Nobody vouches for this key. Is it the service's, and to be pinned?"))
      return false;
  }
  m_pins = true;
  std::string before;
  Problem problem;
  if (reading.exists) problem = host::ReadFile(m_policyFile, kLargestPolicy, before);
  if (!problem) problem = WithPin(m_policyFile, before, m_meeting.certificate.pin, true, text);
  if (problem) PrintError(problem.Text());
  return !problem;
}

// Puts the policy in force that the daemon will have, the pin of the service's key with it.
bool Setup::ChoosePolicy() {
  cloudclient::PolicyReading reading = cloudclient::ReadPolicy(m_policyFile);
  if (!reading.problem.empty()) {
    PrintError(reading.problem);
    return false;
  }
  m_meeting.file = m_policyFile;
  const bool isDirect = ProxyTo(m_wanted.url, reading.policy).empty();
  if (isDirect && !ParseServiceUrl(m_wanted.url, m_meeting.address)) {
    if (const Problem problem = Meet(m_choice.timeout, m_meeting)) {
      PrintError(problem.Text());
      return false;
    }
    if (!m_choice.json) PrintMeeting(m_meeting);
    cloudclient::UsePolicy(reading.policy);
    std::string text;
    if (!IsTrusted(reading.policy) && !DecidePin(reading, text)) return false;
    if (m_pins) reading = cloudclient::ParsePolicy(m_policyFile, text);
  }
  cloudclient::UsePolicy(reading.policy);
  return true;
}

bool Setup::LookAtService() {
  Certificate shown;
  CheckWay(m_wanted.url, m_choice.timeout, m_checkup, shown);
  if (m_checkup.CountWrong() == 0) CheckRoot(m_wanted.url, m_choice.timeout, m_checkup);
  Show();
  // A clock that is wrong is told, and hinders nothing here.
  const size_t wrong = m_checkup.CountWrong() - (m_checkup.IsWrong("clock") ? 1 : 0);
  return wrong == 0;
}

// What this changes for an appliance that was registered before.
void Setup::SayWhatEnds() {
  const host::ConfigStore& cloud = host::CloudStore();
  const Appliance before = {cloud.Text(host::kUrl), cloud.Text(host::kUuid),
                            cloud.Text(host::kXAuthToken)};
  if (before.uuid.empty()) return;
  if (before.url == m_wanted.url && IsKnown(before, m_choice.timeout)) {
    m_checkup.Good("registration", "the service knows manager " + before.uuid + " already");
    m_ended = EndedByName(m_wanted.name);
    if (!m_ended.empty()) {
      m_formerToken = before.token;
      m_checkup.Notice("registration", m_ended);
    } else if (cloud.Text(host::kUserEmail) != m_wanted.email ||
               cloud.Text(host::kRegistrationKey) != m_wanted.key) {
      m_checkup.Notice("registration",
                       "e-mail address and key are tried at the next registration only");
    }
  } else {
    if (!before.token.empty())
      m_ended = "the registration at " + WithoutUser(before.url) + " is given up";
    m_checkup.Notice("registration", "if the service knows " + before.uuid +
                                         ", a new registration drops what it has "
                                         "of it: chassis, documents and events");
  }
  Show();
}

// All values at once: the name first, since nothing reads it before the appliance is enabled.
bool Setup::Store() {
  host::ConfigStore& info = host::SysInfoStore();
  host::ConfigStore& cloud = host::CloudStore();
  const std::string formerName = info.Text(host::kSysName);
  const bool hadInfo = access(info.Path().c_str(), F_OK) == 0;
  const auto set = [](host::ConfigStore& store, const char* key, const std::string& value) {
    const Problem problem = store.SetText(key, value);
    if (problem) PrintError(std::string(key) + " " + problem.Text());
    return !problem;
  };
  const bool isSet = set(info, host::kSysName, m_wanted.name) &&
                     set(cloud, host::kUrl, m_wanted.url) &&
                     set(cloud, host::kUserEmail, m_wanted.email) &&
                     set(cloud, host::kRegistrationKey, m_wanted.key);
  if (!isSet) return false;
  cloud.SetFlag(host::kEnabled, true);
  if (formerName != m_wanted.name && !info.Save()) return false;
  if (cloud.Save()) return true;
  if (!hadInfo) {
    unlink(info.Path().c_str());
  } else if (formerName != m_wanted.name && set(info, host::kSysName, formerName)) {
    info.Save();
  }
  return false;
}

bool Setup::Write() {
  if (!m_wanted.yes && !m_canAsk && !m_ended.empty()) {
    PrintError(m_ended + "; --yes if that is meant");
    return false;
  }
  if (m_canAsk && !m_wanted.yes && !IsMeant("Write this and enable the appliance?")) return false;
  std::optional<std::string> formerPolicy;
  if (m_pins) {
    std::string text;
    if (!host::ReadFile(m_policyFile, kLargestPolicy, text)) formerPolicy = text;
    Problem warning;
    if (const Problem problem = WritePin(m_policyFile, m_meeting.certificate.pin, true, warning)) {
      PrintError(problem.Text());
      return false;
    }
    if (warning) PrintError(m_policyFile + " is written, but " + warning.Text());
  }
  m_written = Store();
  if (!m_written && m_pins) {
    const Problem problem = PutPolicyBack(m_policyFile, formerPolicy);
    if (problem) PrintError(problem.Text());
  }
  return m_written;
}

// Prints the checks that were added.
void Setup::Show() {
  if (m_choice.json) return;
  std::fputs(m_checkup.Text(m_shown).c_str(), stdout);
  std::fflush(stdout);
  m_shown = m_checkup.All().size();
}

int Setup::Fail(const std::string& text) {
  if (!text.empty()) PrintError(text);
  if (m_choice.json && !m_checkup.All().empty()) {
    host::JsonRef all(json_object());
    host::PutJson(all.get(), "written", host::JsonRef(json_boolean(m_written)));
    host::PutJson(all.get(), "checks", m_checkup.Json());
    PrintJson(all.get());
  }
  return kFailed;
}

// Has the daemon take what was written, and waits for what comes of it.
int Setup::Conclude() {
  const std::string restart = HaveDaemonRestarted(m_pins, m_choice.timeout);
  if (!restart.empty()) m_checkup.Notice("daemon", restart);
  Show();
  const bool isRegistered =
      AwaitRegistration(m_wanted.url, m_formerToken, m_wanted.wait, m_choice.timeout);
  const host::ConfigStore& cloud = host::CloudStore();
  const Appliance now = {cloud.Text(host::kUrl), cloud.Text(host::kUuid),
                         cloud.Text(host::kXAuthToken)};
  if (isRegistered) {
    m_checkup.Good("registration", "the service knows manager " + now.uuid);
    CheckChassis(now, m_choice.timeout, m_checkup);
  } else {
    CheckDaemon(m_choice.timeout, m_checkup);
    m_checkup.Wrong("registration", "not within " + SecondsText(m_wanted.wait),
                    "cloudclientctl doctor; cloudclientctl log explain");
  }
  Show();
  if (m_checkup.CountWrong() - (m_checkup.IsWrong("clock") ? 1 : 0) != 0) return Fail();
  if (m_choice.json) {
    host::JsonRef all(json_object());
    host::PutJson(all.get(), "written", host::JsonRef(json_true()));
    host::PutJson(all.get(), "checks", m_checkup.Json());
    PrintJson(all.get());
  } else {
    PrintLine("\nThe appliance is registered. cloudclientctl doctor looks at everything.");
  }
  return kDone;
}

int Setup::Run() {
  if (!ConfigFilesAreReadable()) return kFailed;
  if (!AskFor(host::kUrl, "URL of the service", m_wanted.url)) return kWrongArguments;
  if (!ChoosePolicy() || !LookAtService()) return Fail("nothing is written");
  if (!AskForAll()) return Fail("nothing is written");
  SayWhatEnds();
  if (!Write()) return Fail("the configuration is as it was");
  return Conclude();
}

}  // namespace

void AddSetupCommand(CLI::App& app, Choice& choice) {
  const auto wanted = std::make_shared<Wanted>();
  CLI::App* const setup = app.add_subcommand(
      "setup", "Ask for what a connection needs, try it, write it, and wait for the registration");
  setup->add_option("--url", wanted->url, "URL of the service");
  setup->add_option("--email", wanted->email, "E-mail address of the account");
  setup->add_option("--key-file", wanted->keyFile,
                    "File with the registration key; - is standard input");
  setup->add_option("--name", wanted->name, "Name of the appliance");
  setup->add_option("--wait", wanted->wait, "Seconds to wait for the registration")
      ->capture_default_str()
      ->check(CLI::Range(0, 3600));
  setup->add_flag("--yes", wanted->yes, "Pin the service's key and write without a question");
  setup->footer(kSetupExamples);
  setup->callback([&choice, wanted] {
    choice.run = [&choice, wanted] { return Setup(choice, *wanted).Run(); };
  });
}

}  // namespace ctl
