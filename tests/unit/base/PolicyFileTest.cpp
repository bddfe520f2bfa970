// SPDX-License-Identifier: Apache-2.0
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>

#include <gtest/gtest.h>

#include "base/PolicyFile.h"

namespace unit {
namespace {

using cloudclient::DefaultPolicyValues;
using cloudclient::ParsePolicy;
using cloudclient::Policy;
using cloudclient::PolicyReading;
using cloudclient::PolicyValue;
using cloudclient::ReadPolicy;
using Origin = cloudclient::PolicyValue::Origin;

const std::string kPin = "sha256//" + std::string(43, 'A') + "=";

PolicyReading PolicyOf(const std::string& text) {
  PolicyReading reading = ParsePolicy("policy.json", text);
  EXPECT_EQ(reading.problem, "") << text;
  return reading;
}

Policy::Transport Transport(const std::string& keys) {
  return PolicyOf("{\"Transport\": {" + keys + "}}").policy.transport;
}

// Why a text is no policy, behind the file's name.
std::string Refused(const std::string& text) {
  const PolicyReading reading = ParsePolicy("f", text);
  EXPECT_TRUE(reading.exists);
  EXPECT_TRUE(reading.values.empty());
  return reading.problem.substr(std::min(reading.problem.size(), size_t{3}));
}

PolicyValue ValueOf(const PolicyReading& reading, const std::string& key) {
  for (const PolicyValue& value : reading.values) {
    if (value.key == key) return value;
  }
  ADD_FAILURE() << key;
  return {};
}

TEST(PolicyTest, Is_the_kept_behaviour_until_one_is_put_in_force) {
  EXPECT_FALSE(cloudclient::ThePolicy().transport.verifyServer);
  EXPECT_EQ(cloudclient::ThePolicy().transport.stallSeconds, 0);
  Policy policy;
  policy.transport.stallSeconds = 7;
  cloudclient::UsePolicy(policy);
  EXPECT_EQ(cloudclient::ThePolicy().transport.stallSeconds, 7);
}

TEST(PolicyParseTest, An_empty_object_is_the_kept_behaviour) {
  const Policy::Transport transport = PolicyOf("{}").policy.transport;
  EXPECT_FALSE(transport.verifyServer);
  EXPECT_FALSE(transport.keepConnection);
  EXPECT_FALSE(transport.hostOfUrl);
  EXPECT_FALSE(transport.freshAnswers);
  EXPECT_FALSE(transport.HasDeadline());
  EXPECT_EQ(transport.minimumTls, 0);
  EXPECT_EQ(transport.pinnedPublicKeys, "");
  EXPECT_FALSE(transport.proxy.has_value());
  EXPECT_FALSE(transport.noProxy.has_value());
}

TEST(PolicyParseTest, Takes_the_keys_of_the_outbox) {
  const Policy none = PolicyOf("{}").policy;
  EXPECT_EQ(none.outbox.folder, "");
  const Policy::Outbox outbox = PolicyOf(R"({"Transport": {"FreshAnswers": true},
                   "Outbox": {"Folder": "/o", "MaxBytes": 65536, "MaxDays": 60}})")
                                    .policy.outbox;
  EXPECT_EQ(outbox.folder, "/o");
  EXPECT_EQ(outbox.maxBytes, 65536u);
  EXPECT_EQ(outbox.maxDays, 60);
  const Policy::Outbox standard =
      PolicyOf(R"({"Transport": {"FreshAnswers": true}, "Outbox": {"Folder": "/o"}})")
          .policy.outbox;
  EXPECT_EQ(standard.maxBytes, 16777216u);
  EXPECT_EQ(standard.maxDays, 30);
  const Policy::Outbox hardened = PolicyOf(R"({"Preset": "hardened"})").policy.outbox;
  EXPECT_EQ(hardened.folder, "/var/lib/cloudclient/outbox");
  EXPECT_EQ(hardened.maxBytes, 16777216u);
  EXPECT_EQ(hardened.maxDays, 30);
  EXPECT_EQ(PolicyOf(R"({"Preset": "hardened", "Outbox": {"Folder": ""}})").policy.outbox.folder,
            "");
}

TEST(PolicyParseTest, Refuses_an_outbox_that_can_be_none) {
  EXPECT_EQ(Refused(R"({"Outbox": {"Folder": "o"}})"),
            R"(line 1, column 23: "Outbox.Folder" is neither an absolute path nor empty)");
  EXPECT_EQ(Refused(R"({"Outbox": {"Folder": 1}})"),
            R"(line 1, column 23: "Outbox.Folder" is neither an absolute path nor empty)");
  EXPECT_EQ(
      Refused(
          R"({"Outbox": {"Folder": "/o", "MaxBytes": 65535}, "Transport": {"FreshAnswers": true}})"),
      R"(line 1, column 41: "Outbox.MaxBytes" is not an integer from 65536 to 1073741824)");
  EXPECT_EQ(Refused(R"({"Outbox": {"Folder": "/o", "MaxBytes": 1073741825}})"),
            R"(line 1, column 41: "Outbox.MaxBytes" is not an integer from 65536 to 1073741824)");
  EXPECT_EQ(
      Refused(R"({"Outbox": {"Folder": "/o", "MaxDays": 0}, "Transport": {"FreshAnswers": true}})"),
      R"(line 1, column 40: "Outbox.MaxDays" is not an integer from 1 to 60)");
  EXPECT_EQ(Refused(R"({"Outbox": {"Folder": "/o", "MaxDays": 61}})"),
            R"(line 1, column 40: "Outbox.MaxDays" is not an integer from 1 to 60)");
  EXPECT_EQ(Refused(R"({"Outbox": {"Folder": "/o"}})"),
            R"(line 1, column 13: "Outbox.Folder" needs "Transport.FreshAnswers")");
  EXPECT_EQ(Refused(R"({"Preset": "hardened", "Transport": {"FreshAnswers": false}})"),
            R"(line 1, column 38: "Transport.FreshAnswers" is needed by "Outbox.Folder")");
  EXPECT_EQ(Refused(R"({"Outbox": {"MaxDays": 3}})"),
            R"(line 1, column 13: "Outbox.MaxDays" does nothing without "Outbox.Folder")");
  EXPECT_EQ(Refused(R"({"Preset": "hardened", "Outbox": {"Folder": "", "MaxBytes": 70000}})"),
            R"(line 1, column 49: "Outbox.MaxBytes" does nothing without "Outbox.Folder")");
}

TEST(PolicyParseTest, Takes_each_key_of_the_transport) {
  const Policy::Transport transport = Transport(
      R"("VerifyServer": true, "CaFile": "/etc/ca.pem", "CaPath": "/etc/ca",
         "ClientCertificate": "/etc/me.pem", "ClientKey": "/etc/me.key",
         "ConnectTimeoutSeconds": 1, "RequestTimeoutSeconds": 86400, "StallSeconds": 3,
         "Proxy": "http://proxy:3128", "NoProxy": "", "ProxyAuth": "me:secret",
         "KeepConnection": true, "HostOfUrl": true, "FreshAnswers": true)");
  EXPECT_TRUE(transport.verifyServer);
  EXPECT_EQ(transport.caFile, "/etc/ca.pem");
  EXPECT_EQ(transport.caPath, "/etc/ca");
  EXPECT_EQ(transport.clientCertificate, "/etc/me.pem");
  EXPECT_EQ(transport.clientKey, "/etc/me.key");
  EXPECT_EQ(transport.connectTimeoutSeconds, 1);
  EXPECT_EQ(transport.requestTimeoutSeconds, 86400);
  EXPECT_EQ(transport.stallSeconds, 3);
  EXPECT_EQ(transport.proxy, "http://proxy:3128");
  EXPECT_EQ(transport.noProxy, "");
  EXPECT_EQ(transport.proxyAuth, "me:secret");
  EXPECT_TRUE(transport.keepConnection);
  EXPECT_TRUE(transport.hostOfUrl);
  EXPECT_TRUE(transport.freshAnswers);
  EXPECT_TRUE(transport.HasDeadline());
}

TEST(PolicyParseTest, Takes_one_public_key_or_several) {
  const std::string other = "sha256//" + std::string(42, '/') + "+=";
  EXPECT_EQ(Transport("\"PinnedPublicKey\": \"" + kPin + "\"").pinnedPublicKeys, kPin);
  EXPECT_EQ(
      Transport("\"PinnedPublicKey\": [\"" + kPin + "\", \"" + other + "\"]").pinnedPublicKeys,
      kPin + ";" + other);
}

TEST(PolicyParseTest, Takes_a_version_of_TLS_as_text_and_as_number) {
  EXPECT_EQ(Transport("\"MinimumTls\": \"1.2\"").minimumTls, 12);
  EXPECT_EQ(Transport("\"MinimumTls\": 1.2").minimumTls, 12);
  EXPECT_EQ(Transport("\"MinimumTls\": \"1.3\"").minimumTls, 13);
  EXPECT_EQ(Transport("\"MinimumTls\": 1.30").minimumTls, 13);
}

TEST(PolicyParseTest, Takes_the_waits_of_the_registration) {
  EXPECT_FALSE(PolicyOf("{}").policy.registration.Retries());
  const Policy::Registration registration =
      PolicyOf(R"({"Registration": {"RetrySeconds": {"First": 1, "Most": 86400}}})")
          .policy.registration;
  EXPECT_TRUE(registration.Retries());
  EXPECT_EQ(registration.firstRetrySeconds, 1);
  EXPECT_EQ(registration.mostRetrySeconds, 86400);
}

TEST(PolicyPresetTest, Sets_what_is_marked_and_nothing_else) {
  const Policy::Transport transport = PolicyOf("{\"Preset\": \"hardened\"}").policy.transport;
  EXPECT_TRUE(transport.verifyServer);
  EXPECT_EQ(transport.minimumTls, 12);
  EXPECT_EQ(transport.connectTimeoutSeconds, 15);
  EXPECT_EQ(transport.requestTimeoutSeconds, 60);
  EXPECT_EQ(transport.stallSeconds, 30);
  EXPECT_TRUE(transport.keepConnection);
  EXPECT_TRUE(transport.hostOfUrl);
  EXPECT_TRUE(transport.freshAnswers);
  EXPECT_EQ(transport.caFile, "");
  EXPECT_EQ(transport.pinnedPublicKeys, "");
  EXPECT_FALSE(transport.proxy.has_value());
}

TEST(PolicyPresetTest, Tries_connections_again) {
  const Policy::Registration registration =
      PolicyOf("{\"Preset\": \"hardened\"}").policy.registration;
  EXPECT_TRUE(registration.Retries());
  EXPECT_EQ(registration.firstRetrySeconds, 5);
  EXPECT_EQ(registration.mostRetrySeconds, 300);
}

TEST(PolicyPresetTest, Gives_way_to_single_keys_before_and_after_it) {
  for (const char* text :
       {R"({"Preset": "hardened", "Transport": {"StallSeconds": 0, "KeepConnection": false}})",
        R"({"Transport": {"StallSeconds": 0, "KeepConnection": false}, "Preset": "hardened"})"}) {
    const Policy::Transport transport = PolicyOf(text).policy.transport;
    EXPECT_EQ(transport.stallSeconds, 0) << text;
    EXPECT_FALSE(transport.keepConnection) << text;
    EXPECT_EQ(transport.requestTimeoutSeconds, 60) << text;
  }
}

TEST(PolicyValuesTest, Tell_where_each_comes_from) {
  const PolicyReading reading =
      PolicyOf(R"({"Preset": "hardened", "Transport": {"StallSeconds": 20, "ProxyAuth": "a:b"}})");
  const PolicyValue stall = ValueOf(reading, "Transport.StallSeconds");
  EXPECT_EQ(stall.value, "20");
  EXPECT_EQ(stall.origin, Origin::kFile);
  EXPECT_FALSE(stall.secret);
  const PolicyValue tls = ValueOf(reading, "Transport.MinimumTls");
  EXPECT_EQ(tls.value, "\"1.2\"");
  EXPECT_EQ(tls.origin, Origin::kPreset);
  const PolicyValue file = ValueOf(reading, "Transport.CaFile");
  EXPECT_EQ(file.value, "none");
  EXPECT_EQ(file.origin, Origin::kDefault);
  EXPECT_TRUE(ValueOf(reading, "Transport.ProxyAuth").secret);
  EXPECT_EQ(ValueOf(reading, "Preset").value, "\"hardened\"");
}

TEST(PolicyValuesTest, Without_a_file_are_the_defaults_of_the_same_keys) {
  const std::vector<PolicyValue> defaults = DefaultPolicyValues();
  const std::vector<PolicyValue> read = PolicyOf("{}").values;
  ASSERT_EQ(defaults.size(), read.size());
  for (size_t i = 0; i < defaults.size(); ++i) {
    EXPECT_EQ(defaults[i].key, read[i].key);
    EXPECT_EQ(defaults[i].value, read[i].value);
    EXPECT_EQ(defaults[i].origin, Origin::kDefault);
  }
}

TEST(PolicyProblemTest, Of_a_text_that_is_no_JSON_names_the_place_and_quotes_nothing) {
  EXPECT_EQ(Refused("{\"Transport\":\n {\"ProxyAuth\" \"me:secret\"}}"),
            "line 2, column 25: not valid JSON");
  EXPECT_EQ(Refused(""), "line 1, column 0: not valid JSON");
  EXPECT_EQ(Refused("{} {}"), "line 1, column 4: not valid JSON");
  EXPECT_EQ(Refused("\n [1]"), "line 2, column 2: not a JSON object");
  EXPECT_EQ(Refused("{\"Preset\": \"a\\u0000\"}"), "line 1, column 20: not valid JSON");
}

TEST(PolicyProblemTest, Of_a_key_that_stands_twice_names_the_second) {
  EXPECT_EQ(Refused("{\"Preset\": \"hardened\",\n\"Pres\\u0065t\": \"hardened\"}"),
            "line 2, column 13: a key stands twice");
  EXPECT_EQ(Refused("{\"Transport\": {\"StallSeconds\": 1, \"StallSeconds\": 1}}"),
            "line 1, column 48: a key stands twice");
}

TEST(PolicyProblemTest, Of_a_key_that_is_not_known_names_the_key) {
  EXPECT_EQ(Refused("{\n  \"Transprt\": {}}"),
            "line 2, column 3: \"Transprt\" is not a key of the policy");
  EXPECT_EQ(Refused("{\"Transport\": {\"HostOfUrl\": true, \"hostOfUrl\": true}}"),
            "line 1, column 35: \"Transport.hostOfUrl\" is not a key of the policy");
  EXPECT_EQ(Refused("{\"\": 1}"), "line 1, column 2: \"\" is not a key of the policy");
}

TEST(PolicyProblemTest, A_group_is_no_text_of_a_key) {
  EXPECT_EQ(Refused("{\"Transport.HostOfUrl\": true}"),
            "line 1, column 2: \"Transport.HostOfUrl\" is not a key of the policy");
  EXPECT_EQ(Refused("{\"Transport\": true}"), "line 1, column 15: \"Transport\" is not an object");
  EXPECT_EQ(Refused("{\"Trans\": {\"port\": {}}}"),
            "line 1, column 2: \"Trans\" is not a key of the policy");
}

TEST(PolicyProblemTest, Of_a_value_names_the_value_and_what_it_has_to_be) {
  const std::string seconds = "is not an integer from 0 to 86400";
  const std::string pin = "is not \"sha256//\" and the hash of a public key in base64";
  const std::vector<std::pair<std::string, std::vector<std::string>>> wrong = {
      {"VerifyServer", {"1", "\"true\"", "null", "{}"}},
      {"StallSeconds", {"-1", "86401", "1.5", "\"3\"", "true", "null"}},
      {"CaFile", {"\"\"", "\"ca.pem\"", "7", "null"}},
      {"Proxy", {"7", "null", "[]"}},
      {"MinimumTls", {"\"1.1\"", "1.1", "1", "\"\"", "\"1.2|1.3\"", "null"}},
      {"PinnedPublicKey", {"\"\"", "\"" + kPin.substr(1) + "\"", "7", "null"}},
  };
  const std::vector<std::string> what = {"is neither true nor false",   seconds,
                                         "is not an absolute path",     "is not a text",
                                         "is none of \"1.2\", \"1.3\"", pin};
  for (size_t i = 0; i < wrong.size(); ++i) {
    const auto& [key, values] = wrong[i];
    for (const std::string& value : values) {
      EXPECT_EQ(Refused("{\"Transport\": {\n\"" + key + "\": " + value + "}}"),
                "line 2, column " + std::to_string(key.size() + 5) + ": \"Transport." + key +
                    "\" " + what[i])
          << value;
    }
  }
  EXPECT_EQ(Refused("{\"Preset\": \"soft\"}"),
            "line 1, column 12: \"Preset\" is none of \"hardened\"");
}

TEST(PolicyProblemTest, Of_public_keys_names_the_one) {
  const auto of = [](const std::string& keys) {
    return Refused("{\"Transport\": {\"PinnedPublicKey\": [" + keys + "]}}");
  };
  const std::string what =
      "\"Transport.PinnedPublicKey\" is not \"sha256//\" and the hash of a public key in base64";
  const std::string good = "\"" + kPin + "\", ";
  EXPECT_EQ(of(good + "7"), "line 1, column 92: " + what);
  EXPECT_EQ(of(good + "\"" + kPin + ";\""), "line 1, column 92: " + what);
  EXPECT_EQ(of("\"sha256//" + std::string(42, 'A') + "==\""), "line 1, column 36: " + what);
  EXPECT_EQ(of("\"sha1//" + std::string(45, 'A') + "=\""), "line 1, column 36: " + what);
  EXPECT_EQ(of(""), "line 1, column 35: \"Transport.PinnedPublicKey\" is empty");
}

TEST(PolicyProblemTest, A_key_that_would_do_nothing_is_refused) {
  const auto of = [](const std::string& keys) {
    return Refused("{\"Transport\": {" + keys + "}}");
  };
  const std::string verify = "\" does nothing without \"Transport.VerifyServer\"";
  EXPECT_EQ(of("\"CaFile\": \"/a\""), "line 1, column 16: \"Transport.CaFile" + verify);
  EXPECT_EQ(of("\"VerifyServer\": false, \"CaPath\": \"/a\""),
            "line 1, column 39: \"Transport.CaPath" + verify);
  EXPECT_EQ(of("\"ClientKey\": \"/a\""),
            "line 1, column 16: \"Transport.ClientKey\" does nothing without "
            "\"Transport.ClientCertificate\"");
  EXPECT_EQ(
      PolicyOf(R"({"Transport": {"CaFile": "/a"}, "Preset": "hardened"})").policy.transport.caFile,
      "/a");
}

TEST(PolicyProblemTest, Of_the_waits_of_the_registration_needs_both_in_order) {
  const auto of = [](const std::string& waits, const std::string& front = "") {
    return Refused("{" + front + "\"Registration\": {\"RetrySeconds\": " + waits + "}}");
  };
  const std::string name = "\"Registration.RetrySeconds";
  EXPECT_EQ(of("5"), "line 1, column 35: " + name + "\" is not an object");
  EXPECT_EQ(of("{\"First\": 0, \"Most\": 5}"),
            "line 1, column 45: " + name + ".First\" is not an integer from 1 to 86400");
  EXPECT_EQ(of("{\"First\": 5, \"Most\": 86401}"),
            "line 1, column 56: " + name + ".Most\" is not an integer from 1 to 86400");
  EXPECT_EQ(of("{\"First\": 5}"),
            "line 1, column 36: " + name + ".First\" does nothing without " + name + ".Most\"");
  EXPECT_EQ(of("{\"Most\": 5}"),
            "line 1, column 36: " + name + ".Most\" does nothing without " + name + ".First\"");
  EXPECT_EQ(of("{\"Most\": 5, \"First\": 6}"),
            "line 1, column 47: " + name + ".First\" is above " + name + ".Most\"");
  const std::string preset = "\"Preset\": \"hardened\", ";
  EXPECT_EQ(of("{\"First\": 301}", preset),
            "line 1, column 58: " + name + ".First\" is above " + name + ".Most\"");
  EXPECT_EQ(of("{\"Most\": 4}", preset),
            "line 1, column 58: " + name + ".Most\" is below " + name + ".First\"");
}

TEST(PolicyProblemTest, Leaves_nothing_of_the_file_in_force) {
  const PolicyReading reading =
      ParsePolicy("f", R"({"Preset": "hardened", "Transport": {"StallSeconds": "x"}})");
  EXPECT_FALSE(reading.policy.transport.verifyServer);
  EXPECT_EQ(reading.policy.transport.stallSeconds, 0);
}

class PolicyReadTest : public testing::Test {
 protected:
  void SetUp() override {
    char name[] = "/tmp/policy-XXXXXX";
    ASSERT_NE(mkdtemp(name), nullptr);
    folder = name;
    file = folder + "/policy.json";
  }
  void TearDown() override {
    unlink(file.c_str());
    rmdir(folder.c_str());
  }

