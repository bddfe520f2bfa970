// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include "service/page/Assets.h"
#include "service/page/Page.h"

namespace cloudservice {
namespace {

Request Asking(const std::string& target, const std::string& method = "GET") {
  Request request;
  request.method = method;
  request.target = target;
  return request;
}

std::string Text(std::string_view view) { return std::string(view); }

TEST(PageTest, Page_is_the_same_at_each_of_its_addresses) {
  const std::string page = Text(Assets().front().bytes);
  for (const char* target : {"/", "/?q=hall&sort=-alarms", "/appliances/6e1f0002-5a54-4a0e",
                             "/appliances/a%22b?kind=alarm"}) {
    const std::optional<Response> response = AnswerPage(Asking(target));
    ASSERT_TRUE(response) << target;
    EXPECT_EQ(response->status, 200U);
    EXPECT_EQ(response->type, "text/html; charset=utf-8");
    EXPECT_EQ(response->Content(), page);
    EXPECT_EQ(response->Header("Cache-Control"), "no-cache");
  }
}

TEST(PageTest, Every_file_that_the_page_names_is_served_and_may_be_kept) {
  const std::string page = Text(Assets().front().bytes);
  std::size_t named = 0;
  for (std::size_t at = page.find("\"/assets/"); at != std::string::npos;
       at = page.find("\"/assets/", at + 1)) {
    const std::string path = page.substr(at + 1, page.find('"', at + 1) - at - 1);
    const std::optional<Response> response = AnswerPage(Asking(path));
    ASSERT_TRUE(response) << path;
    EXPECT_EQ(response->status, 200U);
    EXPECT_FALSE(response->Content().empty());
    EXPECT_EQ(response->Header("Cache-Control"), "public, max-age=31536000, immutable");
    ++named;
  }
  EXPECT_EQ(named, Assets().size() - 1);
}

TEST(PageTest, Page_names_no_address_outside_the_service) {
  const std::string page = Text(Assets().front().bytes);
  EXPECT_EQ(page.find("//"), std::string::npos);
}

// However many ask for them and do not read.
TEST(PageTest, Files_are_not_copied_for_each_answer) {
  for (const Asset& asset : Assets()) {
    const std::string path = &asset == &Assets().front() ? "/" : Text(asset.path);
    EXPECT_EQ(AnswerPage(Asking(path))->Content().data(), asset.bytes.data());
  }
}

TEST(PageTest, Answers_carry_the_policies_of_a_page_that_trusts_nobody_else) {
  for (const Asset& asset : Assets()) {
    const std::string path = &asset == &Assets().front() ? "/" : Text(asset.path);
    const Response response = *AnswerPage(Asking(path));
    EXPECT_EQ(response.Header("Content-Security-Policy").rfind("default-src 'self'; ", 0), 0U);
    EXPECT_EQ(response.Header("X-Content-Type-Options"), "nosniff");
    EXPECT_EQ(response.Header("Referrer-Policy"), "no-referrer");
  }
}

TEST(PageTest, A_browser_that_has_the_file_is_told_so) {
  const std::string etag = AnswerPage(Asking("/"))->Header("ETag");
  Request request = Asking("/");
  ASSERT_EQ(etag.rfind("W/\"", 0), 0U);
  for (const std::string& known : {etag, "\"other\", " + etag, etag.substr(2), std::string("*")}) {
    request.headers = {{"if-none-match", known}};
    const Response response = *AnswerPage(request);
    EXPECT_EQ(response.status, 304U) << known;
    EXPECT_EQ(response.Content(), "");
    EXPECT_EQ(response.Header("ETag"), etag);
    EXPECT_EQ(response.Header("Vary"), "Accept-Encoding");
  }
  for (const std::string& known : {std::string("\"other\""), etag.substr(3), std::string()}) {
    request.headers = {{"If-None-Match", known}};
    EXPECT_EQ(AnswerPage(request)->status, 200U) << known;
  }
}

TEST(PageTest, Other_methods_are_refused) {
  EXPECT_EQ(AnswerPage(Asking("/", "HEAD"))->status, 200U);
  const Response response = *AnswerPage(Asking("/", "POST"));
  EXPECT_EQ(response.status, 405U);
  EXPECT_EQ(response.Header("Allow"), "GET, HEAD");
}

TEST(PageTest, Everything_else_is_left_to_others) {
  for (const char* target : {"/redfish/v1", "/assets", "/assets/", "/assets/none.js", "/index.html",
                             "/assets/../index.html", "/assets/%2e%2e/index.html", "/appliances",
                             "/appliances/a/b", "//", "", "*"}) {
    EXPECT_FALSE(AnswerPage(Asking(target))) << target;
  }
}

}  // namespace
}  // namespace cloudservice
