// SPDX-License-Identifier: Apache-2.0
// Finding the appliance's manager at the service, registration and unregistration.
#include "app/CloudClient.h"
#include "app/CloudClientUnit.h"
#include "app/HeaderText.h"
#include "base/JsonText.h"
#include "base/LocalTime.h"
#include "base/Masked.h"
#include "base/ServiceUrl.h"
#include "platform/framework/KyrosInfo.h"
#include "platform/util/dlog.h"

namespace cloudclient {

AppResult CloudClient::GetServiceRoot(std::string& doc) {
  std::string baseUrl;
  if (m_cfgCloud->GetUrl(baseUrl) != 0) return kAppNotConfigured;
  std::string header;
  const HttpsResult result = m_httpsClient.GetDocument(baseUrl + "/redfish/v1", doc, header);
  return result == kHttpsOk ? kAppOk : kAppServiceNotReached;
}

AppResult CloudClient::GetManagersURI(std::string& managersPath) {
  std::string doc;
  const AppResult result = GetServiceRoot(doc);
  if (result != kAppOk) return result;
  const JsonRef root(json_loads(doc.c_str(), JSON_DECODE_ANY, nullptr));
  if (!root) {
    __dlog_printf(3, kUnit, "%s: Cloud Client can't parse the Service Root document",
                  "GetManagersURI");
    return kAppRootNotJson;
  }
  const json_t* const managers = json_object_get(root.get(), "Managers");
  if (managers == nullptr) {
    __dlog_printf(3, kUnit, "%s: Cannot find Manager object in Service Root", "GetManagersURI");
    return kAppNoCollection;
  }
  const json_t* const odataId = json_object_get(managers, "@odata.id");
  if (odataId == nullptr) {
    __dlog_printf(3, kUnit, "%s: Missing manager's odata.id", "GetManagersURI");
    return kAppNoOdataId;
  }
  if (!json_is_string(odataId)) {
    __dlog_printf(3, kUnit, "%s: Unexpected form for the odata.id", "GetManagersURI");
    return kAppNoOdataId;
  }
  managersPath = JsonText(odataId);
  return kAppOk;
}

AppResult CloudClient::GetManagerInstance(std::string& managerDoc) {
  std::string managersPath;
  const AppResult found = GetManagersURI(managersPath);
  if (found != kAppOk) return found;

  // What can't be read stays empty: the service then refuses the request.
  std::string baseUrl;
  std::string uuid;
  std::string token;
  m_cfgCloud->GetUrl(baseUrl);
  m_cfgCloud->GetUUID(uuid);
  m_cfgCloud->GetXAuthToken(token);
  std::string body;
  std::string header;
  HttpsResult result =
      m_httpsClient.GetAuthDocument(baseUrl + managersPath + "?uuid=" + uuid, body, header, token);
  if (result == kHttpsRedirect) {
    // Kept: docs/kept-behaviour.md#location-is-a-path
    std::string location;
    if (FindLocation(header, location)) {
      body.clear();
      header.clear();
      result = m_httpsClient.GetAuthDocument(baseUrl + location, body, header, token);
    } else {
      __dlog_printf(3, kUnit, "%s: Missing LOCATION on redirect", "GetManagerInstance");
    }
  }
  if (result == kHttpsOk) {
    managerDoc = body;
    return kAppOk;
  }
  // Kept: docs/kept-behaviour.md#only-403-registers
  if (result == kHttpsForbidden) {
    m_cfgCloud->RemoveAllChassis();
    m_cfgCloud->SetXAuthToken("");
    m_cfgCloud->Save();
    return kAppNotRegistered;
  }
  __dlog_printf(3, kUnit, "%s: Failed to retrieve manager instance", "GetManagerInstance");
  return kAppRequestFailed;
}

AppResult CloudClient::Register() {
  if (!m_cfgCloud->IsFullyConfigured()) {
    __dlog_printf(3, kUnit, "%s: Failed to register device -- not fully configured", "Register");
    return kAppNotConfigured;
  }
  std::string baseUrl;
  std::string email;
  std::string key;
  std::string uuid;
  std::string unitName;
  m_cfgCloud->GetUrl(baseUrl);
  m_cfgCloud->GetUserEmail(email);
  m_cfgCloud->GetKey(key);
  m_cfgCloud->GetUUID(uuid);
  m_cfgCloud->GetUnitName(unitName);
  // Kept: docs/kept-behaviour.md#raw-query
  const std::string url =
      baseUrl + "/redfish/v1/Managers?setup_email=" + email + "&registration_key=" + key;
  std::string document;
  BuildFlatJson({{"DateTime", LocalTimeText("%FT%T%z", 100)},
                 {"FirmwareVersion", KyrosInfo().GetAppVersion()},
                 {"ManagerType", "ManagementController"},
                 {"Model", "Kyros"},
                 {"Name", unitName},
                 {"UUID", uuid}},
                document);
  std::string body;
  std::string header;
  if (m_httpsClient.PostJsonDocument(url, body, header, document, "") != kHttpsOk) {
    __dlog_printf(3, kUnit, "%s: Failed to register device with UUID(%s)", "Register",
                  uuid.c_str());
    __dlog_printf(7, kUnit, "%s: hdr: %s", "Register", Masked(header).c_str());
    __dlog_printf(7, kUnit, "%s: resp: %s", "Register", Masked(body).c_str());
    return kAppRequestFailed;
  }
  std::string token;
  if (!FindToken(header, token)) {
    __dlog_printf(3, kUnit, "%s: Success BUT missing x-auth-token. This is an error.", "Register");
    return kAppNotRegistered;
  }
  // Kept: docs/kept-behaviour.md#unseen-save
  m_cfgCloud->SetXAuthToken(token);
  m_cfgCloud->Save();
  return kAppOk;
}

AppResult CloudClient::Unregister() {
  std::string token;
  if (m_cfgCloud->GetXAuthToken(token) != 0) {
    __dlog_printf(3, kUnit, "%s: Failed to delete resource: missing xauthtoken", "Unregister");
    return kAppConfigUnreadable;
  }
  std::string baseUrl;
  std::string uuid;
  m_cfgCloud->GetUrl(baseUrl);
  m_cfgCloud->GetUUID(uuid);
  AppResult result = kAppOk;
  if (m_httpsClient.DeleteResource(ManagerUrl(baseUrl, uuid), token) != kHttpsOk) {
    // Kept: docs/kept-behaviour.md#token-in-message
    __dlog_printf(3, kUnit, "%s: Failed to delete manager (%s)", "Unregister",
                  Masked(token).c_str());
    result = kAppRequestFailed;
  }
  // Kept: docs/kept-behaviour.md#forgets-anyway
  m_cfgCloud->SetXAuthToken("");
  if (m_cfgCloud->RemoveAllChassis() != 0) result = kAppConfigUnreadable;
  m_cfgCloud->Save();
  return result;
}

AppResult CloudClient::GetAuthDocument(const std::string& path, std::string& json) {
  std::string baseUrl;
  if (m_cfgCloud->GetUrl(baseUrl) != 0) return kAppConfigUnreadable;
  const std::string url = baseUrl + path;
  std::string token;
  if (m_cfgCloud->GetXAuthToken(token) != 0) {
    __dlog_printf(3, kUnit, "%s: missing x-auth-token  -- not registered?", "GetAuthDocument");
    // Kept: docs/kept-behaviour.md#no-token-succeeds
    return kAppOk;
  }
  std::string body;
  std::string header;
  const HttpsResult result = m_httpsClient.GetAuthDocument(url, body, header, token);
  if (result != kHttpsOk) {
    __dlog_printf(3, kUnit, "%s: Failed to get (%u) url (%s) document from the Cloud Service",
                  "GetAuthDocument", result, Masked(url).c_str());
    return kAppDocumentNotFetched;
  }
  const size_t brace = body.find('{');
  if (brace == std::string::npos) {
    __dlog_printf(3, kUnit, "%s: Failed to find a JSON document.\n%s\n", "GetAuthDocument",
                  Masked(body).c_str());
    return kAppNoJson;
  }
  json = body.substr(brace);
  return kAppOk;
}

}  // namespace cloudclient
