// SPDX-License-Identifier: Apache-2.0
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <stdexcept>
#include <thread>

#include "HostTest.h"
#include "SystemCalls.h"
#include "host/device/ControlSocket.h"
#include "host/util/Clock.h"
#include "host/util/UnixAddress.h"

namespace {

constexpr char kPath[] = "/run/cloudclient/device.sock";

// A client that writes and reads without waiting.
class Client {
 public:
  explicit Client(const std::string& path)
      : m_socket(socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK, 0)) {
    const host::UnixAddress address(path);
    m_connected = connect(m_socket.Get(), address.Get(), address.Size()) == 0;
  }
  bool IsConnected() const { return m_connected; }
  size_t Send(const std::string& text) const {
    const ssize_t sent = send(m_socket.Get(), text.data(), text.size(), MSG_NOSIGNAL);
    return sent < 0 ? 0 : static_cast<size_t>(sent);
  }
  void EndSending() const { shutdown(m_socket.Get(), SHUT_WR); }
  // What is there to read; "END" behind it when the connection has ended.
  std::string Received() const {
    std::string text;
    char buffer[65536];
    for (;;) {
      const ssize_t got = recv(m_socket.Get(), buffer, sizeof(buffer), 0);
      if (got < 0) return text;
      if (got == 0) return text + "END";
      text.append(buffer, static_cast<size_t>(got));
    }
  }

 private:
  host::Fd m_socket;
  bool m_connected = false;
};

class ControlSocketTest : public HostTest {
 protected:
  std::unique_ptr<host::ControlSocket> Open(const std::string& path = kPath) const {
    return std::make_unique<host::ControlSocket>(
        In(path), &Answer, host::ControlSocket::Answers{"too long", "failed"});
  }
  static std::string Answer(const std::string& line) {
    if (line == "throw") throw std::runtime_error("no answer");
    return "<" + line + ">";
  }
  void Serve(host::ControlSocket& socket, int turns = 4) const {
    host::EventLoop loop;
    loop.Add(&socket);
    for (int i = 0; i < turns; ++i) loop.RunOnce(0);
    loop.Remove(&socket);
  }
};

}  // namespace

TEST_F(ControlSocketTest, Socket_is_for_its_owner_only_and_removed_at_the_end) {
  auto socket = Open();
  ASSERT_TRUE(socket->IsServed());
  struct stat status = {};
  ASSERT_EQ(stat(In(kPath).c_str(), &status), 0);
  EXPECT_TRUE(S_ISSOCK(status.st_mode));
  EXPECT_EQ(status.st_mode & 07777, 0600u);
  socket.reset();
  EXPECT_FALSE(Exists(kPath));
  EXPECT_EQ(Log(), "");
}

TEST_F(ControlSocketTest, Lines_are_answered_in_order) {
  const auto socket = Open();
  const Client client(In(kPath));
  client.Send("one\ntwo\nthr");
  Serve(*socket);
  EXPECT_EQ(client.Received(), "<one>\n<two>\n");
  client.Send("ee\n");
  Serve(*socket);
  EXPECT_EQ(client.Received(), "<three>\n");
}

TEST_F(ControlSocketTest, Clients_do_not_disturb_one_another) {
  const auto socket = Open();
  const Client one(In(kPath));
  const Client other(In(kPath));
  one.Send("half");
  other.Send("whole\n");
  Serve(*socket);
  EXPECT_EQ(one.Received(), "");
  EXPECT_EQ(other.Received(), "<whole>\n");
  one.Send(" and half\n");
  Serve(*socket);
  EXPECT_EQ(one.Received(), "<half and half>\n");
}

TEST_F(ControlSocketTest, Last_line_needs_no_end) {
  const auto socket = Open();
  const Client client(In(kPath));
  client.Send("one\ntwo");
  client.EndSending();
  Serve(*socket);
  EXPECT_EQ(client.Received(), "<one>\n<two>\nEND");
}

TEST_F(ControlSocketTest, Longest_line_is_answered) {
  const auto socket = Open();
  const Client client(In(kPath));
  const std::string line(host::ControlSocket::kLongestLine, 'x');
  ASSERT_EQ(client.Send(line + "\n"), line.size() + 1);
  Serve(*socket);
  EXPECT_EQ(client.Received(), "<" + line + ">\n");
}

