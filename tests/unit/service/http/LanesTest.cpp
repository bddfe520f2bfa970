// SPDX-License-Identifier: Apache-2.0
#include <future>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "service/http/Lanes.h"

namespace cloudservice {
namespace {

using testing::ElementsAre;
using testing::EndsWith;

// Lanes whose requests are answered with their target, when Go() is called where that is "/slow".
// The method names the lane.
class LanesTest : public testing::Test {
 protected:
  static Lanes::Lane LaneOf(const Request& request) {
    if (request.method == "GET") return Lanes::kLooks;
    if (request.method == "SIGNIN") return Lanes::kSignIns;
    return request.method == "HEALTH" ? Lanes::kHealth : Lanes::kChanges;
  }

  std::future<Response> Ask(const std::string& method, const std::string& target) {
    const auto answer = std::make_shared<std::promise<Response>>();
    auto request = std::make_shared<const Request>(Request{method, target, "", "", "192.0.2.7"});
    lanes.Take(std::move(request),
               [answer](Response response) { answer->set_value(std::move(response)); });
    return answer->get_future();
  }

  // Takes all threads of the lane, and fills its queue.
  std::vector<std::future<Response>> Fill(const std::string& method) {
    std::vector<std::future<Response>> answers;
    for (;;) {
      answers.push_back(Ask(method, "/slow"));
      const bool full =
          answers.back().wait_for(std::chrono::seconds(0)) == std::future_status::ready;
      if (full) return answers;
    }
  }

  void Go() { m_go.set_value(); }

  std::vector<std::string> lines;
  Log log{[this](const std::string& line) { lines.push_back(line); }, [] { return time_t{0}; }};

 private:
  Response Handle(const Request& request) {
    if (request.target.Text() == "/slow") m_gone.wait();
    if (request.target.Text() == "/throw") throw std::runtime_error("no memory");
    Response response;
    response.body = request.target.Text();
    return response;
  }

  std::promise<void> m_go;
  const std::shared_future<void> m_gone = m_go.get_future().share();

 protected:
  Lanes lanes{{LaneOf, [this](const Request& request) { return Handle(request); },
               [](const Request& head) -> std::optional<Response> {
                 if (head.target.Text() != "/stranger") return std::nullopt;
                 return Response{401, {}, ""};
               },
               [](unsigned status, const Request&, const std::string& reason) {
                 Response response;
                 response.status = status;
                 response.body = reason;
                 return response;
               }},
              log};
};

TEST_F(LanesTest, Requests_of_every_lane_are_answered) {
  for (const char* method : {"GET", "POST", "SIGNIN", "HEALTH"}) {
    EXPECT_EQ(Ask(method, "/a").get().body, "/a") << method;
  }
}

TEST_F(LanesTest, Full_lane_refuses_and_does_not_hold_the_others) {
  auto looks = Fill("GET");
  const Response refused = looks.back().get();
  EXPECT_EQ(refused.status, 503U);
  EXPECT_EQ(refused.body, "More requests wait than can be answered soon.");
  EXPECT_EQ(refused.Header("Retry-After"), "5");
  EXPECT_GT(lanes.Waiting(Lanes::kLooks), 0U);
  auto signIns = Fill("SIGNIN");
  const Response later = signIns.back().get();
  EXPECT_EQ(later.status, 429U);
  EXPECT_EQ(later.body, "More sign-ins wait than can be checked soon.");
  EXPECT_EQ(later.Header("Retry-After"), "5");
  EXPECT_EQ(Ask("POST", "/a").get().body, "/a");
  EXPECT_EQ(Ask("HEALTH", "/a").get().body, "/a");
  looks.pop_back();
  signIns.pop_back();
  Go();
  for (auto& answer : looks) EXPECT_EQ(answer.get().body, "/slow");
  for (auto& answer : signIns) EXPECT_EQ(answer.get().body, "/slow");
}

TEST_F(LanesTest, Header_is_looked_at_in_the_lane_of_its_request) {
  const auto ask = [this](const std::string& method, const std::string& target) {
    const auto answer = std::make_shared<std::promise<std::optional<Response>>>();
    lanes.Admit(std::make_shared<const Request>(Request{method, target, "", "", "192.0.2.7"}),
                [answer](std::optional<Response> refusal) { answer->set_value(refusal); });
    return answer->get_future().get();
  };
  EXPECT_FALSE(ask("POST", "/a"));
  EXPECT_EQ(ask("POST", "/stranger")->status, 401U);
  Fill("SIGNIN");
  EXPECT_EQ(ask("SIGNIN", "/a")->status, 429U);
  EXPECT_FALSE(ask("POST", "/a"));
  Go();
}

TEST_F(LanesTest, Exception_drops_the_reply) {
  EXPECT_THROW(Ask("GET", "/throw").get(), std::future_error);
  EXPECT_EQ(Ask("GET", "/a").get().body, "/a");
  EXPECT_THAT(lines, ElementsAre(EndsWith("error: a task is given up: no memory")));
}

}  // namespace
}  // namespace cloudservice
