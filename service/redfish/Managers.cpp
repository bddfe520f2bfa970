// SPDX-License-Identifier: Apache-2.0
// Managers: registering, finding, showing, changing, removing them.
#include "service/redfish/Managers.h"

#include <algorithm>
#include <utility>
#include <vector>

#include "service/http/ResourcePaths.h"
#include "service/redfish/Body.h"
#include "service/redfish/Collections.h"
#include "service/redfish/Heartbeats.h"
#include "service/redfish/Shape.h"
#include "service/redfish/Views.h"
#include "service/redfish/schema/Types.h"
#include "service/store/Lists.h"
#include "service/util/Secret.h"

namespace cloudservice {

namespace {

constexpr std::size_t kTokenBytes = 32;
constexpr std::size_t kMaxUuid = 128;

// The UUID of a body. Since it becomes a segment of paths, only letters, digits, "-" and "_" are
// accepted.
std::string CheckedUuid(const Json& document) {
  std::string uuid = RequiredString(document, "UUID");
  static const std::string kAllowed =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_";
  if (uuid.size() > kMaxUuid || uuid.find_first_not_of(kAllowed) != std::string::npos) {
    throw WrongValue("UUID", "\"UUID\" is not made of up to 128 letters, digits, \"-\" and \"_\".");
  }
  return uuid;
}

// The e-mail address and the key of a registration. They stand in the query as plain text, and the
// address may have an ampersand in it: nothing is decoded, and the address ends at the last place
// where the key can begin.
std::pair<std::string, std::string> CredentialsOf(const std::string& query) {
  static const std::string kEmail = "setup_email=";
  static const std::string kKey = "&registration_key=";
  const std::size_t key = query.rfind(kKey);
  if (query.rfind(kEmail, 0) != 0 || key == std::string::npos || key < kEmail.size()) {
    throw Refusal(401, "A registration takes setup_email and registration_key.");
  }
  return {query.substr(kEmail.size(), key - kEmail.size()), query.substr(key + kKey.size())};
}

// A 403 tells an appliance to register again. Therefore every state without a valid registration is
// answered 403.
Answer FindByUuid(const Call& call, const std::string& uuid) {
  if (!call.owner || call.owner->uuid != uuid) {
    throw Refusal(403, "The X-Auth-Token is not this manager's.");
  }
  Answer answer;
  answer.status = 302;
  answer.headers = {{"Location", ManagerPath(uuid)}};
  answer.lines = {"manager found: " + Named(*call.owner)};
  return answer;
}

Answer ListManagers(const Call& call, Transaction&) {
  const std::optional<std::string> uuid = call.target.Value("uuid");
  if (uuid) return FindByUuid(call, *uuid);
  if (!call.owner) throw Refusal(401, "The X-Auth-Token is missing or not known.");
  return Found(CollectionView(kManagersPath, types::kManagerCollection, "Managers",
                              {ManagerPath(call.owner->uuid)}, call.query));
}

Answer DeleteManager(const Call& call, Transaction& store) {
  store.DeleteManager(call.owner->uuid);
  Answer answer = Done();
  answer.lines = {"manager removed: " + Named(*call.owner)};
  return answer;
}

// The record of the sender.
ManagerRecord OwnManager(const Call& call, Transaction& store) {
  std::optional<ManagerRecord> manager = store.FindManager(call.owner->uuid);
  if (!manager) throw NothingAt(call.target.Path());
  return *std::move(manager);
}

// The record of a manager that registers with this body.
ManagerRecord ManagerOf(const Call& call, std::int64_t now) {
  ManagerRecord manager;
  manager.uuid = CheckedUuid(call.body);
  manager.name = OptionalString(call.body, "Name").value_or("");
  if (manager.name.empty()) manager.name = "unnamed";
  manager.document = call.request.body;
  manager.registered = now;
  manager.account = call.account;
  manager.address = call.request.peer;
  return manager;
}

}  // namespace

void Managers::AddTo(Routes& routes) const {
  const auto bound = [this](Answer (Managers::*operation)(const Call&, Transaction&) const) {
    return [*this, operation](const Call& call, Transaction& store) {
      return (this->*operation)(call, store);
    };
  };
  const std::string one = ManagerPath("*");
  routes.Add("GET", kManagersPath, {Access::kAnyone, QueryUse::kCollection, ListManagers});
  routes.Add("POST", kManagersPath,
             {Access::kAnyone, QueryUse::kNone, bound(&Managers::Register),
              [*this](Call& call) { return Admit(call); }});
  routes.Add("GET", one, {Access::kItsManager, QueryUse::kResource, bound(&Managers::Get)});
  routes.Add("PATCH", one, {Access::kItsManager, QueryUse::kNone, bound(&Managers::Patch)});
  routes.Add("DELETE", one, {Access::kItsManager, QueryUse::kNone, DeleteManager});
}

void Managers::Admit(Call& call) const {
  const auto [email, key] = CredentialsOf(call.target.Query());
  if (!m_accounts->Any()) throw Refusal(401, "This service has no account to register with.");
  const Admission admission = m_accounts->Admit(call.request.peer, email, key);
  if (admission.wait > 0) {
    throw Refusal("Too many wrong registrations from this address.", admission.wait);
  }
  if (!admission.account) throw Refusal(401, "The e-mail address or the key is wrong.");
  call.account = *admission.account;
}

Answer Managers::Register(const Call& call, Transaction& store) const {
  const ManagerRecord manager = ManagerOf(call, m_clock());
  const std::optional<ManagerRecord> before = store.FindManager(manager.uuid);
  // Otherwise any account could take over another account's appliance and delete its data.
  if (before && before->account && before->account != manager.account) {
    throw Refusal(403, "This UUID is registered with another account.");
  }
  const std::string token = RandomHex(kTokenBytes);
  const bool known = store.AddManager(manager, Sha256Hex(token));
  Answer answer = Created(View(call, store, manager));
  answer.headers = {{"X-Auth-Token", token}};
  answer.lines = {"manager registered: " + Named(manager.name, manager.uuid) +
                  (known ? ", known before: what it held is dropped" : "")};
  return answer;
}

Answer Managers::Get(const Call& call, Transaction& store) const {
  return Found(View(call, store, OwnManager(call, store)));
}

Answer Managers::Patch(const Call& call, Transaction& store) const {
  const ManagerRecord manager = OwnManager(call, store);
  RefuseReadOnly(call.body, {{"Id", manager.uuid}, {"UUID", manager.uuid}});
  const std::string document = MergedText(manager.document, call.body);
  m_quota.CheckDocument(*call.owner, store, manager.document.size(), document.size());
  store.SetManagerDocument(manager.uuid, document, ReadingsOf(call, std::nullopt, m_clock()));
  Answer answer = Done();
  answer.lines = {"manager changed: " + Named(*call.owner)};
  return answer;
}

Json Managers::View(const Call& call, Transaction& store, const ManagerRecord& manager) const {
  Json sent = ParseStored(manager.document);
  sent["UUID"] = manager.uuid;
  if (!sent.contains("Name")) sent["Name"] = manager.name;
  Json view =
      ShapedFor(call, store, manager.uuid, types::kManager, ManagerPath(manager.uuid), sent);
  const State state = StateOf(manager, m_clock());
  Json& status = view["Status"];
  if (!status.contains("State")) status["State"] = "Enabled";
  if (state == State::kOffline) status["State"] = "UnavailableOffline";

  Json chassis = Json::array();
  const auto link = [&](const ChassisName& one) {
    chassis.push_back(Reference(ChassisPath(one.id)));
  };
  ForEach(store, link, &Transaction::ListChassis, manager.uuid);
  view["Links"]["ManagerForChassis"] = chassis;
  LinkResources(store, manager.uuid, std::nullopt, view);
  OemOf(view)["Heartbeat"] = HeartbeatView(manager.heartbeat, state);
  return view;
}

}  // namespace cloudservice
