// SPDX-License-Identifier: Apache-2.0
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <stdexcept>
#include <utility>

#include <gtest/gtest.h>

#include "service/util/HandedSockets.h"

namespace cloudservice {
namespace {

using Named = std::vector<std::pair<int, std::string>>;

Named Handed(const char* count, const char* names) {
  Named named;
  for (const HandedSocket& one : HandedSockets(std::to_string(getpid()).c_str(), count, names)) {
    named.emplace_back(one.descriptor, one.name);
  }
  return named;
}

TEST(HandedSocketsTest, Stand_behind_standard_error_and_have_names) {
  EXPECT_EQ(Handed("1", nullptr), (Named{{3, "unknown"}}));
  EXPECT_EQ(Handed("1", "web"), (Named{{3, "web"}}));
  EXPECT_EQ(Handed("3", "a:b.socket:"), (Named{{3, "a"}, {4, "b.socket"}, {5, "unknown"}}));
  EXPECT_EQ(Handed("2", "a"), (Named{{3, "a"}, {4, "unknown"}}));
  EXPECT_EQ(Handed("1", "a:b"), (Named{{3, "a"}}));
}

TEST(HandedSocketsTest, Are_none_without_a_number_or_for_another_process) {
  for (const char* count : {"", "0", "-1", "x", "1x", " 1", "1001", "99999999999"}) {
    EXPECT_EQ(Handed(count, "a"), Named()) << count;
  }
  EXPECT_EQ(Handed(nullptr, "a"), Named());
  EXPECT_TRUE(HandedSockets(nullptr, "1", "a").empty());
  EXPECT_TRUE(HandedSockets(std::to_string(getpid() + 1).c_str(), "1", "a").empty());
  EXPECT_TRUE(HandedSockets("x", "1", "a").empty());
}

class FamilyOfTest : public testing::Test {
 protected:
  ~FamilyOfTest() override { close(m_fd); }
  int Open(int family, int type) { return m_fd = socket(family, type | SOCK_CLOEXEC, 0); }
  static std::string Refused(int descriptor) {
    try {
      FamilyOf({descriptor, "web"});
    } catch (const std::runtime_error& error) {
      return error.what();
    }
    return "";
  }

 private:
  int m_fd = -1;
};

TEST_F(FamilyOfTest, Is_that_of_a_listening_socket) {
  const int fd = Open(AF_INET, SOCK_STREAM);
  EXPECT_EQ(Refused(fd), "the socket web that was handed over (descriptor " + std::to_string(fd) +
                             ") is no TCP socket that listens");
  ASSERT_EQ(listen(fd, 1), 0);
  EXPECT_EQ(FamilyOf({fd, "web"}), AF_INET);
}

TEST_F(FamilyOfTest, Nothing_else_is_taken) {
  EXPECT_NE(Refused(Open(AF_INET, SOCK_DGRAM)), "");
  EXPECT_NE(Refused(-1), "");
  int ends[2] = {};
  ASSERT_EQ(pipe(ends), 0);
  EXPECT_NE(Refused(ends[0]), "");
  close(ends[0]);
  close(ends[1]);
}

}  // namespace
}  // namespace cloudservice
