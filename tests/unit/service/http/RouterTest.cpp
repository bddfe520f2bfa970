// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include "service/http/Router.h"

namespace cloudservice {
namespace {

class RouterTest : public testing::Test {
 protected:
  // The endpoint that is found, "none" for a path without the method, "" for no path.
  std::string Found(const std::string& method, const std::string& path) {
    const auto* found = router.Find(Target(path).Segments(), names);
    if (found == nullptr) return "";
    const std::string* endpoint = found->Find(method);
    return endpoint == nullptr ? "none" : *endpoint;
  }

  Router<std::string> router;
  std::vector<std::string> names;
};

TEST_F(RouterTest, Narrowest_path_counts_in_whatever_order_they_were_added) {
  router.Add("GET", "/c/**", "rest");
  router.Add("GET", "/c/*", "one");
  router.Add("GET", "/c/*/**", "below");
  router.Add("GET", "/c/*/**/history", "history below");
  router.Add("GET", "/c/*/history", "history");
  router.Add("GET", "/c/fixed", "fixed");
  EXPECT_EQ(Found("GET", "/c/fixed"), "fixed");
  EXPECT_EQ(Found("GET", "/c/a"), "one");
  EXPECT_EQ(Found("GET", "/c/a/b"), "below");
  EXPECT_EQ(Found("GET", "/c/a/b/d"), "below");
  EXPECT_EQ(Found("GET", "/c/a/history"), "history");
  EXPECT_EQ(Found("GET", "/c/a/b/history"), "history below");
  EXPECT_EQ(Found("GET", "/c/a/b/d/history"), "history below");
  EXPECT_EQ(Found("GET", "/c"), "");
  EXPECT_EQ(Found("GET", "/d/a"), "");
}

TEST_F(RouterTest, Wider_path_has_no_say_where_a_narrower_one_lacks_the_method) {
  router.Add("GET", "/c/fixed", "get");
  router.Add("PATCH", "/c/*", "patch");
  EXPECT_EQ(Found("PATCH", "/c/fixed"), "none");
}

TEST_F(RouterTest, Single_stars_are_named_in_their_order) {
  router.Add("GET", "/a/*/**/x/*", "x");
  EXPECT_EQ(Found("GET", "/a/1/2/3/x/4"), "x");
  EXPECT_EQ(names, (std::vector<std::string>{"1", "4"}));
}

TEST_F(RouterTest, Path_with_two_open_ends_is_a_mistake_of_the_program) {
  EXPECT_THROW(router.Add("GET", "/a/**/b/**", "x"), std::logic_error);
  EXPECT_EQ(Found("GET", "/a/1/b/2"), "");
}

TEST_F(RouterTest, Methods_of_a_path_stand_together_in_the_order_of_their_adding) {
  router.Add("POST", "/a", "post");
  router.Add("GET", "/b", "other");
  router.Add("GET", "/a", "get");
  const auto* path = router.Find({"a"}, names);
  ASSERT_NE(path, nullptr);
  ASSERT_EQ(path->methods.size(), 2u);
  EXPECT_EQ(path->methods[0].name, "POST");
  EXPECT_EQ(path->methods[1].name, "GET");
}

}  // namespace
}  // namespace cloudservice
