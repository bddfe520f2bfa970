// SPDX-License-Identifier: Apache-2.0
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <iterator>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "ctl/PinFile.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

const std::string kFirstPin = "sha256//" + std::string(43, 'A') + "=";
const std::string kSecondPin = "sha256//" + std::string(43, 'B') + "=";

// The text with the pin.
std::string With(const std::string& text, const std::string& pin, bool keepOthers = false) {
  std::string result;
  const host::Problem problem = ctl::WithPin("f", text, pin, keepOthers, result);
  EXPECT_EQ(problem.Text(), "");
  return result;
}

TEST(PinnedPolicyTest, Of_no_file_holds_the_pin_alone) {
  EXPECT_EQ(With("", kFirstPin),
            "{\n  \"Transport\": {\n    \"PinnedPublicKey\": \"" + kFirstPin + "\"\n  }\n}\n");
}

TEST(PinnedPolicyTest, Keeps_what_there_is_in_its_order) {
  EXPECT_EQ(
      With(R"({"Queues": {"Most": 7}, "Transport": {"StallSeconds": 3, "MinimumTls": 1.2,
                     "NoProxy": "ä"}, "Preset": "hardened"})",
           kFirstPin),
      "{\n  \"Queues\": {\n    \"Most\": 7\n  },\n  \"Transport\": {\n    \"StallSeconds\": 3,\n"
      "    \"MinimumTls\": 1.2,\n    \"NoProxy\": \"ä\",\n    \"PinnedPublicKey\": \"" +
          kFirstPin + "\"\n  },\n  \"Preset\": \"hardened\"\n}\n");
}

TEST(PinnedPolicyTest, Takes_the_place_of_other_pins_where_they_stand) {
  const std::string text =
      "{\"Transport\": {\"PinnedPublicKey\": [\"" + kFirstPin + "\"], \"StallSeconds\": 3}}";
  EXPECT_EQ(With(text, kSecondPin), "{\n  \"Transport\": {\n    \"PinnedPublicKey\": \"" +
                                        kSecondPin + "\",\n    \"StallSeconds\": 3\n  }\n}\n");
}

TEST(PinnedPolicyTest, Stands_beside_other_pins) {
  const std::string one = With("", kFirstPin);
  const std::string array = "[\n      \"" + kFirstPin + "\",\n      \"" + kSecondPin + "\"\n    ]";
  EXPECT_EQ(With(one, kSecondPin, true),
            "{\n  \"Transport\": {\n    \"PinnedPublicKey\": " + array + "\n  }\n}\n");
  EXPECT_EQ(With("", kFirstPin, true), one);
}

TEST(PinnedPolicyTest, Of_what_is_no_policy_is_a_problem_with_its_place) {
  std::string result = "as it was";
  EXPECT_EQ(ctl::WithPin("f", "{\"Preset\": 1}", kFirstPin, false, result).Text(),
            "f: line 1, column 12: \"Preset\" is none of \"hardened\"");
  EXPECT_EQ(ctl::WithPin("f", "{", kFirstPin, false, result).Text(),
            "f: line 1, column 1: not valid JSON");
  EXPECT_EQ(result, "as it was");
}

TEST(PinnedPolicyTest, Is_never_one_that_the_daemon_would_refuse) {
  std::string result;
  EXPECT_NE(ctl::WithPin("f", "", "sha256//short", false, result).Text(), "");
  EXPECT_EQ(result, "");
}

class PinFileTest : public testing::Test {
 protected:
  void SetUp() override {
    char name[] = "/tmp/pin-XXXXXX";
    ASSERT_NE(mkdtemp(name), nullptr);
    folder = name;
    file = folder + "/etc/policy.json";
  }
  void TearDown() override {
    for (const std::string& path :
         {file, file + ".lock", folder + "/real.json", folder + "/real.json.lock"}) {
      unlink(path.c_str());
    }
    rmdir((folder + "/etc").c_str());
    EXPECT_EQ(rmdir(folder.c_str()), 0) << "something is left beside the file";
  }

  static std::string TextOf(const std::string& path) {
    std::ifstream stream(path);
    return {std::istreambuf_iterator<char>(stream), {}};
  }
  static std::string Write(const std::string& path, bool keepOthers = false,
                           const std::string& pin = kFirstPin) {
    host::Problem warning;
    const host::Problem problem = ctl::WritePin(path, pin, keepOthers, warning);
    EXPECT_EQ(warning.Text(), "");
    return problem.Text();
  }
  std::vector<std::string> Pins() const {
    std::vector<std::string> pins;
    EXPECT_EQ(ctl::ReadPins(file, pins).Text(), "");
    return pins;
  }

  std::string folder;
  std::string file;
};

TEST_F(PinFileTest, Is_made_for_its_user_alone_when_it_is_missing) {
  EXPECT_THAT(Pins(), IsEmpty());
  EXPECT_EQ(Write(file), "");
  EXPECT_THAT(Pins(), ElementsAre(kFirstPin));
  struct stat status = {};
  ASSERT_EQ(stat(file.c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777, 0600U);
}

TEST_F(PinFileTest, Keeps_its_mode_and_gets_another_pin_beside) {
  EXPECT_EQ(Write(file), "");
  ASSERT_EQ(chmod(file.c_str(), 0640), 0);
  EXPECT_EQ(Write(file, true, kSecondPin), "");
  EXPECT_THAT(Pins(), ElementsAre(kFirstPin, kSecondPin));
  struct stat status = {};
  ASSERT_EQ(stat(file.c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777, 0640U);
}

TEST_F(PinFileTest, Stays_a_link_and_what_it_names_is_written) {
  ASSERT_EQ(mkdir((folder + "/etc").c_str(), 0700), 0);
  std::ofstream(folder + "/real.json") << "{}";
  ASSERT_EQ(symlink("../real.json", file.c_str()), 0);
  EXPECT_EQ(Write(file), "");
  struct stat status = {};
  ASSERT_EQ(lstat(file.c_str(), &status), 0);
  EXPECT_TRUE(S_ISLNK(status.st_mode));
  EXPECT_EQ(TextOf(folder + "/real.json"), With("", kFirstPin));
}

TEST_F(PinFileTest, That_is_no_policy_is_left_alone) {
  ASSERT_EQ(mkdir((folder + "/etc").c_str(), 0700), 0);
  for (const char* text : {"", "{\"Preset\": \"hardned\"}"}) {
    std::ofstream(file) << text;
    EXPECT_EQ(Write(file).compare(0, file.size() + 7, file + ": line "), 0) << Write(file);
    EXPECT_EQ(TextOf(file), text);
    std::vector<std::string> pins;
    EXPECT_TRUE(ctl::ReadPins(file, pins));
  }
}

TEST_F(PinFileTest, That_cannot_be_read_is_a_problem) {
  ASSERT_EQ(mkdir((folder + "/etc").c_str(), 0700), 0);
  ASSERT_EQ(mkdir(file.c_str(), 0700), 0);
  EXPECT_EQ(Write(file), file + ": Is a directory");
  ASSERT_EQ(rmdir(file.c_str()), 0);
}

}  // namespace
