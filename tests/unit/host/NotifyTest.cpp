// SPDX-License-Identifier: Apache-2.0
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstddef>
#include <cstring>

#include "HostTest.h"
#include "host/framework/NotifySocket.h"

namespace {

// The service manager's end.
class NotifyTest : public HostTest {
 protected:
  void Listen(const std::string& name) {
    struct sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    std::memcpy(address.sun_path, name.data(), name.size());
    if (name[0] == '@') address.sun_path[0] = '\0';
    m_socket = host::Fd(socket(AF_UNIX, SOCK_DGRAM | SOCK_NONBLOCK, 0));
    ASSERT_EQ(bind(m_socket.Get(), reinterpret_cast<struct sockaddr*>(&address),
                   static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + name.size())),
              0);
  }
  std::string Received() const {
    char buffer[100];
    const ssize_t got = recv(m_socket.Get(), buffer, sizeof(buffer), 0);
    return got < 0 ? "nothing" : std::string(buffer, static_cast<size_t>(got));
  }

 private:
  host::Fd m_socket;
};

}  // namespace

TEST_F(NotifyTest, Message_is_one_datagram_to_a_path) {
  Listen(In("/notify"));
  host::NotifySocket notify(In("/notify").c_str());
  notify.Send("READY=1");
  notify.Send("STOPPING=1");
  EXPECT_EQ(Received(), "READY=1");
  EXPECT_EQ(Received(), "STOPPING=1");
  EXPECT_EQ(Received(), "nothing");
}

TEST_F(NotifyTest, Message_goes_to_an_abstract_name) {
  Listen("@" + Root());
  host::NotifySocket notify(("@" + Root()).c_str());
  notify.Send("READY=1");
  EXPECT_EQ(Received(), "READY=1");
}

TEST_F(NotifyTest, Without_a_socket_messages_go_nowhere) {
  host::NotifySocket(nullptr).Send("READY=1");
  host::NotifySocket("").Send("READY=1");
  EXPECT_EQ(Log(), "");
}

TEST_F(NotifyTest, Address_of_another_kind_costs_one_message) {
  host::NotifySocket notify("vsock:2:1");
  notify.Send("READY=1");
  EXPECT_EQ(LogCount("NOTIFY_SOCKET is \"vsock:2:1\", neither a path nor an abstract name"), 1);
  const std::string longName = "/" + std::string(200, 'x');
  host::NotifySocket tooLong(longName.c_str());
  tooLong.Send("READY=1");
  EXPECT_EQ(LogCount("not used"), 2);
}

TEST_F(NotifyTest, Nobody_there_costs_a_message) {
  host::NotifySocket notify(In("/nobody").c_str());
  notify.Send("READY=1");
  EXPECT_EQ(LogCount("READY=1 was not sent to \"" + In("/nobody") + "\": No such file"), 1);
}

TEST_F(NotifyTest, Watchdog_is_fed_at_half_its_time) {
  const std::string pid = std::to_string(getpid());
  EXPECT_EQ(host::WatchdogIntervalMs("30000000", nullptr), 15000);
  EXPECT_EQ(host::WatchdogIntervalMs("30000000", pid.c_str()), 15000);
  EXPECT_EQ(host::WatchdogIntervalMs("30000000", "1"), 0);
  EXPECT_EQ(host::WatchdogIntervalMs("30000000", "x"), 0);
  for (const char* usec : {"", "0", "1000", "-5", "soon", "99999999999999999999"}) {
    EXPECT_EQ(host::WatchdogIntervalMs(usec, nullptr), 0) << usec;
  }
  EXPECT_EQ(host::WatchdogIntervalMs(nullptr, nullptr), 0);
}

TEST_F(NotifyTest, Watchdog_is_fed_at_once_and_then_at_each_interval) {
  Listen(In("/notify"));
  host::NotifySocket notify(In("/notify").c_str());
  host::Watchdog watchdog(notify, 500);
  const host::Wait wait;
  watchdog.Serve(wait, 10000);
  EXPECT_EQ(Received(), "WATCHDOG=1");
  watchdog.Serve(wait, 10499);
  EXPECT_EQ(Received(), "nothing");
  watchdog.Serve(wait, 10500);
  EXPECT_EQ(Received(), "WATCHDOG=1");
}
