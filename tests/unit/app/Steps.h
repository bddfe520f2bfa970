// SPDX-License-Identifier: Apache-2.0
#ifndef TESTS_UNIT_APP_STEPS_H_
#define TESTS_UNIT_APP_STEPS_H_

#include <string>
#include <vector>

// What the application did, in one order, each step a text:
//   "5 DoWork: cloudclient is now ENABLED"  a message of its unit
//   "GET /redfish/v1"                       a request, by method and path
//   "cloud.Save"                            a change or the storing of the cloud section
//   "sleep 5000000"                         a sleep, in microseconds
//   "DeviceMgr::Start"                      a call of another class, or of libcurl
class Steps {
 public:
  // Begins to listen to the fakes. `baseUrl` is left out of the paths.
  void Listen(const std::string& baseUrl);
  void Add(const std::string& step);
  // The steps so far, and those up to `level` where messages are concerned.
  const std::vector<std::string>& All(int level = 7);
  // Forgets the steps so far.
  void Forget();

 private:
  struct Step {
    int level;  // 0 for what is no message
    std::string text;
  };

  void TakeMessages();

  std::vector<Step> m_steps;
  std::vector<std::string> m_shown;
  size_t m_messagesTaken = 0;
};

// The one of the process.
Steps& steps();

#endif  // TESTS_UNIT_APP_STEPS_H_
