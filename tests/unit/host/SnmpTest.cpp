// SPDX-License-Identifier: Apache-2.0
#include <sys/stat.h>

#include "HostTest.h"
#include "SourceDouble.h"
#include "host/device/sources/snmp/Agent.h"
#include "host/device/sources/snmp/Listener.h"
#include "host/device/sources/snmp/Snmp.h"

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

namespace {

class SnmpTest : public HostTest {
 protected:
  // An answer that holds one variable.
  static host::PduRef With(const host::Oid& name, u_char type, const void* bytes, size_t size) {
    host::PduRef pdu(snmp_pdu_create(SNMP_MSG_RESPONSE));
    Add(*pdu, name, type, bytes, size);
    return pdu;
  }
  static void Add(netsnmp_pdu& pdu, const host::Oid& name, u_char type, const void* bytes,
                  size_t size) {
    const std::vector<oid> numbers(name.begin(), name.end());
    snmp_pdu_add_variable(&pdu, numbers.data(), numbers.size(), type, bytes, size);
  }
  // What a point is told of a variable.
  static std::string Told(u_char type, const void* bytes, size_t size) {
    const host::AgentPoint point = {0, kName};
    ToldValues told;
    host::TellAnswer(*With(kName, type, bytes, size), {&point}, told);
    return told.values[0];
  }

  std::string Identity(const std::string& json, bool isVersion3) const {
    Write("/secrets.json", json);
    chmod(In("/secrets.json").c_str(), 0600);
    host::SnmpIdentity identity;
    return host::ReadIdentity("/secrets.json", isVersion3, identity).Text();
  }

  static const host::Oid kName;
  const host::SnmpModule m_module;
};

const host::Oid SnmpTest::kName = {1, 3, 6, 1, 4, 1, 58888, 1, 0};

constexpr char kAgent[] =
    R"({"Address": "pdu", "Version": "2c", "Credentials": "/etc/cloudclient/pdu.json"})";

}  // namespace

TEST_F(SnmpTest, Identifiers_are_numbers_joined_by_full_stops) {
  EXPECT_EQ(host::ParseOid("1.3.6.1.4.1.58888.1.0"), kName);
  EXPECT_EQ(host::ParseOid(".1.3"), (host::Oid{1, 3}));
  EXPECT_EQ(host::ParseOid("2.999.4294967295"), (host::Oid{2, 999, 4294967295}));
  EXPECT_EQ(host::OidText(kName), "1.3.6.1.4.1.58888.1.0");
  for (const char* text : {"", ".", "1", "1.", "..1.3", "1..3", "1.3.x", "sysUpTime.0", "3.1",
                           "1.40", "1.3.4294967296", "1.3 "}) {
    EXPECT_FALSE(host::ParseOid(text).has_value()) << text;
  }
  std::string longest = "1.3";
  for (int i = 2; i < 128; ++i) longest += ".1";
  EXPECT_TRUE(host::ParseOid(longest).has_value());
  EXPECT_FALSE(host::ParseOid(longest + ".1").has_value());
}

TEST_F(SnmpTest, Variables_are_numbers_and_texts) {
  const long number = -235;
  EXPECT_EQ(Told(ASN_INTEGER, &number, sizeof(number)), "-235");
  const unsigned long gauge = 4000000000;
  EXPECT_EQ(Told(ASN_GAUGE, &gauge, sizeof(gauge)), "4e+09");
  const struct counter64 counter = {1, 2};
  EXPECT_EQ(Told(ASN_COUNTER64, &counter, sizeof(counter)), "4.29497e+09");
  const float real = 2.5F;
  EXPECT_EQ(Told(ASN_OPAQUE_FLOAT, &real, sizeof(real)), "2.5");
  EXPECT_EQ(Told(ASN_OCTET_STR, "Rack\0", 5), "'Rack'");
  EXPECT_EQ(Told(ASN_OCTET_STR, "", 0), "''");
  const oid held[] = {1, 3, 6};
  EXPECT_EQ(Told(ASN_OBJECT_ID, held, sizeof(held)), "'1.3.6'");
  EXPECT_EQ(Told(ASN_IPADDRESS, "\xc0\0\2\7", 4), "'192.0.2.7'");
}

TEST_F(SnmpTest, Variables_without_a_value_say_why) {
  EXPECT_EQ(Told(SNMP_NOSUCHOBJECT, nullptr, 0), "none: its device has no such object");
  EXPECT_EQ(Told(SNMP_NOSUCHINSTANCE, nullptr, 0), "none: its device has no such instance");
  EXPECT_EQ(Told(SNMP_ENDOFMIBVIEW, nullptr, 0), "none: its device shows nothing there");
  EXPECT_EQ(Told(ASN_NULL, nullptr, 0), "none: its device answers nothing");
}

