// SPDX-License-Identifier: Apache-2.0
#include "AppTest.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>

using cloudclient::CloudClient;

RootFolder::RootFolder() {
  std::string path = testing::TempDir() + "appXXXXXX";
  if (mkdtemp(path.data()) == nullptr) abort();
  m_path = path;
}

RootFolder::~RootFolder() {
  std::error_code error;
  std::filesystem::remove_all(m_path, error);
}

void RootFolder::Holds(const std::string& path) {
  const std::filesystem::path file(m_path + path);
  std::filesystem::create_directories(file.parent_path());
  if (!std::ofstream(file)) abort();
}

void RootFolder::Drops(const std::string& path) { std::filesystem::remove(m_path + path); }

AppTest::AppTest() : cloud(fakes::platform().cloud), sysInfo(fakes::platform().sysInfo) {}

void AppTest::SetUp() {
  fakes::PlatformTest::SetUp();
  fakes::platform().root = root.Path();
  fakes::platform().framework.managedVelId = 3;
  root.Holds(std::string(kDataFolder) + "/cloudchassis.txt");
  root.Holds(std::string(kDataFolder) + "/covpatchmap.txt");
  fakes::platform().pages.texts["1/2/3/cloudchassis.txt"] = "{\"Name\": \"Chassis\"}";
  cloud.token = "t-1";
  steps().Listen(cloud.url);
}

CloudClient& AppTest::App() {
  static bool made = false;
  if (!m_app) {
    if (made) abort();  // the cases were not given a process each
    made = true;
    m_app = std::make_unique<CloudClient>("cloudclient");
  }
  return *m_app;
}

CloudClient& AppTest::FreshApp() {
  CloudClient& app = App();
  steps().Forget();
  fakes::platform().configCalls.clear();
  return app;
}

void AppTest::ServiceHasRoot() { service.answers("GET", "/redfish/v1", 200, kRootDocument); }

void AppTest::LookUpIsAnswered(long status, const std::string& body,
                               const std::vector<std::string>& headerLines) {
  service.answers("GET", kLookUpPath, status, body, headerLines);
}

void AppTest::ServiceRegisters() {
  service.answers("POST", "/redfish/v1/Managers?setup_email=*", 201, "{}", {"X-Auth-Token: t-2"});
  service.answers("POST", "/redfish/v1/Chassis", 201, R"({"Id":"c-1"})");
}
