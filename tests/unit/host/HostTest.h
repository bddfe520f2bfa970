// SPDX-License-Identifier: Apache-2.0
#ifndef TESTS_UNIT_HOST_HOSTTEST_H_
#define TESTS_UNIT_HOST_HOSTTEST_H_

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "host/device/DeviceEngine.h"
#include "host/device/DeviceModel.h"
#include "host/util/Fd.h"

// Where the appliance has its cloud section.
constexpr char kCloudFile[] = "/etc/cloudclient/cloud.json";

// A root folder of its own and a look at what is written to standard error, log level 7.
class HostTest : public testing::Test {
 protected:
  HostTest();
  ~HostTest() override;

  const std::string& Root() const { return m_root; }
  // This machine's path of one of the appliance's.
  std::string In(const std::string& path) const { return m_root + path; }
  // Writes a file below the root, in place, with the folders that it needs.
  void Write(const std::string& path, const std::string& text) const;
  // Puts a file in the place of another one by a rename.
  void Replace(const std::string& path, const std::string& text) const;
  std::string Read(const std::string& path) const;
  bool Exists(const std::string& path) const;
  // Names of the files of a folder, those of locks left out.
  std::vector<std::string> Files(const std::string& folder) const;
  // A file that nobody can read, not even root.
  void MakeUnreadable(const std::string& path) const;

  // The log so far, and its lines that hold `text`.
  std::string Log() const;
  int LogCount(const std::string& text) const;

  // Runs `body` in a child process, which must not have started a thread before. Its exit status,
  // 128 and the signal's number when a signal ended it.
  struct Child {
    int pid;
    int Wait() const;
  };
  Child Run(const std::function<int()>& body) const;
  // The same as another user: kOther when the tests run as root, else whoever runs them.
  static constexpr unsigned int kOther = 65534;
  Child RunAsOther(const std::function<int()>& body) const;
  // Waits until the log holds `text`, or fails.
  void AwaitLog(const std::string& text) const;

 private:
  std::string m_root;
  host::Fd m_savedError;
};

// Waits until `met` is true; false when it is not within a time that is never reached otherwise.
bool Await(const std::function<bool()>& met);

// The model of a description that has nothing wrong in it.
host::DeviceModel ModelOf(const std::string& json);

#endif  // TESTS_UNIT_HOST_HOSTTEST_H_