TEST_F(SnmpTest, Answer_goes_by_the_names_of_its_variables) {
  const long first = 1;
  const long second = 2;
  const host::PduRef answer = With({1, 3, 2}, ASN_INTEGER, &second, sizeof(second));
  Add(*answer, {1, 3, 1}, ASN_INTEGER, &first, sizeof(first));
  const host::AgentPoint points[] = {
      {0, {1, 3, 1}}, {1, {1, 3, 2}}, {2, {1, 3, 3}}, {3, {1, 3, 1}}};
  ToldValues told;
  host::TellAnswer(*answer, {&points[0], &points[1], &points[2], &points[3]}, told);
  EXPECT_EQ(told.values[0], "1");
  EXPECT_EQ(told.values[1], "2");
  EXPECT_EQ(told.values[2], "none: its device leaves it out");
  EXPECT_EQ(told.values[3], "1");
}

TEST_F(SnmpTest, Notifications_have_the_names_of_version_2) {
  const oid linkDown[] = {1, 3, 6, 1, 6, 3, 1, 1, 5, 3};
  host::PduRef second =
      With({1, 3, 6, 1, 6, 3, 1, 1, 4, 1, 0}, ASN_OBJECT_ID, linkDown, sizeof(linkDown));
  second->command = SNMP_MSG_TRAP2;
  EXPECT_EQ(host::OidText(host::TrapName(*second)), "1.3.6.1.6.3.1.1.5.3");
  const host::PduRef none(snmp_pdu_create(SNMP_MSG_TRAP2));
  EXPECT_THAT(host::TrapName(*none), IsEmpty());
  const host::PduRef first(snmp_pdu_create(SNMP_MSG_TRAP));
  first->trap_type = 2;
  EXPECT_EQ(host::OidText(host::TrapName(*first)), "1.3.6.1.6.3.1.1.5.3");
  first->trap_type = SNMP_TRAP_ENTERPRISESPECIFIC;
  first->specific_type = 17;
  EXPECT_EQ(host::OidText(host::TrapName(*first)), "0.17");
}

TEST_F(SnmpTest, Credentials_are_complete_and_nobody_elses) {
  EXPECT_EQ(Identity(R"({"Community": "c"})", false), "");
  EXPECT_THAT(Identity("{}", false), HasSubstr("\"Community\" is missing"));
  EXPECT_THAT(Identity(R"({"Comunity": "c"})", false), HasSubstr("\"Comunity\" is not known"));
  EXPECT_THAT(Identity(R"({"Community": 5})", false), HasSubstr("\"Community\" is not a text"));
  const std::string whole =
      R"({"User": "u", "AuthPassword": "12345678", "PrivPassword": "12345678")";
  EXPECT_EQ(Identity(whole + "}", true), "");
  EXPECT_THAT(Identity(R"({"AuthPassword": "12345678"})", true), HasSubstr("\"User\" is missing"));
  EXPECT_THAT(Identity(whole + R"(, "AuthProtocol": "sha"})", true), HasSubstr("is none of MD5"));
  EXPECT_THAT(Identity(whole + R"(, "PrivProtocol": "3DES"})", true), HasSubstr("is none of DES"));
  EXPECT_THAT(
      Identity(R"({"User": "u", "AuthPassword": "letmein", "PrivPassword": "12345678"})", true),
      testing::AllOf(HasSubstr("have at least 8 bytes"), testing::Not(HasSubstr("letmein"))));
  chmod(In("/secrets.json").c_str(), 0604);
  host::SnmpIdentity identity;
  EXPECT_THAT(host::ReadIdentity("/secrets.json", true, identity).Text(),
              HasSubstr("others than its owner may use it: give it mode 0600"));
  EXPECT_THAT(host::ReadIdentity("/nowhere.json", true, identity).Text(),
              HasSubstr("/nowhere.json: No such file"));
}

TEST_F(SnmpTest, Settings_that_reach_no_agent_are_faults) {
  EXPECT_THAT(
      OpenedSource(m_module, "{}").faults,
      ElementsAre("Version is neither 2c nor 3", "Credentials is missing", "Address is missing"));
  EXPECT_THAT(
      OpenedSource(m_module, R"({"Address": "a:0", "Version": "1", "Credentials": "x"})").faults,
      ElementsAre("Version is neither 2c nor 3", "Credentials is not an absolute path",
                  "Address is no host with or without a port"));
  OpenedSource agent(m_module, kAgent);
  agent.Point("{}").Point(R"({"Oid": "sysName.0"})").Event("{}");
  EXPECT_THAT(agent.faults, ElementsAre("Oid is missing", "Oid is no object identifier of numbers",
                                        "From names a source that tells no events"));
}

TEST_F(SnmpTest, Settings_of_listeners_are_looked_at) {
  EXPECT_THAT(OpenedSource(m_module, R"({"Listen": "*", "Address": "x", "Version": "3",
                                         "Credentials": "/c", "Engine": "80f"})")
                  .faults,
              ElementsAre("Address stands beside a \"Listen\"",
                          "Engine is no even number of hexadecimal digits"));
  OpenedSource traps(m_module, R"({"Listen": "127.0.0.1", "Version": "2c", "Credentials": "/c"})");
  traps.Event("{}").Event(R"({"Raise": "x"})").Point(R"({"Oid": "1.3"})");
  EXPECT_THAT(traps.faults,
              ElementsAre("Raise is missing", "Raise is no object identifier of numbers",
                          "From names a listener"));
}
