// SPDX-License-Identifier: Apache-2.0
// Options of ThreadSanitizer's run-time library for every test of such a build. The history keeps
// the second stack of a report, by which some entries of the list match.
extern "C" const char* __tsan_default_options();  // NOLINT(bugprone-reserved-identifier)

extern "C" const char* __tsan_default_options() {
  return "suppressions=" TSAN_SUPPRESSIONS ":history_size=7";
}