  std::string folder;
  std::string file;
};

TEST_F(PolicyReadTest, A_file_that_is_missing_is_no_policy) {
  for (const std::string& path : {file, folder + "/missing/policy.json"}) {
    const PolicyReading reading = ReadPolicy(path);
    EXPECT_FALSE(reading.exists);
    EXPECT_EQ(reading.problem, "");
    EXPECT_FALSE(reading.policy.transport.verifyServer);
    EXPECT_TRUE(reading.values.empty());
  }
}

TEST_F(PolicyReadTest, Reads_a_file) {
  std::ofstream(file) << "{\"Transport\": {\"StallSeconds\": 9}}\n";
  const PolicyReading reading = ReadPolicy(file);
  EXPECT_TRUE(reading.exists);
  EXPECT_EQ(reading.problem, "");
  EXPECT_EQ(reading.policy.transport.stallSeconds, 9);
}

TEST_F(PolicyReadTest, Names_the_file_in_a_problem) {
  std::ofstream(file) << "{\"Preset\": 1}";
  EXPECT_EQ(ReadPolicy(file).problem,
            file + ": line 1, column 12: \"Preset\" is none of \"hardened\"");
}

TEST_F(PolicyReadTest, A_file_that_cannot_be_read_is_a_problem) {
  ASSERT_EQ(mkdir(file.c_str(), 0700), 0);
  EXPECT_EQ(ReadPolicy(file).problem, file + " cannot be read: Is a directory");
  ASSERT_EQ(rmdir(file.c_str()), 0);
  ASSERT_EQ(symlink("policy.json", file.c_str()), 0);
  const PolicyReading reading = ReadPolicy(file);
  EXPECT_TRUE(reading.exists);
  EXPECT_EQ(reading.problem, file + " cannot be read: Too many levels of symbolic links");
}

TEST_F(PolicyReadTest, A_link_to_nothing_is_a_problem) {
  ASSERT_EQ(symlink("elsewhere.json", file.c_str()), 0);
  EXPECT_EQ(ReadPolicy(file).problem, file + " cannot be read: No such file or directory");
}

TEST_F(PolicyReadTest, A_folder_that_is_none_is_a_problem) {
  std::ofstream(file) << "{}";
  EXPECT_EQ(ReadPolicy(file + "/policy.json").problem,
            file + "/policy.json cannot be read: Not a directory");
}

TEST_F(PolicyReadTest, A_file_that_is_too_long_is_a_problem) {
  std::ofstream(file) << "{}" << std::string(65534, ' ');
  EXPECT_EQ(ReadPolicy(file).problem, "");
  std::ofstream(file, std::ios::app) << " ";
  EXPECT_EQ(ReadPolicy(file).problem, file + " is longer than 65536 bytes");
}

}  // namespace
}  // namespace unit
