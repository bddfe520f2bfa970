// SPDX-License-Identifier: Apache-2.0
#include <sys/socket.h>
#include <sys/stat.h>

#include <cstdlib>
#include <filesystem>
#include <string>
#include <thread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "ctl/DeviceSocket.h"
#include "host/util/Fd.h"
#include "host/util/Files.h"
#include "host/util/Paths.h"
#include "host/util/UnixAddress.h"
#include "platform/util/LocalPath.h"

namespace fs = std::filesystem;
using testing::StartsWith;

namespace {

constexpr double kSeconds = 60;

// A daemon of one client, which it answers with `answer` before it ends.
class DeviceSocketTest : public testing::Test {
 protected:
  DeviceSocketTest() {
    std::string name = fs::temp_directory_path() / "device_socket.XXXXXX";
    EXPECT_NE(mkdtemp(&name[0]), nullptr);
    m_root = name;
    setenv("CLOUDCLIENT_ROOT", name.c_str(), 1);
    const std::string path = LocalPath(host::kControlSocket);
    EXPECT_FALSE(host::MakeFolders(host::FolderOf(path)));
    const host::UnixAddress address(path);
    m_listener = host::Fd(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    EXPECT_EQ(bind(m_listener.Get(), address.Get(), address.Size()), 0);
    EXPECT_EQ(listen(m_listener.Get(), 1), 0);
  }
  ~DeviceSocketTest() override {
    unsetenv("CLOUDCLIENT_ROOT");
    fs::remove_all(m_root);
  }

  // Asks a daemon that answers so; `reads` says whether it takes the request first.
  host::Problem Ask(const std::string& answer, bool reads) {
    std::thread daemon([&] {
      const host::Fd client(accept4(m_listener.Get(), nullptr, nullptr, SOCK_CLOEXEC));
      char request[64];
      if (reads) {
        EXPECT_GT(recv(client.Get(), request, sizeof request, 0), 0);
      }
      EXPECT_EQ(send(client.Get(), answer.data(), answer.size(), MSG_NOSIGNAL),
                static_cast<ssize_t>(answer.size()));
    });
    const host::JsonRef request(json_pack("{s:s}", "op", "list"));
    host::Problem problem = ctl::RequestFromDaemon(request.get(), kSeconds, m_answer);
    daemon.join();
    return problem;
  }

  std::string Path() const { return LocalPath(host::kControlSocket); }

  host::JsonRef m_answer;

 private:
  fs::path m_root;
  host::Fd m_listener;
};

TEST_F(DeviceSocketTest, A_line_is_the_answer) {
  EXPECT_FALSE(Ask("{\"points\": []}\nmore", true));
  EXPECT_TRUE(json_is_array(json_object_get(m_answer.get(), "points")));
}

TEST_F(DeviceSocketTest, A_daemon_that_ends_before_it_answers_is_missing) {
  for (const bool reads : {true, false}) {
    const host::Problem problem = Ask("", reads);
    EXPECT_THAT(problem.Text(),
                StartsWith("the daemon ended before it answered at " + Path() + ": "));
    EXPECT_TRUE(ctl::IsDaemonMissing(problem));
  }
  EXPECT_TRUE(ctl::IsDaemonMissing(Ask("{\"points\":", true)));
}

TEST_F(DeviceSocketTest, An_answer_that_cannot_be_read_is_no_missing_daemon) {
  const host::Problem problem = Ask("[]\n", true);
  EXPECT_EQ(problem.Text(), "the answer from " + Path() + " is not a JSON object");
  EXPECT_FALSE(ctl::IsDaemonMissing(problem));
}

}  // namespace
