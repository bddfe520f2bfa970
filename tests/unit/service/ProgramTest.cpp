// SPDX-License-Identifier: Apache-2.0
#include <fcntl.h>
#include <sched.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <sstream>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "NotifyManager.h"
#include "Peer.h"
#include "TempFolder.h"

namespace cloudservice {
namespace {

using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;

// The program itself, started in a folder of its own.
class ProgramTest : public testing::Test {
 protected:
  ~ProgramTest() override {
    if (m_child > 0) {
      kill(m_child, SIGKILL);
      waitpid(m_child, nullptr, 0);
    }
  }

  void Start(const std::vector<std::string>& words) { RunOn(folder.File("s.db"), words); }
  void RunOn(const std::string& database, std::vector<std::string> words) {
    words.insert(words.begin(), {CLOUDSERVICE, "--db", database});
    std::vector<char*> argv;
    for (std::string& word : words) argv.push_back(word.data());
    argv.push_back(nullptr);
    int out[2] = {};
    ASSERT_EQ(pipe2(out, O_CLOEXEC), 0);
    m_child = fork();
    if (m_child == 0) {
      dup2(out[1], STDOUT_FILENO);
      const int in = open(folder.File("in").c_str(), O_RDONLY | O_CLOEXEC);
      if (in >= 0) dup2(in, STDIN_FILENO);
      if (freopen(folder.File("log").c_str(), "a", stderr) != nullptr) execv(argv[0], argv.data());
      _exit(127);
    }
    close(out[1]);
    m_out = fdopen(out[0], "r");
  }
  void StartPlain(const std::vector<std::string>& key = {"--registration-key", "k"}) {
    std::vector<std::string> words = {"--http", "--listen", "127.0.0.1:0", "--email", "e"};
    words.insert(words.end(), key.begin(), key.end());
    Start(words);
    const std::string line = Line();
    const std::string begin = "listening on http://127.0.0.1:";
    ASSERT_THAT(line, StartsWith(begin)) << Log();
    ASSERT_EQ(line.find_first_not_of("0123456789", begin.size()), line.size() - 1) << line;
    ASSERT_THAT(line, EndsWith("\n"));
    port = static_cast<std::uint16_t>(std::stoul(line.substr(line.rfind(':') + 1)));
  }
  // The next line of standard output; empty at its end.
  std::string Line() {
    char line[256] = "";
    return fgets(line, sizeof line, m_out) != nullptr ? line : "";
  }
  int Wait() {
    int status = 0;
    waitpid(m_child, &status, 0);
    m_child = -1;
    return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
  }
  int Stop(int signal) {
    kill(m_child, signal);
    return Wait();
  }
  std::string Log() const {
    std::ostringstream text;
    text << std::ifstream(folder.File("log")).rdbuf();
    return text.str();
  }
  std::string Ask(const std::string& head, const std::string& body = "") const {
    Peer peer(port);
    peer.Send(head + " HTTP/1.1\r\nHost: x\r\nX-Auth-Token: " + token +
              "\r\nContent-Length: " + std::to_string(body.size()) + "\r\n\r\n" + body);
    return peer.ReadAnswer();
  }
  void Register() {
    const std::string answer =
        Ask("POST /redfish/v1/Managers?setup_email=e&registration_key=k", R"({"UUID": "u"})");
    const std::size_t at = answer.find("\r\nX-Auth-Token: ");
    ASSERT_NE(at, std::string::npos) << answer;
    token = answer.substr(at + 16, 64);
  }

