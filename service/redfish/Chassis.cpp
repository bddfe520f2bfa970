// SPDX-License-Identifier: Apache-2.0
// Chassis: creating, showing, changing, removing them.
#include "service/redfish/Chassis.h"

#include <utility>
#include <vector>

#include "service/http/ResourcePaths.h"
#include "service/redfish/Body.h"
#include "service/redfish/Collections.h"
#include "service/redfish/Shape.h"
#include "service/redfish/Views.h"
#include "service/redfish/schema/Types.h"
#include "service/store/Lists.h"
#include "service/util/Secret.h"

namespace cloudservice {

namespace {

constexpr std::size_t kIdBytes = 8;

// The chassis that the call names. Throws Refusal (404) unless it is the sender's.
ChassisRecord OwnChassis(const Call& call, Transaction& store) {
  std::optional<ChassisRecord> chassis = store.FindChassis(call.owner->uuid, call.names.at(0));
  if (!chassis) throw NothingAt(call.target.Path());
  return *std::move(chassis);
}

Json ChassisView(const Call& call, Transaction& store, const ChassisRecord& chassis) {
  Json sent = ParseStored(chassis.document);
  if (!sent.contains("Name")) sent["Name"] = "Chassis " + chassis.id;
  Json view =
      ShapedFor(call, store, call.owner->uuid, types::kChassis, ChassisPath(chassis.id), sent);
  view["Links"]["ManagedBy"] = Json::array({Reference(ManagerPath(call.owner->uuid))});
  LinkResources(store, call.owner->uuid, chassis.id, view);
  return view;
}

Answer ListChassis(const Call& call, Transaction& store) {
  std::vector<std::string> members;
  const auto add = [&](const ChassisName& chassis) { members.push_back(ChassisPath(chassis.id)); };
  ForEach(store, add, &Transaction::ListChassis, call.owner->uuid);
  return Found(
      CollectionView(kChassisPath, types::kChassisCollection, "Chassis", members, call.query));
}

Answer GetChassis(const Call& call, Transaction& store) {
  return Found(ChassisView(call, store, OwnChassis(call, store)));
}

Answer DeleteChassis(const Call& call, Transaction& store) {
  const std::string& id = call.names.at(0);
  store.DeleteChassis(id);
  Answer answer = Done();
  answer.lines = {"chassis removed: " + id + " of " + Named(*call.owner)};
  return answer;
}

}  // namespace

void Chassis::AddTo(Routes& routes) const {
  const auto create = [*this](const Call& call, Transaction& store) { return Create(call, store); };
  const auto patch = [*this](const Call& call, Transaction& store) { return Patch(call, store); };
  const std::string one = ChassisPath("*");
  routes.Add("GET", kChassisPath, {Access::kAppliance, QueryUse::kCollection, ListChassis});
  routes.Add("POST", kChassisPath, {Access::kAppliance, QueryUse::kNone, create});
  routes.Add("GET", one, {Access::kItsChassis, QueryUse::kResource, GetChassis});
  routes.Add("PATCH", one, {Access::kItsChassis, QueryUse::kNone, patch});
  routes.Add("DELETE", one, {Access::kItsChassis, QueryUse::kNone, DeleteChassis});
}

Answer Chassis::Create(const Call& call, Transaction& store) const {
  ChassisRecord chassis;
  chassis.id = RandomHex(kIdBytes);
  chassis.manager = call.owner->uuid;
  chassis.document = call.request.body;
  chassis.created = m_clock();
  m_quota.CheckDocument(*call.owner, store, std::nullopt, chassis.document.size());
  store.AddChassis(chassis);
  Answer answer = Created(ChassisView(call, store, chassis));
  answer.lines = {"chassis created: " + chassis.id + " of " + Named(*call.owner)};
  return answer;
}

Answer Chassis::Patch(const Call& call, Transaction& store) const {
  const ChassisRecord chassis = OwnChassis(call, store);
  RefuseReadOnly(call.body, {{"Id", chassis.id}});
  const std::string document = MergedText(chassis.document, call.body);
  m_quota.CheckDocument(*call.owner, store, chassis.document.size(), document.size());
  store.SetChassisDocument(chassis.id, document, ReadingsOf(call, chassis.id, m_clock()));
  Answer answer = Done();
  answer.lines = {"chassis changed: " + chassis.id + " of " + Named(*call.owner)};
  return answer;
}

}  // namespace cloudservice
