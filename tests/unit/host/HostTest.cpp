// SPDX-License-Identifier: Apache-2.0
#include "HostTest.h"

#include <fcntl.h>
#include <grp.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>

#include "SystemCalls.h"
#include "host/util/Json.h"

namespace fs = std::filesystem;

namespace {

constexpr time_t kLongestSeconds = 60;
constexpr useconds_t kLookUs = 1000;

}  // namespace

HostTest::HostTest() : m_savedError(dup(STDERR_FILENO)) {
  std::string name = fs::temp_directory_path() / "host_test.XXXXXX";
  if (mkdtemp(&name[0]) == nullptr) throw std::runtime_error("no folder for the test");
  m_root = name;
  setenv("CLOUDCLIENT_ROOT", m_root.c_str(), 1);
  setenv("CLOUDCLIENT_LOG_LEVEL", "7", 1);
  for (const char* variable :
       {"NOTIFY_SOCKET", "WATCHDOG_USEC", "WATCHDOG_PID", "JOURNAL_STREAM"}) {
    unsetenv(variable);
  }
  host::Fd log(open((m_root + "/log").c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600));
  dup2(log.Get(), STDERR_FILENO);
}

HostTest::~HostTest() {
  EmptyHooks();
  dup2(m_savedError.Get(), STDERR_FILENO);
  if (HasFailure()) fprintf(stderr, "The log:\n%s", Log().c_str());
  std::error_code ignored;
  fs::remove_all(m_root, ignored);
}

void HostTest::Write(const std::string& path, const std::string& text) const {
  fs::create_directories(fs::path(In(path)).parent_path());
  std::ofstream(In(path), std::ios::binary) << text;
}

void HostTest::Replace(const std::string& path, const std::string& text) const {
  Write(path + ".new", text);
  fs::rename(In(path + ".new"), In(path));
}

std::string HostTest::Read(const std::string& path) const {
  std::ifstream file(In(path), std::ios::binary);
  std::ostringstream text;
  text << file.rdbuf();
  return text.str();
}

bool HostTest::Exists(const std::string& path) const {
  return fs::exists(fs::symlink_status(In(path)));
}

std::vector<std::string> HostTest::Files(const std::string& folder) const {
  std::vector<std::string> names;
  for (const auto& entry : fs::directory_iterator(In(folder))) {
    if (entry.path().extension() != ".lock") names.push_back(entry.path().filename());
  }
  std::sort(names.begin(), names.end());
  return names;
}

void HostTest::MakeUnreadable(const std::string& path) const {
  fs::create_directories(fs::path(In(path)).parent_path());
  fs::remove(In(path));
  fs::create_symlink(In(path), In(path));
}

std::string HostTest::Log() const { return Read("/log"); }

int HostTest::LogCount(const std::string& text) const {
  std::istringstream lines(Log());
  std::string line;
  int count = 0;
  while (std::getline(lines, line)) count += line.find(text) != std::string::npos ? 1 : 0;
  return count;
}

HostTest::Child HostTest::Run(const std::function<int()>& body) const {
  const pid_t pid = fork();
  if (pid == 0) exit(body());
  return Child{pid};
}

HostTest::Child HostTest::RunAsOther(const std::function<int()>& body) const {
  return Run([&body] {
    if (geteuid() == 0 &&
        (setgroups(0, nullptr) != 0 || setgid(kOther) != 0 || setuid(kOther) != 0)) {
      return 99;
    }
    return body();
  });
}

int HostTest::Child::Wait() const {
  int status = 0;
  if (waitpid(pid, &status, 0) != pid) return -1;
  return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

void HostTest::AwaitLog(const std::string& text) const {
  EXPECT_TRUE(Await([&] { return Log().find(text) != std::string::npos; })) << text;
}

bool Await(const std::function<bool()>& met) {
  // Of a clock that no case moves.
  const auto nowSeconds = [] {
    struct timespec now = {};
    clock_gettime(CLOCK_BOOTTIME, &now);
    return now.tv_sec;
  };
  const time_t end = nowSeconds() + kLongestSeconds;
  while (!met()) {
    if (nowSeconds() >= end) return false;
    usleep(kLookUs);
  }
  return true;
}

host::DeviceModel ModelOf(const std::string& json) {
  json_error_t where = {};
  host::JsonRef root(json_loads(json.c_str(), 0, &where));
  EXPECT_NE(root, nullptr) << where.text << ": " << json;
  std::vector<std::string> problems;
  host::DeviceModel model = host::ParseDeviceModel(root.get(), problems);
  EXPECT_THAT(problems, testing::IsEmpty());
  return model;
}

TEST(HostTestTest, Case_leaves_no_hook_to_the_next) {
  class Case : public HostTest {
    void TestBody() override {
      g_fsync = [](int) { return 5; };
      g_poll = [](int) {};
      g_usleep = [](int64_t) {};
      g_monotonicUs = [] { return int64_t{0}; };
    }

   public:
    void Run() { TestBody(); }
  };
  Case().Run();
  EXPECT_TRUE(!g_fsync && !g_write && !g_poll && !g_usleep && !g_monotonicUs);
}
