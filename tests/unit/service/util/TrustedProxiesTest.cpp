// SPDX-License-Identifier: Apache-2.0
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "service/util/TrustedProxies.h"

namespace cloudservice {
namespace {

TrustedProxies Trusting(const std::vector<std::string>& names) {
  TrustedProxies proxies;
  for (const std::string& name : names) EXPECT_TRUE(proxies.Add(name)) << name;
  return proxies;
}

TEST(TrustedProxiesTest, Address_is_trusted_alone) {
  const TrustedProxies proxies = Trusting({"192.0.2.1", "2001:db8::1"});
  EXPECT_TRUE(proxies.Trust("192.0.2.1"));
  EXPECT_TRUE(proxies.Trust("2001:db8:0::1"));
  EXPECT_FALSE(proxies.Trust("192.0.2.2"));
  EXPECT_FALSE(proxies.Trust("193.0.2.1"));
  EXPECT_FALSE(proxies.Trust("2001:db8::2"));
  EXPECT_FALSE(proxies.Trust("a connection that is gone"));
  EXPECT_FALSE(proxies.Trust(""));
}

TEST(TrustedProxiesTest, Network_is_trusted_to_its_last_bit) {
  const TrustedProxies proxies = Trusting({"10.0.0.0/8", "192.0.2.128/25", "2001:db8:8::/45"});
  for (const char* in : {"10.0.0.0", "10.255.255.255", "192.0.2.128", "192.0.2.255",
                         "2001:db8:8::", "2001:db8:f:ffff:ffff:ffff:ffff:ffff"}) {
    EXPECT_TRUE(proxies.Trust(in)) << in;
  }
  for (const char* out : {"9.255.255.255", "11.0.0.0", "192.0.2.127", "192.0.3.128",
                          "2001:db8:7:ffff::", "2001:db8:10::"}) {
    EXPECT_FALSE(proxies.Trust(out)) << out;
  }
}

TEST(TrustedProxiesTest, Largest_and_smallest_networks) {
  EXPECT_TRUE(Trusting({"0.0.0.0/0"}).Trust("203.0.113.1"));
  EXPECT_FALSE(Trusting({"0.0.0.0/0"}).Trust("2001:db8::1"));
  EXPECT_TRUE(Trusting({"::/0"}).Trust("2001:db8::1"));
  EXPECT_FALSE(Trusting({"::/0"}).Trust("203.0.113.1"));
  EXPECT_TRUE(Trusting({"192.0.2.1/32"}).Trust("192.0.2.1"));
  EXPECT_FALSE(Trusting({"192.0.2.1/32"}).Trust("192.0.2.0"));
  EXPECT_TRUE(Trusting({"2001:db8::1/128"}).Trust("2001:db8::1"));
  EXPECT_FALSE(Trusting({"2001:db8::1/128"}).Trust("2001:db8::"));
}

// A socket of IPv6 shows senders of IPv4 so.
TEST(TrustedProxiesTest, Mapped_address_is_the_address_of_ipv4) {
  EXPECT_TRUE(Trusting({"192.0.2.1"}).Trust("::ffff:192.0.2.1"));
  EXPECT_TRUE(Trusting({"10.0.0.0/8"}).Trust("::ffff:10.1.2.3"));
  EXPECT_TRUE(Trusting({"::ffff:10.0.0.0/104"}).Trust("10.1.2.3"));
  EXPECT_EQ(Trusting({"192.0.2.1"}).SenderOf("::ffff:192.0.2.1", "::ffff:198.51.100.7"),
            "198.51.100.7");
}

TEST(TrustedProxiesTest, Address_of_a_link_is_known_with_the_links_name) {
  EXPECT_TRUE(Trusting({"fe80::1"}).Trust("fe80::1%eth0"));
  EXPECT_FALSE(Trusting({"fe80::1"}).Trust("fe80::2%eth0"));
}

TEST(TrustedProxiesTest, What_is_no_address_and_no_network_is_not_taken) {
  TrustedProxies proxies;
  for (const char* text : {"", "/", "proxy", "192.0.2", "192.0.2.1:80", "[::1]", "192.0.2.1/",
                           "192.0.2.1/33", "192.0.2.0/-1", "192.0.2.0/24/24", "192.0.2.0/0024",
                           "192.0.2.0/2a", "2001:db8::/129", " 192.0.2.1", "192.0.2.1,192.0.2.2",
                           "10.0.0.1/8", "192.0.2.1/31", "2001:db8::1/64", "fe80::1%eth0"}) {
    EXPECT_FALSE(proxies.Add(text)) << text;
  }
  EXPECT_FALSE(proxies.Trust("192.0.2.1"));
}

TEST(TrustedProxiesTest, Without_any_the_header_is_nobodys_word) {
  EXPECT_EQ(TrustedProxies().SenderOf("127.0.0.1", "192.0.2.7"), "127.0.0.1");
}

TEST(TrustedProxiesTest, Untrusted_peer_is_the_sender_whatever_it_says) {
  const TrustedProxies proxies = Trusting({"192.0.2.1"});
  EXPECT_EQ(proxies.SenderOf("192.0.2.66", "198.51.100.7"), "192.0.2.66");
  EXPECT_EQ(proxies.SenderOf("192.0.2.66", "198.51.100.7, 192.0.2.1"), "192.0.2.66");
}

TEST(TrustedProxiesTest, Last_address_that_is_no_trusted_proxy_is_the_sender) {
  const TrustedProxies proxies = Trusting({"192.0.2.1", "10.0.0.0/8"});
  const auto sender = [&](const std::string& forwarded) {
    return proxies.SenderOf("192.0.2.1", forwarded);
  };
  EXPECT_EQ(sender("198.51.100.7"), "198.51.100.7");
  EXPECT_EQ(sender("203.0.113.9, 198.51.100.7"), "198.51.100.7");
  EXPECT_EQ(sender("203.0.113.9, 198.51.100.7, 10.1.1.1, 10.2.2.2"), "198.51.100.7");
  // An invented address to the left counts for nothing, and so does what is none.
  EXPECT_EQ(sender("10.9.9.9, 198.51.100.7, 10.1.1.1"), "198.51.100.7");
  EXPECT_EQ(sender("whatever,,198.51.100.7,10.1.1.1"), "198.51.100.7");
}

TEST(TrustedProxiesTest, Addresses_stand_with_blanks_brackets_and_ports_or_without) {
  const TrustedProxies proxies = Trusting({"192.0.2.1", "2001:db8::1"});
  const auto sender = [&](const std::string& forwarded) {
    return proxies.SenderOf("192.0.2.1", forwarded);
  };
  EXPECT_EQ(sender("  198.51.100.7\t"), "198.51.100.7");
  EXPECT_EQ(sender("198.51.100.7 ,\t192.0.2.1 "), "198.51.100.7");
  EXPECT_EQ(sender("198.51.100.7:443"), "198.51.100.7");
  EXPECT_EQ(sender("198.51.100.7,192.0.2.1:8080"), "198.51.100.7");
  EXPECT_EQ(sender("2001:DB8::7"), "2001:db8::7");
  EXPECT_EQ(sender("[2001:db8::7]"), "2001:db8::7");
  EXPECT_EQ(sender("[2001:db8::7]:443,[2001:db8::1],[2001:db8::1]:1"), "2001:db8::7");
}

TEST(TrustedProxiesTest, What_is_malformed_or_missing_leaves_the_peer) {
  const TrustedProxies proxies = Trusting({"192.0.2.1"});
  for (const char* forwarded : {"",
                                " ",
                                ",",
                                "unknown",
                                "_hidden",
                                "198.51.100.7,",
                                "198.51.100.7, ,192.0.2.1",
                                "198.51.100.7, garbage",
                                "198.51.100.7, garbage, 192.0.2.1",
                                "198.51.100",
                                "198.51.100.7:",
                                "198.51.100.7:65536",
                                "198.51.100.7:443:443",
                                "[198.51.100.7]",
                                "[2001:db8::7",
                                "2001:db8::7]",
                                "[2001:db8::7]:x",
                                "[]",
                                "\"198.51.100.7\"",
                                "198.51.100.7 198.51.100.8",
                                "fe80::1%eth0",
                                "198.51.100.0/24",
                                "192.0.2.1, 192.0.2.1"}) {
    EXPECT_EQ(proxies.SenderOf("192.0.2.1", forwarded), "192.0.2.1") << forwarded;
  }
}

}  // namespace
}  // namespace cloudservice
