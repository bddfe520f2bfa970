// SPDX-License-Identifier: Apache-2.0
#include <sys/stat.h>

#include <sstream>

#include "HostTest.h"
#include "SourceDouble.h"
#include "host/device/sources/snmp/Agent.h"
#include "host/device/sources/snmp/Listener.h"
#include "host/device/sources/snmp/Snmp.h"
#include "host/device/sources/snmp/Walk.h"

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

namespace {

// An agent that answers what is behind an identifier, some objects at once.
class AgentDouble {
 public:
  void Has(const host::Oid& name, long number) {
    m_objects.emplace_back(name, host::PduRef(snmp_pdu_create(SNMP_MSG_RESPONSE)));
    Add(*m_objects.back().second, name, ASN_INTEGER, &number, sizeof(number));
  }
  void HasText(const host::Oid& name, const std::string& text) {
    m_objects.emplace_back(name, host::PduRef(snmp_pdu_create(SNMP_MSG_RESPONSE)));
    Add(*m_objects.back().second, name, ASN_OCTET_STR, text.data(), text.size());
  }

  host::SnmpAsk Ask() {
    return [this](host::PduRef request, host::PduRef& answer) {
      ++requests;
      const host::Oid behind = host::NameOf(*request->variables);
      answer.reset(snmp_pdu_create(SNMP_MSG_RESPONSE));
      answer->errstat = error;
      int left = 2;
      for (const auto& [name, pdu] : m_objects) {
        if (!circles && name <= behind) continue;
        const netsnmp_variable_list& its = *pdu->variables;
        Add(*answer, name, its.type, its.val.string, its.val_len);
        if (--left == 0) return host::Problem();
      }
      if (left == 2) Add(*answer, behind, SNMP_ENDOFMIBVIEW, nullptr, 0);
      return host::Problem();
    };
  }

  int requests = 0;
  long error = SNMP_ERR_NOERROR;
  bool circles = false;

 private:
  static void Add(netsnmp_pdu& pdu, const host::Oid& name, u_char type, const void* bytes,
                  size_t size) {
    const std::vector<oid> numbers(name.begin(), name.end());
    snmp_pdu_add_variable(&pdu, numbers.data(), numbers.size(), type, bytes, size);
  }

  std::vector<std::pair<host::Oid, host::PduRef>> m_objects;  // in their order
};

const host::Oid kTop = {1, 3, 6, 1, 4, 1, 58888};

host::Oid Inside(host::Oid oid, std::initializer_list<uint32_t> more) {
  oid.insert(oid.end(), more);
  return oid;
}

// The walk's problem, empty when there was none.
std::string Walked(AgentDouble& agent, const host::WalkLimits& limits, host::SnmpTree& tree,
                   bool& isCut) {
  return host::WalkTree(agent.Ask(), kTop, limits, tree, isCut).Text();
}

constexpr host::WalkLimits kAmple = {100, INT64_MAX};

// "name oid value unit scale decimals" of each point.
std::vector<std::string> TextsOf(const std::vector<host::OfferedPoint>& points) {
  std::vector<std::string> texts;
  for (const host::OfferedPoint& point : points) {
    std::ostringstream text;
    text << point.name << ' ' << point.settings << ' ' << point.value << ' ' << point.unit << ' '
         << point.scale << ' ' << point.decimals;
    texts.push_back(text.str());
  }
  return texts;
}

}  // namespace

TEST_F(SnmpTest, Walk_ends_where_the_subtree_does) {
  AgentDouble agent;
  agent.Has({1, 3, 6, 1, 4, 1, 58887, 9}, 1);
  for (uint32_t i = 1; i <= 5; ++i) agent.Has(Inside(kTop, {i, 0}), i);
  agent.Has({1, 3, 6, 1, 4, 1, 58889, 1}, 9);
  agent.Has({1, 3, 6, 1, 4, 1, 58889, 2}, 9);
  host::SnmpTree tree;
  bool isCut = false;
  EXPECT_EQ(Walked(agent, kAmple, tree, isCut), "");
  EXPECT_EQ(tree.size(), 5u);
  EXPECT_EQ(agent.requests, 3);
  EXPECT_FALSE(isCut);
  EXPECT_THAT(TextsOf(host::PointsOfTree(tree, kTop)),
              testing::Contains(R"(object 2.0 {"Oid":"1.3.6.1.4.1.58888.2.0"} 2  1 0)"));
}

