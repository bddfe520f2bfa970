// SPDX-License-Identifier: Apache-2.0
#ifndef TESTS_UNIT_SERVICE_AUTH_AUTHTEST_H_
#define TESTS_UNIT_SERVICE_AUTH_AUTHTEST_H_

#include <stdexcept>
#include <string>

#include <gtest/gtest.h>

#include "TempFolder.h"
#include "TestStore.h"
#include "service/auth/Accounts.h"
#include "service/auth/Operators.h"

namespace cloudservice {

// Accounts and operators on a database of their own.
class AuthTest : public testing::Test {
 protected:
  TempFolder folder;
  std::int64_t now = 1772716029;
  TestStore store{folder.File("s.db")};
  Accounts accounts{store, [this] { return now; }};
  Operators operators{store, [this] { return now; }};

  template <typename Function>
  static std::string Fails(Function function) {
    try {
      function();
    } catch (const std::runtime_error& error) {
      return error.what();
    }
    ADD_FAILURE() << "nothing was wrong";
    return "";
  }
  static std::string Basic(const std::string& base64) { return "Basic " + base64; }
};

}  // namespace cloudservice

#endif  // TESTS_UNIT_SERVICE_AUTH_AUTHTEST_H_
