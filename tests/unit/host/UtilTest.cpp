// SPDX-License-Identifier: Apache-2.0
#include <arpa/inet.h>
#include <ifaddrs.h>
#include <net/if.h>
#include <netinet/in.h>

#include <cerrno>
#include <cstring>
#include <list>
#include <thread>

#include "HostTest.h"
#include "host/device/EventStates.h"
#include "host/util/AddressPicker.h"
#include "host/util/Numbers.h"
#include "platform/framework/KyrosInfo.h"
#include "platform/pld/LxVelEventUtil.h"
#include "platform/util/LocalPath.h"
#include "platform/util/LxLinuxMutex.h"
#include "platform/util/LxStringUtils.h"
#include "platform/util/NetUtils.h"

namespace {

using testing::ElementsAre;

std::vector<std::string> Split(const std::string& text) {
  std::vector<std::string> pieces = {"stale"};
  LxStringUtils::Split(text, ',', pieces);
  return pieces;
}

// Interfaces' addresses as getifaddrs lists them.
class Interfaces {
 public:
  Interfaces& Add(const std::string& address, unsigned int flags = IFF_UP) {
    m_entries.emplace_back();
    Entry& entry = m_entries.back();
    auto* v4 = reinterpret_cast<struct sockaddr_in*>(&entry.address);
    auto* v6 = reinterpret_cast<struct sockaddr_in6*>(&entry.address);
    if (inet_pton(AF_INET, address.c_str(), &v4->sin_addr) == 1) {
      entry.address.ss_family = AF_INET;
    } else if (inet_pton(AF_INET6, address.c_str(), &v6->sin6_addr) == 1) {
      entry.address.ss_family = AF_INET6;
    }
    entry.item.ifa_flags = flags;
    if (!address.empty()) {
      entry.item.ifa_addr = reinterpret_cast<struct sockaddr*>(&entry.address);
    }
    if (m_entries.size() > 1) std::prev(m_entries.end(), 2)->item.ifa_next = &entry.item;
    return *this;
  }
  std::string Pick() const {
    return host::PickAddress(m_entries.empty() ? nullptr : &m_entries.front().item);
  }

 private:
  struct Entry {
    struct ifaddrs item = {};
    struct sockaddr_storage address = {};
  };
  std::list<Entry> m_entries;
};

}  // namespace

TEST(LxStringUtilsTest, Split_keeps_empty_pieces) {
  EXPECT_THAT(Split("a,b"), ElementsAre("a", "b"));
  EXPECT_THAT(Split(",a,,b,"), ElementsAre("", "a", "", "b", ""));
  EXPECT_THAT(Split(""), ElementsAre(""));
}

TEST(LxStringUtilsTest, Split_may_write_over_what_it_reads) {
  std::vector<std::string> pieces = {"a,b"};
  LxStringUtils::Split(pieces[0], ',', pieces);
  EXPECT_THAT(pieces, ElementsAre("a", "b"));
}

TEST(LxStringUtilsTest, Numbers_fill_the_whole_text) {
  int32_t value = 7;
  for (const char* text :
       {"", "+", "-", " 1", "1 ", "1.0", "0x1", "1e3", "--1", "+-1", "a", "1\n"}) {
    EXPECT_FALSE(LxStringUtils::ConvertStringToLong(text, value)) << text;
    EXPECT_FALSE(LxStringUtils::IsInteger(text)) << text;
  }
  EXPECT_FALSE(LxStringUtils::ConvertStringToLong(std::string("1\0", 2), value));
  EXPECT_EQ(value, 7);
  EXPECT_TRUE(LxStringUtils::ConvertStringToLong("+0012", value));
  EXPECT_EQ(value, 12);
  EXPECT_TRUE(LxStringUtils::ConvertStringToLong("-12", value));
  EXPECT_EQ(value, -12);
  EXPECT_TRUE(LxStringUtils::IsInteger("-12"));
}