TEST_F(ControlSocketTest, Longer_line_is_answered_once_and_ends_the_connection) {
  const auto socket = Open();
  const Client client(In(kPath));
  size_t left = 10000000;
  while (left > 0) {
    left -= client.Send(std::string(std::min<size_t>(left, 50000), 'x'));
    Serve(*socket, 2);
  }
  client.Send("\n");
  Serve(*socket);
  EXPECT_EQ(client.Received(), "too long\nEND");
  const Client next(In(kPath));
  next.Send("x\n");
  Serve(*socket);
  EXPECT_EQ(next.Received(), "<x>\n");
}

TEST_F(ControlSocketTest, Long_line_that_ends_in_the_same_piece_ends_the_connection) {
  const auto socket = Open();
  const Client client(In(kPath));
  client.Send(std::string(host::ControlSocket::kLongestLine + 1, 'x') + "\n");
  Serve(*socket);
  EXPECT_EQ(client.Received(), "too long\nEND");
}

TEST_F(ControlSocketTest, Client_that_takes_no_answer_holds_up_itself_only) {
  const auto socket = Open();
  const Client slow(In(kPath));
  const Client quick(In(kPath));
  const std::string line(60000, 'x');
  int sent = 0;
  while (slow.Send(line + "\n") == line.size() + 1) {
    ++sent;
    Serve(*socket);
  }
  quick.Send("q\n");
  Serve(*socket);
  EXPECT_EQ(quick.Received(), "<q>\n");
  size_t received = 0;
  for (size_t got = 1; got > 0; received += got) {
    got = slow.Received().size();
    Serve(*socket);
  }
  EXPECT_GE(received, static_cast<size_t>(sent) * (line.size() + 3));
}

TEST_F(ControlSocketTest, Handler_that_throws_answers_an_error_and_the_next_line_counts) {
  const auto socket = Open();
  const Client client(In(kPath));
  client.Send("throw\nnext\nthrow");
  client.EndSending();
  Serve(*socket);
  EXPECT_EQ(client.Received(), "failed\n<next>\nfailed\nEND");
  EXPECT_EQ(LogCount("3 Host " + In(kPath) + ": a request failed: no answer"), 2);
}

TEST_F(ControlSocketTest, Silent_client_is_dropped_after_30_seconds) {
  const auto socket = Open();
  const Client silent(In(kPath));
  const Client halfway(In(kPath));
  const int64_t before = host::MonotonicMs();
  Serve(*socket);
  const int64_t after = host::MonotonicMs();
  socket->Serve(host::Wait(), before + 29999);
  EXPECT_EQ(silent.Received(), "");
  socket->Serve(host::Wait(), after + 30000);
  EXPECT_EQ(silent.Received(), "END");
  EXPECT_EQ(halfway.Received(), "END");
}

TEST_F(ControlSocketTest, Client_that_speaks_stays) {
  const auto socket = Open();
  const Client client(In(kPath));
  Serve(*socket);
  client.Send("half");
  const int64_t heard = host::MonotonicMs() + 20000;
  host::Wait wait;
  socket->Want(wait);
  ASSERT_TRUE(wait.Poll(0));
  socket->Serve(wait, heard);
  socket->Serve(host::Wait(), heard + 29999);
  EXPECT_EQ(client.Received(), "");
  socket->Serve(host::Wait(), heard + 30000);
  EXPECT_EQ(client.Received(), "END");
}

TEST_F(ControlSocketTest, Loop_wakes_for_a_silent_client) {
  const auto socket = Open();
  const Client client(In(kPath));
  const int64_t before = host::MonotonicMs();
  Serve(*socket);
  int waitMs = 0;
  g_poll = [&waitMs](int timeoutMs) { waitMs = timeoutMs; };
  host::Wait wait;
  socket->Want(wait);
  client.Send("x");  // so that nothing is waited for
  EXPECT_TRUE(wait.Poll(-1));
  EXPECT_GT(waitMs, 0);
  EXPECT_LE(waitMs, 30000);
  EXPECT_GE(waitMs, 30000 - (host::MonotonicMs() - before));
}

TEST_F(ControlSocketTest, Client_that_leaves_is_forgotten) {
  const auto socket = Open();
  for (size_t i = 0; i < host::ControlSocket::kMostClients * 3; ++i) {
    const Client client(In(kPath));
    client.Send("x\n");
    Serve(*socket);
    EXPECT_EQ(client.Received(), "<x>\n");
  }
}

