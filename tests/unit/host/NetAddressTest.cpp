// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include "host/device/sources/NetAddress.h"

namespace {

// "host port" of a text; "none" of one that is none.
std::string Parsed(const std::string& text) {
  const auto address = host::ParseNetAddress(text, 161);
  return address ? address->host + " " + std::to_string(address->port) : "none";
}

}  // namespace

TEST(NetAddressTest, Host_stands_with_or_without_a_port) {
  EXPECT_EQ(Parsed("pdu.example"), "pdu.example 161");
  EXPECT_EQ(Parsed("192.0.2.7:1161"), "192.0.2.7 1161");
  EXPECT_EQ(Parsed("2001:db8::7"), "2001:db8::7 161");
  EXPECT_EQ(Parsed("[2001:db8::7]"), "2001:db8::7 161");
  EXPECT_EQ(Parsed("[2001:db8::7]:65535"), "2001:db8::7 65535");
}

TEST(NetAddressTest, Other_texts_are_none) {
  for (const char* text : {"", ":161", "a:", "a:0", "a:65536", "a:1x", "[::1", "[::1]x", "[]:1",
                           "a b", "http://a", "a:123456"}) {
    EXPECT_EQ(Parsed(text), "none") << text;
  }
}

TEST(NetAddressTest, Address_is_its_own_numeric_one) {
  host::NetAddress address = {"127.0.0.1", 1};
  bool isIpv6 = true;
  EXPECT_FALSE(host::ResolveHost(address, isIpv6));
  EXPECT_EQ(address.host, "127.0.0.1");
  EXPECT_FALSE(isIpv6);
  address.host = std::string(64, 'x');
  EXPECT_TRUE(host::ResolveHost(address, isIpv6));
}