TEST(LxStringUtilsTest, Numbers_are_range_checked) {
  int32_t wide = 0;
  EXPECT_TRUE(LxStringUtils::ConvertStringToLong("2147483647", wide));
  EXPECT_EQ(wide, INT32_MAX);
  EXPECT_TRUE(LxStringUtils::ConvertStringToLong("-2147483648", wide));
  EXPECT_EQ(wide, INT32_MIN);
  for (const char* text :
       {"2147483648", "-2147483649", "4294967296", "99999999999999999999999999"}) {
    EXPECT_FALSE(LxStringUtils::ConvertStringToLong(text, wide)) << text;
  }
  int16_t narrow = 5;
  EXPECT_FALSE(LxStringUtils::ConvertStringToInt16("32768", narrow));
  EXPECT_FALSE(LxStringUtils::ConvertStringToInt16("-32769", narrow));
  EXPECT_EQ(narrow, 5);
  EXPECT_TRUE(LxStringUtils::ConvertStringToInt16("32767", narrow));
  EXPECT_EQ(narrow, 32767);
  EXPECT_TRUE(LxStringUtils::ConvertStringToInt16("-32768", narrow));
  EXPECT_EQ(narrow, -32768);
}

TEST(LxLinuxMutexTest, Wrong_uses_are_error_numbers) {
  LxLinuxMutex mutex;
  EXPECT_EQ(mutex.Unlock(), static_cast<unsigned int>(EPERM));
  EXPECT_EQ(mutex.Lock(), 0u);
  EXPECT_EQ(mutex.Lock(), static_cast<unsigned int>(EDEADLK));
  unsigned int status = 0;
  std::thread([&] { status = mutex.Unlock(); }).join();
  EXPECT_EQ(status, static_cast<unsigned int>(EPERM));
  EXPECT_EQ(mutex.Unlock(), 0u);
}