TEST_F(ControlSocketTest, More_clients_than_are_served_wait) {
  const auto socket = Open();
  std::vector<std::unique_ptr<Client>> clients;
  for (size_t i = 0; i <= host::ControlSocket::kMostClients; ++i) {
    clients.push_back(std::make_unique<Client>(In(kPath)));
    clients.back()->Send("x\n");
  }
  Serve(*socket);
  EXPECT_EQ(clients[0]->Received(), "<x>\n");
  EXPECT_EQ(clients.back()->Received(), "");
  clients[0].reset();
  Serve(*socket);
  EXPECT_EQ(clients.back()->Received(), "<x>\n");
}

TEST_F(ControlSocketTest, Client_waits_while_no_descriptor_is_free) {
  const auto socket = Open();
  const Client client(In(kPath));
  client.Send("x\n");
  host::EventLoop loop;
  loop.Add(socket.get());
  loop.RunOnce(0);  // takes the wake-up of the adding
  struct rlimit before = {};
  ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &before), 0);
  const Client next(In(kPath));
  next.Send("y\n");
  const int free = dup(STDIN_FILENO);
  close(free);
  const struct rlimit full = {static_cast<rlim_t>(free), before.rlim_max};
  ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &full), 0);
  loop.RunOnce(0);
  ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &before), 0);
  EXPECT_EQ(next.Received(), "");
  EXPECT_EQ(LogCount("4 Host " + In(kPath) + ": a client has to wait: Too many open files"), 1);
  socket->Serve(host::Wait(), host::MonotonicMs() + 1000);
  for (int i = 0; i < 4; ++i) loop.RunOnce(0);
  EXPECT_EQ(next.Received(), "<y>\n");
}

TEST_F(ControlSocketTest, Stale_file_is_replaced) {
  Write(kPath, "left over");
  { host::FileLock lock(In(kPath) + ".lock", 0, host::OwnershipOf(In(kPath))); }
  EXPECT_TRUE(Open()->IsServed());
  EXPECT_EQ(Log(), "");
}

TEST_F(ControlSocketTest, Stale_socket_is_replaced) {
  const host::UnixAddress address(In(kPath));
  ASSERT_FALSE(host::MakeFolders(In("/run/cloudclient")));
  {
    host::Fd stale(socket(AF_UNIX, SOCK_STREAM, 0));
    ASSERT_EQ(bind(stale.Get(), address.Get(), address.Size()), 0);
  }
  const auto socket = Open();
  EXPECT_TRUE(socket->IsServed());
  EXPECT_TRUE(Client(In(kPath)).IsConnected());
}

TEST_F(ControlSocketTest, Live_socket_is_not_stolen) {
  const auto first = Open();
  EXPECT_FALSE(Open()->IsServed());
  EXPECT_EQ(LogCount("3 Host " + In(kPath) + " is not served: another process serves it"), 1);
  const Client client(In(kPath));
  client.Send("x\n");
  Serve(*first);
  EXPECT_EQ(client.Received(), "<x>\n");
}

TEST_F(ControlSocketTest, Live_socket_of_another_program_is_not_stolen) {
  ASSERT_FALSE(host::MakeFolders(In("/run/cloudclient")));
  const host::UnixAddress address(In(kPath));
  host::Fd other(socket(AF_UNIX, SOCK_STREAM, 0));
  ASSERT_EQ(bind(other.Get(), address.Get(), address.Size()), 0);
  ASSERT_EQ(listen(other.Get(), 5), 0);
  EXPECT_FALSE(Open()->IsServed());
  EXPECT_TRUE(Client(In(kPath)).IsConnected());
}

TEST_F(ControlSocketTest, Path_longer_than_an_address_is_served) {
  const std::string path = "/" + std::string(120, 'd') + "/device.sock";
  const auto socket = Open(path);
  ASSERT_TRUE(socket->IsServed());
  const Client client(In(path));
  ASSERT_TRUE(client.IsConnected());
  client.Send("x\n");
  Serve(*socket);
  EXPECT_EQ(client.Received(), "<x>\n");
}

TEST_F(ControlSocketTest, Folder_that_cannot_be_made_costs_one_message) {
  Write("/run", "a file");
  const auto socket = Open();
  EXPECT_FALSE(socket->IsServed());
  Serve(*socket);
  EXPECT_EQ(LogCount("is not served: its folder: Not a directory"), 1);
}

TEST_F(ControlSocketTest, Folder_in_the_sockets_place_costs_one_message) {
  ASSERT_FALSE(host::MakeFolders(In(kPath)));
  EXPECT_FALSE(Open()->IsServed());
  EXPECT_EQ(LogCount("is not served: the old file: Is a directory"), 1);
  EXPECT_TRUE(Exists(kPath));
}
