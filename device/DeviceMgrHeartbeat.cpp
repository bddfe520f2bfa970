// SPDX-License-Identifier: Apache-2.0
// The heartbeat.
#include "base/CloudCfg.h"
#include "base/Masked.h"
#include "device/DeviceMgr.h"
#include "device/DeviceMgrState.h"
#include "platform/util/dlog.h"

namespace cloudclient {

namespace {

// Seconds between two heartbeats as the document announces them. The poster thread's rhythm is
// another one: 19 passes of 5 seconds.
// Kept: docs/kept-behaviour.md#heartbeat-rhythm
constexpr int kHeartbeatInterval = 90;

}  // namespace

void DeviceMgr::SendHeartbeat() {
  const cfg_cloud::CfgCloud* const cfg = CloudCfg();
  std::string baseUrl;
  if (cfg->GetUrl(baseUrl) != 0) {
    __dlog_printf(3, kUnit, "%s: Failed to get cloud service URL", "SendHeartbeat");
    return;
  }
  std::string token;
  if (cfg->GetXAuthToken(token) != 0) {
    __dlog_printf(3, kUnit, "%s: missing the xauthtoken ", "SendHeartbeat");
    return;
  }
  std::string uuid;
  if (cfg->GetUUID(uuid) != 0) {
    __dlog_printf(3, kUnit, "%s: Failed to get the UUID", "SendHeartbeat");
    return;
  }
  const std::string url = baseUrl + "/hb/" + uuid;
  const std::string document = R"({"HeartbeatDestination": ")" + url +
                               R"(", "HeartbeatInterval": )" + std::to_string(kHeartbeatInterval) +
                               "}";
  std::string body;
  std::string header;
  const HttpsResult result = m_httpsClient->PostJsonDocument(url, body, header, document, token);
  if (result != kHttpsOk) {
    __dlog_printf(3, kUnit, "%s: heartbeat failed", "SendHeartbeat");
    __dlog_printf(7, kUnit, "%s: heartbeat failed: response: %d  resp: %s  hdr: %s",
                  "SendHeartbeat", static_cast<int>(result), Masked(body).c_str(),
                  Masked(header).c_str());
  }
}

}  // namespace cloudclient
