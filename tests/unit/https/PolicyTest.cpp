// SPDX-License-Identifier: Apache-2.0
#include <functional>

#include "TransportTest.h"
#include "base/Policy.h"

namespace unit {
namespace {

using cloudclient::Policy;
using cloudclient::UsePolicy;
using testing::Contains;
using testing::Each;
using testing::Not;

// What a policy changes of the requests; each case is a process of its own, with its own policy.
class TransportPolicyTest : public TransportTest {
 protected:
  // Puts a policy of the transport in force.
  static void Use(const std::function<void(Policy::Transport&)>& change) {
    Policy policy;
    change(policy.transport);
    UsePolicy(policy);
  }

  // The options that a GET sets before its first one of always, and those of the check.
  std::vector<std::string> OptionsBefore(const std::string& last) {
    curl().Answers(200, "{}");
    EXPECT_EQ(TransportTest::Get(), 0u);
    std::vector<std::string> options;
    for (const std::string& option : SetOptions()) {
      if (option.compare(0, last.size(), last) == 0) return options;
      options.push_back(option);
    }
    ADD_FAILURE() << "no " << last;
    return options;
  }
  std::vector<std::string> Added() { return OptionsBefore("URL="); }
  std::vector<std::string> Check() {
    const std::vector<std::string> options = OptionsBefore("HEADER=");
    return {options.begin() + 3, options.end()};
  }
  std::string LastHeader(size_t index = 0) { return curl().Last().headerLines[index]; }

  typedef HttpsResult (TransportPolicyTest::*Run)();
  HttpsResult RunPost() { return Post(); }
  HttpsResult RunPatch() { return Patch(); }
  HttpsResult RunGet() { return Get(); }
  HttpsResult RunGetAuth() { return GetAuth(); }
  HttpsResult RunDelete() { return Delete(); }

