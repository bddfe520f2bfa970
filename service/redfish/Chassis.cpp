#include "service/Secret.h"
#include "service/redfish/Refusal.h"
#include "service/redfish/Service.h"

namespace cloudservice {

namespace {

constexpr std::size_t kIdBytes = 8;

std::string ChassisPath(const std::string& id) { return "/redfish/v1/Chassis/" + id; }

}  // namespace

ChassisRecord RedfishService::OwnChassis(const Call& call) {
  std::optional<ChassisRecord> chassis = m_store.FindChassis(call.owner->uuid, call.names.at(0));
  if (!chassis) throw Refusal(404, "There is nothing at " + call.target.Path() + ".");
  return *std::move(chassis);
}

Response RedfishService::ListChassis(const Call& call) {
  Json members = Json::array();
  for (const std::string& id : m_store.ListChassis(call.owner->uuid)) {
    members.push_back(Reference(ChassisPath(id)));
  }
  return JsonResponse(200, {{"@odata.id", "/redfish/v1/Chassis"},
                            {"@odata.type", "#ChassisCollection.ChassisCollection"},
                            {"Name", "Chassis"},
                            {"Members", members},
                            {"Members@odata.count", members.size()}});
}

Response RedfishService::CreateChassis(const Call& call) {
  ParseObject(call.request.body);
  ChassisRecord chassis;
  chassis.id = RandomHex(kIdBytes);
  chassis.manager = call.owner->uuid;
  chassis.document = call.request.body;
  chassis.created = m_clock();
  m_store.AddChassis(chassis);
  m_log.Line("chassis created: " + chassis.id + " of " + Named(*call.owner));
  Response response = JsonResponse(201, ChassisView(chassis));
  response.headers.emplace_back("Location", ChassisPath(chassis.id));
  return response;
}

Response RedfishService::GetChassis(const Call& call) {
  return JsonResponse(200, ChassisView(OwnChassis(call)));
}

Response RedfishService::PatchChassis(const Call& call) {
  const ChassisRecord chassis = OwnChassis(call);
  const Json patch = ParseObject(call.request.body);
  Json document = ParseStored(chassis.document);
  document.merge_patch(patch);
  m_store.SetChassisDocument(chassis.id, StoredText(document), ReadingsOf(call, chassis.id, patch));
  m_log.Line("chassis changed: " + chassis.id + " of " + Named(*call.owner));
  Response response;
  response.status = 204;
  return response;
}

Response RedfishService::DeleteChassis(const Call& call) {
  const ChassisRecord chassis = OwnChassis(call);
  m_store.DeleteChassis(chassis.id);
  m_log.Line("chassis removed: " + chassis.id + " of " + Named(*call.owner));
  Response response;
  response.status = 204;
  return response;
}

Json RedfishService::ChassisView(const ChassisRecord& chassis) const {
  Json view = ParseStored(chassis.document);
  view["@odata.id"] = ChassisPath(chassis.id);
  view["@odata.type"] = "#Chassis.v1_14_0.Chassis";
  view["Id"] = chassis.id;
  if (!view.contains("Name")) view["Name"] = "Chassis " + chassis.id;
  return view;
}

}  // namespace cloudservice
