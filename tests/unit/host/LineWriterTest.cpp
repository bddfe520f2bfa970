// SPDX-License-Identifier: Apache-2.0
#include <fcntl.h>
#include <signal.h>
#include <sys/ioctl.h>
#include <sys/resource.h>
#include <sys/socket.h>

#include <cerrno>
#include <thread>

#include "HostTest.h"
#include "SystemCalls.h"
#include "host/util/LineWriter.h"

namespace {

constexpr int kNever = 600000;
constexpr size_t kRoom = 4096;  // of the pipe, a multiple of the filling lines

// Writes to one end of a pipe, or of a pair of sockets, and reads at the other without waiting.
class LineWriterTest : public HostTest {
 protected:
  void OpenPipe() {
    int ends[2] = {};
    ASSERT_EQ(pipe(ends), 0);
    Take(ends);
    ASSERT_EQ(fcntl(m_write.Get(), F_SETPIPE_SZ, kRoom), static_cast<int>(kRoom));
  }
  void OpenSockets() {
    int ends[2] = {};
    ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, ends), 0);
    Take(ends);
  }
  std::unique_ptr<host::LineWriter> Writer(int waitMs) const {
    return std::make_unique<host::LineWriter>(m_write.Get(), waitMs, [](unsigned long lost) {
      return "lost " + std::to_string(lost) + "\n";
    });
  }
  // Writes until one line is not taken; the lines that were.
  std::string Fill(host::LineWriter& writer) const {
    const std::string line = std::string(63, 'x') + "\n";
    std::string taken;
    for (;;) {
      const int before = Unread();
      writer.Write(line);
      if (Unread() == before) return taken;
      taken += line;
    }
  }
  int Unread() const {
    int bytes = 0;
    EXPECT_EQ(ioctl(m_read.Get(), FIONREAD, &bytes), 0);
    return bytes;
  }
  std::string Drained() const {
    std::string text;
    char buffer[65536];
    for (ssize_t got = 0; (got = read(m_read.Get(), buffer, sizeof(buffer))) > 0;) {
      text.append(buffer, static_cast<size_t>(got));
    }
    return text;
  }

  host::Fd m_read;
  host::Fd m_write;

 private:
  void Take(const int ends[2]) {
    m_read = host::Fd(ends[0]);
    m_write = host::Fd(ends[1]);
    fcntl(m_read.Get(), F_SETFL, O_NONBLOCK);
  }
};

}  // namespace

TEST_F(LineWriterTest, Lines_that_are_not_taken_are_dropped_and_counted) {
  OpenPipe();
  const auto writer = Writer(1);
  const std::string taken = Fill(*writer);
  writer->Write("second\n");
  writer->Write("third\n");
  EXPECT_EQ(Drained(), taken);
  writer->Write("fourth\n");
  writer->Write("fifth\n");
  EXPECT_EQ(Drained(), "lost 3\nfourth\nfifth\n");
}

TEST_F(LineWriterTest, Sockets_are_not_waited_for_longer_either) {
  OpenSockets();
  const auto writer = Writer(1);
  const std::string taken = Fill(*writer);
  EXPECT_EQ(Drained(), taken);
  writer->Write("next\n");
  EXPECT_EQ(Drained(), "lost 1\nnext\n");
}

TEST_F(LineWriterTest, Only_the_first_line_of_many_waits) {
  OpenPipe();
  const auto writer = Writer(20);
  int waits = 0;
  g_poll = [&waits](int timeoutMs) { waits += timeoutMs == 0 ? 0 : 1; };
  g_monotonicUs = [] { return 0; };  // no time passes before a wait
  Fill(*writer);
  EXPECT_EQ(waits, 1);
  for (int i = 0; i < 100; ++i) writer->Write("dropped\n");
  EXPECT_EQ(waits, 1);
  Drained();
  Fill(*writer);  // it waits again once something was taken
  EXPECT_EQ(waits, 2);
  Drained();
  writer->Write("next\n");
  EXPECT_EQ(Drained(), "lost 1\nnext\n");
}

TEST_F(LineWriterTest, Line_that_was_begun_is_finished_before_the_next) {
  OpenPipe();
  const auto writer = Writer(1);
  const std::string line = std::string(3 * kRoom, 'y') + "\n";
  writer->Write(line);
  std::string text = Drained();
  EXPECT_EQ(text, line.substr(0, kRoom));
  writer->Write("dropped\n");
  text += Drained();
  writer->Write("dropped\n");
  text += Drained();
  writer->Write("dropped\n");
  text += Drained();
  EXPECT_EQ(text, line + "lost 2\ndropped\n");
}

TEST_F(LineWriterTest, Line_waits_for_a_slow_reader) {
  OpenPipe();
  const auto writer = Writer(kNever);
  const std::string line = std::string(100 * kRoom, 'z') + "\n";
  std::string text;
  std::thread reader(
      [&] { EXPECT_TRUE(Await([&] { return (text += Drained()).size() >= line.size(); })); });
  writer->Write(line);
  reader.join();
  EXPECT_EQ(text, line);
}

TEST_F(LineWriterTest, Descriptor_stays_as_others_know_it) {
  OpenPipe();
  Writer(1)->Write("x\n");
  EXPECT_EQ(fcntl(m_write.Get(), F_GETFL) & O_NONBLOCK, 0);
}

TEST_F(LineWriterTest, Pipe_that_cannot_be_opened_again_holds_nobody_either) {
  OpenPipe();
  // One page alone counts as full with the first byte in it.
  ASSERT_EQ(fcntl(m_write.Get(), F_SETPIPE_SZ, 4 * kRoom), static_cast<int>(4 * kRoom));
  const Child child = RunAsOther([this] {
    const std::string path = "/proc/self/fd/" + std::to_string(m_write.Get());
    if (open(path.c_str(), O_WRONLY | O_NONBLOCK) >= 0) return 2;
    const auto writer = Writer(1);
    size_t lines = 4 * kRoom;
    for (size_t i = 0; i < lines; ++i) writer->Write("x\n");
    lines -= Drained().size() / 2;
    writer->Write("next\n");
    return Drained() == "lost " + std::to_string(lines) + "\nnext\n" ? 0 : 1;
  });
  EXPECT_EQ(child.Wait(), 0);
}

TEST_F(LineWriterTest, Full_disk_costs_its_lines_alone) {
  const Child child = Run([this] {
    signal(SIGXFSZ, SIG_IGN);
    const struct rlimit full = {10, 100};
    const struct rlimit more = {100, 100};
    m_write = host::Fd(open(In("/file").c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600));
    const auto writer = Writer(kNever);
    setrlimit(RLIMIT_FSIZE, &full);
    writer->Write("12345678\n");
    writer->Write("begun\n");
    writer->Write("dropped\n");
    setrlimit(RLIMIT_FSIZE, &more);
    writer->Write("next\n");
    return 0;
  });
  EXPECT_EQ(child.Wait(), 0);
  EXPECT_EQ(Read("/file"), "12345678\nbegun\nlost 1\nnext\n");
}