  const std::vector<Run> operations = {
      &TransportPolicyTest::RunPost, &TransportPolicyTest::RunPatch, &TransportPolicyTest::RunGet,
      &TransportPolicyTest::RunGetAuth, &TransportPolicyTest::RunDelete};
};

TEST_F(TransportTest, Posts_an_event_with_its_key_and_tells_the_status) {
  curl().Answers(201, "{}");
  long status = 0;
  EXPECT_EQ(client.PostEvent(kUrl, kDocument, "tok-1", "key-1", status), 0u);
  EXPECT_EQ(status, 201);
  const std::vector<std::string> lines = curl().Last().headerLines;
  EXPECT_THAT(lines, Contains("Message-Key: key-1"));
  EXPECT_THAT(lines, Contains("X-Auth-Token: tok-1"));
  EXPECT_EQ(curl().Last().document, kDocument);

  curl().Answers(409, "{}");
  EXPECT_EQ(client.PostEvent(kUrl, kDocument, "tok-1", "key-1", status), 6u);
  EXPECT_EQ(status, 409);
  curl().Fails(CURLE_COULDNT_CONNECT);
  EXPECT_EQ(client.PostEvent(kUrl, kDocument, "tok-1", "key-1", status), 4u);
  EXPECT_EQ(status, 0);
}

TEST_F(TransportTest, Tells_the_status_of_a_patch) {
  curl().Answers(404, "{}");
  long status = 0;
  EXPECT_EQ(client.PatchResource(kUrl, "tok-1", kDocument, status), 10u);
  EXPECT_EQ(status, 404);
  curl().Fails(CURLE_COULDNT_CONNECT);
  EXPECT_EQ(client.PatchResource(kUrl, "tok-1", kDocument, status), 4u);
  EXPECT_EQ(status, 0);
}

TEST_F(TransportPolicyTest, Without_one_nothing_is_added) {
  EXPECT_THAT(Added(), IsEmpty());
  EXPECT_THAT(Check(), ElementsAre("SSL_VERIFYPEER=0", "SSL_VERIFYHOST=0"));
}

TEST_F(TransportPolicyTest, VerifyServer_checks_chain_and_name_in_each_operation) {
  Use([](auto& transport) { transport.verifyServer = true; });
  for (const Run run : operations) {
    curl().Answers(200, "{}");
    (this->*run)();
    EXPECT_THAT(SetOptions(), Contains("SSL_VERIFYPEER=1"));
    EXPECT_THAT(SetOptions(), Contains("SSL_VERIFYHOST=2"));
    EXPECT_THAT(SetOptions(), Not(Contains("SSL_VERIFYPEER=0")));
  }
  EXPECT_THAT(Check(), ElementsAre("SSL_VERIFYPEER=1", "SSL_VERIFYHOST=2"));
}

TEST_F(TransportPolicyTest, CaFile_takes_the_place_of_the_systems_store) {
  platform().root = "/root";
  Use([](auto& transport) {
    transport.verifyServer = true;
    transport.caFile = "/etc/ca.pem";
  });
  EXPECT_THAT(Check(), ElementsAre("SSL_VERIFYPEER=1", "SSL_VERIFYHOST=2",
                                   "CAINFO=/root/etc/ca.pem", "CAPATH removed"));
}

TEST_F(TransportPolicyTest, CaPath_takes_the_place_of_the_systems_store) {
  platform().root = "/root";
  Use([](auto& transport) {
    transport.verifyServer = true;
    transport.caPath = "/etc/ca";
  });
  EXPECT_THAT(Check(), ElementsAre("SSL_VERIFYPEER=1", "SSL_VERIFYHOST=2", "CAINFO removed",
                                   "CAPATH=/root/etc/ca"));
}

TEST_F(TransportPolicyTest, A_pinned_key_decides_alone) {
  for (const bool verify : {false, true}) {
    Use([verify](auto& transport) {
      transport.verifyServer = verify;
      transport.caFile = "/etc/ca.pem";
      transport.pinnedPublicKeys = "sha256//a;sha256//b";
    });
    EXPECT_THAT(Check(), ElementsAre("SSL_VERIFYPEER=0", "SSL_VERIFYHOST=0",
                                     "PINNEDPUBLICKEY=sha256//a;sha256//b"));
  }
}

TEST_F(TransportPolicyTest, Nothing_is_sent_where_the_check_is_refused) {
  Use([](auto& transport) { transport.pinnedPublicKeys = "sha256//a"; });
  curl().refuses[CURLOPT_PINNEDPUBLICKEY] = CURLE_NOT_BUILT_IN;
  for (const Run run : operations) {
    EXPECT_EQ((this->*run)(), 3u);
    EXPECT_EQ(curl().Last().performs, 0);
  }
}

TEST_F(TransportPolicyTest, A_certificate_of_the_client_is_sent) {
  platform().root = "/root";
  Use([](auto& transport) {
    transport.clientCertificate = "/etc/me.pem";
    transport.clientKey = "/etc/me.key";
  });
  EXPECT_THAT(Added(), ElementsAre("SSLCERT=/root/etc/me.pem", "SSLKEY=/root/etc/me.key"));
}

TEST_F(TransportPolicyTest, MinimumTls_is_the_oldest_version) {
  Use([](auto& transport) { transport.minimumTls = 12; });
  EXPECT_THAT(Added(), ElementsAre("SSLVERSION=" + std::to_string(CURL_SSLVERSION_TLSv1_2)));
  Use([](auto& transport) { transport.minimumTls = 13; });
  EXPECT_THAT(Added(), ElementsAre("SSLVERSION=" + std::to_string(CURL_SSLVERSION_TLSv1_3)));
}

TEST_F(TransportPolicyTest, Each_deadline_is_one_of_its_own) {
  const std::vector<std::string> stop = {"NOSIGNAL=1", "QUICK_EXIT=1", "NOPROGRESS=0",
                                         "XFERINFOFUNCTION", "XFERINFODATA"};
  const auto with = [&stop](std::vector<std::string> options) {
    options.insert(options.end(), stop.begin(), stop.end());
    return options;
  };
  Use([](auto& transport) { transport.connectTimeoutSeconds = 15; });
  EXPECT_EQ(Added(), with({"CONNECTTIMEOUT=15"}));
  Use([](auto& transport) { transport.requestTimeoutSeconds = 60; });
  EXPECT_EQ(Added(), with({"TIMEOUT=60"}));
  Use([](auto& transport) { transport.stallSeconds = 30; });
  EXPECT_EQ(Added(), with({"LOW_SPEED_LIMIT=1", "LOW_SPEED_TIME=30"}));
}

TEST_F(TransportPolicyTest, With_a_deadline_a_stop_ends_a_request_that_is_under_way) {
  Use([](auto& transport) { transport.requestTimeoutSeconds = 60; });
  bool stop = false;
  client.EndWhen([&stop] { return stop; });
  curl().Answers(200, "{}");
  EXPECT_EQ(GetAuth(), 0u);
  curl().onPerform = [&stop](fakes::Transfer&) { stop = true; };
  curl().Answers(200, "{}");
  EXPECT_EQ(Post(), 4u);
  EXPECT_THAT(LogLines(), ElementsAre("3 HttpsClient PostJsonDocument: HTTP POST failed (curlres: "
                                      "42 - Operation was aborted by an application callback)"));
}

TEST_F(TransportPolicyTest, With_a_deadline_and_nobody_who_stops_a_request_goes_on) {
  Use([](auto& transport) { transport.stallSeconds = 60; });
  curl().Answers(201, "{}");
  EXPECT_EQ(Post(), 0u);
}

TEST_F(TransportPolicyTest, Without_a_deadline_a_stop_waits_for_the_request) {
  client.EndWhen([] { return true; });
  curl().Answers(201, "{}");
  EXPECT_EQ(Post(), 0u);
}

TEST_F(TransportPolicyTest, Proxy_and_its_exceptions_are_as_said) {
  Use([](auto& transport) {
    transport.proxy = "http://proxy:3128";
    transport.noProxy = "localhost,10.0.0.0/8";
    transport.proxyAuth = "me:se:c%41ret";
  });
  EXPECT_THAT(Added(), ElementsAre("PROXY=http://proxy:3128", "SUPPRESS_CONNECT_HEADERS=1",
                                   "NOPROXY=localhost,10.0.0.0/8", "PROXYUSERNAME=me",
                                   "PROXYPASSWORD=se:c%41ret"));
}

TEST_F(TransportPolicyTest, Empty_texts_turn_the_environments_proxy_off) {
  Use([](auto& transport) {
    transport.proxy = "";
    transport.noProxy = "";
  });
  EXPECT_THAT(Added(), ElementsAre("PROXY=", "SUPPRESS_CONNECT_HEADERS=1", "NOPROXY="));
}

TEST_F(TransportPolicyTest, A_user_of_the_proxy_needs_no_password) {
  Use([](auto& transport) { transport.proxyAuth = "me"; });
  EXPECT_THAT(Added(), ElementsAre("PROXYUSERNAME=me", "PROXYPASSWORD="));
}

TEST_F(TransportPolicyTest, Nothing_is_sent_where_libcurl_refuses_what_it_asks) {
  Use([](auto& transport) { transport.minimumTls = 13; });
  curl().refuses[CURLOPT_SSLVERSION] = CURLE_SSL_CONNECT_ERROR;
  for (const Run run : operations) {
    EXPECT_EQ((this->*run)(), 3u);
    EXPECT_EQ(curl().Last().performs, 0);
  }
  EXPECT_EQ(LogLines().size(), 5u);
  EXPECT_THAT(LogLines(), Each("3 HttpsClient OpenHandle: libcurl refuses what the policy asks "
                               "(curlres: 35 - SSL connect error)"));
}

TEST_F(TransportPolicyTest, KeepConnection_serves_all_requests_by_one_handle) {
  Use([](auto& transport) { transport.keepConnection = true; });
  for (const Run run : operations) {
    curl().Answers(500);
    (this->*run)();
    EXPECT_FALSE(curl().Last().cleanedUp);
    EXPECT_EQ(curl().liveHandles, 1);
  }
  EXPECT_EQ(curl().transfers.size(), 5u);
  EXPECT_EQ(SetOptions().front(), "URL=" + std::string(kUrl));
  curl().Fails(CURLE_RECV_ERROR);
  Get();
}

TEST_F(TransportPolicyTest, KeepConnection_renews_the_handle_after_an_error) {
  Use([](auto& transport) { transport.keepConnection = true; });
  curl().Answers(200).Fails(CURLE_RECV_ERROR).Answers(200);
  EXPECT_EQ(GetAuth(), 0u);
  EXPECT_EQ(curl().liveHandles, 1);
  EXPECT_EQ(GetAuth(), 4u);
  EXPECT_TRUE(curl().Last().cleanedUp);
  EXPECT_EQ(curl().liveHandles, 0);
  EXPECT_EQ(GetAuth(), 0u);
  EXPECT_EQ(curl().liveHandles, 1);
  EXPECT_EQ(GetAuth(), 4u);
}

TEST_F(TransportPolicyTest, KeepConnection_renews_the_handle_after_a_request_that_was_not_sent) {
  Use([](auto& transport) { transport.keepConnection = true; });
  curl().Answers(200);
  EXPECT_EQ(GetAuth(), 0u);
  curl().refuses[CURLOPT_URL] = CURLE_OUT_OF_MEMORY;
  EXPECT_EQ(GetAuth(), 3u);
  EXPECT_EQ(curl().liveHandles, 0);
}

TEST_F(TransportPolicyTest, KeepConnection_renews_the_handle_on_request) {
  Use([](auto& transport) { transport.keepConnection = true; });
  client.EndConnection();
  curl().Answers(200).Answers(200);
  EXPECT_EQ(GetAuth(), 0u);
  client.EndConnection();
  EXPECT_TRUE(curl().Last().cleanedUp);
  EXPECT_EQ(curl().liveHandles, 0);
  EXPECT_EQ(GetAuth(), 0u);
  EXPECT_EQ(curl().liveHandles, 1);
  client.EndConnection();
}

TEST_F(TransportPolicyTest, KeepConnection_closes_the_handle_before_libcurl_ends) {
  Use([](auto& transport) { transport.keepConnection = true; });
  {
    HttpsClient other;
    uint32_t code = 0;
    EXPECT_EQ(other.InitCurl(code), 0u);
    curl().Answers(200);
    EXPECT_EQ(other.GetDocument(kUrl, body, header), 0u);
    EXPECT_EQ(curl().liveHandles, 1);
    curl().onCleanup = [] { EXPECT_EQ(curl().globalCleanups, 0); };
  }
  EXPECT_EQ(curl().liveHandles, 0);
  EXPECT_EQ(curl().globalCleanups, 1);
}

TEST_F(TransportPolicyTest, HostOfUrl_leaves_the_host_to_libcurl) {
  Use([](auto& transport) { transport.hostOfUrl = true; });
  for (const Run run : operations) {
    curl().Answers(200, "{}");
    (this->*run)();
    for (const std::string& line : curl().Last().headerLines) EXPECT_NE(line.substr(0, 5), "Host:");
  }
}

// The transport of an appliance that tries again.
class TokenRefusalTest : public TransportPolicyTest {
 protected:
  void SetUp() override {
    TransportPolicyTest::SetUp();
    Policy policy;
    policy.registration.firstRetrySeconds = 5;
    policy.registration.mostRetrySeconds = 300;
    UsePolicy(policy);
  }
};

TEST_F(TokenRefusalTest, Is_noted_once_of_each_operation_with_a_token) {
  for (const long status : {401L, 403L}) {
    for (const Run run : operations) {
      curl().Answers(status);
      (this->*run)();
      EXPECT_EQ(client.TakeRefusal(), run != operations[2]) << status;
      EXPECT_FALSE(client.TakeRefusal());
    }
  }
}

TEST_F(TokenRefusalTest, Is_kept_over_later_answers_until_it_is_asked_for) {
  curl().Answers(401);
  Post();
  curl().Answers(200, "{}");
  GetAuth();
  EXPECT_TRUE(client.TakeRefusal());
}

TEST_F(TokenRefusalTest, Is_no_other_answer) {
  for (const long status : {200L, 302L, 400L, 404L, 407L, 500L}) {
    for (const Run run : operations) {
      curl().Answers(status, "{}");
      (this->*run)();
      EXPECT_FALSE(client.TakeRefusal()) << status;
    }
  }
  curl().Fails(CURLE_COULDNT_CONNECT);
  Post();
  EXPECT_FALSE(client.TakeRefusal());
}

TEST_F(TokenRefusalTest, Is_none_without_a_token) {
  for (int i = 0; i < 4; ++i) curl().Answers(403);
  Post("");
  Patch("");
  GetAuth("");
  Delete("");
  EXPECT_FALSE(client.TakeRefusal());
}

TEST_F(TokenRefusalTest, Is_not_noted_where_nothing_is_tried_again) {
  UsePolicy({});
  curl().Answers(403);
  Post();
  EXPECT_FALSE(client.TakeRefusal());
}

TEST_F(TokenRefusalTest, Is_none_of_a_request_without_a_handle) {
  HttpsClient other;
  EXPECT_EQ(other.GetAuthDocument(kUrl, body, header, "tok-1"), 2u);
  EXPECT_FALSE(other.TakeRefusal());
}

TEST_F(TransportPolicyTest, MaskSecrets_shows_neither_token_nor_key_in_any_line) {
  Policy policy;
  policy.log.maskSecrets = true;
  UsePolicy(policy);
  platform().cloud.key = "key-1";
  const std::string url = "https://cloud.example/?key=key-1";
  const std::vector<std::string> lines = {"X-Auth-Token: tok-2"};
  for (const bool answered : {true, false}) {
    for (int i = 0; i < 5 && answered; ++i) curl().Answers(500, "tok-1 key-1", lines);
    client.PostJsonDocument(url, body, header, "tok-1", "tok-1");
    client.PatchResource(url, "tok-1", "tok-1");
    client.GetDocument(url, body, header);
    client.GetAuthDocument(url, body, header, "tok-1");
    client.DeleteResource(url, "tok-1");
  }
  ASSERT_GE(LogLines().size(), 17u);
  for (const std::string& line : LogLines()) {
    EXPECT_EQ(line.find("tok-"), std::string::npos) << line;
    EXPECT_EQ(line.find("key-1"), std::string::npos) << line;
  }
  EXPECT_EQ(LogLines().back(), "3 HttpsClient DeleteResource: xauthtoken: ********");
  EXPECT_EQ(curl().Last().headerLines.back(), "X-Auth-Token: tok-1");
}

class FreshAnswersTest : public TransportPolicyTest {
 protected:
  void SetUp() override {
    TransportPolicyTest::SetUp();
    Use([](auto& transport) { transport.freshAnswers = true; });
  }
};

TEST_F(FreshAnswersTest, A_patch_leaves_nothing_to_the_next) {
  curl().Answers(200, "{\"x\": 1}").Answers(200, "{}").Answers(400, "no").Answers(201, "{}");
  EXPECT_EQ(Patch(), 0u);
  EXPECT_EQ(GetAuth(), 0u);
  EXPECT_EQ(body, "{}");
  EXPECT_EQ(header, fakes::HeaderBlock(200));
  EXPECT_EQ(Patch(), 10u);
  EXPECT_EQ(Post(), 0u);
  EXPECT_EQ(body, fakes::HeaderBlock(201) + "{}");
}

TEST_F(FreshAnswersTest, A_failed_transfer_leaves_nothing_to_the_next) {
  curl().responses.push_back({CURLE_RECV_ERROR, 0, fakes::HeaderBlock(200), "half", ""});
  curl().Answers(200, "{}");
  EXPECT_EQ(GetAuth(), 4u);
  EXPECT_EQ(GetAuth(), 0u);
  EXPECT_EQ(body, "{}");
}

TEST_F(FreshAnswersTest, A_delete_shows_no_answer_of_others) {
  curl().Answers(204, "text").Answers(500);
  EXPECT_EQ(Patch(), 0u);
  EXPECT_EQ(Delete(), 5u);
  EXPECT_EQ(LogLines().back(),
            "3 HttpsClient DeleteResource: Delete  failed (http respCode 500 - hdr: \nresp: )");
}

TEST_F(FreshAnswersTest, A_trailer_cuts_nothing_off) {
  curl().responses.push_back({CURLE_OK, 200, fakes::HeaderBlock(200), "{}", "X: 1\r\n\r\n"});
  EXPECT_EQ(GetAuth(), 0u);
  EXPECT_EQ(body, "{}");
  EXPECT_EQ(header, fakes::HeaderBlock(200));
}

TEST_F(FreshAnswersTest, A_trailer_behind_lines_that_end_with_a_line_feed_alone_cuts_nothing_off) {
  const std::string block = "HTTP/1.1 200 OK\nA: b\n\n";
  curl().responses.push_back({CURLE_OK, 200, block, "{}", "X: 1\n"});
  EXPECT_EQ(GetAuth(), 0u);
  EXPECT_EQ(body, "{}");
  EXPECT_EQ(header, block);
}

TEST_F(FreshAnswersTest, All_header_blocks_of_an_answer_are_cut_off) {
  const std::string blocks = "HTTP/1.1 100 Continue\r\n\r\n" + fakes::HeaderBlock(200);
  curl().responses.push_back({CURLE_OK, 200, blocks, "{}", "X: 1\r\n"});
  EXPECT_EQ(GetAuth(), 0u);
  EXPECT_EQ(body, "{}");
  EXPECT_EQ(header, blocks);
}

TEST_F(FreshAnswersTest, A_trailer_that_looks_like_a_header_block_raises_nothing) {
  curl().responses.push_back({CURLE_OK, 200, fakes::HeaderBlock(200), "{}", "HTTP/9: 1\r\n"});
  EXPECT_EQ(GetAuth(), 0u);
  EXPECT_EQ(body, "");
}

}  // namespace
}  // namespace unit
