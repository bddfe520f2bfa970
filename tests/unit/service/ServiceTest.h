// SPDX-License-Identifier: Apache-2.0
#ifndef TESTS_UNIT_SERVICE_SERVICETEST_H_
#define TESTS_UNIT_SERVICE_SERVICETEST_H_

#include <memory>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "PayloadCheck.h"
#include "TempFolder.h"
#include "TestStore.h"
#include "service/ops/CleanUp.h"
#include "service/redfish/Service.h"
#include "service/util/Secret.h"

namespace cloudservice {

// The service on a database of its own, asked without sockets. Its clock stands at `now`.
class ServiceTest : public testing::Test {
 protected:
  using Headers = std::vector<std::pair<std::string, std::string>>;

  ServiceTest() { Restart(); }

  // What a new start of the program finds.
  void Restart() {
    service.reset();
    store = std::make_unique<TestStore>(folder.File("service.db"));
    accounts = std::make_unique<Accounts>(*store, [this] { return now; });
    if (!accounts->Any()) (*store)->AddRegistrationKey(kEmail, KeyHash(), false, now);
    service = std::make_unique<RedfishService>(*store, log, *accounts, [this] { return now; });
    cleanUp = std::make_unique<CleanUp>(
        *store, log, [this] { return now; }, Retention());
  }

  // Of the least cost: each case makes it, and looks at it with each registration.
  static std::string KeyHash() {
    return HashPasswordLike("key-7", "scrypt$1$8$1$" + std::string(32, '5') + "$0").value();
  }

  // Every document that is answered has to be what its type says.
  Response Ask(const std::string& method, const std::string& target, const std::string& token = "",
               const std::string& body = "", const Headers& headers = {}) {
    Response response = service->Handle(Request{method, target, body, token, "192.0.2.7", headers});
    const bool selected = target.find("$select") != std::string::npos;
    const Json document = Json::parse(response.body, nullptr, false);
    if (document.is_object() && document.contains("@odata.id")) {
      EXPECT_THAT(FaultsOf(document, selected), testing::IsEmpty()) << method << " " << target;
    }
    return response;
  }

  // The answer's body; its status has to be `status`.
  Json Got(unsigned status, const Response& response) {
    EXPECT_EQ(response.status, status) << response.body;
    return response.body.empty() ? Json() : Json::parse(response.body);
  }

  static std::string Header(const Response& response, const std::string& name) {
    return response.Header(name);
  }

  // The text of the Redfish error object.
  static std::string ErrorText(const Response& response) {
    return Json::parse(response.body).at("error").at("message").get<std::string>();
  }

  Response Register(const std::string& uuid, const std::string& name = "Unit 7") {
    return Ask("POST", kRegistration, "",
               Json{{"UUID", uuid}, {"Name", name}, {"Model", "Kyros"}}.dump());
  }

  // Registers and returns the token.
  std::string Token(const std::string& uuid, const std::string& name = "Unit 7") {
    return Header(Register(uuid, name), "X-Auth-Token");
  }

  // Creates a chassis and returns its identifier.
  std::string Chassis(const std::string& token, const std::string& body = "{}") {
    return Got(201, Ask("POST", "/redfish/v1/Chassis", token, body)).at("Id").get<std::string>();
  }

  static constexpr const char* kEmail = "owner+1&2@example.org";
  static constexpr const char* kRegistration =
      "/redfish/v1/Managers?setup_email=owner+1&2@example.org&registration_key=key-7";

  TempFolder folder;
  time_t now = 1772716029;
  std::vector<std::string> lines;
  Log log{[this](const std::string& line) { lines.push_back(line); }, [this] { return now; }};
  std::unique_ptr<TestStore> store;
  std::unique_ptr<Accounts> accounts;
  std::unique_ptr<RedfishService> service;
  std::unique_ptr<CleanUp> cleanUp;
};

}  // namespace cloudservice

#endif  // TESTS_UNIT_SERVICE_SERVICETEST_H_
