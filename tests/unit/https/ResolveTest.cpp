// SPDX-License-Identifier: Apache-2.0
#include "TransportTest.h"

namespace unit {
namespace {

constexpr uint64_t kPause = 300000;

// One of the operations, and what it says of a host that cannot be resolved.
struct Operation {
  const char* name;
  HttpsResult (*run)(HttpsClient& client);
  const char* notice;
  std::vector<std::string> failures;
};

void PrintTo(const Operation& operation, std::ostream* stream) { *stream << operation.name; }

std::string g_body;
std::string g_header;

const Operation kOperations[] = {
    {"PostJsonDocument",
     [](HttpsClient& client) {
       return client.PostJsonDocument("https://h/x", g_body, g_header, "{}", "t");
     },
     "5 HttpsClient PostJsonDocument: POST DNS fail",
     {"3 HttpsClient PostJsonDocument: HTTP POST failed (curlres: 6 - Couldn't resolve host "
      "name)"}},
    {"PatchResource",
     [](HttpsClient& client) { return client.PatchResource("https://h/x", "t", "{}"); },
     "5 HttpsClient PatchResource: DELETE DNS fail",
     {"3 HttpsClient PatchResource: Patch  failed (curlres: 6 - Couldn't resolve host name)"}},
    {"GetDocument",
     [](HttpsClient& client) { return client.GetDocument("https://h/x", g_body, g_header); },
     "5 HttpsClient PerformGet: GET DNS fail",
     {"3 HttpsClient PerformGet: Get(https://h/x) failed (curlres: 6 - Couldn't resolve host "
      "name)",
      "3 HttpsClient PerformGet: Failed to get document (hcr: 4)"}},
    {"GetAuthDocument",
     [](HttpsClient& client) {
       return client.GetAuthDocument("https://h/x", g_body, g_header, "t");
     },
     "5 HttpsClient PerformGet: GET DNS fail",
     {"3 HttpsClient PerformGet: Get(https://h/x) failed (curlres: 6 - Couldn't resolve host "
      "name)",
      "3 HttpsClient PerformGet: Failed to get document (hcr: 4)"}},
    {"DeleteResource",
     [](HttpsClient& client) { return client.DeleteResource("https://h/x", "t"); },
     "5 HttpsClient DeleteResource: DELETE DNS fail",
     {"3 HttpsClient DeleteResource: Delete  failed (curlres: 6 - Couldn't resolve host name)",
      "3 HttpsClient DeleteResource: resource url: https://h/x",
      "3 HttpsClient DeleteResource: xauthtoken: t"}},
};

class UnresolvedHostTest : public TransportTest, public testing::WithParamInterface<Operation> {};

TEST_P(UnresolvedHostTest, Is_tried_three_times_with_two_pauses) {
  curl().Fails(CURLE_COULDNT_RESOLVE_HOST, 3);
  EXPECT_EQ(GetParam().run(client), 4u);
  EXPECT_EQ(curl().Last().performs, 3);
  EXPECT_THAT(platform().sleeps.microseconds, ElementsAre(kPause, kPause));
  std::vector<std::string> lines = {GetParam().notice, GetParam().notice};
  lines.insert(lines.end(), GetParam().failures.begin(), GetParam().failures.end());
  EXPECT_EQ(LogLines(), lines);
}

TEST_P(UnresolvedHostTest, Succeeds_at_the_third_attempt) {
  const bool deletes = GetParam().name == std::string("DeleteResource");
  curl().Fails(CURLE_COULDNT_RESOLVE_HOST, 2).Answers(deletes ? 204 : 200);
  EXPECT_EQ(GetParam().run(client), 0u);
  EXPECT_EQ(curl().Last().performs, 3);
  EXPECT_THAT(LogLines(), ElementsAre(GetParam().notice, GetParam().notice));
}

TEST_P(UnresolvedHostTest, Is_the_only_failure_that_is_tried_again) {
  curl().Fails(CURLE_COULDNT_RESOLVE_HOST).Fails(CURLE_COULDNT_CONNECT);
  EXPECT_EQ(GetParam().run(client), 4u);
  EXPECT_EQ(curl().Last().performs, 2);
  EXPECT_THAT(platform().sleeps.microseconds, ElementsAre(kPause));
}

TEST_P(UnresolvedHostTest, Keeps_the_lock_and_the_handle_during_the_pauses) {
  curl().Fails(CURLE_COULDNT_RESOLVE_HOST, 3);
  platform().sleeps.hook = [](uint64_t) {
    EXPECT_EQ(platform().mutexes.Held(), 1);
    EXPECT_EQ(curl().liveHandles, 1);
  };
  EXPECT_EQ(GetParam().run(client), 4u);
  EXPECT_EQ(curl().transfers.size(), 1u);
}

TEST_P(UnresolvedHostTest, Releases_everything_when_a_pause_raises) {
  curl().Fails(CURLE_COULDNT_RESOLVE_HOST, 3);
  platform().sleeps.LeaveAfter(1);
  EXPECT_THROW(GetParam().run(client), fakes::Leave);
}

TEST_P(UnresolvedHostTest, Is_not_what_another_failure_is_taken_for) {
  curl().Fails(CURLE_COULDNT_RESOLVE_PROXY);
  EXPECT_EQ(GetParam().run(client), 4u);
  EXPECT_EQ(curl().Last().performs, 1);
  EXPECT_THAT(platform().sleeps.microseconds, IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(Operation, UnresolvedHostTest, testing::ValuesIn(kOperations),
                         [](const auto& instance) { return std::string(instance.param.name); });

}  // namespace
}  // namespace unit
