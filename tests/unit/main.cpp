// SPDX-License-Identifier: Apache-2.0
// The main of all unit tests. The daemon's objects live as long as the process does, so each case
// has one of its own: a copy of this one before any case, which is there sooner than a program that
// is started anew. A single case runs in this process, for a debugger.
#include <fnmatch.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace {

bool MatchesOne(const std::string& patterns, const std::string& name) {
  std::istringstream all(patterns);
  for (std::string pattern; std::getline(all, pattern, ':');) {
    if (fnmatch(pattern.c_str(), name.c_str(), 0) == 0) return true;
  }
  return false;
}

// As GoogleTest has it: patterns, and behind a '-' those of what is not wanted.
bool IsWanted(const std::string& filter, const std::string& name) {
  const std::size_t without = std::min(filter.find('-'), filter.size());
  const std::string wanted = filter.substr(0, without);
  if (!wanted.empty() && !MatchesOne(wanted, name)) return false;
  return without == filter.size() || !MatchesOne(filter.substr(without + 1), name);
}

std::vector<std::string> WantedCases() {
  std::vector<std::string> cases;
  const std::string filter = GTEST_FLAG_GET(filter);
  const testing::UnitTest& all = *testing::UnitTest::GetInstance();
  for (int i = 0; i < all.total_test_suite_count(); ++i) {
    const testing::TestSuite& suite = *all.GetTestSuite(i);
    for (int k = 0; k < suite.total_test_count(); ++k) {
      const std::string name = std::string(suite.name()) + "." + suite.GetTestInfo(k)->name();
      if (IsWanted(filter, name)) cases.push_back(name);
    }
  }
  return cases;
}

// Runs the case in a copy of this process, and says whether it passed.
bool PassesApart(const std::string& name) {
  std::printf("[ RUN      ] %s\n", name.c_str());
  std::fflush(nullptr);
  const pid_t parent = getpid();
  const pid_t child = fork();
  if (child == 0) {
    // Whoever ends this program ends the case.
    if (prctl(PR_SET_PDEATHSIG, SIGKILL) != 0 || getppid() != parent) std::abort();
    GTEST_FLAG_SET(filter, name);
    std::exit(RUN_ALL_TESTS());
  }
  int status = 0;
  if (child < 0 || waitpid(child, &status, 0) != child) {
    std::perror("unit test: no process for the case");
    return false;
  }
  if (WIFSIGNALED(status)) {
    std::printf("[ ENDED    ] %s by signal %d\n", name.c_str(), WTERMSIG(status));
  } else if (status != 0) {
    std::printf("[ FAILED   ] %s with status %d\n", name.c_str(), WEXITSTATUS(status));
  }
  return status == 0;
}

}  // namespace

int main(int argc, char** argv) {
  GTEST_FLAG_SET(brief, true);  // of cases that pass
  testing::InitGoogleTest(&argc, argv);
  if (GTEST_FLAG_GET(list_tests)) return RUN_ALL_TESTS();
  const std::vector<std::string> cases = WantedCases();
  if (cases.empty()) {
    std::fprintf(stderr, "no case of this program passes the filter '%s'\n",
                 GTEST_FLAG_GET(filter).c_str());
    return 1;
  }
  if (cases.size() == 1) return RUN_ALL_TESTS();
  const auto failed = std::count_if(cases.begin(), cases.end(),
                                    [](const auto& name) { return !PassesApart(name); });
  std::printf("%zu cases, %ld failed\n", cases.size(), static_cast<long>(failed));
  return failed == 0 ? 0 : 1;
}
