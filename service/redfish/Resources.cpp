#include "service/redfish/Refusal.h"
#include "service/redfish/Service.h"

namespace cloudservice {

Response RedfishService::GetChassisResource(const Call& call) {
  OwnChassis(call);
  return GetResource(call);
}

Response RedfishService::PatchChassisResource(const Call& call) {
  return PatchResource(call, OwnChassis(call).id);
}

Response RedfishService::GetManagerResource(const Call& call) {
  RequireOwn(call, call.names.at(0));
  return GetResource(call);
}

Response RedfishService::PatchManagerResource(const Call& call) {
  RequireOwn(call, call.names.at(0));
  return PatchResource(call, std::nullopt);
}

Response RedfishService::GetResource(const Call& call) {
  const std::string path = call.target.Path();
  const std::optional<ResourceRecord> resource = m_store.FindResource(call.owner->uuid, path);
  if (!resource) throw Refusal(404, "There is nothing at " + path + ".");
  Json view = ParseStored(resource->document);
  view["@odata.id"] = path;
  if (!view.contains("Id")) view["Id"] = call.target.segments.back();
  if (!view.contains("Name")) view["Name"] = call.target.segments.back();
  return JsonResponse(200, view);
}

Response RedfishService::PatchResource(const Call& call,
                                       const std::optional<std::string>& chassis) {
  const Json patch = ParseObject(call.request.body);
  ResourceRecord resource;
  resource.path = call.target.Path();
  resource.manager = call.owner->uuid;
  resource.chassis = chassis;
  resource.changed = m_clock();

  const auto before = m_store.FindResource(resource.manager, resource.path);
  Json document = before ? ParseStored(before->document) : Json::object();
  document.merge_patch(patch);
  resource.document = StoredText(document);
  m_store.PutResource(resource, ReadingsOf(call, chassis, patch));
  m_log.Line(std::string(before ? "resource changed: " : "resource created: ") + resource.path);
  Response response;
  response.status = 204;
  return response;
}

}  // namespace cloudservice
