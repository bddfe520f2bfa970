// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <utility>

#include "service/redfish/Body.h"
#include "service/redfish/Refusal.h"
#include "service/redfish/Service.h"
#include "service/util/Secret.h"

namespace cloudservice {

namespace {

constexpr std::size_t kTokenBytes = 32;
constexpr std::size_t kMaxUuid = 128;

std::string ManagerPath(const std::string& uuid) { return "/redfish/v1/Managers/" + uuid; }

// A UUID becomes a segment of paths.
std::string CheckedUuid(const Json& document) {
  std::string uuid = RequiredString(document, "UUID");
  static const std::string kAllowed =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_";
  if (uuid.size() > kMaxUuid || uuid.find_first_not_of(kAllowed) != std::string::npos) {
    throw WrongValue("UUID", "\"UUID\" is not made of up to 128 letters, digits, \"-\" and \"_\".");
  }
  return uuid;
}

// The values stand in the query as plain text, an ampersand in the address included: nothing is
// decoded, and the address runs to the last place where the key can begin.
std::pair<std::string, std::string> CredentialsOf(const std::string& query) {
  static const std::string kEmail = "setup_email=";
  static const std::string kKey = "&registration_key=";
  const std::size_t key = query.rfind(kKey);
  if (query.rfind(kEmail, 0) != 0 || key == std::string::npos || key < kEmail.size()) {
    throw Refusal(401, "A registration takes setup_email and registration_key.");
  }
  return {query.substr(kEmail.size(), key - kEmail.size()), query.substr(key + kKey.size())};
}

}  // namespace

Response RedfishService::ListManagers(const Call& call) {
  const std::optional<std::string> uuid = call.target.Value("uuid");
  if (uuid) return FindManagerByUuid(call, *uuid);
  if (!call.owner) throw Refusal(401, "The X-Auth-Token is missing or not known.");
  return JsonResponse(200, CollectionView("/redfish/v1/Managers", types::kManagerCollection,
                                          "Managers", {ManagerPath(call.owner->uuid)}, call.query));
}

// An appliance learns from the 403 that it has to register afresh, so that everything that ends a
// registration has to end up in it.
Response RedfishService::FindManagerByUuid(const Call& call, const std::string& uuid) {
  if (!call.owner || call.owner->uuid != uuid) {
    throw Refusal(403, "The X-Auth-Token is not this manager's.");
  }
  m_log.Line("manager found: " + Named(*call.owner));
  Response response;
  response.status = 302;
  response.headers.emplace_back("Location", ManagerPath(uuid));
  return response;
}

Admission RedfishService::Admit(const Call& call) {
  const auto [email, key] = CredentialsOf(call.target.query);
  if (!m_accounts.Any()) throw Refusal(401, "This service has no account to register with.");
  const Admission admission = m_accounts.Admit(call.request.peer, email, key);
  if (admission.wait == 0 && !admission.account) {
    throw Refusal(401, "The e-mail address or the key is wrong.");
  }
  return admission;
}

Response RedfishService::RegisterManager(const Call& call) {
  const Admission admission = Admit(call);
  if (admission.wait > 0) {
    const Refusal refusal(429, "Too many wrong registrations from this address.");
    Response response = Refused(refusal, call.request.method, call.request.target);
    response.SetHeader("Retry-After", std::to_string(admission.wait));
    return response;
  }
  const Json document = ParseBody(call.request.body);
  ManagerRecord manager;
  manager.uuid = CheckedUuid(document);
  manager.name = OptionalString(document, "Name").value_or("");
  if (manager.name.empty()) manager.name = "unnamed";
  manager.document = call.request.body;
  manager.registered = m_clock();
  manager.account = admission.account;
  manager.address = call.request.peer;
  const std::optional<ManagerRecord> before = m_store.FindManager(manager.uuid);
  // Else whoever has an account could take, and empty, what is another's.
  if (before && before->account && before->account != manager.account) {
    throw Refusal(403, "This UUID is registered with another account.");
  }

  const std::string token = RandomHex(kTokenBytes);
  const bool known = m_store.AddManager(manager, Sha256Hex(token));
  m_log.Line("manager registered: " + Named(manager) +
             (known ? ", known before: what it held is dropped" : ""));
  Response response = CreatedResponse(ManagerView(call, manager));
  response.headers.emplace_back("X-Auth-Token", token);
  return response;
}

Response RedfishService::GetManager(const Call& call) {
  RequireOwn(call, call.names.at(0));
  return JsonResponse(200, ManagerView(call, *call.owner));
}

Response RedfishService::PatchManager(const Call& call) {
  RequireOwn(call, call.names.at(0));
  const Json patch = ParseBody(call.request.body);
  RefuseReadOnly(patch, {{"Id", call.owner->uuid}, {"UUID", call.owner->uuid}});
  m_store.SetManagerDocument(call.owner->uuid, MergedText(call.owner->document, patch),
                             ReadingsOf(call, std::nullopt, patch));
  m_log.Line("manager changed: " + Named(*call.owner));
  return DoneResponse();
}

Response RedfishService::DeleteManager(const Call& call) {
  RequireOwn(call, call.names.at(0));
  m_store.DeleteManager(call.owner->uuid);
  m_log.Line("manager removed: " + Named(*call.owner));
  return DoneResponse();
}

Json RedfishService::ManagerView(const Call& call, const ManagerRecord& manager) {
  Json sent = ParseStored(manager.document);
  sent["UUID"] = manager.uuid;
  if (!sent.contains("Name")) sent["Name"] = manager.name;
  Json view = ShapedFor(call, manager, types::kManager, ManagerPath(manager.uuid), sent);
  Json& status = view["Status"];
  if (!status.contains("State")) status["State"] = "Enabled";
  if (IsOverdue(manager.heartbeat)) status["State"] = "UnavailableOffline";

  Json chassis = Json::array();
  for (const std::string& id : m_store.ListChassis(manager.uuid)) {
    chassis.push_back(Reference("/redfish/v1/Chassis/" + id));
  }
  view["Links"]["ManagerForChassis"] = chassis;
  LinkResources(manager, std::nullopt, view);
  OemOf(view)["Heartbeat"] = HeartbeatView(manager.heartbeat);
  return view;
}

}  // namespace cloudservice
