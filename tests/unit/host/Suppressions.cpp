// SPDX-License-Identifier: Apache-2.0
#if defined(__SANITIZE_THREAD__)
// One case uses a mutex wrongly on purpose, and the C library's lock around its time zone is not
// seen by the sanitizer.
extern "C" const char* __tsan_default_suppressions();  // NOLINT(bugprone-reserved-identifier)
extern "C" const char* __tsan_default_suppressions() {
  return "mutex:LxLinuxMutexTest_Wrong_uses\nrace:tzset_internal\n";
}
#endif
