// SPDX-License-Identifier: Apache-2.0
// The service's answers into the whole daemon: connection, registration, chassis, a synchronisation
// and a pass of the poster, whatever it answers.
#include <cstdlib>
#include <memory>
#include <stdexcept>

#include "Fuzz.h"
#include "app/CloudClient.h"
#include "base/Policy.h"
#include "device/DeviceMgr.h"

namespace {

constexpr long kStatuses[] = {200, 201, 204, 302, 303, 400, 401, 403, 404, 409, 429, 500, 503};

// The next answer that the input holds; without one the service is away.
fakes::Response Next(fuzz::Input& input) {
  fakes::Response response;
  if (input.AtEnd()) {
    response.code = CURLE_COULDNT_CONNECT;
    return response;
  }
  const size_t kind = input.Choice(16);
  response.status = kind < 13 ? kStatuses[kind] : 200;
  response.header =
      "HTTP/1.1 " + std::to_string(response.status) + " OK\r\n" + input.Text('\1') + "\r\n\r\n";
  response.body = input.Text('\1');
  if (kind == 13) response.trailer = input.Text('\1');
  if (kind == 14) response.code = CURLE_PARTIAL_FILE;
  return response;
}

// The answers that the daemon may raise for, by its kept behaviour.
template <typename Step>
void Try(const Step& step) {
  try {
    step();
  } catch (const std::out_of_range&) {
  }
}

}  // namespace

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static const auto app = std::make_unique<cloudclient::CloudClient>("cloudclient");
  static cloudclient::DeviceMgr* const device = cloudclient::DeviceMgr::GetInstance();
  fuzz::Input input(data, size);
  fakes::platform().log.records.clear();

  cloudclient::Policy policy;
  policy.transport.freshAnswers = input.Choice(2) == 1;
  policy.alarms.pairAll = input.Choice(2) == 1;
  policy.search.endAtBase = true;
  cloudclient::UsePolicy(policy);
  fakes::platform().cloud.token = input.Choice(2) == 1 ? "token" : "";
  fakes::platform().cloud.chassis.clear();
  if (input.Choice(2) == 1) fakes::platform().cloud.chassis["17"] = 0;
  fakes::curl().respond = [&input](const fakes::Transfer&) { return Next(input); };

  Try([] { app->ConnectWithCloudService(); });
  Try([] { app->PostChassisInstance(); });
  Try([] { device->SyncChassisAlarms(0, "17"); });
  device->AddDeviceEvent({0, 10, 0, 3, 0});
  Try([] { device->SyncAlarms(); });
  Try([] { device->SendHeartbeat(); });
  Try([] { app->Unregister(); });
  fuzz::Require(fakes::curl().liveHandles == 0 && fakes::curl().liveLists == 0,
                "everything of a request is released");
  fuzz::Require(fakes::platform().mutexes.Held() == 0, "no lock is kept");
  fakes::curl().respond = nullptr;
  fuzz::Forget();
  return 0;
}