TEST_F(SnmpTest, Walk_is_cut_by_number_and_by_time) {
  AgentDouble agent;
  for (uint32_t i = 1; i <= 5; ++i) agent.Has(Inside(kTop, {i, 0}), i);
  host::SnmpTree tree;
  bool isCut = false;
  EXPECT_EQ(Walked(agent, {3, INT64_MAX}, tree, isCut), "");
  EXPECT_EQ(tree.size(), 3u);
  EXPECT_TRUE(isCut);
  isCut = false;
  agent.requests = 0;
  EXPECT_EQ(Walked(agent, {100, 0}, tree, isCut), "");
  EXPECT_EQ(agent.requests, 0);
  EXPECT_TRUE(isCut);
}

TEST_F(SnmpTest, Walk_does_not_go_in_circles) {
  AgentDouble agent;
  for (uint32_t i = 1; i <= 2; ++i) agent.Has(Inside(kTop, {i, 0}), i);
  agent.circles = true;
  host::SnmpTree tree;
  bool isCut = false;
  EXPECT_EQ(Walked(agent, kAmple, tree, isCut),
            "its device does not answer objects in their order");
  agent.error = SNMP_ERR_GENERR;
  EXPECT_THAT(Walked(agent, kAmple, tree, isCut), HasSubstr("its device answers: "));
}

TEST_F(SnmpTest, Sensors_have_units_scales_and_names_of_their_tables) {
  AgentDouble agent;
  const auto sensor = [&agent](uint32_t column, std::initializer_list<long> values) {
    uint32_t row = 1;
    for (const long value : values) agent.Has(Inside(host::kSensorTable, {column, row++}), value);
  };
  sensor(1, {8, 3, 6, 12, 10});         // degrees, volts, watts, true or false, revolutions
  sensor(2, {9, 8, 10, 9, 9});          // units, thousandths, thousands
  sensor(3, {1, 0, 0, 0, 0});           // digits behind the point
  sensor(4, {235, 11950, 2, 1, 5400});  // values
  host::SnmpTree sensors;
  bool isCut = false;
  EXPECT_FALSE(host::WalkTree(agent.Ask(), host::kSensorTable, kAmple, sensors, isCut));
  AgentDouble parts;
  parts.HasText(Inside(host::kPartDescriptions, {2}), "12 V rail");
  parts.HasText(Inside(host::kPartNames, {1}), "Inlet");
  host::SnmpTree names;
  for (const host::Oid& column : {host::kPartNames, host::kPartDescriptions}) {
    EXPECT_FALSE(host::WalkTree(parts.Ask(), column, kAmple, names, isCut));
  }
  const auto points = host::PointsOfSensors(sensors, names);
  EXPECT_THAT(TextsOf(points),
              ElementsAre(R"(Inlet {"Oid":"1.3.6.1.2.1.99.1.1.1.4.1"} 23.5 degC 0.1 1)",
                          R"(12 V rail {"Oid":"1.3.6.1.2.1.99.1.1.1.4.2"} 11.950 V 0.001 3)",
                          R"(sensor 3 {"Oid":"1.3.6.1.2.1.99.1.1.1.4.3"} 2000 W 1000 0)",
                          R"(sensor 4 {"Oid":"1.3.6.1.2.1.99.1.1.1.4.4"} true  1 0)",
                          R"(sensor 5 {"Oid":"1.3.6.1.2.1.99.1.1.1.4.5"} 5400 rpm 1 0)"));
}