  TempFolder folder;
  std::uint16_t port = 0;
  std::string token;
  pid_t m_child = -1;
  FILE* m_out = nullptr;
};

TEST_F(ProgramTest, Prints_one_line_when_it_listens_and_stops_with_0) {
  StartPlain();
  EXPECT_THAT(Ask("GET /redfish/v1"), StartsWith("HTTP/1.1 200 OK\r\n"));
  EXPECT_EQ(Stop(SIGTERM), 0);
  EXPECT_EQ(Line(), "");
  EXPECT_THAT(Log(), HasSubstr(" stopping\n"));
  EXPECT_THAT(Log(), EndsWith(" stopped\n"));
}

TEST_F(ProgramTest, New_service_says_how_to_make_an_account_and_an_operator) {
  Start({"--http", "--listen", "127.0.0.1:0"});
  EXPECT_THAT(Line(), StartsWith("listening on "));
  const std::string make = "; make one: cloudservice --db " + folder.File("s.db");
  EXPECT_THAT(Log(),
              HasSubstr(" no account: no appliance can register" + make + " account add EMAIL\n"));
  EXPECT_THAT(Log(), HasSubstr(" no operator: nobody can sign in" + make + " operator add NAME\n"));
  EXPECT_EQ(Stop(SIGTERM), 0);
}

TEST_F(ProgramTest, Who_takes_options_from_a_file_is_told_to_name_it) {
  std::ofstream(folder.File("options")) << "http = true\nlisten = 127.0.0.1:0\n";
  Start({"--config", folder.File("options")});
  EXPECT_THAT(Line(), StartsWith("listening on http://127.0.0.1:"));
  EXPECT_THAT(Log(), HasSubstr("; make one: cloudservice --config " + folder.File("options") +
                               " operator add NAME\n"));
  EXPECT_EQ(Stop(SIGTERM), 0);
}

TEST_F(ProgramTest, Hang_up_without_tls_is_a_line_in_the_log) {
  StartPlain();
  const std::string line = " nothing to read again: the service speaks plain HTTP\n";
  kill(m_child, SIGHUP);
  while (Log().find(line) == std::string::npos) sched_yield();
  // And again: it goes on waiting for them.
  kill(m_child, SIGHUP);
  while (Log().find(line) == Log().rfind(line)) sched_yield();
  EXPECT_THAT(Ask("GET /redfish/v1"), StartsWith("HTTP/1.1 200 OK\r\n"));
  EXPECT_EQ(Stop(SIGTERM), 0);
}

// What the service manager is told next, but for the watchdog.
std::string Told(const NotifyManager& manager) {
  std::string told;
  do {
    told = manager.Read();
  } while (told == "WATCHDOG=1");
  return told;
}

// The program with a service manager that watches it.
class NotifyingProgramTest : public ProgramTest {
 protected:
  void StartWatched() {
    setenv("NOTIFY_SOCKET", folder.File("notify").c_str(), 1);
    setenv("WATCHDOG_USEC", "20000", 1);
    StartPlain();
    unsetenv("NOTIFY_SOCKET");
    unsetenv("WATCHDOG_USEC");
  }
  // Of a socket that holds as many messages as it can, the next is lost.
  void Signal(int signal) const {
    while (!manager.ReadNow().empty()) {
    }
    kill(m_child, signal);
  }

  const NotifyManager manager{folder.File("notify")};
};

TEST_F(NotifyingProgramTest, Service_manager_is_told_what_it_does) {
  StartWatched();
  const std::string ready = "READY=1\nSTATUS=listening on http://127.0.0.1:" + std::to_string(port);
  EXPECT_EQ(manager.Read(), ready);
  for (int i = 0; i < 3; ++i) EXPECT_EQ(manager.Read(), "WATCHDOG=1");
  Signal(SIGHUP);
  EXPECT_THAT(Told(manager), StartsWith("RELOADING=1\nMONOTONIC_USEC="));
  EXPECT_EQ(Told(manager), ready);
  Signal(SIGTERM);
  EXPECT_EQ(Told(manager), "STOPPING=1\nSTATUS=stopping");
  EXPECT_EQ(Wait(), 0);
}

TEST_F(NotifyingProgramTest, Watchdog_is_fed_until_the_last_connection_has_ended) {
  StartWatched();
  {
    // Refused, and kept open by its sender: the stop waits for its end.
    Peer refused(port);
    refused.Send("no HTTP\r\n\r\n");
    EXPECT_THAT(refused.ReadAll(), StartsWith("HTTP/1.1 400 "));
    Signal(SIGTERM);
    EXPECT_EQ(Told(manager), "STOPPING=1\nSTATUS=stopping");
    for (int i = 0; i < 3; ++i) EXPECT_EQ(manager.Read(), "WATCHDOG=1");
  }
  EXPECT_EQ(Wait(), 0);
}

TEST_F(ProgramTest, Interrupt_stops_it_although_a_request_hangs) {
  StartPlain();
  const Peer hanging(port);
  hanging.Send("POST /redfish/v1/Chassis HTTP/1.1\r\nContent-Le");
  Ask("GET /redfish/v1");
  EXPECT_EQ(Stop(SIGINT), 0);
}

TEST_F(ProgramTest, Second_signal_ends_it_at_once_with_1) {
  StartPlain();
  // Refused, and kept open by its sender: the stop waits for its end.
  Peer refused(port);
  refused.Send("no HTTP\r\n\r\n");
  EXPECT_THAT(refused.ReadAll(), StartsWith("HTTP/1.1 400 "));
  kill(m_child, SIGTERM);
  while (Log().find(" stopping\n") == std::string::npos) sched_yield();
  EXPECT_EQ(Stop(SIGTERM), 1);
}

// One more of them, beside the one that a test has.
class AnotherProgram : public ProgramTest {
 public:
  using ProgramTest::Log;
  using ProgramTest::RunOn;
  using ProgramTest::Wait;

