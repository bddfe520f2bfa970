// SPDX-License-Identifier: Apache-2.0
#ifndef TESTS_UNIT_APP_APPTEST_H_
#define TESTS_UNIT_APP_APPTEST_H_

#include <memory>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Steps.h"
#include "app/CloudClient.h"
#include "fakes/PlatformTest.h"
#include "fakes/Service.h"

// A folder that takes the place of the appliance's root.
class RootFolder {
 public:
  RootFolder();
  ~RootFolder();
  RootFolder(const RootFolder&) = delete;
  RootFolder& operator=(const RootFolder&) = delete;

  const std::string& Path() const { return m_path; }
  // An empty file at a path of the appliance.
  void Holds(const std::string& path);
  void Drops(const std::string& path);

 private:
  std::string m_path;
};

// A case of the application: an enabled appliance with the token "t-1", device 3, both data files
// in the folder of its sequence 1.2.3, and a service that knows nothing. The device manager goes
// with the application for good, so that a process has room for one case.
class AppTest : public fakes::PlatformTest {
 protected:
  AppTest();
  void SetUp() override;

  // The application; made by the first call.
  cloudclient::CloudClient& App();
  // The same with the steps of its making forgotten.
  cloudclient::CloudClient& FreshApp();
  // Destroys the application.
  void Drop() { m_app.reset(); }

  // The root document that leads to the managers.
  void ServiceHasRoot();
  // The look-up by UUID is answered so.
  void LookUpIsAnswered(long status, const std::string& body = "",
                        const std::vector<std::string>& headerLines = {});
  // Registration and the chassis's post are taken: token "t-2", chassis "c-1".
  void ServiceRegisters();

  fakes::Service service;
  fakes::CloudConfig& cloud;
  fakes::SysInfoConfig& sysInfo;
  RootFolder root;

 private:
  std::unique_ptr<cloudclient::CloudClient> m_app;
};

constexpr char kUuid[] = "6f1c1e1a-6c5b-4d0e-9f6e-0a4b5f0d2a11";
constexpr char kManagerPath[] = "/redfish/v1/Managers/6f1c1e1a-6c5b-4d0e-9f6e-0a4b5f0d2a11";
constexpr char kLookUpPath[] = "/redfish/v1/Managers?uuid=6f1c1e1a-6c5b-4d0e-9f6e-0a4b5f0d2a11";
constexpr char kRegisterPath[] =
    "/redfish/v1/Managers?setup_email=owner@example.com&registration_key=key-1";
constexpr char kRootDocument[] = R"({"Managers":{"@odata.id":"/redfish/v1/Managers"}})";
constexpr char kDataFolder[] = "/var/local/orv/pldserver/0/1/2/3";

#endif  // TESTS_UNIT_APP_APPTEST_H_
