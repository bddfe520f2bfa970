// SPDX-License-Identifier: Apache-2.0
#include <cerrno>
#include <stdexcept>

#include <gtest/gtest.h>

#include "host/util/ExceptionText.h"
#include "host/util/Problem.h"

using host::Problem;

TEST(ProblemTest, Nothing_went_wrong_without_words_and_without_an_errno) {
  EXPECT_FALSE(Problem());
  EXPECT_FALSE(Problem::OfErrno(0));
  EXPECT_EQ(Problem().Text(), "");
  EXPECT_EQ(Problem().Errno(), 0);
}

TEST(ProblemTest, Words_are_told_as_they_are) {
  const Problem problem("is not a text");
  EXPECT_TRUE(problem);
  EXPECT_EQ(problem.Text(), "is not a text");
  EXPECT_EQ(problem.Errno(), 0);
}

TEST(ProblemTest, Errno_is_told_in_the_systems_words) {
  const Problem problem = Problem::OfErrno(ENOENT);
  EXPECT_TRUE(problem);
  EXPECT_EQ(problem.Text(), "No such file or directory");
  EXPECT_EQ(problem.Errno(), ENOENT);
}

TEST(ProblemTest, What_failed_comes_before_the_words_and_the_errno_stays) {
  const Problem problem = Problem::OfErrno(EACCES).With("/f/a").With("its lock");
  EXPECT_EQ(problem.Text(), "its lock: /f/a: Permission denied");
  EXPECT_EQ(problem.Errno(), EACCES);
  EXPECT_EQ(Problem("holds no number").With("/f/a").Text(), "/f/a: holds no number");
}

TEST(ExceptionTextTest, Every_exception_has_a_text) {
  const auto text = [](auto thrown) {
    try {
      throw thrown;
    } catch (...) {
      return std::string(host::ExceptionText());
    }
  };
  EXPECT_EQ(text(std::runtime_error("no thread")), "no thread");
  EXPECT_EQ(text(std::runtime_error("")), "an exception without a text");
  EXPECT_EQ(text(7), "an exception without a text");
}