 private:
  void TestBody() override {}
};

TEST_F(ProgramTest, Second_service_on_one_database_does_not_start) {
  StartPlain();
  std::filesystem::create_symlink(folder.File("s.db"), folder.File("link.db"));
  for (const char* name : {"s.db", "link.db"}) {
    AnotherProgram second;
    second.RunOn(folder.File(name), {"--http", "--listen", "127.0.0.1:0"});
    EXPECT_EQ(second.Wait(), 1);
    EXPECT_EQ(second.Log(),
              "cloudservice: " + folder.File(name) + " is in use by another service\n");
  }
  AnotherProgram command;
  command.RunOn(folder.File("s.db"), {"operator", "add", "olga"});
  EXPECT_EQ(command.Wait(), 0) << command.Log();
  EXPECT_EQ(Stop(SIGKILL), -SIGKILL);
  StartPlain();
}

TEST_F(ProgramTest, Registration_key_comes_from_a_file) {
  std::ofstream(folder.File("key")) << "k\nanother line\n";
  StartPlain({"--registration-key-file", folder.File("key")});
  Register();
}

TEST_F(ProgramTest, Registration_key_comes_from_standard_input) {
  std::ofstream(folder.File("in")) << "k\nanother line\n";
  StartPlain({"--registration-key-file", "-"});
  Register();
}

TEST_F(ProgramTest, Log_that_nobody_reads_stops_nothing) {
  ASSERT_EQ(mkfifo(folder.File("log").c_str(), 0600), 0);
  const int end = open(folder.File("log").c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC);
  ASSERT_GE(end, 0);
  ASSERT_GT(fcntl(end, F_SETPIPE_SZ, 4096), 0);
  StartPlain();
  for (int i = 0; i < 100; ++i) {
    ASSERT_THAT(Ask("GET /redfish/v1"), StartsWith("HTTP/1.1 200 OK\r\n")) << i;
  }
  EXPECT_EQ(Stop(SIGTERM), 0);
  close(end);
}

TEST_F(ProgramTest, Registration_key_that_cannot_be_read_ends_with_1) {
  std::ofstream(folder.File("empty")).flush();
  for (const char* name : {"none", "empty"}) {
    AnotherProgram one;
    one.RunOn(folder.File("s.db"),
              {"--email", "e", "--registration-key-file", folder.File(name), "--http"});
    EXPECT_EQ(one.Wait(), 1);
    EXPECT_EQ(one.Log(), "cloudservice: " + folder.File(name) + " has no line to read\n");
  }
}

TEST_F(ProgramTest, Serves_https_with_a_certificate_of_its_own) {
  Start({"--listen", "127.0.0.1:0"});
  EXPECT_THAT(Line(), StartsWith("listening on https://127.0.0.1:"));
  EXPECT_TRUE(std::filesystem::exists(folder.File("s.db.crt")));
  EXPECT_THAT(Log(), HasSubstr(" certificate made: " + folder.File("s.db.crt")));
  EXPECT_EQ(Stop(SIGTERM), 0);
}

TEST_F(ProgramTest, Backup_without_a_database_ends_with_1_and_one_message) {
  Start({"backup", folder.File("copy.db")});
  EXPECT_EQ(Wait(), 1);
  EXPECT_EQ(Log(), "cloudservice: cannot open " + folder.File("s.db") + ": it is not there\n");
}

TEST_F(ProgramTest, Wrong_arguments_end_with_2) {
  Start({"--nonsense"});
  EXPECT_EQ(Wait(), 2);
  EXPECT_THAT(Log(), StartsWith("cloudservice: "));
}

TEST_F(ProgramTest, Address_that_cannot_be_bound_ends_with_1_and_one_message) {
  Start({"--listen", "192.0.2.1:1"});
  EXPECT_EQ(Wait(), 1);
  EXPECT_EQ(Line(), "");
  EXPECT_THAT(Log(), HasSubstr("cloudservice: cannot listen on 192.0.2.1, port 1: "));
}

TEST_F(ProgramTest, Unusable_database_ends_with_1_and_one_message) {
  std::ofstream(folder.File("s.db")) << "no database, whatever its name says, and long enough";
  Start({"--listen", "127.0.0.1:0"});
  EXPECT_EQ(Wait(), 1);
  EXPECT_EQ(Log(),
            "cloudservice: cannot open " + folder.File("s.db") + ": file is not a database\n");
}

TEST_F(ProgramTest, What_was_answered_survives_kill_9) {
  for (int round = 1; round <= 5; ++round) {
    StartPlain();
    if (round == 1) Register();
    for (int beat = 0; beat < 3; ++beat) {
      EXPECT_THAT(Ask("POST /hb/u", R"({"HeartbeatInterval": 90})"), StartsWith("HTTP/1.1 200 "));
    }
    EXPECT_THAT(Ask("POST /redfish/v1/Chassis", "{}"), StartsWith("HTTP/1.1 201 "));
    EXPECT_EQ(Stop(SIGKILL), -SIGKILL);
    fclose(m_out);
  }
  StartPlain();
  EXPECT_THAT(Ask("GET /redfish/v1/Managers/u"), HasSubstr("\"Count\":15,"));
  EXPECT_THAT(Ask("GET /redfish/v1/Chassis"), HasSubstr("\"Members@odata.count\":5,"));
}

}  // namespace
}  // namespace cloudservice