TEST(LxLinuxMutexTest, Lock_excludes) {
  LxLinuxMutex mutex;
  int count = 0;
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([&] {
      for (int turn = 0; turn < 1000; ++turn) {
        mutex.Lock();
        ++count;
        mutex.Unlock();
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(count, 4000);
}

TEST(KyrosInfoTest, Version_is_the_projects) {
  EXPECT_EQ(KyrosInfo().GetAppVersion(), CLOUDCLIENT_VERSION);
}

TEST(LxVelEventUtilTest, States_have_texts) {
  EXPECT_STREQ(LxVelEventUtil::TYPE_CLEARED_STRING, "Cleared");
  const std::vector<std::string> texts = {"Cleared", "Message", "Warning", "Alarm",
                                          "Fault",   "Unknown", "Unknown"};
  for (uint16_t state = 0; state < texts.size(); ++state) {
    EXPECT_EQ(LxVelEventUtil(state).GetEventStateString(), texts[state]);
  }
  EXPECT_EQ(LxVelEventUtil(65535).GetEventStateString(), "Unknown");
}

TEST(LxVelEventUtilTest, Texts_have_states) {
  uint16_t state = 9;
  EXPECT_TRUE(host::EventStateOf("Fault", state));
  EXPECT_EQ(state, 4);
  EXPECT_FALSE(host::EventStateOf("fault", state));
  EXPECT_FALSE(host::EventStateOf("Unknown", state));
  EXPECT_EQ(state, 4);
}

TEST(LocalPathTest, Root_stands_before_absolute_paths) {
  setenv("CLOUDCLIENT_ROOT", "/some/root/", 1);
  EXPECT_EQ(LocalPath("/etc/x"), "/some/root/etc/x");
  EXPECT_EQ(LocalPath("/"), "/some/root/");
  EXPECT_EQ(LocalPath(""), "");
  EXPECT_EQ(LocalPath("x/y"), "x/y");
  setenv("CLOUDCLIENT_ROOT", "", 1);
  EXPECT_EQ(LocalPath("/etc/x"), "/etc/x");
  unsetenv("CLOUDCLIENT_ROOT");
  EXPECT_EQ(LocalPath("/etc/x"), "/etc/x");
}

TEST(NumbersTest, Numbers_fill_the_whole_text) {
  double number = 5;
  for (const char* text : {"", " 1", "1 ", "nan", "inf", "0x10", "1e", "1e999", "1,5", "-", "."}) {
    EXPECT_FALSE(host::ParseNumber(text, number)) << text;
  }
  EXPECT_EQ(number, 5);
  EXPECT_TRUE(host::ParseNumber("-23.5", number));
  EXPECT_EQ(number, -23.5);
  EXPECT_TRUE(host::ParseNumber("1e3", number));
  EXPECT_EQ(number, 1000);
}

TEST(NumbersTest, Text_has_its_decimals_and_no_negative_zero) {
  EXPECT_EQ(host::NumberText(23.46, 1), "23.5");
  EXPECT_EQ(host::NumberText(-0.4, 0), "0");
  EXPECT_EQ(host::NumberText(-0.04, 1), "0.0");
  EXPECT_EQ(host::NumberText(-0.5, 1), "-0.5");
  EXPECT_EQ(host::NumberText(100, 0), "100");
}

TEST(AddressPickerTest, First_global_ipv4_address_wins) {
  EXPECT_EQ(Interfaces()
                .Add("127.0.0.1")
                .Add("2001:db8::1")
                .Add("169.254.1.1")
                .Add("192.0.2.17")
                .Add("192.0.2.18")
                .Pick(),
            "192.0.2.17");
}

TEST(AddressPickerTest, Interfaces_that_are_down_or_without_an_address_do_not_count) {
  EXPECT_EQ(Interfaces().Add("").Add("192.0.2.1", 0).Add("10.0.0.1").Pick(), "10.0.0.1");
}

TEST(AddressPickerTest, Global_ipv6_address_comes_next) {
  EXPECT_EQ(Interfaces()
                .Add("127.0.0.1")
                .Add("::1")
                .Add("fe80::1")
                .Add("ff02::1")
                .Add("2001:db8::17")
                .Pick(),
            "2001:db8::17");
}

TEST(AddressPickerTest, Loopback_is_left_over) {
  EXPECT_EQ(Interfaces().Pick(), "127.0.0.1");
  EXPECT_EQ(Interfaces().Add("127.0.0.1").Add("::1").Add("0.0.0.0").Add("::").Pick(), "127.0.0.1");
}

TEST(AddressCacheTest, Answer_is_kept_for_a_minute) {
  int64_t now = 1000;
  int asked = 0;
  host::AddressCache cache(
      [&](std::string& address) {
        address = std::to_string(++asked);
        return host::Problem();
      },
      [&] { return now; });
  std::string address;
  EXPECT_FALSE(cache.Get(address));
  now += 59999;
  EXPECT_FALSE(cache.Get(address));
  EXPECT_EQ(address, "1");
  now += 1;
  EXPECT_FALSE(cache.Get(address));
  EXPECT_EQ(address, "2");
}

TEST(AddressCacheTest, Failure_leaves_the_address_and_is_not_kept) {
  int error = EMFILE;
  host::AddressCache cache(
      [&](std::string& address) {
        address = "x";
        return host::Problem::OfErrno(error);
      },
      [] { return int64_t{0}; });
  std::string address = "before";
  EXPECT_EQ(cache.Get(address).Errno(), EMFILE);
  EXPECT_EQ(address, "before");
  error = 0;
  EXPECT_FALSE(cache.Get(address));
  EXPECT_EQ(address, "x");
}

TEST(NetUtilsTest, Machine_has_an_address_on_any_thread) {
  std::vector<std::thread> threads;
  std::vector<std::string> addresses(4);
  for (std::string& address : addresses) {
    threads.emplace_back([&address] { EXPECT_EQ(orv_netutils::GetGlobalAddress(address), 0); });
  }
  for (std::thread& thread : threads) thread.join();
  struct in6_addr bits = {};
  for (const std::string& address : addresses) {
    EXPECT_EQ(address, addresses[0]);
    EXPECT_TRUE(inet_pton(AF_INET, address.c_str(), &bits) == 1 ||
                inet_pton(AF_INET6, address.c_str(), &bits) == 1);
  }
}
