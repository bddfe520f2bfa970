// SPDX-License-Identifier: Apache-2.0
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <fstream>
#include <stdexcept>
#include <thread>

#include "AppTest.h"
#include "base/PolicyFile.h"

// `main` of the program.
int CloudClientMain(int argc, char** argv);

namespace cloudclient {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;

class MainTest : public AppTest {
 protected:
  // Runs the program under a path.
  static int Run(std::string path) {
    char* argv[] = {path.data(), nullptr};
    return CloudClientMain(1, argv);
  }
};

TEST_F(MainTest, The_application_is_named_by_the_base_name_of_the_program) {
  fakes::platform().framework.stop = true;
  EXPECT_EQ(Run("/usr/sbin/cloudclient"), 0);
  EXPECT_EQ(fakes::platform().framework.name, "cloudclient");
}

TEST_F(MainTest, A_name_without_folder_is_taken_as_it_is) {
  fakes::platform().framework.stop = true;
  EXPECT_EQ(Run("client-2"), 0);
  EXPECT_EQ(fakes::platform().framework.name, "client-2");
}

TEST_F(MainTest, Without_any_argument_the_application_still_has_a_name) {
  fakes::platform().framework.stop = true;
  char* argv[] = {nullptr};
  EXPECT_EQ(CloudClientMain(0, argv), 0);
  EXPECT_EQ(fakes::platform().framework.name, "cloudclient");
}

// Arguments that can't be read: whoever looked at one would end the process.
TEST_F(MainTest, Nothing_but_the_name_of_the_program_is_looked_at) {
  fakes::platform().framework.stop = true;
  std::string name = "cloudclient";
  char* const unreadable = reinterpret_cast<char*>(16);
  char* argv[] = {name.data(), unreadable, unreadable, nullptr};
  EXPECT_EQ(CloudClientMain(3, argv), 0);
  EXPECT_EQ(fakes::platform().framework.name, "cloudclient");
  EXPECT_THAT(fakes::platform().framework.calls,
              ElementsAre("LxBaseApp::Start", "LxBaseProxyApp::OnStart", "LxBaseProxyApp::OnStop"));
}

TEST_F(MainTest, A_run_is_started_stopped_and_destroyed) {
  fakes::platform().framework.stop = true;
  EXPECT_EQ(Run("cloudclient"), 0);
  EXPECT_THAT(fakes::platform().framework.calls,
              ElementsAre("LxBaseApp::Start", "LxBaseProxyApp::OnStart", "LxBaseProxyApp::OnStop"));
  EXPECT_THAT(steps().All(),
              ElementsAre("cloud.LoadAllChassis", "DeviceMgr::SetPldProxy", "curl_global_init",
                          "DeviceMgr goes", "curl_global_cleanup"));
  EXPECT_EQ(LxBaseKyrosApp::GetInstance(), nullptr);
}

TEST_F(MainTest, A_policy_is_in_force_when_the_application_starts) {
  fakes::platform().framework.stop = true;
  root.Holds(kPolicyFile);
  std::ofstream(root.Path() + kPolicyFile) << "{\"Transport\": {\"StallSeconds\": 9}}";
  EXPECT_EQ(Run("cloudclient"), 0);
  EXPECT_EQ(ThePolicy().transport.stallSeconds, 9);
  EXPECT_THAT(fakes::platform().framework.calls, Contains("LxBaseApp::Start"));
  EXPECT_THAT(fakes::platform().log.Lines(), IsEmpty());
}

// A slip of the pen must not turn off what the site asked for.
TEST_F(MainTest, A_policy_that_is_none_ends_the_program_with_status_2_before_it_starts) {
  root.Holds(kPolicyFile);
  std::ofstream(root.Path() + kPolicyFile) << "{\"Preset\": \"hardned\"}";
  EXPECT_EQ(Run("cloudclient"), 2);
  EXPECT_THAT(fakes::platform().framework.calls, IsEmpty());
  EXPECT_THAT(fakes::platform().log.Lines(),
              ElementsAre("3 CloudClient TakePolicy: " + root.Path() + kPolicyFile +
                          ": line 1, column 12: \"Preset\" is none of \"hardened\""));
  EXPECT_THAT(fakes::curl().transfers, IsEmpty());
  EXPECT_EQ(steps().All().back(), "curl_global_cleanup");
}

TEST_F(MainTest, A_lone_argument_is_not_looked_at) {
  fakes::platform().framework.stop = true;
  std::string path = "/usr/sbin/cloudclient";
  std::string argument = "--help";
  char* argv[] = {path.data(), argument.data(), nullptr};
  testing::internal::CaptureStdout();
  EXPECT_EQ(CloudClientMain(2, argv), 0);
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
  EXPECT_EQ(fakes::platform().framework.name, "cloudclient");
  EXPECT_THAT(fakes::platform().framework.calls, Contains("LxBaseApp::Start"));
}

TEST_F(MainTest, What_leaves_the_run_destroys_the_application_and_goes_on) {
  fakes::platform().sleeps.hook = [](uint64_t) { throw fakes::Leave(); };
  EXPECT_THROW(Run("cloudclient"), fakes::Leave);
  EXPECT_THAT(fakes::platform().framework.calls, Not(Contains("LxBaseProxyApp::OnStop")));
  const std::vector<std::string> all = steps().All();
  ASSERT_GE(all.size(), 2);
  EXPECT_EQ(all[all.size() - 2], "DeviceMgr goes");
  EXPECT_EQ(all[all.size() - 1], "curl_global_cleanup");
  EXPECT_EQ(LxBaseKyrosApp::GetInstance(), nullptr);
}

// As in the program, no handler waits for what leaves it: a thread's first function has none above.
TEST_F(MainTest, What_nobody_catches_destroys_the_application_before_the_process_ends) {
  fakes::platform().sleeps.hook = [](uint64_t) { throw fakes::Leave(); };
  const auto run = [] {
    std::set_terminate([] {
      for (const std::string& step : steps().All()) fprintf(stderr, "%s\n", step.c_str());
      abort();
    });
    std::thread([] { Run("cloudclient"); }).join();
  };
  EXPECT_EXIT(run(), testing::KilledBySignal(SIGABRT), "DeviceMgr goes\ncurl_global_cleanup\n");
}

// The transport raises when an answer's header, of which a trailer is a part, is longer than what
// came as its body.
TEST_F(MainTest, An_answer_that_cannot_be_cut_ends_the_run) {
  fakes::curl().respond = [](const fakes::Transfer&) {
    return fakes::Response{CURLE_OK, 200, fakes::HeaderBlock(200), "", "Trailer: 1\r\n"};
  };
  EXPECT_THROW(Run("cloudclient"), std::out_of_range);
  EXPECT_EQ(fakes::curl().liveHandles, 0);
  EXPECT_EQ(fakes::platform().mutexes.Held(), 0);
  EXPECT_EQ(steps().All().back(), "curl_global_cleanup");
  EXPECT_EQ(LxBaseKyrosApp::GetInstance(), nullptr);
}

}  // namespace
}  // namespace cloudclient
