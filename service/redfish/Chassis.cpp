// SPDX-License-Identifier: Apache-2.0
#include "service/redfish/Body.h"
#include "service/redfish/Refusal.h"
#include "service/redfish/Service.h"
#include "service/util/Secret.h"

namespace cloudservice {

namespace {

constexpr std::size_t kIdBytes = 8;

std::string ChassisPath(const std::string& id) { return "/redfish/v1/Chassis/" + id; }

}  // namespace

ChassisRecord RedfishService::OwnChassis(const Call& call) {
  std::optional<ChassisRecord> chassis = m_store.FindChassis(call.owner->uuid, call.names.at(0));
  if (!chassis) throw NothingAt(call.target.Path());
  return *std::move(chassis);
}

const std::string& RedfishService::OwnChassisId(const Call& call) {
  const std::string& id = call.names.at(0);
  if (!m_store.HasChassis(call.owner->uuid, id)) throw NothingAt(call.target.Path());
  return id;
}

Response RedfishService::ListChassis(const Call& call) {
  std::vector<std::string> members;
  for (const std::string& id : m_store.ListChassis(call.owner->uuid)) {
    members.push_back(ChassisPath(id));
  }
  return JsonResponse(200, CollectionView("/redfish/v1/Chassis", types::kChassisCollection,
                                          "Chassis", members, call.query));
}

Response RedfishService::CreateChassis(const Call& call) {
  ParseBody(call.request.body);
  ChassisRecord chassis;
  chassis.id = RandomHex(kIdBytes);
  chassis.manager = call.owner->uuid;
  chassis.document = call.request.body;
  chassis.created = m_clock();
  m_store.AddChassis(chassis);
  m_log.Line("chassis created: " + chassis.id + " of " + Named(*call.owner));
  return CreatedResponse(ChassisView(call, chassis));
}

Response RedfishService::GetChassis(const Call& call) {
  return JsonResponse(200, ChassisView(call, OwnChassis(call)));
}

Response RedfishService::PatchChassis(const Call& call) {
  const ChassisRecord chassis = OwnChassis(call);
  const Json patch = ParseBody(call.request.body);
  RefuseReadOnly(patch, {{"Id", chassis.id}});
  m_store.SetChassisDocument(chassis.id, MergedText(chassis.document, patch),
                             ReadingsOf(call, chassis.id, patch));
  m_log.Line("chassis changed: " + chassis.id + " of " + Named(*call.owner));
  return DoneResponse();
}

Response RedfishService::DeleteChassis(const Call& call) {
  const std::string& id = OwnChassisId(call);
  m_store.DeleteChassis(id);
  m_log.Line("chassis removed: " + id + " of " + Named(*call.owner));
  return DoneResponse();
}

Json RedfishService::ChassisView(const Call& call, const ChassisRecord& chassis) {
  Json sent = ParseStored(chassis.document);
  if (!sent.contains("Name")) sent["Name"] = "Chassis " + chassis.id;
  Json view = ShapedFor(call, *call.owner, types::kChassis, ChassisPath(chassis.id), sent);
  view["Links"]["ManagedBy"] = Json::array({Reference("/redfish/v1/Managers/" + call.owner->uuid)});
  LinkResources(*call.owner, chassis.id, view);
  return view;
}

}  // namespace cloudservice
