// SPDX-License-Identifier: Apache-2.0
#include <stdexcept>
#include <thread>

#include "TransportTest.h"

namespace unit {
namespace {

class LifeTest : public TransportTest {
 protected:
  typedef HttpsResult (LifeTest::*Run)();

  HttpsResult RunPost() { return Post(); }
  HttpsResult RunPatch() { return Patch(); }
  HttpsResult RunGet() { return Get(); }
  HttpsResult RunGetAuth() { return GetAuth(); }
  HttpsResult RunDelete() { return Delete(); }

  const std::vector<Run> operations = {&LifeTest::RunPost, &LifeTest::RunPatch, &LifeTest::RunGet,
                                       &LifeTest::RunGetAuth, &LifeTest::RunDelete};
};

TEST_F(LifeTest, Construction_calls_nothing_of_libcurl) {
  const HttpsClient other;
  EXPECT_THAT(curl().globalInits, IsEmpty());
  EXPECT_EQ(curl().globalCleanups, 0);
}

TEST_F(LifeTest, Initialises_libcurl_once_with_everything) {
  HttpsClient other;
  uint32_t code = 77;
  EXPECT_EQ(other.InitCurl(code), 0u);
  EXPECT_EQ(code, 0u);
  code = 77;
  EXPECT_EQ(other.InitCurl(code), 0u);
  EXPECT_EQ(code, 77u);
  EXPECT_THAT(curl().globalInits, ElementsAre(3L));
}

TEST_F(LifeTest, A_failed_initialisation_gives_the_code_and_can_be_tried_again) {
  HttpsClient other;
  uint32_t code = 0;
  curl().globalInitCode = CURLE_FAILED_INIT;
  EXPECT_EQ(other.InitCurl(code), 1u);
  EXPECT_EQ(code, 2u);
  EXPECT_EQ(other.GetDocument(kUrl, body, header), 2u);
  curl().globalInitCode = CURLE_OK;
  EXPECT_EQ(other.InitCurl(code), 0u);
  EXPECT_EQ(code, 0u);
  EXPECT_EQ(curl().globalInits.size(), 2u);
}

TEST_F(LifeTest, Destruction_ends_libcurl_whether_it_was_initialised_or_not) {
  { const HttpsClient other; }
  EXPECT_EQ(curl().globalCleanups, 1);
  {
    HttpsClient other;
    uint32_t code = 0;
    other.InitCurl(code);
  }
  EXPECT_EQ(curl().globalCleanups, 2);
}

TEST_F(LifeTest, Destruction_through_the_base_is_virtual) {
  EXPECT_TRUE(std::has_virtual_destructor<HttpsClient>::value);
}

TEST_F(LifeTest, Without_initialisation_every_request_fails) {
  HttpsClient other;
  EXPECT_EQ(other.PostJsonDocument(kUrl, body, header, kDocument, "t"), 2u);
  EXPECT_EQ(other.PatchResource(kUrl, "t", kDocument), 2u);
  EXPECT_EQ(other.GetDocument(kUrl, body, header), 2u);
  EXPECT_EQ(other.GetAuthDocument(kUrl, body, header, "t"), 2u);
  EXPECT_EQ(other.DeleteResource(kUrl, "t"), 2u);
  EXPECT_THAT(curl().transfers, IsEmpty());
  EXPECT_EQ(body, "old body");
  EXPECT_EQ(header, "old header");
  EXPECT_THAT(LogLines(), IsEmpty());
}

TEST_F(LifeTest, Without_a_handle_every_request_fails) {
  curl().initFails = true;
  for (const Run run : operations) EXPECT_EQ((this->*run)(), 2u);
  EXPECT_EQ(platform().mutexes.locks, 5);
  EXPECT_EQ(curl().listsMade, 0);
  EXPECT_THAT(LogLines(), IsEmpty());
}

TEST_F(LifeTest, Each_request_has_a_handle_of_its_own) {
  for (const Run run : operations) {
    curl().Answers(200);
    (this->*run)();
    EXPECT_TRUE(curl().Last().cleanedUp);
  }
  EXPECT_EQ(curl().transfers.size(), 5u);
}

TEST_F(LifeTest, Each_request_holds_the_lock_while_it_performs) {
  curl().onPerform = [](fakes::Transfer&) { EXPECT_EQ(platform().mutexes.Held(), 1); };
  for (const Run run : operations) {
    curl().Answers(200);
    (this->*run)();
    EXPECT_EQ(platform().mutexes.Held(), 0);
  }
  EXPECT_EQ(platform().mutexes.locks, 5);
}

TEST_F(LifeTest, A_lock_that_cannot_be_had_stops_no_request) {
  platform().mutexes.lockStatus = 22;
  const std::vector<HttpsResult> results = {0, 0, 0, 0, 5};
  for (size_t i = 0; i < operations.size(); ++i) {
    curl().Answers(200, "{}");
    EXPECT_EQ((this->*operations[i])(), results[i]) << i;
    EXPECT_EQ(curl().Last().performs, 1) << i;
  }
  EXPECT_EQ(platform().mutexes.unlocks, 0);
}

TEST_F(LifeTest, The_handle_is_closed_under_the_lock) {
  int cleanups = 0;
  curl().onCleanup = [&cleanups] {
    EXPECT_EQ(platform().mutexes.Held(), 1);
    ++cleanups;
  };
  for (const Run run : operations) {
    curl().Answers(200);
    (this->*run)();
  }
  EXPECT_EQ(cleanups, 5);
}

TEST_F(LifeTest, What_is_raised_in_a_transfer_leaves_nothing_behind) {
  curl().onPerform = [](fakes::Transfer&) { throw std::runtime_error("raised"); };
  for (const Run run : operations) {
    EXPECT_THROW((this->*run)(), std::runtime_error);
    EXPECT_EQ(curl().liveHandles, 0);
    EXPECT_EQ(curl().liveLists, 0);
    EXPECT_EQ(platform().mutexes.Held(), 0);
  }
}

TEST_F(LifeTest, The_header_list_lives_until_the_transfer_is_over) {
  curl().onPerform = [](fakes::Transfer& transfer) {
    EXPECT_EQ(curl().liveLists, transfer.headerLines.empty() ? 0 : 1);
  };
  for (const Run run : operations) {
    curl().Answers(200);
    (this->*run)();
    EXPECT_EQ(curl().liveLists, 0);
  }
  EXPECT_EQ(curl().listsMade, 4);
}

TEST_F(LifeTest, A_status_that_cannot_be_read_is_0) {
  curl().getinfoCode = CURLE_UNKNOWN_OPTION;
  const std::vector<HttpsResult> expected = {6, 10, 4, 4, 5};
  for (size_t i = 0; i < operations.size(); ++i) {
    curl().Answers(200);
    EXPECT_EQ((this->*operations[i])(), expected[i]) << i;
  }
}

TEST_F(LifeTest, Requests_of_several_threads_go_out_one_at_a_time) {
  int inside = 0;
  int requests = 0;
  curl().onPerform = [&](fakes::Transfer&) {
    EXPECT_EQ(++inside, 1);
    ++requests;
    std::this_thread::yield();
    --inside;
  };
  curl().respond = [](const fakes::Transfer&) { return fakes::Response(); };
  const auto run = [this] {
    for (int i = 0; i < 100; ++i) EXPECT_EQ(client.PatchResource(kUrl, "t", "{}"), 0u);
  };
  std::thread first(run);
  std::thread second(run);
  first.join();
  second.join();
  EXPECT_EQ(requests, 200);
}

}  // namespace
}  // namespace unit
