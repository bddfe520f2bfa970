// SPDX-License-Identifier: Apache-2.0
// The chassis of the managed device at the service.
#include <algorithm>

#include "app/CloudClient.h"
#include "app/CloudClientUnit.h"
#include "base/JsonText.h"
#include "base/Masked.h"
#include "device/DeviceMgr.h"
#include "platform/pld/PldConstants.h"
#include "platform/pld/PldQueryWorker.h"
#include "platform/util/dlog.h"

namespace cloudclient {

namespace {

const char kChassisPath[] = "/redfish/v1/Chassis";

// A page's name begins after "pldserver/" and the two characters of the instance's folder, "0/".
const char kPldServer[] = "pldserver/";
constexpr size_t kPldServerCut = 12;

}  // namespace

AppResult CloudClient::PostChassisInstance() {
  std::string baseUrl;
  if (m_cfgCloud->GetUrl(baseUrl) != 0) {
    __dlog_printf(3, kUnit, "%s: Failed to get the cloud service base URL", "PostChassisInstance");
    return kAppNoUrl;
  }
  const std::string url = baseUrl + kChassisPath;
  std::string token;
  if (m_cfgCloud->GetXAuthToken(token) != 0) {
    __dlog_printf(3, kUnit, "%s: Failed to get the xauthtoken", "PostChassisInstance");
    return kAppNoToken;
  }
  const int velId = GetManagedDeviceVelId();
  if (velId < 0) {
    __dlog_printf(3, kUnit, "%s: Invalid managed device id(%i)", "PostChassisInstance", velId);
    return kAppNoDevice;
  }
  std::string path;
  const bool found = m_deviceMgr->FindPath(velId, path, pld::kChassisTemplateFile) != 0;
  const size_t server = path.find(kPldServer);
  if (!found || server == std::string::npos) {
    __dlog_printf(3, kUnit, "%s: Failed to find chassis pld (%s)", "PostChassisInstance",
                  path.c_str());
    return kAppNoTemplate;
  }
  const std::string page = path.substr(std::min(server + kPldServerCut, path.size()));
  std::string document = PldQueryWorker::GetDocument(GetPldProxy(), "", page, velId);
  m_deviceMgr->FillSevenDayValues(document);
  m_deviceMgr->UpdateDocWithTempUomValues(velId, document);

  m_httpsClient.EndConnection();
  std::string body;
  std::string header;
  if (m_httpsClient.PostJsonDocument(url, body, header, document, token) != kHttpsOk) {
    __dlog_printf(3, kUnit, "%s: Failed to POST Chassis\nURI: %s\nDocument:\n%s",
                  "PostChassisInstance", Masked(url).c_str(), Masked(document).c_str());
    return kAppRequestFailed;
  }
  return RecordChassis(body, velId);
}

// Adds the chassis whose `Id` the answer to its post holds to the configured list.
AppResult CloudClient::RecordChassis(const std::string& responseBody, int velId) {
  // Kept: docs/kept-behaviour.md#brace-begins-a-line
  const size_t newline = responseBody.find("\n{");
  if (newline == std::string::npos) {
    __dlog_printf(3, kUnit, "%s: Failed to find json document begin", "PostChassisInstance");
    return kAppNoJson;
  }
  const JsonRef root(json_loads(responseBody.c_str() + newline + 1, JSON_DECODE_ANY, nullptr));
  if (!root) {
    __dlog_printf(3, kUnit, "%s: Failed to parse response document", "PostChassisInstance");
    return kAppNoJson;
  }
  const json_t* const id = json_object_get(root.get(), "Id");
  if (!json_is_string(id)) {
    __dlog_printf(3, kUnit, "%s: Failed to find Id in response document", "PostChassisInstance");
    return kAppNoId;
  }
  m_cfgCloud->AddChassis(JsonText(id), velId);
  m_cfgCloud->Save();
  return kAppOk;
}

// Takes a chassis that the service links with the manager for the configured one: what answered its
// post was lost. kAppNoCollection when there is none; a link that leads nowhere is none.
// kAppDocumentNotFetched when that can't be known, kAppNoId when the configuration does not take
// it.
AppResult CloudClient::TakeLinkedChassis(const std::string& managerDoc) {
  const int velId = GetManagedDeviceVelId();
  const size_t brace = managerDoc.find('{');
  if (velId < 0 || brace == std::string::npos) return kAppNoCollection;
  const JsonRef root(json_loads(managerDoc.c_str() + brace, JSON_DISABLE_EOF_CHECK, nullptr));
  const json_t* const links = json_object_get(root.get(), "Links");
  const json_t* const chassis = json_object_get(links, "ManagerForChassis");
  for (size_t i = 0; i < json_array_size(chassis); ++i) {
    const json_t* const link = json_object_get(json_array_get(chassis, i), "@odata.id");
    if (!json_is_string(link)) continue;
    std::string id;
    const AppResult fetched = FetchChassisId(JsonText(link), id);
    if (fetched != kAppOk) return fetched;
    if (id.empty()) continue;
    __dlog_printf(5, kUnit, "%s: the Cloud Service has chassis %s of this appliance already",
                  "ConnectWithCloudService", id.c_str());
    if (m_cfgCloud->AddChassis(id, velId) != 0) return kAppNoId;
    m_cfgCloud->Save();
    return kAppOk;
  }
  return kAppNoCollection;
}

// The `Id` of a chassis document; empty where the service says that there is none.
AppResult CloudClient::FetchChassisId(const std::string& path, std::string& id) {
  std::string baseUrl;
  std::string token;
  if (m_cfgCloud->GetUrl(baseUrl) != 0 || m_cfgCloud->GetXAuthToken(token) != 0) {
    return kAppConfigUnreadable;
  }
  std::string body;
  std::string header;
  long status = 0;
  if (m_httpsClient.GetAuthDocument(baseUrl + path, body, header, token, status) != kHttpsOk) {
    constexpr long kNotFound = 404;
    constexpr long kGone = 410;
    return status == kNotFound || status == kGone ? kAppOk : kAppDocumentNotFetched;
  }
  const size_t brace = std::min(body.find('{'), body.size());
  const JsonRef root(json_loads(body.c_str() + brace, JSON_DISABLE_EOF_CHECK, nullptr));
  id = JsonText(json_object_get(root.get(), "Id"));
  return kAppOk;
}

// Kept: docs/kept-behaviour.md#unread-manager
void CloudClient::ReconcileWithCloudService(const std::string& /*managerDoc*/) {
  std::map<std::string, cfg_cloud::CfgCloudChassis> configured;
  m_cfgCloud->GetConfiguredChassis(configured);
  if (configured.empty()) {
    __dlog_printf(3, kUnit, "%s: No configure chassis", "ReconcileWithCloudService");
    return;
  }
  // Kept: docs/kept-behaviour.md#first-chassis
  const std::string chassisId = configured.begin()->first;
  if (configured.size() > 1) {
    __dlog_printf(3, kUnit, "%s: Multiple chassis detected -- only one supported (%s)",
                  "ReconcileWithCloudService", chassisId.c_str());
  }
  m_deviceMgr->SyncChassisAlarms(GetManagedDeviceVelId(), chassisId);
}

AppResult CloudClient::GetChassisIdFromChassisDoc(const std::string& chassisPath, std::string& id) {
  std::string doc;
  const AppResult result = GetAuthDocument(chassisPath, doc);
  if (result != kAppOk) return result;
  const JsonRef root(json_loads(doc.c_str(), 0, nullptr));
  if (!root) {
    __dlog_printf(3, kUnit, "%s: Failed to parse chassis document", "GetChassisIdFromChassisDoc");
    return kAppNoJson;
  }
  const json_t* const member = json_object_get(root.get(), "Id");
  if (!json_is_string(member)) return kAppNoId;
  id = JsonText(member);
  return kAppOk;
}

AppResult CloudClient::DeleteChassisInstanceFromCloudService(const std::string& id) {
  AppResult result = kAppOk;
  std::string baseUrl;
  std::string token;
  // Kept: docs/kept-behaviour.md#unsent-delete-succeeds
  if (m_cfgCloud->GetUrl(baseUrl) == 0 && m_cfgCloud->GetXAuthToken(token) == 0) {
    const HttpsResult deleted =
        m_httpsClient.DeleteResource(baseUrl + kChassisPath + "/" + id, token);
    if (deleted != kHttpsOk) {
      __dlog_printf(3, kUnit, "%s: Failed to delete (%u) chassis from the Cloud Service",
                    "DeleteChassisInstanceFromCloudService", deleted);
      result = kAppDeleteRefused;
    }
  }
  if (!id.empty()) {
    m_cfgCloud->RemoveChassis(id);
    m_cfgCloud->Save();
  }
  return result;
}

// Kept: docs/kept-behaviour.md#uncalled-chassis
AppResult CloudClient::ReconcileChassis(const std::string& managerDoc) {
  std::map<std::string, cfg_cloud::CfgCloudChassis> configured;
  m_cfgCloud->GetConfiguredChassis(configured);
  const JsonRef root(json_loads(managerDoc.c_str(), JSON_DECODE_ANY, nullptr));
  if (!root) return kAppManagerNotJson;
  const json_t* const links = json_object_get(root.get(), "Links");
  if (links == nullptr) return kAppNoLinks;
  const json_t* const chassis = json_object_get(links, "ManagerForChassis");
  if (chassis == nullptr) return kAppNoCollection;

  const size_t count = json_array_size(chassis);
  bool post = count == 0;
  AppResult result = kAppOk;
  for (size_t i = 0; i < count; ++i) {
    std::string id;
    result = LinkedChassisId(json_array_get(chassis, i), id);
    if (result == kAppOk && configured.count(id) != 0) continue;
    if (!id.empty()) DeleteChassisInstanceFromCloudService(id);
    for (const auto& entry : configured) {
      m_cfgCloud->RemoveChassis(entry.first);
      __dlog_printf(7, kUnit, "%s: removed cloud client chassis %s", "ReconcileChassis",
                    entry.first.c_str());
    }
    m_cfgCloud->Save();
    post = true;
  }
  return post ? PostChassisInstance() : result;
}

// The `Id` of the chassis that an element of the manager's links refers to.
AppResult CloudClient::LinkedChassisId(const json_t* link, std::string& id) {
  const json_t* const odataId = json_object_get(link, "@odata.id");
  if (!json_is_string(odataId)) return kAppNoOdataId;
  return GetChassisIdFromChassisDoc(JsonText(odataId), id);
}

}  // namespace cloudclient
