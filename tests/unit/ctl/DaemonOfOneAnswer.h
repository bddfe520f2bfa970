// SPDX-License-Identifier: Apache-2.0
#ifndef TESTS_UNIT_CTL_DAEMONOFONEANSWER_H_
#define TESTS_UNIT_CTL_DAEMONOFONEANSWER_H_

#include <sys/socket.h>

#include <cstdlib>
#include <filesystem>
#include <functional>
#include <string>
#include <thread>

#include <gtest/gtest.h>

#include "host/util/Fd.h"
#include "host/util/Files.h"
#include "host/util/Paths.h"
#include "host/util/UnixAddress.h"
#include "platform/util/LocalPath.h"

namespace test {

// The control socket of a daemon of one client, which it answers before it ends, in a root of its
// own.
class DaemonOfOneAnswer {
 public:
  DaemonOfOneAnswer() {
    std::string name = std::filesystem::temp_directory_path() / "device_socket.XXXXXX";
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
  ~DaemonOfOneAnswer() {
    unsetenv("CLOUDCLIENT_ROOT");
    std::filesystem::remove_all(m_root);
  }
  DaemonOfOneAnswer(const DaemonOfOneAnswer&) = delete;
  DaemonOfOneAnswer& operator=(const DaemonOfOneAnswer&) = delete;

  // Does what asks the daemon, which answers so; `reads` says whether it takes the request first.
  void Answers(const std::string& answer, bool reads, const std::function<void()>& asks) {
    std::thread daemon([&] {
      const host::Fd client(accept4(m_listener.Get(), nullptr, nullptr, SOCK_CLOEXEC));
      char request[64];
      if (reads) {
        EXPECT_GT(recv(client.Get(), request, sizeof request, 0), 0);
      }
      EXPECT_EQ(send(client.Get(), answer.data(), answer.size(), MSG_NOSIGNAL),
                static_cast<ssize_t>(answer.size()));
    });
    asks();
    daemon.join();
  }

 private:
  std::filesystem::path m_root;
  host::Fd m_listener;
};

}  // namespace test

#endif  // TESTS_UNIT_CTL_DAEMONOFONEANSWER_H_
