// SPDX-License-Identifier: Apache-2.0
#include "service/redfish/Body.h"
#include "service/redfish/Refusal.h"
#include "service/redfish/Service.h"

namespace cloudservice {

namespace {

// Where in a path the identifier of a manager or chassis stands, and what lies below it begins.
constexpr std::size_t kOwnerSegment = 3;
constexpr std::size_t kBelow = 4;

// The type that a document at this path below a chassis or a manager has.
const char* TypeAt(const Target& target) {
  const std::vector<std::string>& path = target.segments;
  if (path.at(2) != "Chassis") return types::kDocument;
  const std::size_t below = path.size() - kBelow;
  const std::string& first = path.at(kBelow);
  if (below == 1 && first == "Thermal") return types::kThermal;
  if (below == 1 && first == "EnvironmentMetrics") return types::kEnvironmentMetrics;
  if (below == 1 && first == "Sensors") return types::kSensorCollection;
  if (below == 2 && first == "Sensors") return types::kSensor;
  return types::kDocument;
}

}  // namespace

Response RedfishService::GetChassisResource(const Call& call) {
  OwnChassisId(call);
  return GetResource(call);
}

Response RedfishService::PatchChassisResource(const Call& call) {
  return PatchResource(call, OwnChassisId(call));
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
  if (!resource) throw NothingAt(path);
  Json view =
      ShapedFor(call, *call.owner, TypeAt(call.target), path, ParseStored(resource->document));
  OemOf(view)["History"] = Reference(path + kHistoryBelow);
  return JsonResponse(200, view);
}

// There are sensors, or a document has been sent for their collection itself.
Response RedfishService::GetSensors(const Call& call) {
  OwnChassisId(call);
  const std::string path = call.target.Path();
  const std::string& owner = call.owner->uuid;
  const std::vector<std::string> sensors = m_store.ListChildren(owner, path);
  const std::optional<ResourceRecord> sent = m_store.FindResource(owner, path);
  if (sensors.empty() && !sent) throw NothingAt(path);
  Json view = CollectionView(path, types::kSensorCollection, "Sensors", sensors, call.query);
  if (!sent) return JsonResponse(200, view);
  Json document = ParseStored(sent->document);
  document.erase("Members");
  Json shaped = ShapedFor(call, *call.owner, types::kSensorCollection, path, document);
  OemOf(shaped)["History"] = Reference(path + kHistoryBelow);
  view.update(shaped);
  return JsonResponse(200, view);
}

Response RedfishService::PatchResource(const Call& call,
                                       const std::optional<std::string>& chassis) {
  const Json patch = ParseBody(call.request.body);
  ResourceRecord resource;
  resource.path = call.target.Path();
  resource.manager = call.owner->uuid;
  resource.chassis = chassis;
  resource.changed = m_clock();

  const auto before = m_store.FindResource(resource.manager, resource.path);
  resource.document = MergedText(before ? before->document : "{}", patch);
  m_store.PutResource(resource, ReadingsOf(call, chassis, patch));
  m_log.Line(std::string(before ? "resource changed: " : "resource created: ") + resource.path);
  return DoneResponse();
}

void RedfishService::LinkResources(const ManagerRecord& owner,
                                   const std::optional<std::string>& chassis, Json& view) {
  static const std::string kThermal = types::kThermal;
  static const std::string kEnvironment = types::kEnvironmentMetrics;
  Json documents = Json::array();
  for (const std::string& path : m_store.ListResources(owner.uuid, chassis)) {
    const Target target = *ParseTarget(path);
    const std::string type = TypeAt(target);
    if (type == types::kDocument) {
      documents.push_back(Reference(path));
    } else if (type == types::kSensor || type == types::kSensorCollection) {
      view["Sensors"] = Reference(view.at("@odata.id").get<std::string>() + "/Sensors");
    } else {
      view[SchemaOf(type)] = Reference(path);
    }
  }
  Json& oem = OemOf(view);
  oem["History"] = Reference(view.at("@odata.id").get<std::string>() + kHistoryBelow);
  if (!documents.empty()) oem["Documents"] = documents;
}

// Everything else that is sent is taken, also together with these.
void RedfishService::RefuseReadOnly(const Json& patch, const Json& given) {
  if (patch.empty()) return;
  std::string changed;
  for (const auto& [name, value] : patch.items()) {
    const auto known = given.find(name);
    if (known == given.end()) return;
    if (changed.empty() && *known != value) changed = name;
  }
  if (changed.empty()) return;
  throw Refusal(400, {"PropertyNotWritable", {changed}, "#/" + changed},
                "\"" + changed + "\" is given by the service.");
}

Json RedfishService::ShapedFor(const Call& call, const ManagerRecord& owner, const char* type,
                               const std::string& path, const Json& sent) {
  const Resolver resolve = ResolverFor(call, owner);
  try {
    return Shaped(TypeNamed(type), path, sent, resolve);
  } catch (const ViewTooLarge&) {
    call.lookUps->Count(kMaxAnswer + 1);
    return Shaped(TypeNamed(type), path, Json::object(), resolve);
  }
}

Resolver RedfishService::ResolverFor(const Call& call, const ManagerRecord& owner) {
  return [this, &call, &owner](const std::string& link) {
    const std::size_t fragment = link.find('#');
    const std::string path = link.substr(0, fragment);
    const std::string schema = call.lookUps->Schema(path, [&] { return SchemaAt(owner, path); });
    // A part of a resource is none of the type's own.
    return schema.empty() || fragment == std::string::npos ? schema : schema + "#";
  };
}

std::string RedfishService::SchemaAt(const ManagerRecord& owner, const std::string& path) {
  const std::optional<Target> target = ParseTarget(path);
  if (path.rfind('/', 0) != 0 || !target || !target->query.empty()) return "";
  const std::vector<std::string>& segments = target->segments;
  if (segments.size() < 2 || segments[0] != "redfish" || segments[1] != "v1") return "";
  std::string schema;
  if (segments.size() == 2) {
    schema = SchemaOf(types::kServiceRoot);
  } else if (segments.size() == 3) {
    if (segments[2] == "Managers") schema = SchemaOf(types::kManagerCollection);
    if (segments[2] == "Chassis") schema = SchemaOf(types::kChassisCollection);
  } else {
    schema = SchemaBelow(owner, *target);
  }
  return schema;
}

std::string RedfishService::SchemaBelow(const ManagerRecord& owner, const Target& target) {
  const std::string& id = target.segments.at(kOwnerSegment);
  const bool itself = target.segments.size() == kBelow;
  if (target.segments.at(2) == "Managers") {
    if (id != owner.uuid) return "";
    if (itself) return SchemaOf(types::kManager);
  } else if (target.segments.at(2) == "Chassis") {
    if (!m_store.HasChassis(owner.uuid, id)) return "";
    if (itself) return SchemaOf(types::kChassis);
  } else {
    return "";
  }
  const std::string type = TypeAt(target);
  const std::string path = target.Path();
  const bool found = m_store.HasResource(owner.uuid, path) ||
                     (type == types::kSensorCollection && m_store.HasChildren(owner.uuid, path));
  return found ? SchemaOf(type) : "";
}

}  // namespace cloudservice
